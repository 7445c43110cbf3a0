// Writing TIFF.
#include <algorithm>
#include <string>

#include "runtime/native/imagework/codecs/tiff_byte_order.h"
#include "runtime/native/imagework/vips/encode_support.h"

using vips::VImage;
using vips::VOption;

namespace zelmor::imagework {
namespace {

VipsForeignTiffCompression tiff_compression(TiffCompression compression) {
    switch (compression) {
        case TiffCompression::kNone:
            break;
        case TiffCompression::kLzw:
            return VIPS_FOREIGN_TIFF_COMPRESSION_LZW;
        case TiffCompression::kDeflate:
            return VIPS_FOREIGN_TIFF_COMPRESSION_DEFLATE;
        case TiffCompression::kPackBits:
            return VIPS_FOREIGN_TIFF_COMPRESSION_PACKBITS;
        case TiffCompression::kJpeg:
            return VIPS_FOREIGN_TIFF_COMPRESSION_JPEG;
        case TiffCompression::kFax4:
            return VIPS_FOREIGN_TIFF_COMPRESSION_CCITTFAX4;
    }
    return VIPS_FOREIGN_TIFF_COMPRESSION_NONE;
}

// The numbers of compressed pixels cannot be turned around in the file.
void require_turnable(const TiffEncoding& tiff, bool wide) {
    if (tiff.big_endian && wide && tiff.compression != TiffCompression::kNone) {
        unfit("a big-endian TIFF of 16 bits per sample is written without compression only");
    }
}

}  // namespace

EncodedBytes encode_as(const TiffEncoding& tiff, VipsPicture& picture, const Encoding& encoding) {
    const bool bilevel = tiff.color == TiffColor::kBilevel;
    if (picture.form().color == ColorModel::kLab || picture.form().color == ColorModel::kIndexed) {
        picture.to_colors();
    }
    PixelForm form = picture.form();
    if (has_signs(form)) {
        form.sample = form.bits == 8 ? SampleType::kUint8 : SampleType::kUint16;
    }
    form.bits = std::max(8, form.bits);
    switch (tiff.color) {
        case TiffColor::kAuto:
            break;
        case TiffColor::kBilevel:
        case TiffColor::kGray:
            picture.lose_alpha(encoding);
            form.color = ColorModel::kGray;
            break;
        case TiffColor::kRgb:
            picture.lose_alpha(encoding);
            form.color = ColorModel::kRgb;
            break;
        case TiffColor::kRgba:
            form.color = ColorModel::kRgb;
            break;
        case TiffColor::kCmyk:
            picture.lose_alpha(encoding);
            form.color = ColorModel::kCmyk;
            break;
    }
    if (tiff.compression == TiffCompression::kFax4 && !bilevel) {
        unfit("fax compression takes pictures of one bit per pixel only");
    }
    int depth = tiff.bit_depth;
    if (tiff.compression == TiffCompression::kJpeg) {
        if (bilevel) {
            unfit("JPEG compression takes no pictures of one bit per pixel");
        }
        depth = 8;
        picture.lose_alpha(encoding);
    }
    form.alpha = tiff.color == TiffColor::kRgba || (picture.has_alpha() && tiff.color == TiffColor::kAuto);
    if (bilevel || depth == 8 || (tiff.color == TiffColor::kCmyk && depth == 0)) {
        form.sample = SampleType::kUint8;
        form.bits = bilevel ? 1 : 8;
    } else if (depth == 16) {
        form.sample = SampleType::kUint16;
        form.bits = 16;
    }
    picture.to_form(form);
    const VImage image = with_profile(picture);
    require_turnable(tiff, image.format() == VIPS_FORMAT_USHORT);
    bool lossless = tiff.compression == TiffCompression::kLzw || tiff.compression == TiffCompression::kDeflate;
    VOption* options =
        VImage::option()
            ->set("compression", tiff_compression(tiff.compression))
            ->set("Q", tiff.quality)
            ->set("predictor", tiff.predictor && lossless && !bilevel ? VIPS_FOREIGN_TIFF_PREDICTOR_HORIZONTAL
                                                                      : VIPS_FOREIGN_TIFF_PREDICTOR_NONE)
            ->set("bigtiff", tiff.big_tiff)
            ->set("rgbjpeg", tiff.rgb_jpeg)
            ->set("premultiply", tiff.premultiplied && has_alpha_band(image))
            ->set("miniswhite", tiff.min_is_white && image.bands() == 1)
            ->set("resunit", VIPS_FOREIGN_TIFF_RESUNIT_INCH);
    if (bilevel) {
        options->set("bitdepth", 1);
    }
    if (tiff.tile_width > 0 && tiff.tile_height > 0) {
        options->set("tile", true)->set("tile_width", tiff.tile_width)->set("tile_height", tiff.tile_height);
    }
    EncodedBytes bytes = save_with_library(image, "tiffsave_buffer", options);
    return tiff.big_endian ? as_big_endian_tiff(bytes) : bytes;
}

void check_tiff_byte_order(const TiffEncoding& tiff, const Picture& picture) {
    require_turnable(tiff, tiff.bit_depth == 16 || (tiff.bit_depth == 0 && picture.form().bits == 16));
}

}  // namespace zelmor::imagework
