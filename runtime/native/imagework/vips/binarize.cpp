// Black and white by a threshold: fixed, found from the histogram, or taken from each pixel's neighborhood.
#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <functional>

#include "runtime/native/imagework/vips/gray.h"
#include "runtime/native/imagework/vips/strips.h"
#include "runtime/native/imagework/vips/vips_picture.h"

using vips::VImage;

namespace zelmor::imagework {
namespace {

constexpr int kBinarizeStrip = 64;
constexpr size_t kLevels = 256;

VImage above_threshold(const VImage& gray, int threshold) {
    VImage result = raster_like(gray);
    const auto width = static_cast<size_t>(gray.width());
    for_strips(result, kBinarizeStrip, [&](int begin, int end) {
        for (int y = begin; y < end; y++) {
            const uint8_t* from = row_of(gray, y);
            uint8_t* to = row_of(result, y);
            for (size_t x = 0; x < width; x++) {
                to[x] = from[x] > threshold ? 255 : 0;
            }
        }
    });
    return result;
}

std::array<uint64_t, kLevels> histogram_of(const VImage& gray) {
    // Several counts of each level: neighbors are often equal, and would wait for each other's sum.
    constexpr size_t kTogether = 8;
    std::array<std::array<uint64_t, kLevels>, kTogether> counts{};
    const auto width = static_cast<size_t>(gray.width());
    for (int y = 0; y < gray.height(); y++) {
        const uint8_t* row = row_of(gray, y);
        size_t x = 0;
        for (; x + kTogether <= width; x += kTogether) {
            uint64_t pixels = 0;
            std::memcpy(&pixels, row + x, sizeof pixels);
            for (size_t i = 0; i < kTogether; i++) {
                counts[i][pixels >> (8 * i) & 0xFF]++;
            }
        }
        for (; x < width; x++) {
            counts[0][row[x]]++;
        }
    }
    std::array<uint64_t, kLevels> all{};
    for (const auto& part : counts) {
        std::transform(all.begin(), all.end(), part.begin(), all.begin(), std::plus<>());
    }
    return all;
}

// The threshold between dark and light that makes both as far apart as they can be (Otsu 1979), over 256 levels.
int otsu_threshold(const VImage& gray) {
    const auto counts = histogram_of(gray);
    double total = 0;
    double sum = 0;
    for (size_t level = 0; level < kLevels; level++) {
        const auto count = static_cast<double>(counts[level]);
        total += count;
        sum += static_cast<double>(level) * count;
    }
    double below = 0;
    double below_sum = 0;
    double best = -1;
    int threshold = 0;
    for (size_t level = 0; level < kLevels; level++) {
        const auto count = static_cast<double>(counts[level]);
        below += count;
        below_sum += static_cast<double>(level) * count;
        const double above = total - below;
        if (below == 0 || above == 0) {
            continue;
        }
        const double distance = below_sum / below - (sum - below_sum) / above;
        const double between = below * above * distance * distance;
        if (between > best) {
            best = between;
            threshold = static_cast<int>(level);
        }
    }
    return threshold;
}

// White unless darker than the mean of a square window, cut off at the edges of the picture, by the fraction given.
// The window moves down a strip: sums of its columns gain a row and lose one. Sums of the columns from the left on tell
// those of any of them.
VImage above_mean(const VImage& gray, double difference, int window) {
    VImage result = raster_like(gray);
    const int width = gray.width();
    const int height = gray.height();
    const int reach = window / 2;
    const double share = 1.0 - difference;
    const auto strip = [&](int begin, int end) {
        std::vector<uint64_t> columns(static_cast<size_t>(width));
        std::vector<uint64_t> sums(static_cast<size_t>(width) + 1);
        const auto add_row = [&](int y) {
            const uint8_t* row = row_of(gray, y);
            for (size_t x = 0; x < columns.size(); x++) {
                columns[x] += row[x];
            }
        };
        const auto remove_row = [&](int y) {
            const uint8_t* row = row_of(gray, y);
            for (size_t x = 0; x < columns.size(); x++) {
                columns[x] -= row[x];
            }
        };
        for (int y = std::max(0, begin - reach); y < std::min(height, begin + reach); y++) {
            add_row(y);
        }
        for (int y = begin; y < end; y++) {
            if (y + reach < height) {
                add_row(y + reach);
            }
            if (y > begin && y - reach - 1 >= 0) {
                remove_row(y - reach - 1);
            }
            for (size_t x = 0; x < columns.size(); x++) {
                sums[x + 1] = sums[x] + columns[x];
            }
            const int rows = std::min(height, y + reach + 1) - std::max(0, y - reach);
            const uint8_t* from = row_of(gray, y);
            uint8_t* to = row_of(result, y);
            for (int x = 0; x < width; x++) {
                const int left = std::max(0, x - reach);
                const int right = std::min(width, x + reach + 1);
                const auto sum = static_cast<double>(
                    static_cast<int64_t>(sums[static_cast<size_t>(right)] - sums[static_cast<size_t>(left)]));
                // pixel >= mean * share, without a division
                const double pixels = static_cast<double>(rows) * (right - left);
                to[x] = from[x] * pixels >= sum * share ? 255 : 0;
            }
        }
    };
    for_strips(result, std::max(256, 2 * std::min(window, height)), strip);
    return result;
}

}  // namespace

void VipsPicture::binarize(const VImage& is_white) {
    apply("the image could not be binarized",
          [&] { return has_alpha() ? with_alpha_of(is_white, as_8_bit(image())) : is_white; });
}

void VipsPicture::binarize_fixed(uint8_t threshold) {
    on_colors([&] {
        binarize(guarded(Failure::kInternal, "the image could not be binarized",
                         [&] { return above_threshold(gray_8_bit(image()), threshold); }));
    });
}

void VipsPicture::binarize_otsu() {
    on_colors([&] {
        binarize(guarded(Failure::kInternal, "the image could not be binarized", [&] {
            const VImage gray = gray_8_bit(image());
            return above_threshold(gray, otsu_threshold(gray));
        }));
    });
}

void VipsPicture::binarize_bradley(double difference, int32_t window) {
    window = std::min(window, 2 * std::max(width(), height())) | 1;  // a window has a middle
    on_colors([&] {
        binarize(guarded(Failure::kInternal, "the image could not be binarized",
                         [&] { return above_mean(gray_8_bit(image()), difference, window); }));
    });
}

}  // namespace zelmor::imagework
