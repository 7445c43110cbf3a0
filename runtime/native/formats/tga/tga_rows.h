// The pixels of TGA files as samples: alpha, color maps, and rows.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_TGA_TGA_ROWS_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_TGA_TGA_ROWS_H

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "runtime/native/formats/tga/tga_extension.h"
#include "runtime/native/formats/tga/tga_header.h"
#include "runtime/native/imagework/formats.h"

namespace zelmor::imagework {

// One stored color of 15, 16, 24 or 32 bits, which lies in two to four bytes.
Argb tga_color(const uint8_t* stored, int bits, TgaAlpha alpha);
// The same in the other direction; how many bytes there are. A color without alpha has all of its attribute bits set.
size_t put_tga_color(Argb color, int bits, TgaAlpha alpha, uint8_t* stored);

// Rows of stored gray or colors as samples of 8 bits, with a band for alpha unless there is none, and back. `bits` are
// those of a stored pixel; there is one pixel after the other, without padding.
void tga_pixels_to_samples(std::span<const uint8_t> stored, bool gray, int bits, TgaAlpha alpha, uint8_t* samples);
void samples_to_tga_pixels(const uint8_t* samples, bool gray, int bits, TgaAlpha alpha, std::span<uint8_t> stored);

// Turns a row of pixels of so many bytes around.
void mirror_pixels(std::span<uint8_t> row, size_t pixel_bytes);

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_TGA_TGA_ROWS_H
