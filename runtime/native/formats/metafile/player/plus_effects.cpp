// Effects on single pixels: tables, matrices, brightness, balance of colors.
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
    } else if (name == "EmfPlusLevelsEffect") {
        const double low = number_in(effect, "Shadow") * 2.55, high = number_in(effect, "Highlight") * 2.55;
        const double gamma = std::pow(4, -number_in(effect, "MidTone") / 100);
        const Table table = table_of([&](double i) {
            const double part = high > low ? std::clamp((i - low) / (high - low), 0.0, 1.0) : i >= high;
            return 255 * std::pow(part, gamma);
        });
        by_tables(pixels, table, table, table, same);
    }
}

}  // namespace zelmor::embed::metafile
