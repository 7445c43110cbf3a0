// Profiles made of gamma and chromaticities; see png_color_space.h.
#include "runtime/native/formats/png/png_color_space.h"

#include <lcms2.h>

#include <algorithm>
#include <cstdlib>
#include <iterator>
#include <memory>
#include <vector>

namespace zelmor::imagework {
namespace {

constexpr double kScale = 100000.0;
constexpr int32_t kGammaTolerance = 460;  // a hundredth
// Outside of these the number is a mistake.
constexpr uint32_t kLeastGamma = 5000;
constexpr uint32_t kMostGamma = 1000000;
constexpr int32_t kColorTolerance = 150;

struct CloseProfile {
    void operator()(void* profile) const { cmsCloseProfile(profile); }
};
using Profile = std::unique_ptr<void, CloseProfile>;

struct FreeCurve {
    void operator()(cmsToneCurve* curve) const { cmsFreeToneCurve(curve); }
};
using Curve = std::unique_ptr<cmsToneCurve, FreeCurve>;

// The exponent that stored values are raised to; sRGB's own curve where the file tells none.
Curve curve_of(std::optional<uint32_t> gamma) {
    if (gamma && !is_srgb_gamma(*gamma)) {
        return Curve(cmsBuildGamma(nullptr, kScale / *gamma));
    }
    static constexpr double kSrgbCurve[] = {2.4, 1 / 1.055, 0.055 / 1.055, 1 / 12.92, 0.04045};
    return Curve(cmsBuildParametricToneCurve(nullptr, 4, kSrgbCurve));
}

cmsCIExyY point(int32_t x, int32_t y) {
    return {x / kScale, y / kScale, 1.0};
}

ProfileBytes bytes_of(const Profile& profile) {
    cmsUInt32Number size = 0;
    if (!profile || cmsSaveProfileToMem(profile.get(), nullptr, &size) == 0) {
        return nullptr;
    }
    std::vector<uint8_t> bytes(size);
    if (cmsSaveProfileToMem(profile.get(), bytes.data(), &size) == 0) {
        return nullptr;
    }
    // The time of making, which would make each profile another one: the first of January 2000.
    static constexpr uint8_t kTime[] = {0x07, 0xD0, 0, 1, 0, 1, 0, 0, 0, 0, 0, 0};
    constexpr size_t kTimeAt = 24;
    std::copy(std::begin(kTime), std::end(kTime), bytes.begin() + kTimeAt);
    return std::make_shared<const std::vector<uint8_t>>(std::move(bytes));
}

}  // namespace

bool is_srgb_gamma(uint32_t gamma) {
    return std::abs(static_cast<int64_t>(gamma) - kSrgbGamma) <= kGammaTolerance;
}

bool is_srgb(const PngChromaticities& colors) {
    const auto near = [](int32_t a, int32_t b) { return std::abs(int64_t{a} - b) <= kColorTolerance; };
    return near(colors.white_x, kSrgbColors.white_x) && near(colors.white_y, kSrgbColors.white_y) &&
           near(colors.red_x, kSrgbColors.red_x) && near(colors.red_y, kSrgbColors.red_y) &&
           near(colors.green_x, kSrgbColors.green_x) && near(colors.green_y, kSrgbColors.green_y) &&
           near(colors.blue_x, kSrgbColors.blue_x) && near(colors.blue_y, kSrgbColors.blue_y);
}

ProfileBytes profile_of_numbers(std::optional<uint32_t> gamma, const std::optional<PngChromaticities>& colors,
                                bool gray) {
    const bool usual_gamma = !gamma || *gamma < kLeastGamma || *gamma > kMostGamma || is_srgb_gamma(*gamma);
    if (usual_gamma && (gray || !colors || is_srgb(*colors))) {
        return nullptr;
    }
    const Curve curve = curve_of(usual_gamma ? std::nullopt : gamma);
    if (curve == nullptr) {
        return nullptr;
    }
    const PngChromaticities& used = colors ? *colors : kSrgbColors;
    const cmsCIExyY white = point(used.white_x, used.white_y);
    if (used.white_y <= 0 || used.red_y <= 0 || used.green_y <= 0 || used.blue_y <= 0) {
        return nullptr;  // no colors at all; the file's numbers make no sense
    }
    if (gray) {
        return bytes_of(Profile(cmsCreateGrayProfile(cmsD50_xyY(), curve.get())));
    }
    const cmsCIExyYTRIPLE primaries{point(used.red_x, used.red_y), point(used.green_x, used.green_y),
                                    point(used.blue_x, used.blue_y)};
    cmsToneCurve* const curves[] = {curve.get(), curve.get(), curve.get()};
    return bytes_of(Profile(cmsCreateRGBProfile(&white, &primaries, curves)));
}

}  // namespace zelmor::imagework
