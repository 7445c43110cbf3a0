// Grouping the colors of a picture around centers: k-means and fuzzy c-means.
#ifndef ZELMOR_RUNTIME_NATIVE_BEHAVIORS_MASKING_CLUSTERS_H
#define ZELMOR_RUNTIME_NATIVE_BEHAVIORS_MASKING_CLUSTERS_H

#include <optional>
#include <span>
#include <vector>

#include "runtime/native/behaviors/masking/segmentation.h"

namespace zelmor::embed {

struct ColorPoint {
    double red = 0, green = 0, blue = 0;
};

inline ColorPoint color_point(uint32_t argb) {
    return {double(argb >> 16 & 0xFF), double(argb >> 8 & 0xFF), double(argb & 0xFF)};
}
inline double squared_distance(const ColorPoint& a, const ColorPoint& b) {
    const double red = a.red - b.red, green = a.green - b.green, blue = a.blue - b.blue;
    return red * red + green * green + blue * blue;
}
// The first of the nearest centers.
size_t nearest_center(std::span<const ColorPoint> centers, const ColorPoint& color);

// The colors of a picture, each once, in the order of their numbers, and how many pixels have it.
struct ColorCounts {
    explicit ColorCounts(std::span<const uint32_t> argb);
    std::vector<uint32_t> colors;
    std::vector<uint32_t> counts;
};

// As many centers as asked for, or one for each color where there are fewer. Those that are given are taken as they
// are; each of the others is the mean of the cell of 16 by 16 by 16 levels that has the greatest product of its pixels
// and their squared distance to the centers before.
std::vector<ColorPoint> first_centers(const ColorCounts& colors, size_t count,
                                      std::span<const std::optional<ColorPoint>> given);

struct ClusterWork {
    double precision;    // it ends when no center moves farther, in levels,
    int32_t iterations;  // and at the latest after so many rounds
};
// Each center becomes the mean of the colors that are nearest to it; one without a color stays.
void k_means(const ColorCounts& colors, std::vector<ColorPoint>& centers, const ClusterWork& work,
             const Checkpoint& checkpoint);
// The same where each color belongs to all centers, the more the nearer they are: its share of a center is the inverse
// of the squared distance, as a part of the sum of all, and counts squared.
void fuzzy_c_means(const ColorCounts& colors, std::vector<ColorPoint>& centers, const ClusterWork& work,
                   const Checkpoint& checkpoint);

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_BEHAVIORS_MASKING_CLUSTERS_H
