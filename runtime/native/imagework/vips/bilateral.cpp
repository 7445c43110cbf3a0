// Bilateral smoothing, with both weights looked up in tables; see bilateral.h.
#include "runtime/native/imagework/vips/bilateral.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <string>

#include "runtime/native/imagework/vips/sample_rows.h"
#include "runtime/native/imagework/vips/strips.h"

using vips::VImage;

namespace zelmor::imagework {
namespace {

constexpr int kBilateralStrip = 32;  // of a strip

// exp(-(distance / factor) ^ power / 2), the bell of Gauss for a power of two.
double bell(double distance, double factor, double power) {
    if (distance == 0) {
        return 1;
    }
    return factor > 0 ? std::exp(-0.5 * std::pow(distance / factor, power)) : 0;
}

// A place of the square that counts.
struct Near {
    int dx;
    int dy;
    float weight;
};

std::vector<Near> near_places(const Bilateral& filter) {
    constexpr double kLeast = 1.0 / (1 << 24);  // what single precision loses beside one
    const int half = filter.size / 2;
    std::vector<Near> places;
    for (int dy = -half; dy <= half; dy++) {
        for (int dx = -half; dx <= half; dx++) {
            const double weight = bell(std::hypot(dx, dy), filter.spatial_factor, filter.spatial_power);
            if (weight >= kLeast) {
                places.push_back({dx, dy, static_cast<float>(weight)});
            }
        }
    }
    return places;
}

// A strip with its surroundings: the samples as numbers, and their levels in 1/255 of a channel's range.
struct Strip {
    int x;  // of the first column and row in the image
    int y;
    int width;
    int height;
    size_t bands;
    std::vector<float> samples;
    std::vector<uint8_t> levels;

    size_t at(int column, int row) const {
        return (static_cast<size_t>(row - y) * static_cast<size_t>(width) + static_cast<size_t>(column - x)) * bands;
    }
};

Strip strip_of(const VImage& image, const VImage& levels, int x, int y, int end_x, int end_y) {
    const SampleForm form{image.format(), image.bands(), false};
    Strip strip{x, y, end_x - x, end_y - y, static_cast<size_t>(image.bands()), {}, {}};
    const size_t row = form.samples(strip.width);
    strip.samples.resize(row * static_cast<size_t>(strip.height));
    strip.levels.resize(strip.samples.size());
    for (int line = 0; line < strip.height; line++) {
        unpack_row(form, row_of(image, y + line, x), &strip.samples[row * static_cast<size_t>(line)], strip.width);
        std::copy_n(row_of(levels, y + line, x), row, &strip.levels[row * static_cast<size_t>(line)]);
    }
    return strip;
}

template <int bands>
void smooth_row(const Strip& strip, const Rect& image, int y, int begin, int end, const std::vector<Near>& places,
                const std::vector<float>& alike, float* to) {
    for (int x = begin; x < end; x++, to += bands) {
        const uint8_t* middle = &strip.levels[strip.at(x, y)];
        float weights = 0;
        std::array<float, bands> sums{};
        for (const Near& place : places) {
            const int column = x + place.dx;
            const int row = y + place.dy;
            if (column < 0 || column >= image.width || row < 0 || row >= image.height) {
                continue;
            }
            const size_t at = strip.at(column, row);
            int difference = 0;
            for (size_t band = 0; band < bands; band++) {
                difference += std::abs(strip.levels[at + band] - middle[band]);
            }
            const float weight = place.weight * alike[static_cast<size_t>(difference)];
            weights += weight;
            for (size_t band = 0; band < bands; band++) {
                sums[band] += weight * strip.samples[at + band];
            }
        }
        for (size_t band = 0; band < bands; band++) {
            to[band] = sums[band] / weights;
        }
    }
}

// Samples as integers of 8 bits, which the differences are taken of.
VImage levels_of(const VImage& image) {
    if (image.format() == VIPS_FORMAT_UCHAR) {
        return image;
    }
    if (image.format() == VIPS_FORMAT_USHORT) {
        return (image >> 8).cast(VIPS_FORMAT_UCHAR).copy_memory();
    }
    return image.linear(255.0 / channel_max(image), 0.0).cast(VIPS_FORMAT_UCHAR).copy_memory();
}

}  // namespace

VImage smoothed_bilaterally(const VImage& image, const Bilateral& filter, const Rect& area) {
    const VImage source = image.copy_memory();
    const VImage levels = levels_of(source);
    VImage target = raster_like(source, area.width, area.height, source.bands(), source.format());
    const std::vector<Near> places = near_places(filter);
    int reach = 0;
    for (const Near& place : places) {
        reach = std::max({reach, std::abs(place.dx), std::abs(place.dy)});
    }
    // By the sum of the differences of the channels.
    std::vector<float> alike;
    for (int difference = 0; difference <= 255 * source.bands(); difference++) {
        alike.push_back(static_cast<float>(
            bell(difference / static_cast<double>(source.bands()), filter.color_factor, filter.color_power)));
    }
    const SampleForm form{source.format(), source.bands(), false};
    const Rect whole{0, 0, source.width(), source.height()};
    const auto smooth = [&] {
        switch (source.bands()) {
            case 1:
                return &smooth_row<1>;
            case 3:
                return &smooth_row<3>;
            case 4:
                return &smooth_row<4>;
            default:
                throw PictureError(Failure::kUnsupported, "pixels of " + std::to_string(source.bands()) + " channels");
        }
    }();
    for_strips(target, kBilateralStrip, [&](int begin, int end) {
        const int end_x = area.x + area.width;
        const Strip strip =
            strip_of(source, levels, std::max(0, area.x - reach), std::max(0, area.y + begin - reach),
                     std::min(whole.width, end_x + reach), std::min(whole.height, area.y + end + reach));
        std::vector<float> row(form.samples(area.width));
        for (int y = begin; y < end; y++) {
            smooth(strip, whole, area.y + y, area.x, end_x, places, alike, row.data());
            pack_row(form, row.data(), row_of(target, y), area.width);
        }
    });
    return target;
}

}  // namespace zelmor::imagework
