// Steps that the encoders of single pictures, of frames and of palettes share.
#ifndef ZELMOR_RUNTIME_NATIVE_IMAGEWORK_VIPS_ENCODE_SUPPORT_H
#define ZELMOR_RUNTIME_NATIVE_IMAGEWORK_VIPS_ENCODE_SUPPORT_H

#include "runtime/native/imagework/backend.h"
#include "runtime/native/imagework/vips/vips_support.h"

namespace zelmor::imagework {

// Runs a saver of the library, such as "pngsave_buffer"; takes the options over.
EncodedBytes save_with_library(const vips::VImage& image, const char* saver, vips::VOption* options);

// Refuses pictures that are larger than the format holds.
void check_sides(const Picture& picture, Format format);

// Refuses what cannot be turned to big-endian order, if that is asked for.
void check_tiff_byte_order(const TiffEncoding& tiff, const Picture& picture);

// Applies the settings that all formats share to the pixels: a transparent color, a background, a palette.
void prepare_for_encoding(Picture& picture, const Encoding& encoding);

// Throws PictureError(kEncoding).
[[noreturn]] void unfit(const std::string& text);

// Without alpha: over the background of the encoding, or as the colors are where it says so.
vips::VImage opaque(const vips::VImage& image, const Encoding& encoding);
vips::VImage as_16_bit(const vips::VImage& image);
vips::VImage as_cmyk(const vips::VImage& image);

// Encodes a picture in one of the eight forms; `encoding` has the settings that do not depend on the format.
EncodedBytes encode_as(const PngEncoding& png, const vips::VImage& picture, const Encoding& encoding);
EncodedBytes encode_as(const TiffEncoding& tiff, const vips::VImage& picture, const Encoding& encoding);

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_IMAGEWORK_VIPS_ENCODE_SUPPORT_H
