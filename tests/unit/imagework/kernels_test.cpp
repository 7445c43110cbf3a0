// Kernels as tables of weights: those of resampling by their formulas, and kernels that are taken apart.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numbers>
#include <numeric>
#include <random>

#include "failure_of.h"
#include "runtime/native/imagework/resampling_weights.h"
#include "runtime/native/imagework/separable.h"

namespace zelmor::imagework {
namespace {

constexpr double kPi = std::numbers::pi;

double sinc(double x) {
    return x == 0 ? 1 : std::sin(kPi * x) / (kPi * x);
}
// Mitchell and Netravali's cubic curves.
double cubic(double x, double b, double c) {
    return x >= 2  ? 0
           : x < 1 ? ((12 - 9 * b - 6 * c) * std::pow(x, 3) + (12 * b + 6 * c - 18) * std::pow(x, 2) + 6 - 2 * b) / 6
                   : ((-b - 6 * c) * std::pow(x, 3) + (6 * b + 30 * c) * std::pow(x, 2) - (12 * b + 48 * c) * x +
                      8 * b + 24 * c) /
                         6;
}

double value_of(Resampling kind, double x) {
    switch (kind) {
        case Resampling::kBilinear:
            return std::max(0.0, 1 - x);
        case Resampling::kBell:
            return x < 0.5 ? 0.75 - x * x : x < 1.5 ? (x - 1.5) * (x - 1.5) / 2 : 0;
        case Resampling::kBSpline:
            return cubic(x, 1, 0);
        case Resampling::kMitchell:
            return cubic(x, 1.0 / 3, 1.0 / 3);
        case Resampling::kCatmullRom:
            return cubic(x, 0, 0.5);
        case Resampling::kSinc:
            return x < 4 ? sinc(x) * (1 + std::cos(kPi * x / 4)) / 2 : 0;
        default:
            return x < 3 ? sinc(x) * sinc(x / 3) : 0;
    }
}

TEST(KernelsTest, WeightsOfResamplingFollowTheFormulas) {
    for (const Resampling kind :
         {Resampling::kBilinear, Resampling::kBell, Resampling::kBSpline, Resampling::kMitchell,
          Resampling::kCatmullRom, Resampling::kSinc, Resampling::kLanczos, Resampling::kAdaptive}) {
        for (const auto& [from, to] :
             {std::pair{60, 60}, {60, 61}, {60, 17}, {7, 90}, {1, 5}, {90, 1}, {2, 1}, {500, 3}}) {
            for (const double part : {-0.75, -0.25, 0.0, 0.3, 0.9}) {
                const double extent = from + part;
                if (part != 0 && (from < 2 * to + 1 || to < 1)) {
                    continue;
                }
                const ResamplingWeights found =
                    part == 0 ? resampling_weights(kind, from, to) : resampling_weights(kind, from, to, extent);
                ASSERT_EQ(found.first.size(), static_cast<size_t>(to));
                ASSERT_EQ(found.count.size(), static_cast<size_t>(to));
                const double width = std::max(1.0, extent / to);
                for (int i = 0; i < to; i++) {
                    std::vector<double> expected;
                    for (int place = 0; place < from; place++) {
                        expected.push_back(value_of(kind, std::fabs(place + 0.5 - (i + 0.5) * extent / to) / width));
                    }
                    const double sum = std::accumulate(expected.begin(), expected.end(), 0.0);
                    const auto at = static_cast<size_t>(i);
                    ASSERT_LE(static_cast<size_t>(found.count[at]), found.stride);
                    ASSERT_LE(found.first[at] + found.count[at], from);
                    EXPECT_GE(found.first[at], i == 0 ? 0 : found.first[at - 1]);
                    for (int place = 0; place < from; place++) {
                        const int inside = place - found.first[at];
                        const bool has = inside >= 0 && inside < found.count[at];
                        EXPECT_NEAR(has ? found.values[at * found.stride + static_cast<size_t>(inside)] : 0,
                                    expected[static_cast<size_t>(place)] / sum, 1e-9)
                            << static_cast<int>(kind) << ' ' << from << " to " << to << " at " << i << ", " << place;
                    }
                }
            }
        }
    }
}

Kernel kernel_of(int width, int height, const std::vector<double>& weights) {
    Kernel kernel;
    kernel.width = width;
    kernel.height = height;
    kernel.weights = weights;
    return kernel;
}

void expect_parts(const Kernel& kernel, double middle) {
    const auto found = separable(kernel);
    ASSERT_TRUE(found);
    ASSERT_EQ(found->column.size(), static_cast<size_t>(kernel.height));
    ASSERT_EQ(found->row.size(), static_cast<size_t>(kernel.width));
    EXPECT_NEAR(found->middle, middle, 1e-12);
    for (int y = 0; y < kernel.height; y++) {
        for (int x = 0; x < kernel.width; x++) {
            const bool is_middle = x == kernel.width / 2 && y == kernel.height / 2;
            EXPECT_NEAR(
                found->column[static_cast<size_t>(y)] * found->row[static_cast<size_t>(x)] + (is_middle ? middle : 0),
                kernel.weights[static_cast<size_t>(y * kernel.width + x)], 1e-12);
        }
    }
}

TEST(KernelsTest, ProductsAreTakenApart) {
    std::mt19937 draw(2);
    std::uniform_real_distribution<double> number(-3, 3);
    for (const auto& [width, height] : {std::pair{3, 3}, {5, 3}, {3, 7}, {1, 5}, {5, 1}, {1, 1}, {9, 9}}) {
        for (int round = 0; round < 10; round++) {
            std::vector<double> column, row, weights;
            for (int y = 0; y < height; y++) {
                column.push_back(number(draw));
            }
            for (int x = 0; x < width; x++) {
                row.push_back(number(draw));
            }
            for (const double left : column) {
                for (const double right : row) {
                    weights.push_back(left * right);
                }
            }
            expect_parts(kernel_of(width, height, weights), 0);
            if (width > 1 && height > 1) {
                const auto middle = static_cast<size_t>(height / 2 * width + width / 2);
                weights[middle] += 2.5;
                expect_parts(kernel_of(width, height, weights), 2.5);
                // Any other weight that is off makes it no product.
                for (size_t place = 0; place < weights.size(); place++) {
                    std::vector<double> other = weights;
                    other[place] += place == middle ? 0 : 0.01;
                    EXPECT_EQ(separable(kernel_of(width, height, other)).has_value(), place == middle) << place;
                }
            }
        }
    }
    expect_parts(kernel_of(3, 3, std::vector<double>(9, 0)), 0);
    expect_parts(kernel_of(3, 3, {0, 0, 0, 0, 5, 0, 0, 0, 0}), 5);
    EXPECT_FALSE(separable(kernel_of(3, 3, {0, 1, 0, 1, 5, 1, 0, 1, 0})));
    EXPECT_FALSE(separable(kernel_of(3, 3, {0, 0, 0, 1, 5, 1, 0, 0, 0})));
}

TEST(KernelsTest, WeightsMayBeOffByWhatRoundingDoes) {
    const auto with = [](double more) {
        return separable(kernel_of(3, 3, {100, 200, 100, 200, 400, 200, 100, 200 + more, 100})).has_value();
    };
    EXPECT_TRUE(with(0.9 * 400 * 1e-10));
    EXPECT_TRUE(with(-0.9 * 400 * 1e-10));
    EXPECT_FALSE(with(1.1 * 400 * 1e-10));
    EXPECT_FALSE(with(-1.1 * 400 * 1e-10));
    const auto middle = [](double more) {
        return separable(kernel_of(3, 3, {100, 200, 100, 200, 400 + more, 200, 100, 200, 100}))->middle;
    };
    EXPECT_EQ(middle(0.9 * 400 * 1e-10), 0);
    EXPECT_NEAR(middle(1.2 * 400 * 1e-10), 1.2 * 400 * 1e-10, 1e-12);
    EXPECT_EQ(separable(kernel_of(3, 3, {1, 1, 1, 1, std::nan(""), 1, 1, 1, std::nan("")})), std::nullopt);
}

TEST(KernelsTest, AKernelHasAMiddleAndAllOfItsWeights) {
    for (const auto& [width, height, weights] : {std::tuple{1, 1, 1}, {3, 1, 3}, {1, 3, 3}, {5, 7, 35}}) {
        EXPECT_NO_THROW(require_kernel(kernel_of(width, height, std::vector<double>(static_cast<size_t>(weights)))));
    }
    for (const auto& [width, height, weights] :
         {std::tuple{0, 1, 0}, {1, 0, 0}, {-1, -1, 1}, {2, 3, 6}, {3, 2, 6}, {3, 3, 8}, {3, 3, 10}}) {
        const auto kernel = kernel_of(width, height, std::vector<double>(static_cast<size_t>(weights)));
        try {
            require_kernel(kernel);
            ADD_FAILURE() << width << " by " << height;
        } catch (const PictureError& error) {
            EXPECT_EQ(error.kind(), Failure::kArgument);
            EXPECT_EQ(error.parameter(), "options");
            EXPECT_STREQ(error.what(), "a kernel has a middle and a weight for each of its places");
        }
    }
}

}  // namespace
}  // namespace zelmor::imagework
