// Effects on single pixels: tables, matrices, curves, brightness, balance of colors, hue.
#include "runtime/native/formats/metafile/player/plus_effects.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <string_view>

namespace zelmor::embed::metafile {

namespace {

using Table = std::array<uint8_t, 256>;

uint8_t clipped(double value) {
    return static_cast<uint8_t>(std::lround(std::clamp(value, 0.0, 255.0)));
}

void by_tables(Pixels& pixels, const Table& red, const Table& green, const Table& blue, const Table& alpha) {
    for (Argb& color : pixels.colors) {
        color = static_cast<Argb>(alpha[color >> 24] << 24 | red[color >> 16 & 0xFF] << 16 |
                                  green[color >> 8 & 0xFF] << 8 | blue[color & 0xFF]);
    }
}

template <class Function>
Table table_of(Function&& function) {
    Table table;
    for (size_t i = 0; i < table.size(); ++i) {
        table[i] = clipped(function(static_cast<double>(i)));
    }
    return table;
}

Table table_in(const ManagedObject& effect, const char* name) {
    const FileBytes bytes = bytes_in(effect, name);
    return table_of([&](double i) {
        const auto index = static_cast<size_t>(i);
        return index < bytes.size() ? double(bytes[index]) : i;
    });
}

// Rows are the contributions of red, green, blue, alpha and of one.
void by_matrix(const ManagedObject& effect, Pixels& pixels) {
    std::array<std::vector<double>, 5> rows;
    const char* names[] = {"MatrixN0", "MatrixN1", "MatrixN2", "MatrixN3", "MatrixN4"};
    for (size_t i = 0; i < rows.size(); ++i) {
        rows[i] = numbers_in(effect, names[i]);
        rows[i].resize(5);
    }
    for (Argb& color : pixels.colors) {
        const double from[] = {double(color >> 16 & 0xFF), double(color >> 8 & 0xFF), double(color & 0xFF),
                               double(color >> 24), 255.0};
        const auto channel = [&](size_t column) {
            double sum = 0;
            for (size_t row = 0; row < 5; ++row) {
                sum += from[row] * rows[row][column];
            }
            return static_cast<Argb>(clipped(sum));
        };
        color = channel(3) << 24 | channel(0) << 16 | channel(1) << 8 | channel(2);
    }
}

// ---- Curves. Where the format states only what one is like, it is the simplest that is so.

enum class Curve { kExposure, kDensity, kContrast, kHighlight, kShadow, kMidtone, kWhiteSaturation, kBlackSaturation };

Table curve_of(const ManagedObject& effect) {
    const double amount = number_in(effect, "AdjustmentIntensity");
    const double part = amount / 100;
    switch (static_cast<Curve>(whole_in(effect, "CurveAdjustment"))) {
        case Curve::kExposure:  // twice the light at 255, half of it at -255
            return table_of([&](double i) { return i * std::pow(2, amount / 255); });
        case Curve::kDensity:  // the same for what the film holds back
            return table_of([&](double i) { return 255 - (255 - i) * std::pow(2, -amount / 255); });
        case Curve::kContrast:
            return table_of([&](double i) { return (i - 127.5) * (1 + part) + 127.5; });
        case Curve::kHighlight:  // the more the lighter a color is
            return table_of([&](double i) { return i * (1 + part / 2 * (i / 255)); });
        case Curve::kShadow:
            return table_of([&](double i) { return i + part / 2 * (255 - i) * (1 - i / 255); });
        case Curve::kMidtone:
            return table_of([&](double i) { return 255 * std::pow(i / 255, std::pow(2, -part)); });
        case Curve::kWhiteSaturation:  // what is as light as that becomes white
            return table_of([&](double i) { return i * 255 / std::max(amount, 1.0); });
        case Curve::kBlackSaturation:  // what is as dark as that becomes black
            return table_of([&](double i) { return (i - amount) * 255 / std::max(255 - amount, 1.0); });
    }
    return table_of([](double i) { return i; });
}

void by_curve(const ManagedObject& effect, const Table& same, Pixels& pixels) {
    constexpr int64_t kAll = 0;
    const int64_t channel = whole_in(effect, "CurveChannel");
    const Table curve = curve_of(effect);
    const auto of = [&](int64_t its) -> const Table& { return channel == kAll || channel == its ? curve : same; };
    by_tables(pixels, of(1), of(2), of(3), same);
}

// ---- Hue

struct Hsl {
    double hue, saturation, light;  // degrees, and parts of 1
};

Hsl hsl_of(double red, double green, double blue) {
    const double most = std::max({red, green, blue}), least = std::min({red, green, blue}), range = most - least;
    Hsl hsl{0, 0, (most + least) / 2};
    if (range <= 0) {
        return hsl;
    }
    hsl.saturation = range / (1 - std::abs(2 * hsl.light - 1));
    const double sixth = most == red     ? (green - blue) / range
                         : most == green ? (blue - red) / range + 2
                                         : (red - green) / range + 4;
    hsl.hue = 60 * sixth;
    return hsl;
}

std::array<double, 3> rgb_of(const Hsl& hsl) {
    const double range = (1 - std::abs(2 * hsl.light - 1)) * hsl.saturation;
    const auto channel = [&](double at) {
        const double turn = std::fmod(std::fmod((hsl.hue + at) / 30, 12) + 12, 12);
        return hsl.light - range / 2 * std::max(-1.0, std::min({turn - 3, 9 - turn, 1.0}));
    };
    return {channel(0), channel(240), channel(120)};
}

template <class Change>
void by_rgb(Pixels& pixels, Change&& change) {
    for (Argb& color : pixels.colors) {
        const std::array<double, 3> made =
            change((color >> 16 & 0xFF) / 255.0, (color >> 8 & 0xFF) / 255.0, (color & 0xFF) / 255.0);
        color = (color & 0xFF000000) | static_cast<Argb>(clipped(made[0] * 255) << 16) |
                static_cast<Argb>(clipped(made[1] * 255) << 8) | clipped(made[2] * 255);
    }
}

// -100 to 100: nothing of it is left, or all.
double changed_part(double value, double percent) {
    return percent < 0 ? value * (1 + percent / 100) : value + (1 - value) * percent / 100;
}

void by_hue(const ManagedObject& effect, Pixels& pixels) {
    const double hue = number_in(effect, "HueLevel"), saturation = number_in(effect, "SaturationLevel");
    const double light = number_in(effect, "LightnessLevel");
    by_rgb(pixels, [&](double red, double green, double blue) {
        Hsl hsl = hsl_of(red, green, blue);
        hsl.hue += hue;
        if (hsl.saturation > 0) {  // what is gray has no hue that could be strengthened
            hsl.saturation = std::clamp(changed_part(hsl.saturation, saturation), 0.0, 1.0);
        }
        hsl.light = std::clamp(changed_part(hsl.light, light), 0.0, 1.0);
        return rgb_of(hsl);
    });
}

// A hue is strengthened: colors move towards it, at the light that they have. Weakened: away from it.
void by_tint(const ManagedObject& effect, Pixels& pixels) {
    const double hue = number_in(effect, "Hue"), amount = number_in(effect, "Amount") / 100;
    by_rgb(pixels, [&](double red, double green, double blue) {
        const std::array<double, 3> own{red, green, blue};
        std::array<double, 3> tinted = rgb_of({hue, 1, hsl_of(red, green, blue).light});
        for (size_t i = 0; i < tinted.size(); ++i) {
            tinted[i] = own[i] + amount * (tinted[i] - own[i]);
        }
        return tinted;
    });
}

}  // namespace

void apply_effect(const ManagedObject& effect, Pixels& pixels) {
    const std::string_view name = effect.type().name;
    const Table same = table_of([](double i) { return i; });
    if (name == "EmfPlusColorMatrixEffect") {
        by_matrix(effect, pixels);
    } else if (name == "EmfPlusColorLookupTableEffect") {
        by_tables(pixels, table_in(effect, "RedLookupTable"), table_in(effect, "GreenLookupTable"),
                  table_in(effect, "BlueLookupTable"), table_in(effect, "AlphaLookupTable"));
    } else if (name == "EmfPlusBrightnessContrastEffect") {
        const double brightness = number_in(effect, "BrightnessLevel"), contrast = number_in(effect, "ContrastLevel");
        const double slope = contrast >= 0 ? 1 / std::max(1 - contrast / 100, 0.01) : 1 + contrast / 100;
        const Table table = table_of([&](double i) { return (i - 127.5) * slope + 127.5 + brightness; });
        by_tables(pixels, table, table, table, same);
    } else if (name == "EmfPlusColorBalanceEffect") {
        const auto shifted = [&](const char* channel) {
            const double by = number_in(effect, channel) * 2.55;
            return table_of([&](double i) { return i + by; });
        };
        by_tables(pixels, shifted("CyanRed"), shifted("MagentaGreen"), shifted("YellowBlue"), same);
    } else if (name == "EmfPlusColorCurveEffect") {
        by_curve(effect, same, pixels);
    } else if (name == "EmfPlusHueSaturationLightnessEffect") {
        by_hue(effect, pixels);
    } else if (name == "EmfPlusTintEffect") {
        by_tint(effect, pixels);
    } else if (name == "EmfPlusLevelsEffect") {
        const double low = number_in(effect, "Shadow") * 2.55, high = number_in(effect, "Highlight") * 2.55;
        const double gamma = std::pow(4, -number_in(effect, "MidTone") / 100);
        const Table table = table_of([&](double i) {
            const double part = high > low ? std::clamp((i - low) / (high - low), 0.0, 1.0) : i >= high ? 1.0 : 0.0;
            return 255 * std::pow(part, gamma);
        });
        by_tables(pixels, table, table, table, same);
    }
}

}  // namespace zelmor::embed::metafile
