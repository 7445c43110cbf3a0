// Color profiles for PNG files that describe their colors by numbers instead of a profile.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_PNG_PNG_COLOR_SPACE_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_PNG_PNG_COLOR_SPACE_H

#include <optional>

#include "runtime/native/imagework/formats.h"
#include "runtime/native/imagework/pixels/rows.h"

namespace zelmor::imagework {

// The coordinates of white and of the primaries, x and y of each, as multiples of 1/100000.
struct PngChromaticities {
    int32_t white_x, white_y, red_x, red_y, green_x, green_y, blue_x, blue_y;
};

// What files of sRGB have: the inverse of gamma, likewise a multiple, and the coordinates.
constexpr int32_t kSrgbGamma = 45455;
constexpr PngChromaticities kSrgbColors{31270, 32900, 64000, 33000, 30000, 60000, 15000, 6000};

// Whether these are the values of sRGB, as far as programs write them differently.
bool is_srgb_gamma(uint32_t gamma);
bool is_srgb(const PngChromaticities& colors);

// An ICC profile of the colors that gAMA and cHRM describe. Null where they say nothing, or describe sRGB, which is
// what a picture without a profile has.
ProfileBytes profile_of_numbers(std::optional<uint32_t> gamma, const std::optional<PngChromaticities>& colors,
                                bool gray);

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_PNG_PNG_COLOR_SPACE_H
