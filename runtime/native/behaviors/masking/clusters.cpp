// Grouping colors; see clusters.h.
#include "runtime/native/behaviors/masking/clusters.h"

#include <algorithm>
#include <cassert>
#include <cmath>

namespace zelmor::embed {

namespace {

struct ColorSum {
    ColorPoint sum;
    double weight = 0;
    void add(const ColorPoint& color, double by) {
        sum.red += color.red * by;
        sum.green += color.green * by;
        sum.blue += color.blue * by;
        weight += by;
    }
    ColorPoint mean() const {
        assert(weight > 0);
        return {sum.red / weight, sum.green / weight, sum.blue / weight};
    }
};

// In the place of a center that no color is left for, so that those behind it keep their numbers.
constexpr ColorPoint kNowhere{1e9, 1e9, 1e9};

// Moves the centers to the means; the square of the longest way.
double move_to_means(std::vector<ColorPoint>& centers, std::span<const ColorSum> sums) {
    double farthest = 0;
    for (size_t i = 0; i < centers.size(); ++i) {
        if (sums[i].weight > 0) {
            const ColorPoint mean = sums[i].mean();
            farthest = std::max(farthest, squared_distance(centers[i], mean));
            centers[i] = mean;
        }
    }
    return farthest;
}

template <class Round>
void run_rounds(std::vector<ColorPoint>& centers, const ClusterWork& work, const Checkpoint& checkpoint,
                Round&& round) {
    std::vector<ColorSum> sums;
    for (int32_t i = 0; i < work.iterations; ++i) {
        checkpoint();
        sums.assign(centers.size(), {});
        round(sums);
        if (move_to_means(centers, sums) <= work.precision * work.precision) {
            return;
        }
    }
}

}  // namespace

size_t nearest_center(std::span<const ColorPoint> centers, const ColorPoint& color) {
    assert(!centers.empty());
    size_t best = 0;
    double least = squared_distance(centers[0], color);
    for (size_t i = 1; i < centers.size(); ++i) {
        const double distance = squared_distance(centers[i], color);
        if (distance < least) {
            least = distance;
            best = i;
        }
    }
    return best;
}

ColorCounts::ColorCounts(std::span<const uint32_t> argb) {
    std::vector<uint32_t> sorted(argb.begin(), argb.end());
    std::sort(sorted.begin(), sorted.end());
    for (const uint32_t color : sorted) {
        if (colors.empty() || colors.back() != color) {
            colors.push_back(color);
            counts.push_back(0);
        }
        ++counts.back();
    }
}

std::vector<ColorPoint> first_centers(const ColorCounts& colors, size_t count,
                                      std::span<const std::optional<ColorPoint>> given) {
    assert(given.size() <= count);
    constexpr int kCellBits = 4;
    std::vector<ColorSum> cells(size_t{1} << 3 * kCellBits);
    for (size_t i = 0; i < colors.colors.size(); ++i) {
        const uint32_t color = colors.colors[i];
        const uint32_t cell = (color >> 20 & 0xF) << 8 | (color >> 12 & 0xF) << 4 | (color >> 4 & 0xF);
        cells[cell].add(color_point(color), colors.counts[i]);
    }
    std::vector<ColorPoint> means;
    std::vector<double> weights;
    for (const ColorSum& cell : cells) {
        if (cell.weight > 0) {
            means.push_back(cell.mean());
            weights.push_back(cell.weight);
        }
    }
    // The squared distance of each cell to the nearest center.
    std::vector<double> distances(means.size(), 0);
    bool any = false;
    const auto note = [&](const ColorPoint& center) {
        for (size_t i = 0; i < means.size(); ++i) {
            const double distance = squared_distance(means[i], center);
            distances[i] = any ? std::min(distances[i], distance) : distance;
        }
        any = true;
    };
    std::vector<std::optional<ColorPoint>> centers(given.begin(), given.end());
    centers.resize(count);
    for (const std::optional<ColorPoint>& center : centers) {
        if (center) {
            note(*center);
        }
    }
    if (!any && !means.empty()) {
        // The first center of all is the cell with the most pixels.
        const auto most = static_cast<size_t>(std::max_element(weights.begin(), weights.end()) - weights.begin());
        centers[0] = means[most];
        note(means[most]);
    }
    std::vector<ColorPoint> result;
    for (std::optional<ColorPoint>& center : centers) {
        if (!center) {
            double greatest = 0;
            for (size_t i = 0; i < means.size(); ++i) {
                if (weights[i] * distances[i] > greatest) {
                    greatest = weights[i] * distances[i];
                    center = means[i];
                }
            }
            if (!center) {  // each color has a center
                if (!given.empty()) {
                    result.push_back(kNowhere);
                }
                continue;
            }
            note(*center);
        }
        result.push_back(*center);
    }
    return result;
}

void k_means(const ColorCounts& colors, std::vector<ColorPoint>& centers, const ClusterWork& work,
             const Checkpoint& checkpoint) {
    run_rounds(centers, work, checkpoint, [&](std::vector<ColorSum>& sums) {
        for (size_t i = 0; i < colors.colors.size(); ++i) {
            const ColorPoint color = color_point(colors.colors[i]);
            sums[nearest_center(centers, color)].add(color, colors.counts[i]);
        }
    });
}

void fuzzy_c_means(const ColorCounts& colors, std::vector<ColorPoint>& centers, const ClusterWork& work,
                   const Checkpoint& checkpoint) {
    std::vector<double> shares(centers.size());
    run_rounds(centers, work, checkpoint, [&](std::vector<ColorSum>& sums) {
        for (size_t i = 0; i < colors.colors.size(); ++i) {
            const ColorPoint color = color_point(colors.colors[i]);
            double total = 0;
            size_t at_center = centers.size();
            for (size_t k = 0; k < centers.size(); ++k) {
                const double distance = squared_distance(centers[k], color);
                if (distance == 0) {
                    at_center = k;
                    break;
                }
                shares[k] = 1 / distance;
                total += shares[k];
            }
            if (at_center < centers.size()) {
                sums[at_center].add(color, colors.counts[i]);  // it belongs there alone
                continue;
            }
            for (size_t k = 0; k < centers.size(); ++k) {
                const double share = shares[k] / total;
                sums[k].add(color, share * share * colors.counts[i]);
            }
        }
    });
}

}  // namespace zelmor::embed
