// Gray, brightness, contrast, gamma and the ways of making an image black and white.
#include <cmath>

#include "generated/runtime/Zelmor.Imaging.h"
#include "runtime/native/behaviors/images/image_object.h"
#include "runtime/native/behaviors/images/picture_failures.h"
#include "runtime/native/core/managed_exception.h"
#include "runtime/native/core/text.h"

namespace zelmor::embed {

namespace {

template <class Number>
void require_between(Number value, Number least, Number most, const char* parameter) {
    if (value >= least && value <= most) {
        return;
    }
    const auto text = [](Number number) {
        if constexpr (std::is_integral_v<Number>) {
            return std::to_string(number);
        } else {
            return to_utf8(number_text(number));
        }
    };
    throw_out_of_range(parameter,
                       "The value " + text(value) + " is not between " + text(least) + " and " + text(most) + ".");
}

void grayscale(ImageObject& self) {
    self.change([&](imagework::Picture& picture) { picture.grayscale(); });
}

void adjust_brightness(ImageObject& self, int32_t brightness) {
    self.require_live();
    require_between(brightness, -255, 255, "brightness");
    self.change([&](imagework::Picture& picture) { picture.adjust_brightness(brightness); });
}

void adjust_contrast(ImageObject& self, float contrast) {
    self.require_live();
    require_between(contrast, -100.0F, 100.0F, "contrast");
    self.change([&](imagework::Picture& picture) { picture.adjust_contrast(contrast); });
}

void require_gamma(float gamma, const char* parameter) {
    if (!(gamma > 0.0F) || std::isinf(gamma)) {
        throw_out_of_range(parameter, "The value " + to_utf8(number_text(gamma)) + " is no positive gamma.");
    }
}
void adjust_gammas(ImageObject& self, float gamma_red, float gamma_green, float gamma_blue) {
    self.require_live();
    require_gamma(gamma_red, "gamma_red");
    require_gamma(gamma_green, "gamma_green");
    require_gamma(gamma_blue, "gamma_blue");
    self.change([&](imagework::Picture& picture) { picture.adjust_gamma(gamma_red, gamma_green, gamma_blue); });
}
void adjust_gamma(ImageObject& self, float gamma) {
    self.require_live();
    require_gamma(gamma, "gamma");
    self.change([&](imagework::Picture& picture) { picture.adjust_gamma(gamma, gamma, gamma); });
}

void binarize_fixed(ImageObject& self, uint8_t threshold) {
    self.change([&](imagework::Picture& picture) { picture.binarize_fixed(threshold); });
}
void binarize_otsu(ImageObject& self) {
    self.change([&](imagework::Picture& picture) { picture.binarize_otsu(); });
}

// The difference is the fraction, 0 to 1, by which a pixel has to be darker than its surroundings to become black.
void binarize_bradley(ImageObject& self, double brightness_difference, int32_t window_size) {
    self.require_live();
    require_between(brightness_difference, 0.0, 1.0, "brightness_difference");
    if (window_size < 1) {
        throw_out_of_range("window_size", "The value " + std::to_string(window_size) + " is not positive.");
    }
    self.change([&](imagework::Picture& picture) { picture.binarize_bradley(brightness_difference, window_size); });
}
// The method's authors take an eighth of the width for the window.
void binarize_bradley_default_window(ImageObject& self, double brightness_difference) {
    binarize_bradley(self, brightness_difference, std::max(3, self.picture().width() / 8));
}

using RasterImageApi = api::RasterImage;

const BehaviorTable ZELMOR_UNNAMED({
    behavior<&grayscale, RasterImageApi::call_000_Grayscale>(),
    behavior<&adjust_brightness, RasterImageApi::call_000_AdjustBrightness>(),
    behavior<&adjust_contrast, RasterImageApi::call_000_AdjustContrast>(),
    behavior<&adjust_gammas, RasterImageApi::call_000_AdjustGamma>(),
    behavior<&adjust_gamma, RasterImageApi::call_001_AdjustGamma>(),
    behavior<&binarize_fixed, RasterImageApi::call_000_BinarizeFixed>(),
    behavior<&binarize_otsu, RasterImageApi::call_000_BinarizeOtsu>(),
    behavior<&binarize_bradley_default_window, RasterImageApi::call_000_BinarizeBradley>(),
    behavior<&binarize_bradley, RasterImageApi::call_001_BinarizeBradley>(),
});

}  // namespace

}  // namespace zelmor::embed
