// From a picture to the bytes of a file: the settings of each format in the terms of the library. PNG and TIFF have
// files of their own.
#include <algorithm>
#include <string>
#include <vector>

#include "runtime/native/imagework/bmp/bmp_codec.h"
#include "runtime/native/imagework/jpeg/jpeg_codec.h"
#include "runtime/native/imagework/vips/encode_gif.h"
#include "runtime/native/imagework/vips/encode_support.h"
#include "runtime/native/imagework/vips/quantizer_threads.h"
#include "runtime/native/imagework/vips/rows_image.h"
#include "runtime/native/imagework/vips/vips_picture.h"
#include "runtime/native/imagework/webp/webp_codec.h"

using vips::VImage;
using vips::VOption;

namespace zelmor::imagework {

EncodedBytes save_with_library(const VImage& image, const char* saver, VOption* options) {
    OneQuantizerThread one_thread;
    VipsBlob* blob = nullptr;
    image.call(saver, options->set("in", image)->set("buffer", &blob));
    size_t size = 0;
    const void* data = vips_blob_get(blob, &size);
    std::shared_ptr<const uint8_t> owner(static_cast<const uint8_t*>(data),
                                         [blob](const uint8_t*) { vips_area_unref(VIPS_AREA(blob)); });
    return {std::move(owner), size};
}

void unfit(const std::string& text) {
    throw PictureError(Failure::kEncoding, text);
}

PixelForm form_of_8_bits(ColorModel color, const VipsPicture& picture) {
    PixelForm form;
    form.color = color;
    form.alpha = picture.has_alpha();
    return form;
}

namespace {

void encode_as(const BmpEncoding& wanted, VipsPicture& picture, const Encoding& encoding, ByteSink& out) {
    check_bmp_encoding(wanted);
    BmpEncoding bmp = wanted;
    picture.to_srgb();  // the format has no place for a profile
    std::vector<Argb> palette = encoding.palette;
    if (palette.empty() && picture.palette().size() <= size_t{1} << std::min(8, bmp.bits_per_pixel)) {
        palette.assign(picture.palette().begin(), picture.palette().end());
    }
    if (bmp.bits_per_pixel != 32) {
        picture.lose_alpha(encoding);
        for (Argb& color : palette) {
            color |= kBlack;
        }
    }
    const auto own = picture.palette();
    const bool has_palette = !own.empty() && own.size() <= size_t{1} << std::min(8, bmp.bits_per_pixel) &&
                             std::equal(own.begin(), own.end(), palette.begin(), palette.end());
    if (bmp.bits_per_pixel > 8 || !has_palette) {
        picture.to_form(form_of_8_bits(ColorModel::kRgb, picture));
        if (encoding.may_widen && bmp.bits_per_pixel <= 8 &&
            !has_at_most_colors(picture.image(), size_t{1} << bmp.bits_per_pixel)) {
            bmp = BmpEncoding{};
        }
        if (bmp.bits_per_pixel <= 8) {
            picture.reduce(palette.empty() ? picture.close_palette(1 << bmp.bits_per_pixel, false) : palette,
                           encoding.diffuse);
        }
    }
    std::vector<uint8_t> file;
    const auto writer = make_bmp_writer(picture.rows_header(), bmp, file);
    write_rows(picture, *writer);
    writer->finish();
    out.write_whole(to_encoded(std::move(file)));
}

// The color model that the file is to have.
ColorModel model_of(const JpegEncoding& jpeg, const VipsPicture& picture, const Encoding& encoding) {
    const bool cmyk = picture.form().color == ColorModel::kCmyk;
    switch (jpeg.color) {
        case JpegColor::kGray:
            return ColorModel::kGray;
        case JpegColor::kYcc:
            return ColorModel::kRgb;
        case JpegColor::kCmyk:
            // A picture that is saved as it was follows what became of its colors.
            if (cmyk || !encoding.may_widen) {
                return ColorModel::kCmyk;
            }
            break;
        case JpegColor::kAuto:
            if (cmyk) {
                return ColorModel::kCmyk;
            }
            break;
    }
    return picture.is_gray() ? ColorModel::kGray : ColorModel::kRgb;
}

void encode_as(const JpegEncoding& jpeg, VipsPicture& picture, const Encoding& encoding, ByteSink& out) {
    picture.lose_alpha(encoding);
    const ColorModel model = model_of(jpeg, picture, encoding);
    if (const ProfileBytes& wanted = model == ColorModel::kCmyk ? encoding.cmyk_profile : encoding.rgb_profile;
        wanted != nullptr && model != ColorModel::kGray) {
        picture.to_space({model, wanted});
    }
    picture.to_form(form_of_8_bits(model, picture));
    const auto writer = make_jpeg_writer(picture.rows_header(), jpeg, out);
    write_rows(picture, *writer);
    writer->finish();
}

void encode_as(const WebpEncoding& webp, VipsPicture& picture, const Encoding&, ByteSink& out) {
    picture.to_form(form_of_8_bits(ColorModel::kRgb, picture));
    std::vector<uint8_t> file;
    const auto writer = make_webp_writer(picture.rows_header(), webp, file);
    write_rows(picture, *writer);
    writer->finish();
    out.write_whole(to_encoded(std::move(file)));
}

}  // namespace

void check_sides(const Picture& picture, Format format) {
    const int most = format == Format::kGif || format == Format::kJpeg ? 65535
                     : format == Format::kWebp                         ? 16383
                                                                       : 0x7FFFFFFF;
    if (picture.width() > most || picture.height() > most) {
        unfit(std::string(format_name(format)) + " holds at most " + std::to_string(most) +
              " pixels to a side; the image is " + std::to_string(picture.width()) + " by " +
              std::to_string(picture.height()));
    }
}

void VipsPicture::flatten(Argb background) {
    if (!has_alpha()) {
        return;
    }
    to_direct();
    admit(background | kBlack);
    const std::vector<double> color = ink_of(background | kBlack);
    apply("the background could not be put in", [&] {
        const std::vector<double> colors(color.begin(), color.end() - 1);
        const VImage flat =
            image().flatten(VImage::option()->set("background", colors)->set("max_alpha", channel_max(image())));
        return rounded_like(flat, image());
    });
}

void VipsPicture::lose_alpha(const Encoding& encoding) {
    if (encoding.blend_alpha) {
        return flatten(encoding.background);
    }
    if (has_alpha()) {
        to_direct();
        change_alpha(false);
    }
}

void VipsPicture::add_alpha() {
    if (!has_alpha()) {
        to_direct();
        change_alpha(true);
    }
}

void VipsPicture::make_transparent(Argb color) {
    to_rgb();
    change_alpha(true);
    apply("the transparent color could not be taken out", [&] {
        VImage colors = color_bands(image());
        VImage matches = (colors == ink(colors, color)).bandand();
        return matches.ifthenelse(ink(image(), color & 0x00FFFFFF), image());
    });
}

void prepare_for_encoding(Picture& picture, const Encoding& encoding) {
    auto& own = static_cast<VipsPicture&>(picture);
    if (encoding.resolution) {
        own.set_resolution(*encoding.resolution);
    }
    if (encoding.flatten) {
        own.flatten(*encoding.flatten);
    }
    if (encoding.transparent_color) {
        own.make_transparent(*encoding.transparent_color);
    }
    const bool reduces = format_of(encoding) == Format::kGif && !encoding.palette.empty();
    if (reduces && !(encoding.may_widen && !own.has_only(encoding.palette))) {
        own.reduce(encoding.palette, encoding.diffuse);
    }
}

void VipsPicture::encode(const Encoding& wanted, ByteSink& out) const {
    const Format format = format_of(wanted);
    std::string what = std::string("the image could not be written as ") + format_name(format);
    guarded(Failure::kEncoding, what.c_str(), [&] {
        check_sides(*this, format);
        Encoding encoding = wanted;
        const bool own_palette =
            std::equal(palette().begin(), palette().end(), encoding.palette.begin(), encoding.palette.end());
        if (encoding.may_widen && !encoding.palette.empty() && !own_palette && !has_only(encoding.palette)) {
            encoding.palette.clear();
        }
        VipsPicture own(*this, Shared{});
        m_exclusive = false;
        prepare_for_encoding(own, encoding);
        std::visit([&](const auto& kind) { encode_as(kind, own, encoding, out); }, encoding.format);
    });
}

}  // namespace zelmor::imagework
