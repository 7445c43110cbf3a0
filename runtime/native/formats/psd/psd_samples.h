// Rows of planes as a PSD file has them, and rows of pixels as pictures have them.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_PSD_PSD_SAMPLES_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_PSD_PSD_SAMPLES_H

#include <cstdint>
#include <span>

#include "runtime/native/imagework/pixels/pixel_form.h"

namespace zelmor::imagework {

// Files have 1-bit samples with 1 for black, inks with 0 for all of the ink, and a* and b* with the middle of the range
// for 0. Their samples are big-endian.
//
// One band of a row of pixels, from a plane's row or to one.
void put_band(const PixelForm& form, int band, std::span<const uint8_t> plane, int32_t width, uint8_t* pixels);
void take_band(const PixelForm& form, int band, const uint8_t* pixels, int32_t width, std::span<uint8_t> plane);

// Fills a band of a row with the sample that stands for no color: black, no ink; alpha becomes opaque.
void clear_band(const PixelForm& form, int band, int32_t width, uint8_t* pixels);

// The colors of a row of pixels with alpha, mixed with white by it, and the colors that were mixed so. A transparent
// pixel stays white.
void mix_with_white(const PixelForm& form, int32_t width, uint8_t* pixels);
void unmix_white(const PixelForm& form, int32_t width, uint8_t* pixels);

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_PSD_PSD_SAMPLES_H
