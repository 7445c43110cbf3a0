// Colors between sRGB and CMYK by profile, many or few at a time.
#ifndef ZELMOR_RUNTIME_NATIVE_IMAGEWORK_VIPS_COLOR_PROFILES_H
#define ZELMOR_RUNTIME_NATIVE_IMAGEWORK_VIPS_COLOR_PROFILES_H

#include <cstdint>
#include <span>

#include "runtime/native/imagework/formats.h"

namespace zelmor::imagework {

// Four bytes C, M, Y, K for each color; alpha does not count.
void argb_to_cmyk(std::span<const Argb> colors, std::span<uint8_t> cmyk);
// Opaque colors.
void cmyk_to_argb(std::span<const uint8_t> cmyk, std::span<Argb> colors);

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_IMAGEWORK_VIPS_COLOR_PROFILES_H
