// Colors between color models and profiles, many or few at a time.
#ifndef ZELMOR_RUNTIME_NATIVE_IMAGEWORK_VIPS_COLOR_PROFILES_H
#define ZELMOR_RUNTIME_NATIVE_IMAGEWORK_VIPS_COLOR_PROFILES_H

#include <cstdint>
#include <memory>
#include <span>

#include "runtime/native/imagework/formats.h"
#include "runtime/native/imagework/pixels/rows.h"
#include "runtime/native/imagework/pixels/samples.h"

namespace zelmor::imagework {

// A color model with the profile that gives its numbers their meaning. Null stands for sRGB, for gray with the curve of
// sRGB, and for the library's own CMYK profile; Lab is CIE L*a*b* of D50 and takes no profile. A profile that is
// damaged or belongs to another model counts as null.
struct ColorSpace {
    ColorModel model = ColorModel::kRgb;
    ProfileBytes profile = {};
};

// Converts pixels of one color space to another. Any thread may use it.
class ColorConversion {
 public:
    ColorConversion(const ColorSpace& from, const ColorSpace& to);
    ~ColorConversion();
    ColorConversion(const ColorConversion&) = delete;
    ColorConversion& operator=(const ColorConversion&) = delete;

    // The pixels of forms whose models are those of the spaces; samples as pictures hold them (samples.h). Alpha is
    // kept, or opaque where only the target has it.
    void run(const PixelForm& from, const void* samples, const PixelForm& to, void* out, size_t count) const;

    // Whether no color of 8 bits changes by more than one step.
    bool changes_nothing() const;

 private:
    struct State;
    std::unique_ptr<State> m_state;
};

using SharedConversion = std::shared_ptr<const ColorConversion>;

// Conversions between color spaces without profiles, each made at its first use.
const ColorConversion& standard_conversion(ColorModel from, ColorModel to);

// The same for any color spaces. The last few are kept, since making one takes as long as converting a million pixels,
// and many pictures have the same profile.
SharedConversion shared_conversion(const ColorSpace& from, const ColorSpace& to);

// The library's own profile for CMYK, as a file that receives converted colors embeds it.
ProfileBytes standard_cmyk_profile();

// Whether both have the same bytes, or none.
bool same_profile(const ProfileBytes& one, const ProfileBytes& other);
// Whether the bytes are a profile for the color model.
bool is_profile_of(const ProfileBytes& profile, ColorModel model);
// The same for one that colors can be converted to: a press profile may know only the way from its inks.
bool is_output_profile_of(const ProfileBytes& profile, ColorModel model);

// Four bytes C, M, Y, K for each color; alpha does not count.
void argb_to_cmyk(std::span<const Argb> colors, std::span<uint8_t> cmyk, const ProfileBytes& rgb_profile,
                  const ProfileBytes& cmyk_profile);
// Opaque colors.
void cmyk_to_argb(std::span<const uint8_t> cmyk, std::span<Argb> colors, const ProfileBytes& cmyk_profile,
                  const ProfileBytes& rgb_profile);

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_IMAGEWORK_VIPS_COLOR_PROFILES_H
