// Connected parts and soft edges, beside plain loops over all pixels.
#include "runtime/native/behaviors/masking/parts.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <random>

namespace zelmor::embed {
namespace {

constexpr std::pair<int32_t, int32_t> kSizes[] = {{1, 1}, {1, 9}, {9, 1}, {2, 2}, {13, 7}, {8, 15}};

// The least place of each pixel's part: neighbors of one object take over the least among them until nothing changes.
std::vector<size_t> least_places(const Labels& labels, int32_t width, int32_t height) {
    std::vector<size_t> least(labels.size());
    for (size_t i = 0; i < least.size(); ++i) {
        least[i] = i;
    }
    for (bool changed = true; changed;) {
        changed = false;
        for (int32_t y = 0; y < height; ++y) {
            for (int32_t x = 0; x < width; ++x) {
                for (int32_t ny = y - 1; ny <= y + 1; ++ny) {
                    for (int32_t nx = x - 1; nx <= x + 1; ++nx) {
                        if (nx < 0 || ny < 0 || nx >= width || ny >= height) {
                            continue;
                        }
                        const auto here = static_cast<size_t>(y * width + x),
                                   there = static_cast<size_t>(ny * width + nx);
                        if (labels[here] == labels[there] && least[there] < least[here]) {
                            least[here] = least[there];
                            changed = true;
                        }
                    }
                }
            }
        }
    }
    return least;
}

TEST(PartsTest, EachConnectedPartHasANumber) {
    std::mt19937 draw(3);
    for (const auto& [width, height] : kSizes) {
        for (int i = 0; i < 40; ++i) {
            Labels labels(static_cast<size_t>(width) * static_cast<size_t>(height));
            for (int32_t& label : labels) {
                label = draw() % 3 == 0 ? static_cast<int32_t>(1 + draw() % 2) : 0;
            }
            const std::vector<size_t> least = least_places(labels, width, height);
            std::map<size_t, int32_t> numbers;
            Labels expected;
            for (size_t at = 0; at < labels.size(); ++at) {
                expected.push_back(
                    labels[at] == 0
                        ? 0
                        : numbers.insert({least[at], static_cast<int32_t>(numbers.size()) + 1}).first->second);
            }
            Labels found = labels;
            EXPECT_EQ(number_parts(found, width, height), static_cast<int32_t>(numbers.size()));
            EXPECT_EQ(found, expected);
        }
    }
}

// A mean with the weights of a Gaussian curve, along one axis and then along the other.
std::vector<double> blurred(const std::vector<double>& values, int32_t width, int32_t height, int32_t radius,
                            bool down) {
    std::vector<double> result(values.size());
    const double deviation = radius / 2.0;
    for (int32_t y = 0; y < height; ++y) {
        for (int32_t x = 0; x < width; ++x) {
            double sum = 0, weights = 0;
            for (int32_t i = -radius; i <= radius; ++i) {
                const double weight = std::exp(-0.5 * (i / deviation) * (i / deviation));
                const int32_t nx = down ? x : std::clamp(x + i, 0, width - 1);
                const int32_t ny = down ? std::clamp(y + i, 0, height - 1) : y;
                sum += weight * values[static_cast<size_t>(ny * width + nx)];
                weights += weight;
            }
            result[static_cast<size_t>(y * width + x)] = sum / weights;
        }
    }
    return result;
}

TEST(PartsTest, EdgesAreMeansByAGaussianCurve) {
    std::mt19937 draw(4);
    for (const auto& [width, height] : kSizes) {
        for (const int32_t radius : {1, 2, 3, 7, 30, kMostFeathering}) {
            for (const unsigned share : {2U, 9U}) {
                std::vector<uint8_t> mask(static_cast<size_t>(width) * static_cast<size_t>(height));
                for (uint8_t& value : mask) {
                    value = draw() % share == 0 ? 255 : 0;
                }
                const std::vector<double> sharp(mask.begin(), mask.end());
                const std::vector<double> expected =
                    blurred(blurred(sharp, width, height, radius, false), width, height, radius, true);
                const std::vector<uint8_t> found = feathered(mask, width, height, radius);
                ASSERT_EQ(found.size(), mask.size());
                for (size_t i = 0; i < found.size(); ++i) {
                    EXPECT_NEAR(found[i], expected[i], 0.501) << width << 'x' << height << " radius " << radius;
                }
            }
        }
    }
}

TEST(PartsTest, WithoutARadiusAMaskStays) {
    const std::vector<uint8_t> mask{0, 255, 7, 9};
    EXPECT_EQ(feathered(mask, 2, 2, 0), mask);
    EXPECT_TRUE(feathered({}, 0, 0, 5).empty());
    EXPECT_EQ(kMostFeathering, 255);
}

}  // namespace
}  // namespace zelmor::embed
