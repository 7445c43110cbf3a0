// The segmentation backend through its shared object: floods that leave no pixel out, and cuts step by step.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <algorithm>

#include "area_pixels.h"

namespace zelmor::maskwork {
namespace {

using embed::AreaPixels;
using embed::gray;
using embed::one_color;

Backend& backend() {
    static Backend* loaded = [] {
        void* library = dlopen(MASKWORK_LIBRARY, RTLD_NOW | RTLD_LOCAL);
        EXPECT_NE(library, nullptr) << dlerror();
        return reinterpret_cast<BackendFunction>(dlsym(library, kBackendSymbol))();
    }();
    return *loaded;
}

PictureView view(const AreaPixels& pixels) {
    return {pixels.width, pixels.height, pixels.argb};
}

std::vector<int32_t> flooded(const AreaPixels& pixels, std::vector<int32_t> labels) {
    backend().watershed(view(pixels), labels);
    return labels;
}

TEST(BackendTest, AFloodMeetsAtTheRidge) {
    // Two valleys with a ridge between them, which goes with what is left of it or above it.
    constexpr int32_t kSide = 21;
    for (const bool upright : {false, true}) {
        AreaPixels pixels = one_color(kSide, kSide, gray(20));
        std::vector<int32_t> labels(pixels.size(), -1), expected;
        for (int32_t y = 0; y < kSide; ++y) {
            for (int32_t x = 0; x < kSide; ++x) {
                const int32_t at = upright ? y : x;
                if (at == 10) {
                    pixels.argb[pixels.at({x, y})] = gray(230);
                }
                expected.push_back(at <= 10 ? 4 : 7);
            }
        }
        labels[pixels.at(upright ? embed::PointValue{10, 3} : embed::PointValue{3, 10})] = 4;
        labels[pixels.at(upright ? embed::PointValue{10, 17} : embed::PointValue{17, 10})] = 7;
        EXPECT_EQ(flooded(pixels, labels), expected);
    }
}

TEST(BackendTest, ALineBetweenBasinsTakesTheNeighborThatIsFirst) {
    const auto line = [](std::vector<int32_t> labels, bool down) {
        const auto size = static_cast<int32_t>(labels.size());
        return flooded(one_color(down ? 1 : size, down ? size : 1, gray(99)), std::move(labels));
    };
    for (const bool down : {false, true}) {
        EXPECT_EQ(line({0, -1, 1}, down), (std::vector<int32_t>{0, 0, 1}));
        EXPECT_EQ(line({5, -1, -1, -1, 2}, down), (std::vector<int32_t>{5, 5, 5, 2, 2}));
        EXPECT_EQ(line({-1, -1, 3}, down), (std::vector<int32_t>{3, 3, 3}));
        EXPECT_EQ(line({3, -1, -1}, down), (std::vector<int32_t>{3, 3, 3}));
    }
    EXPECT_EQ(flooded(one_color(1, 1, 0), {9}), (std::vector<int32_t>{9}));
}

TEST(BackendTest, EachPixelGetsALabelThatANeighborHas) {
    for (uint32_t seed = 1; seed <= 6; ++seed) {
        const AreaPixels pixels = embed::noisy(23, 17, seed);
        std::vector<int32_t> labels(pixels.size(), -1);
        std::mt19937 draw(seed);
        for (int32_t label = 0; label < 9; ++label) {
            labels[draw() % labels.size()] = label;
        }
        const std::vector<int32_t> found = flooded(pixels, labels);
        for (int32_t y = 0; y < pixels.height; ++y) {
            for (int32_t x = 0; x < pixels.width; ++x) {
                const int32_t label = found[pixels.at({x, y})];
                EXPECT_GE(label, 0);
                EXPECT_LT(label, 9);
                if (labels[pixels.at({x, y})] >= 0) {
                    EXPECT_EQ(label, labels[pixels.at({x, y})]);
                    continue;
                }
                bool has_neighbor = false;
                for (int32_t ny = std::max(0, y - 1); ny <= std::min(pixels.height - 1, y + 1); ++ny) {
                    for (int32_t nx = std::max(0, x - 1); nx <= std::min(pixels.width - 1, x + 1); ++nx) {
                        has_neighbor = has_neighbor || ((nx != x || ny != y) && found[pixels.at({nx, ny})] == label);
                    }
                }
                EXPECT_TRUE(has_neighbor) << x << ' ' << y;
            }
        }
        EXPECT_EQ(flooded(pixels, labels), found);
    }
}

TEST(BackendTest, ColorsKeepTheirChannels) {
    // Of three colors the middle one differs least from that which has the same red, green or blue.
    for (const int shift : {16, 8, 0}) {
        AreaPixels pixels = one_color(30, 10, 0xFF000000);
        for (int32_t y = 0; y < 10; ++y) {
            for (int32_t x = 0; x < 30; ++x) {
                pixels.argb[pixels.at({x, y})] |= (x < 10 ? 0U : x < 20 ? 60U : 255U) << shift;
            }
        }
        std::vector<int32_t> labels(pixels.size(), -1);
        labels[pixels.at({2, 5})] = 1;
        labels[pixels.at({27, 5})] = 2;
        const std::vector<int32_t> found = flooded(pixels, labels);
        EXPECT_EQ(found[pixels.at({15, 5})], 1) << shift;
        EXPECT_EQ(found[pixels.at({24, 5})], 2) << shift;
    }
}

TEST(BackendTest, AStepTellsHowManyPixelsChangedSides) {
    constexpr int32_t kSide = 30;
    AreaPixels pixels = embed::noisy(kSide, kSide, 3);
    std::vector<Side> sides;
    for (int32_t y = 0; y < kSide; ++y) {
        for (int32_t x = 0; x < kSide; ++x) {
            uint32_t& color = pixels.argb[pixels.at({x, y})];
            const bool object = embed::is_inside({10, 8, 12, 14}, x, y);
            color = (color & 0x0F0F0F) | (object ? 0xFFC02030 : 0xFF3060A0);
            const bool edge = x == 0 || y == 0 || x == kSide - 1 || y == kSide - 1;
            sides.push_back(edge ? Side::kBackground : x == 15 && y == 15 ? Side::kObject : Side::kLikelyObject);
        }
    }
    const auto cut = backend().graph_cut(view(pixels), sides);
    EXPECT_TRUE(std::equal(sides.begin(), sides.end(), cut->sides().begin(), cut->sides().end()));
    for (int step = 0; step < 4; ++step) {
        const std::vector<Side> before(cut->sides().begin(), cut->sides().end());
        const size_t told = cut->step();
        size_t changed = 0;
        for (size_t i = 0; i < before.size(); ++i) {
            changed += is_object(before[i]) != is_object(cut->sides()[i]) ? 1 : 0;
            // What is known stays known.
            if (sides[i] == Side::kBackground || sides[i] == Side::kObject) {
                EXPECT_EQ(cut->sides()[i], sides[i]);
            }
        }
        EXPECT_EQ(told, changed);
        EXPECT_EQ(told > 0, step == 0 || changed > 0);
    }
    for (int32_t y = 0; y < kSide; ++y) {
        for (int32_t x = 0; x < kSide; ++x) {
            EXPECT_EQ(is_object(cut->sides()[pixels.at({x, y})]), embed::is_inside({10, 8, 12, 14}, x, y));
        }
    }
    // The same again gives the same, whatever was cut meanwhile.
    const auto again = backend().graph_cut(view(pixels), sides);
    for (int step = 0; step < 4; ++step) {
        again->step();
    }
    EXPECT_TRUE(std::equal(again->sides().begin(), again->sides().end(), cut->sides().begin()));
    EXPECT_EQ(backend().library().rfind("OpenCV ", 0), 0U);
}

}  // namespace
}  // namespace zelmor::maskwork
