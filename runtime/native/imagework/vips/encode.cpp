// From a picture to the bytes of a file: the settings of each format in the terms of the library. PNG and TIFF have
// files of their own.
#include <algorithm>
#include <string>
#include <vector>

#include "runtime/native/imagework/codecs/bmp_codec.h"
#include "runtime/native/imagework/codecs/jpeg_segments.h"
#include "runtime/native/imagework/vips/encode_support.h"
#include "runtime/native/imagework/vips/quantizer_threads.h"
#include "runtime/native/imagework/vips/vips_picture.h"

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

VImage opaque(const VImage& image, const Encoding& encoding) {
    if (!has_alpha_band(image)) {
        return image;
    }
    VImage colors = color_bands(image);
    if (!encoding.blend_alpha) {
        return colors;
    }
    VImage flat = image.flatten(
        VImage::option()->set("background", ink(colors, encoding.background))->set("max_alpha", channel_max(image)));
    return rounded_like(flat, image);
}

VImage as_16_bit(const VImage& image) {
    if (image.format() == VIPS_FORMAT_USHORT) {
        return image;
    }
    VipsInterpretation kind = is_gray_image(image) ? VIPS_INTERPRETATION_GREY16 : VIPS_INTERPRETATION_RGB16;
    return image.linear(257.0, 0.0).cast(VIPS_FORMAT_USHORT).copy(VImage::option()->set("interpretation", kind));
}

VImage as_cmyk(const VImage& image) {
    VImage result = as_rgb(as_8_bit(image))
                        .icc_transform("cmyk", VImage::option()->set("input_profile", "srgb")->set("embedded", true))
                        .copy();
    result.remove(VIPS_META_ICC_NAME);  // the profile is nearly a megabyte, and what readers take without one
    return result;
}

namespace {

// At most 2^bits colors, as the library's quantizer picks them; no dithering, so that fewer colors stay as they are.
VImage quantized(const VImage& image, int bits) {
    EncodedBytes png = save_with_library(image, "pngsave_buffer",
                                         VImage::option()
                                             ->set("palette", true)
                                             ->set("bitdepth", bits)
                                             ->set("dither", 0.0)
                                             ->set("Q", 100)
                                             ->set("compression", 1));
    VipsBlob* blob = vips_blob_new(nullptr, png.data.get(), png.size);
    VImage result = VImage::pngload_buffer(blob).copy_memory();
    vips_area_unref(VIPS_AREA(blob));
    return result;
}

EncodedBytes encode_as(const BmpEncoding& wanted, const VImage& picture, const Encoding& encoding) {
    check_bmp_encoding(wanted);
    BmpEncoding bmp = wanted;
    if (encoding.may_widen && bmp.bits_per_pixel <= 8 &&
        !has_at_most_colors(as_8_bit(opaque(picture, encoding)), size_t{1} << bmp.bits_per_pixel)) {
        bmp = BmpEncoding{};
    }
    VImage image = as_rgb(as_8_bit(bmp.bits_per_pixel == 32 ? picture : opaque(picture, encoding)));
    if (bmp.bits_per_pixel <= 8) {
        if (encoding.palette.empty()) {
            image = color_bands(as_rgb(as_8_bit(quantized(image, bmp.bits_per_pixel))));
        } else {
            VipsPicture reduced(image);
            reduced.reduce(encoding.palette, encoding.diffuse);
            image = color_bands(as_rgb(reduced.image()));
        }
    }
    image = image.copy_memory();
    Resolution resolution{picture.xres() * 25.4, picture.yres() * 25.4};
    std::span<const uint8_t> pixels(static_cast<const uint8_t*>(image.data()),
                                    VIPS_IMAGE_SIZEOF_IMAGE(image.get_image()));
    return to_encoded(
        encode_bmp(pixels, image.width(), image.height(), image.bands(), bmp, resolution, encoding.palette));
}

EncodedBytes encode_as(const GifEncoding& gif, const VImage& picture, const Encoding& encoding) {
    VImage image = as_rgb(as_8_bit(picture)).copy();
    // Settings of the source that the library would otherwise carry over.
    for (const char* name : {"gif-palette", "n-pages", "page-height", "delay", "loop"}) {
        if (image.get_typeof(name) != 0 && !(std::string(name) == "loop" && !gif.loops)) {
            image.remove(name);
        }
    }
    if (gif.loops) {
        image.set("loop", *gif.loops);
    }
    return save_with_library(image, "gifsave_buffer",
                             VImage::option()
                                 ->set("bitdepth", encoding.may_widen ? 8 : gif.palette_bits)
                                 ->set("dither", encoding.diffuse ? 1.0 : 0.0)
                                 ->set("interlace", gif.interlaced));
}

// Whether the picture carries descriptions of its own. Without any, the library would make up some for its resolution,
// in the place of a JPEG file's own header.
bool has_metadata(const VImage& image) {
    for (const char* name : {VIPS_META_EXIF_NAME, VIPS_META_XMP_NAME, VIPS_META_IPTC_NAME, VIPS_META_ICC_NAME}) {
        if (image.get_typeof(name) != 0) {
            return true;
        }
    }
    return false;
}

EncodedBytes encode_as(const JpegEncoding& jpeg, const VImage& picture, const Encoding& encoding) {
    VImage image = as_8_bit(opaque(picture, encoding));
    switch (jpeg.color) {
        case JpegColor::kAuto:
            break;
        case JpegColor::kGray:
            image = luma(image);
            break;
        case JpegColor::kYcc:
            image = as_rgb(image);
            break;
        case JpegColor::kCmyk:
            image = as_cmyk(image);
            break;
    }
    EncodedBytes bytes = save_with_library(image, "jpegsave_buffer",
                                           VImage::option()
                                               ->set("Q", jpeg.quality)
                                               ->set("interlace", jpeg.progressive)
                                               ->set("strip", !has_metadata(image))
                                               ->set("optimize_coding", true));
    // JFIF is for gray and YCbCr; what has four channels is marked in a way of its own.
    std::optional<Resolution> jfif;
    if (image.bands() < 4) {
        jfif = Resolution{image.xres() * 25.4, image.yres() * 25.4};
    }
    return with_jpeg_segments(bytes, jfif, jpeg.comment);
}

EncodedBytes encode_as(const WebpEncoding& webp, const VImage& picture, const Encoding&) {
    VImage image = as_rgb(as_8_bit(picture));
    // A resolution has no place in the format but there.
    bool plain = !has_metadata(image) && image.xres() == dots_per_millimeter(kDefaultResolution.horizontal) &&
                 image.yres() == dots_per_millimeter(kDefaultResolution.vertical);
    return save_with_library(
        image, "webpsave_buffer",
        VImage::option()->set("lossless", webp.lossless)->set("Q", webp.quality)->set("strip", plain));
}

// Pixels of one color become transparent.
VImage with_transparent(const VImage& image, Argb color) {
    VImage source = with_alpha(as_rgb(image));
    VImage colors = color_bands(source);
    VImage matches = (colors == ink(colors, color)).bandand();
    std::vector<double> clear = ink(source, color & 0x00FFFFFF);
    return matches.ifthenelse(clear, source);
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
    apply("the background could not be put in", [&] {
        Encoding encoding;
        encoding.background = background;
        return opaque(m_image, encoding);
    });
}

void VipsPicture::add_alpha() {
    apply("an alpha channel could not be added", [&] { return with_alpha(m_image); });
}

void VipsPicture::make_transparent(Argb color) {
    apply("the transparent color could not be taken out", [&] { return with_transparent(m_image, color); });
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

EncodedBytes VipsPicture::encode(const Encoding& wanted) const {
    const Format format = format_of(wanted);
    std::string what = std::string("the image could not be written as ") + format_name(format);
    return guarded(Failure::kEncoding, what.c_str(), [&] {
        check_sides(*this, format);
        Encoding encoding = wanted;
        if (encoding.may_widen && !encoding.palette.empty() && !has_only(encoding.palette)) {
            encoding.palette.clear();
        }
        VipsPicture own(*this, Shared{});
        m_exclusive = false;
        prepare_for_encoding(own, encoding);
        return std::visit([&](const auto& kind) { return encode_as(kind, own.image(), encoding); }, encoding.format);
    });
}

}  // namespace zelmor::imagework
