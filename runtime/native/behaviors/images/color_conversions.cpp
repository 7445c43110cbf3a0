// Conversions of single colors and arrays of them between RGB and CMYK by color profiles: those of the caller's
// streams, or the image library's own, sRGB and a CMYK of offset print. Alpha does not count.
//
// Where inks are to be those of a PSD file, they are counted from the other end, as the format has them: 255 is no ink.
#include <algorithm>
#include <string>

#include "generated/runtime/Zelmor.Imaging.h"
#include "runtime/native/behaviors/images/color_arrays.h"
#include "runtime/native/behaviors/images/color_profiles.h"
#include "runtime/native/behaviors/values/cmyk.h"
#include "runtime/native/behaviors/values/struct_arrays.h"
#include "runtime/native/collections/collection.h"
#include "runtime/native/core/managed_exception.h"
#include "runtime/native/imagework/loader.h"

namespace zelmor::embed {

using imagework::Argb;

namespace {

constexpr const char* kRgbStream = "rgb_icc_stream";
constexpr const char* kCmykStream = "cmyk_icc_stream";

// The profiles of one conversion; null for the library's own.
struct Profiles {
    imagework::ProfileBytes rgb;
    imagework::ProfileBytes cmyk;
};

Profiles profiles_in(const VariantArg* rgb, const VariantArg* cmyk) {
    const Ref<ManagedStream> of_rgb = read_stream(rgb, kRgbStream);
    const Ref<ManagedStream> of_cmyk = read_stream(cmyk, kCmykStream);
    return {profile_in(of_rgb, kRgbStream), profile_in(of_cmyk, kCmykStream)};
}

// A profile that does not serve is an argument of the caller.
template <class Step>
void with_profiles(Step&& step) {
    try {
        step();
    } catch (const imagework::PictureError& error) {
        if (error.kind() == imagework::Failure::kArgument) {
            throw_argument(std::string(error.what()) + " (Parameter '" + error.parameter() + "')");
        }
        throw;
    }
}

std::vector<CmykValue> cmyk_of(const std::vector<Argb>& colors, const Profiles& profiles = {}) {
    std::vector<uint8_t> bytes(4 * colors.size());
    if (!colors.empty()) {
        with_profiles([&] { image_backend().argb_to_cmyk(colors, bytes, profiles.rgb, profiles.cmyk); });
    }
    std::vector<CmykValue> result(colors.size());
    for (size_t i = 0; i < result.size(); ++i) {
        result[i] = {bytes[4 * i], bytes[4 * i + 1], bytes[4 * i + 2], bytes[4 * i + 3]};
    }
    return result;
}

std::vector<Argb> argb_of(const std::vector<CmykValue>& colors, const Profiles& profiles = {}) {
    std::vector<uint8_t> bytes;
    bytes.reserve(4 * colors.size());
    for (const CmykValue& color : colors) {
        bytes.insert(bytes.end(), {color.c, color.m, color.y, color.k});
    }
    std::vector<Argb> result(colors.size());
    if (!colors.empty()) {
        with_profiles([&] { image_backend().cmyk_to_argb(bytes, result, profiles.cmyk, profiles.rgb); });
    }
    return result;
}

CmykValue cmyk_of_one(Argb color, const Profiles& profiles = {}) {
    return cmyk_of(std::vector<Argb>{color}, profiles).front();
}
ColorValue color_of_one(CmykValue color, const Profiles& profiles = {}) {
    return ColorValue::from_argb(argb_of(std::vector<CmykValue>{color}, profiles).front());
}

CmykValue inverted(const CmykValue& color) {
    const auto rest = [](uint8_t ink) { return static_cast<uint8_t>(255 - ink); };
    return {rest(color.c), rest(color.m), rest(color.y), rest(color.k)};
}
std::vector<CmykValue> inverted(std::vector<CmykValue> colors) {
    std::transform(colors.begin(), colors.end(), colors.begin(),
                   [](const CmykValue& color) { return inverted(color); });
    return colors;
}

// ---- Color and CmykColor.

CmykValue color_to_cmyk(const ColorValue& pixel) {
    return cmyk_of_one(pixel.argb);
}
CmykValue color_to_cmyk_by(const ColorValue& pixel, const VariantArg* rgb, const VariantArg* cmyk) {
    return cmyk_of_one(pixel.argb, profiles_in(rgb, cmyk));
}
Collection colors_to_cmyk(const VariantArg* pixels) {
    return boxed(cmyk_of(read_colors(pixels, "pixels")));
}
Collection colors_to_cmyk_by(const VariantArg* pixels, const VariantArg* rgb, const VariantArg* cmyk) {
    const std::vector<Argb> colors = read_colors(pixels, "pixels");
    return boxed(cmyk_of(colors, profiles_in(rgb, cmyk)));
}
ColorValue cmyk_to_color(const CmykValue& cmyk_pixel) {
    return color_of_one(cmyk_pixel);
}
ColorValue cmyk_to_color_by(const CmykValue& cmyk_pixel, const VariantArg* cmyk, const VariantArg* rgb) {
    return color_of_one(cmyk_pixel, profiles_in(rgb, cmyk));
}
Collection cmyk_to_colors(const VariantArg* cmyk_pixels) {
    return boxed(argb_of(read_cmyk(cmyk_pixels, "cmyk_pixels")));
}
Collection cmyk_to_colors_by(const VariantArg* cmyk_pixels, const VariantArg* cmyk, const VariantArg* rgb) {
    const std::vector<CmykValue> colors = read_cmyk(cmyk_pixels, "cmyk_pixels");
    return boxed(argb_of(colors, profiles_in(rgb, cmyk)));
}

// ---- CmykColorHelper, where CMYK is packed into an integer.

Collection helper_to_colors(const VariantArg* cmyk_pixels) {
    return boxed(argb_of(read_packed_cmyk(cmyk_pixels, "cmyk_pixels")));
}
Collection helper_to_colors_by(const VariantArg* cmyk_pixels, const VariantArg* cmyk, const VariantArg* rgb) {
    const std::vector<CmykValue> colors = read_packed_cmyk(cmyk_pixels, "cmyk_pixels");
    return boxed(argb_of(colors, profiles_in(rgb, cmyk)));
}
ColorValue helper_to_color(int32_t cmyk_pixel) {
    return color_of_one(unpacked_cmyk(cmyk_pixel));
}
ColorValue helper_to_color_by(int32_t cmyk_pixel, const VariantArg* cmyk, const VariantArg* rgb) {
    return color_of_one(unpacked_cmyk(cmyk_pixel), profiles_in(rgb, cmyk));
}
Collection helper_from_colors(const VariantArg* pixels) {
    return packed(cmyk_of(read_colors(pixels, "pixels")));
}
Collection helper_from_colors_by(const VariantArg* pixels, const VariantArg* rgb, const VariantArg* cmyk) {
    const std::vector<Argb> colors = read_colors(pixels, "pixels");
    return packed(cmyk_of(colors, profiles_in(rgb, cmyk)));
}
Collection helper_from_argb(const VariantArg* pixels) {
    return packed(cmyk_of(read_packed_colors(pixels, "pixels")));
}
Collection helper_from_argb_by(const VariantArg* pixels, const VariantArg* rgb, const VariantArg* cmyk) {
    const std::vector<Argb> colors = read_packed_colors(pixels, "pixels");
    return packed(cmyk_of(colors, profiles_in(rgb, cmyk)));
}
int32_t helper_from_color(const ColorValue& pixel) {
    return packed_cmyk(cmyk_of_one(pixel.argb));
}
int32_t helper_from_color_by(const ColorValue& pixel, const VariantArg* rgb, const VariantArg* cmyk) {
    return packed_cmyk(cmyk_of_one(pixel.argb, profiles_in(rgb, cmyk)));
}
int32_t helper_from_argb_one(int32_t argb) {
    return packed_cmyk(cmyk_of_one(static_cast<Argb>(argb)));
}
int32_t helper_from_argb_one_by(int32_t argb, const VariantArg* rgb, const VariantArg* cmyk) {
    return packed_cmyk(cmyk_of_one(static_cast<Argb>(argb), profiles_in(rgb, cmyk)));
}
Collection helper_to_psd(const VariantArg* pixels) {
    return packed(inverted(cmyk_of(read_packed_colors(pixels, "pixels"))));
}
Collection helper_to_psd_by(const VariantArg* pixels, const VariantArg* rgb, const VariantArg* cmyk) {
    const std::vector<Argb> colors = read_packed_colors(pixels, "pixels");
    return packed(inverted(cmyk_of(colors, profiles_in(rgb, cmyk))));
}
int32_t helper_to_psd_one(int32_t argb) {
    return packed_cmyk(inverted(cmyk_of_one(static_cast<Argb>(argb))));
}
int32_t helper_to_psd_one_by(int32_t pixel, const VariantArg* rgb, const VariantArg* cmyk) {
    return packed_cmyk(inverted(cmyk_of_one(static_cast<Argb>(pixel), profiles_in(rgb, cmyk))));
}

// Four bytes C, M, Y, K of each color, with its alpha behind them if that is asked for.
Bytes ink_bytes(const VariantArg* pixels, int32_t start_index, int32_t length, const VariantArg* rgb,
                const VariantArg* cmyk, bool with_alpha) {
    const std::vector<int32_t> items = read_array<int32_t>(pixels, "pixels");
    const std::span<const int32_t> range = range_of(items, start_index, length);
    const std::vector<Argb> colors(range.begin(), range.end());
    const std::vector<CmykValue> inks = cmyk_of(colors, profiles_in(rgb, cmyk));
    Bytes bytes;
    for (size_t i = 0; i < colors.size(); ++i) {
        for (const uint8_t ink : {inks[i].c, inks[i].m, inks[i].y, inks[i].k}) {
            bytes.push_back(std::byte{ink});
        }
        if (with_alpha) {
            bytes.push_back(static_cast<std::byte>(colors[i] >> 24));
        }
    }
    return bytes;
}
Bytes cmyk_bytes_by(const VariantArg* pixels, int32_t start, int32_t length, const VariantArg* rgb,
                    const VariantArg* cmyk) {
    return ink_bytes(pixels, start, length, rgb, cmyk, false);
}
Bytes cmyka_bytes_by(const VariantArg* pixels, int32_t start, int32_t length, const VariantArg* rgb,
                     const VariantArg* cmyk) {
    return ink_bytes(pixels, start, length, rgb, cmyk, true);
}

using CmykColorApi = api::CmykColor;
using HelperApi = api::CmykColorHelper;
using ColorApi = api::Color;

const BehaviorTable ZELMOR_UNNAMED({
    behavior<&color_to_cmyk, ColorApi::call_000_ToCmykIcc, ColorApi::call_000_ToCmykColorWithDefIcc>(),
    behavior<&colors_to_cmyk, ColorApi::call_001_ToCmykIcc, ColorApi::call_000_ToCmykColorsWithDefIcc>(),
    behavior<&colors_to_cmyk_by, ColorApi::call_002_ToCmykIcc, ColorApi::call_000_ToCmykColorsWithIcc>(),
    behavior<&color_to_cmyk_by, ColorApi::call_003_ToCmykIcc, ColorApi::call_000_ToCmykColorWithIcc>(),
    behavior<&cmyk_to_colors, CmykColorApi::call_000_ToColorIcc, CmykColorApi::call_000_ToColorsWithDefIcc>(),
    behavior<&cmyk_to_color, CmykColorApi::call_001_ToColorIcc, CmykColorApi::call_000_ToColorWithDefIcc>(),
    behavior<&cmyk_to_colors_by, CmykColorApi::call_002_ToColorIcc, CmykColorApi::call_000_ToColorsWithIcc>(),
    behavior<&cmyk_to_color_by, CmykColorApi::call_003_ToColorIcc, CmykColorApi::call_000_ToColorWithIcc>(),
    behavior<&helper_to_colors, HelperApi::call_000_ToArgbIcc, HelperApi::call_000_ToArgbColorsWithDefIcc>(),
    behavior<&helper_to_colors_by, HelperApi::call_001_ToArgbIcc, HelperApi::call_000_ToArgbColorsWithIcc>(),
    behavior<&helper_to_color, HelperApi::call_002_ToArgbIcc, HelperApi::call_000_ToArgbColorWithDefIcc>(),
    behavior<&helper_to_color_by, HelperApi::call_003_ToArgbIcc, HelperApi::call_000_ToArgbColorWithIcc>(),
    behavior<&helper_from_colors_by, HelperApi::call_000_ToCmykIcc, HelperApi::call_000_ToCmykArrayWithIcc>(),
    behavior<&helper_from_argb_by, HelperApi::call_001_ToCmykIcc, HelperApi::call_000_Argb32ToCmykArrayWithIcc>(),
    behavior<&helper_from_colors, HelperApi::call_002_ToCmykIcc, HelperApi::call_000_ToCmykArrayWithDefIcc>(),
    behavior<&helper_from_argb, HelperApi::call_003_ToCmykIcc, HelperApi::call_000_Argb32ToCmykArray>(),
    behavior<&helper_from_color, HelperApi::call_004_ToCmykIcc, HelperApi::call_000_ToCmykWithDefIcc>(),
    behavior<&helper_from_argb_one, HelperApi::call_005_ToCmykIcc, HelperApi::call_000_Argb32ToCmyk>(),
    behavior<&helper_from_color_by, HelperApi::call_006_ToCmykIcc, HelperApi::call_000_ToCmykWithIcc>(),
    behavior<&helper_from_argb_one_by, HelperApi::call_007_ToCmykIcc, HelperApi::call_000_Argb32ToCmykWithIcc>(),
    behavior<&helper_to_psd_by, HelperApi::call_000_ToPsdCmykIcc, HelperApi::call_000_Argb32ToPsdCmykArrayWithIcc>(),
    behavior<&helper_to_psd, HelperApi::call_001_ToPsdCmykIcc, HelperApi::call_000_Argb32ToPsdCmykArray>(),
    behavior<&helper_to_psd_one, HelperApi::call_002_ToPsdCmykIcc, HelperApi::call_000_Argb32ToPsdCmyk>(),
    behavior<&helper_to_psd_one_by, HelperApi::call_003_ToPsdCmykIcc, HelperApi::call_000_Argb32ToPsdCmykWithIcc>(),
    behavior<&cmyk_bytes_by, HelperApi::call_000_ToCmykIccBytes>(),
    behavior<&cmyka_bytes_by, HelperApi::call_000_ToCmykaIccBytes>(),
});

}  // namespace

}  // namespace zelmor::embed
