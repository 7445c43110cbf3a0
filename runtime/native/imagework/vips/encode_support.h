// What the encoders of single pictures, of frames and of palettes share.
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

// What the settings that go for every format make of the pixels: a transparent color, a background, a palette.
void prepare_for_encoding(Picture& picture, const Encoding& encoding);

EncodedBytes to_encoded(std::vector<uint8_t> bytes);

// An indexed PNG of exactly the palette given, whose indices are the pixels.
EncodedBytes encode_indexed_png(std::span<const uint8_t> indices, int32_t width, int32_t height,
                                std::span<const Argb> palette, const PngEncoding& png, Resolution resolution);

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_IMAGEWORK_VIPS_ENCODE_SUPPORT_H
