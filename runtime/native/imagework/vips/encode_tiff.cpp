// Writing TIFF.
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

VImage black_and_white(const VImage& image) {
    return as_8_bit(luma(image)) > 127;
}

}  // namespace

EncodedBytes encode_as(const TiffEncoding& tiff, const VImage& picture, const Encoding& encoding) {
    VImage image = picture;
    bool bilevel = tiff.color == TiffColor::kBilevel;
    switch (tiff.color) {
        case TiffColor::kAuto:
            break;
        case TiffColor::kBilevel:
            image = black_and_white(opaque(image, encoding));
            break;
        case TiffColor::kGray:
            image = luma(opaque(image, encoding));
            break;
        case TiffColor::kRgb:
            image = as_rgb(opaque(image, encoding));
            break;
        case TiffColor::kRgba:
            image = with_alpha(as_rgb(image));
            break;
        case TiffColor::kCmyk:
            image = as_cmyk(opaque(image, encoding));
            break;
    }
    if (tiff.compression == TiffCompression::kFax4 && !bilevel) {
        unfit("fax compression takes pictures of one bit per pixel only");
    }
    if (tiff.compression == TiffCompression::kJpeg) {
        if (bilevel) {
            unfit("JPEG compression takes no pictures of one bit per pixel");
        }
        if (tiff.color != TiffColor::kCmyk) {
            image = as_8_bit(opaque(image, encoding));
        }
    } else if (!bilevel && tiff.color != TiffColor::kCmyk && tiff.bit_depth != 0) {
        image = tiff.bit_depth == 16 ? as_16_bit(image) : as_8_bit(image);
    }
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
    require_turnable(tiff, tiff.bit_depth == 16 || (tiff.bit_depth == 0 && picture.bits_per_channel() == 16));
}

}  // namespace zelmor::imagework
