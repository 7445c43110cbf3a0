// Grouping colors: counts, first centers and rounds, beside what the definitions give in plain loops.
#include "runtime/native/behaviors/masking/clusters.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <tuple>

#include "area_pixels.h"

namespace zelmor::embed {
namespace {

const Checkpoint kGoOn = [] {};

void expect_near(const ColorPoint& found, const ColorPoint& expected) {
    EXPECT_NEAR(found.red, expected.red, 1e-9);
    EXPECT_NEAR(found.green, expected.green, 1e-9);
    EXPECT_NEAR(found.blue, expected.blue, 1e-9);
}

// Some colors, a few of them many times.
std::vector<uint32_t> some_colors(uint32_t seed) {
    std::mt19937 draw(seed);
    std::vector<uint32_t> colors;
    for (int i = 0; i < 60; ++i) {
        const uint32_t color = 0xFF000000 | (static_cast<uint32_t>(draw()) & 0xFFFFFF);
        colors.insert(colors.end(), i % 7 == 0 ? 1 + draw() % 20 : 1, color);
    }
    std::shuffle(colors.begin(), colors.end(), draw);
    return colors;
}

TEST(ClustersTest, ChannelsOfAColor) {
    expect_near(color_point(0x80123456), {0x12, 0x34, 0x56});
    EXPECT_DOUBLE_EQ(squared_distance({1, 2, 3}, {4, 8, 1}), 9 + 36 + 4);
}

TEST(ClustersTest, EachColorIsCountedOnce) {
    const std::vector<uint32_t> pixels = some_colors(1);
    std::map<uint32_t, uint32_t> expected;
    for (const uint32_t color : pixels) {
        ++expected[color];
    }
    const ColorCounts counts(pixels);
    ASSERT_EQ(counts.colors.size(), expected.size());
    size_t i = 0;
    for (const auto& [color, count] : expected) {
        EXPECT_EQ(counts.colors[i], color);
        EXPECT_EQ(counts.counts[i++], count);
    }
}

TEST(ClustersTest, OfEqualDistancesTheFirstCounts) {
    const std::vector<ColorPoint> centers{{100, 0, 0}, {20, 0, 0}, {0, 0, 0}, {20, 0, 0}};
    EXPECT_EQ(nearest_center(centers, {10, 0, 0}), 1U);
    EXPECT_EQ(nearest_center(centers, {9, 0, 0}), 2U);
    EXPECT_EQ(nearest_center(centers, {60, 0, 0}), 0U);
    EXPECT_EQ(nearest_center(centers, {61, 9, 9}), 0U);
}

struct Cell {
    ColorPoint mean;
    double weight;
};

// The cells of 16 levels a channel, in the order of their numbers.
std::vector<Cell> cells_of(const std::vector<uint32_t>& pixels) {
    std::map<std::tuple<int, int, int>, std::vector<ColorPoint>> groups;
    for (const uint32_t argb : pixels) {
        const ColorPoint p = color_point(argb);
        groups[{int(p.red) / 16, int(p.green) / 16, int(p.blue) / 16}].push_back(p);
    }
    std::vector<Cell> cells;
    for (const auto& [place, colors] : groups) {
        ColorPoint sum;
        for (const ColorPoint& color : colors) {
            sum = {sum.red + color.red, sum.green + color.green, sum.blue + color.blue};
        }
        const auto count = static_cast<double>(colors.size());
        cells.push_back({{sum.red / count, sum.green / count, sum.blue / count}, count});
    }
    return cells;
}

double least_distance(const std::vector<ColorPoint>& centers, const ColorPoint& color) {
    double least = 1e18;
    for (const ColorPoint& center : centers) {
        least = std::min(least, squared_distance(center, color));
    }
    return least;
}

TEST(ClustersTest, CentersBeginWhereManyPixelsAreFarFromThoseBefore) {
    for (uint32_t seed = 1; seed <= 8; ++seed) {
        const std::vector<uint32_t> pixels = some_colors(seed);
        const std::vector<Cell> cells = cells_of(pixels);
        for (const bool names_two : {false, true}) {
            std::vector<std::optional<ColorPoint>> given;
            std::vector<ColorPoint> centers;
            if (names_two) {
                given = {std::nullopt, ColorPoint{10, 20, 30}, std::nullopt, ColorPoint{200, 250, 100}};
                centers = {*given[1], *given[3]};
            } else {
                centers.push_back(std::max_element(cells.begin(), cells.end(), [](const Cell& a, const Cell& b) {
                                      return a.weight < b.weight;
                                  })->mean);
            }
            std::vector<ColorPoint> expected;
            for (size_t i = 0; i < 7; ++i) {
                if (i < given.size() && given[i]) {
                    expected.push_back(*given[i]);
                    continue;
                }
                if (i > 0 || names_two) {
                    const auto score = [&](const Cell& cell) {
                        return cell.weight * least_distance(centers, cell.mean);
                    };
                    centers.push_back(std::max_element(cells.begin(), cells.end(), [&](const Cell& a, const Cell& b) {
                                          return score(a) < score(b);
                                      })->mean);
                }
                expected.push_back(centers.back());
            }
            const std::vector<ColorPoint> found = first_centers(ColorCounts(pixels), 7, given);
            ASSERT_EQ(found.size(), 7U);
            for (size_t i = 0; i < found.size(); ++i) {
                expect_near(found[i], expected[i]);
            }
        }
    }
}

TEST(ClustersTest, ThereAreNoMoreCentersThanColors) {
    const std::vector<uint32_t> close{0xFF0F0000, 0xFF100000};  // of two cells, and as near as colors can be
    EXPECT_EQ(first_centers(ColorCounts(close), 2, {}).size(), 2U);
    const std::vector<uint32_t> two{gray(10), gray(200), gray(200)};
    const std::vector<ColorPoint> found = first_centers(ColorCounts(two), 5, {});
    ASSERT_EQ(found.size(), 2U);
    expect_near(found[0], color_point(gray(200)));
    expect_near(found[1], color_point(gray(10)));
    EXPECT_TRUE(first_centers(ColorCounts({}), 3, {}).empty());
    // Centers that are given keep their numbers: those between them lie where no color is.
    const std::vector<std::optional<ColorPoint>> given{std::nullopt, std::nullopt, std::nullopt,
                                                       color_point(gray(200))};
    const std::vector<ColorPoint> kept = first_centers(ColorCounts(two), 4, given);
    ASSERT_EQ(kept.size(), 4U);
    expect_near(kept[0], color_point(gray(10)));
    expect_near(kept[3], color_point(gray(200)));
    for (const size_t i : {1U, 2U}) {
        for (const double channel : {kept[i].red, kept[i].green, kept[i].blue}) {
            EXPECT_GT(channel, 1e6);
        }
    }
}

using Rounds = void (*)(const ColorCounts&, std::vector<ColorPoint>&, const ClusterWork&, const Checkpoint&);

// One round by the definition: shares of each color in each center, as weights of a mean.
std::vector<ColorPoint> one_round(const std::vector<uint32_t>& pixels, const std::vector<ColorPoint>& centers,
                                  bool fuzzy) {
    std::vector<ColorPoint> sums(centers.size());
    std::vector<double> weights(centers.size(), 0);
    for (const uint32_t argb : pixels) {
        const ColorPoint color = color_point(argb);
        std::vector<double> shares(centers.size(), 0);
        double total = 0;
        for (size_t k = 0; k < centers.size(); ++k) {
            shares[k] = 1 / squared_distance(centers[k], color);
            total += shares[k];
        }
        const size_t nearest = nearest_center(centers, color);
        for (size_t k = 0; k < centers.size(); ++k) {
            double weight = k == nearest ? 1 : 0;
            if (fuzzy && squared_distance(centers[nearest], color) > 0) {
                weight = shares[k] / total * (shares[k] / total);
            }
            sums[k] = {sums[k].red + weight * color.red, sums[k].green + weight * color.green,
                       sums[k].blue + weight * color.blue};
            weights[k] += weight;
        }
    }
    std::vector<ColorPoint> moved = centers;
    for (size_t k = 0; k < centers.size(); ++k) {
        if (weights[k] > 0) {
            moved[k] = {sums[k].red / weights[k], sums[k].green / weights[k], sums[k].blue / weights[k]};
        }
    }
    return moved;
}

double farthest_way(const std::vector<ColorPoint>& from, const std::vector<ColorPoint>& to) {
    double farthest = 0;
    for (size_t i = 0; i < from.size(); ++i) {
        farthest = std::max(farthest, std::sqrt(squared_distance(from[i], to[i])));
    }
    return farthest;
}

TEST(ClustersTest, RoundsMoveCentersToMeansUntilNoneMovesFarther) {
    for (const bool fuzzy : {false, true}) {
        const Rounds run = fuzzy ? fuzzy_c_means : k_means;
        for (uint32_t seed = 1; seed <= 4; ++seed) {
            const std::vector<uint32_t> pixels = some_colors(seed);
            const ColorCounts counts(pixels);
            std::vector<ColorPoint> start = first_centers(counts, 4, {});
            start[3] = color_point(pixels[0]);  // just where a color is
            // By rounds of the definition, with the way of the center that moves farthest in each.
            std::vector<std::vector<ColorPoint>> steps{start};
            std::vector<double> ways;
            for (int i = 0; i < 40; ++i) {
                steps.push_back(one_round(pixels, steps.back(), fuzzy));
                ways.push_back(farthest_way(steps[steps.size() - 2], steps.back()));
            }
            for (int32_t rounds = 0; rounds <= 6; ++rounds) {
                std::vector<ColorPoint> centers = start;
                int checkpoints = 0;
                run(counts, centers, {0, rounds}, [&] { ++checkpoints; });
                for (size_t k = 0; k < centers.size(); ++k) {
                    expect_near(centers[k], steps[static_cast<size_t>(rounds)][k]);
                }
                EXPECT_LE(checkpoints, rounds);  // before each round; one that moves nothing is the last
            }
            for (size_t last = 0; last < ways.size() && ways[last] > 1e-3; ++last) {
                std::vector<ColorPoint> centers = start;
                int checkpoints = 0;
                const double precision = ways[last] * 1.000001;
                run(counts, centers, {precision, 1000}, [&] { ++checkpoints; });
                const auto ends = std::find_if(ways.begin(), ways.end(), [&](double way) { return way <= precision; });
                ASSERT_NE(ends, ways.end());
                EXPECT_EQ(checkpoints, ends - ways.begin() + 1);
            }
        }
    }
}

TEST(ClustersTest, ACenterWithoutAColorStays) {
    std::vector<ColorPoint> centers{{10, 10, 10}, {1000, 1000, 1000}};
    k_means(ColorCounts(std::vector<uint32_t>{gray(20), gray(40)}), centers, {0, 5}, kGoOn);
    expect_near(centers[0], {30, 30, 30});
    expect_near(centers[1], {1000, 1000, 1000});
}

TEST(ClustersTest, ACheckpointEndsTheRounds) {
    for (const Rounds run : {k_means, fuzzy_c_means}) {
        std::vector<ColorPoint> centers{{10, 10, 10}};
        const std::vector<uint32_t> pixels{gray(20)};
        EXPECT_THROW(run(ColorCounts(pixels), centers, {0, 5}, [] { throw 1; }), int);
        expect_near(centers[0], {10, 10, 10});
    }
}

}  // namespace
}  // namespace zelmor::embed
