// From a picture to the bytes of a file: what the encoders of all formats share.
#include <algorithm>
#include <cassert>
#include <string>
#include <vector>

#include "runtime/native/imagework/format_codec.h"
#include "runtime/native/imagework/vips/encode_support.h"
#include "runtime/native/imagework/vips/quantizer_threads.h"
#include "runtime/native/imagework/vips/rows_image.h"
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

PixelForm form_of_8_bits(ColorModel color, const VipsPicture& picture) {
    PixelForm form;
    form.color = color;
    form.alpha = picture.has_alpha();
    return form;
}

void encode_rows(const FormatCodec& codec, VipsPicture& picture, const Encoding& encoding, ByteSink& out) {
    const WantedRows wanted = codec.wanted(encoding.format, picture.rows_header());
    if (!wanted.keeps_profile) {
        picture.to_srgb();
    }
    if (wanted.form.color == ColorModel::kIndexed) {
        const auto own = picture.palette();
        if (!encoding.palette.empty()) {
            picture.reduce(encoding.palette, encoding.diffuse);
        } else if (own.empty() || own.size() > static_cast<size_t>(wanted.palette_size)) {
            picture.reduce(picture.close_palette(wanted.palette_size, true), encoding.diffuse);
        }
    } else {
        if (!wanted.form.alpha) {
            picture.lose_alpha(encoding);
        }
        picture.to_form(wanted.form);
    }
    const auto writer = codec.make_writer(picture.rows_header(), encoding.format, out);
    write_rows(picture, *writer);
    writer->finish();
}

namespace {

const FormatCodec& writing_codec(Format format) {
    const FormatCodec* codec = codec_of(format);
    if (codec == nullptr || (codec->encode == nullptr && codec->make_writer == nullptr)) {
        throw PictureError(Failure::kUnsupported, "there is no such format to save to");
    }
    return *codec;
}

}  // namespace

void check_sides(const Picture& picture, Format format) {
    const FormatCodec* codec = codec_of(format);
    assert(codec != nullptr);
    const int32_t most = codec->longest_side;
    if (picture.width() > most || picture.height() > most) {
        unfit(std::string(format_name(format)) + " holds at most " + std::to_string(most) +
              " pixels to a side; the image is " + std::to_string(picture.width()) + " by " +
              std::to_string(picture.height()));
    }
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

void VipsPicture::take_form(const PixelForm& form, Argb background) {
    if (!form.alpha) {
        flatten(background);
    }
    to_form(form);
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
    const FormatCodec* codec = codec_of(format_of(encoding));
    const bool reduces = codec != nullptr && codec->is_indexed && !encoding.palette.empty();
    if (reduces && !(encoding.may_widen && !own.has_only(encoding.palette))) {
        own.reduce(encoding.palette, encoding.diffuse);
    }
}

void VipsPicture::encode(const Encoding& wanted, ByteSink& out) const {
    const Format format = format_of(wanted);
    std::string what = std::string("the image could not be written as ") + format_name(format);
    guarded(Failure::kEncoding, what.c_str(), [&] {
        const FormatCodec& codec = writing_codec(format);
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
        codec.encode != nullptr ? codec.encode(own, encoding, out) : encode_rows(codec, own, encoding, out);
    });
}

}  // namespace zelmor::imagework
