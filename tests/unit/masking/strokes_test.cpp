// Strokes that are found: where they look, what stands out by Otsu's method, and how many points they have.
#include "runtime/native/behaviors/masking/strokes.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <utility>

#include "area_pixels.h"

namespace zelmor::embed {
namespace {

const Checkpoint kGoOn = [] {};

using Place = std::pair<int32_t, int32_t>;
std::vector<Place> places_of(const std::vector<PointValue>& points) {
    std::vector<Place> places;
    for (const PointValue point : points) {
        places.emplace_back(point.x, point.y);
    }
    return places;
}

// No more than 256 of the places, at equal distances.
std::vector<Place> some_of(const std::vector<Place>& places) {
    size_t step = 1;
    while ((places.size() + step - 1) / step > 256) {
        ++step;
    }
    std::vector<Place> some;
    for (size_t i = 0; i < places.size(); i += step) {
        some.push_back(places[i]);
    }
    return some;
}

std::vector<Place> all_of(const RectangleValue& area) {
    std::vector<Place> places;
    for (int32_t y = area.y; y < area.y + area.height; ++y) {
        for (int32_t x = area.x; x < area.x + area.width; ++x) {
            places.emplace_back(x, y);
        }
    }
    return places;
}

// A dark area of the background's color with a bright one in it.
AreaPixels bright_in_dark(int32_t width, int32_t height, const RectangleValue& bright) {
    AreaPixels pixels = one_color(width, height, gray(20));
    for (const auto& [x, y] : all_of(bright)) {
        pixels.argb[pixels.at({x, y})] = gray(220);
    }
    return pixels;
}

TEST(StrokesTest, WithoutAssumptionsTheMarginIsATwentieth) {
    const struct {
        int32_t width, height, margin;
    } kCases[] = {{3, 3, 1}, {2, 9, 0}, {9, 2, 0}, {39, 80, 1}, {40, 80, 2}, {80, 59, 2}, {200, 60, 3}};
    for (const auto& [width, height, margin] : kCases) {
        const AreaPixels pixels = bright_in_dark(width, height, {width / 2, height / 2, 1, 1});
        const FoundStrokes found = find_strokes(pixels, {}, kGoOn);
        ASSERT_EQ(found.strokes.rectangles.size(), 1U);
        EXPECT_EQ(found.strokes.rectangles[0],
                  (RectangleValue{margin, margin, width - 2 * margin, height - 2 * margin}));
    }
}

TEST(StrokesTest, ObjectsAreLookedForInTheMiddleOfTheirBounds) {
    // All of the bounds stands out. People are in the middle half of them, others in the middle three quarters.
    for (const auto& [type, share] : {std::pair{DetectedObjectType::kHuman, 4}, {DetectedObjectType::kOther, 8}}) {
        for (const RectangleValue& bounds : {RectangleValue{5, 4, 16, 16}, RectangleValue{6, 3, 23, 41},
                                             RectangleValue{2, 2, 7, 7}, RectangleValue{9, 8, 3, 2}}) {
            // The brighter it is, the farther below: a third of the bounds is of the background's color.
            AreaPixels pixels = bright_in_dark(50, 60, bounds);
            const int32_t aside = bounds.width / share, above = bounds.height / 8;
            pixels.argb[pixels.at({bounds.x, bounds.y})] = gray(20);
            const FoundStrokes found = find_strokes(pixels, {{type, bounds}}, kGoOn);
            std::vector<Place> expected =
                all_of({bounds.x + aside, bounds.y + above, bounds.width - 2 * aside, bounds.height - 2 * above});
            std::erase(expected, Place{bounds.x, bounds.y});
            EXPECT_EQ(places_of(found.strokes.foreground), some_of(expected));
            EXPECT_EQ(found.strokes.rectangles, std::vector{bounds});
        }
    }
}

TEST(StrokesTest, WithNothingInTheMiddleTheBoundsCount) {
    const RectangleValue bounds{10, 10, 16, 16};
    const AreaPixels pixels = bright_in_dark(40, 40, {10, 12, 2, 3});
    const FoundStrokes found = find_strokes(pixels, {{DetectedObjectType::kHuman, bounds}}, kGoOn);
    EXPECT_EQ(places_of(found.strokes.foreground), all_of({10, 12, 2, 3}));
}

TEST(StrokesTest, EachObjectHasItsOwnStroke) {
    AreaPixels pixels = bright_in_dark(60, 30, {10, 10, 8, 8});
    pixels.argb[pixels.at({45, 14})] = gray(90);  // much less, but all that there is
    const RectangleValue left{8, 8, 12, 12}, right{40, 8, 12, 12};
    const FoundStrokes found =
        find_strokes(pixels, {{DetectedObjectType::kOther, left}, {DetectedObjectType::kOther, right}}, kGoOn);
    std::vector<Place> expected = all_of({10, 10, 8, 8});
    expected.emplace_back(45, 14);
    EXPECT_EQ(places_of(found.strokes.foreground), expected);
    EXPECT_EQ(found.strokes.rectangles, (std::vector{left, right}));
    for (int32_t y = 0; y < 30; ++y) {
        for (int32_t x = 0; x < 60; ++x) {
            EXPECT_EQ(found.stands_out[pixels.at({x, y})],
                      is_inside({10, 10, 8, 8}, x, y) || (x == 45 && y == 14) ? 1 : 0);
        }
    }
}

TEST(StrokesTest, TheEdgeOutsideOfTheBoundsIsBackground) {
    for (const auto& [width, height] : {std::pair{9, 7}, {200, 150}, {64, 66}, {65, 66}}) {
        for (const RectangleValue& bounds :
             {RectangleValue{2, 2, 3, 3}, RectangleValue{0, 0, 4, height}, RectangleValue{0, 0, width, 1},
              RectangleValue{3, 3, width - 3, height - 3}, RectangleValue{0, 0, width, height}}) {
            std::vector<Place> edge;
            for (int32_t x = 0; x < width; ++x) {
                edge.emplace_back(x, 0);
            }
            for (int32_t y = 1; y < height; ++y) {
                edge.emplace_back(width - 1, y);
            }
            for (int32_t x = width - 2; x >= 0; --x) {
                edge.emplace_back(x, height - 1);
            }
            for (int32_t y = height - 2; y >= 1; --y) {
                edge.emplace_back(0, y);
            }
            std::vector<Place> outside;
            std::copy_if(edge.begin(), edge.end(), std::back_inserter(outside),
                         [&](const Place& place) { return !is_inside(bounds, place.first, place.second); });
            const AreaPixels pixels = bright_in_dark(width, height, {3, 3, 2, 2});
            const FoundStrokes found = find_strokes(pixels, {{DetectedObjectType::kOther, bounds}}, kGoOn);
            EXPECT_EQ(places_of(found.strokes.background), some_of(outside.empty() ? edge : outside));
        }
    }
}

// The first level at which the two groups differ most: their sizes times the square between their means.
int dividing(const std::vector<int>& values) {
    int best_level = 0;
    double best = -1;
    for (int level = 0; level < 441; ++level) {
        double low = 0, high = 0, low_sum = 0, high_sum = 0;
        for (const int value : values) {
            (value <= level ? low : high) += 1;
            (value <= level ? low_sum : high_sum) += value;
        }
        if (low > 0 && high > 0) {
            const double apart = low_sum / low - high_sum / high;
            if (low * high * apart * apart > best * (1 + 1e-12)) {
                best = low * high * apart * apart;
                best_level = level;
            }
        }
    }
    return best_level;
}

TEST(StrokesTest, WhatStandsOutIsTheSecondOfTwoGroups) {
    std::mt19937 draw(6);
    const RectangleValue bounds{2, 2, 20, 15};
    for (int round = 0; round < 12; ++round) {
        // Over black, so that the contrast of a color is its length.
        AreaPixels pixels = one_color(24, 19, gray(0));
        std::vector<int> contrasts;
        for (const auto& [x, y] : all_of(bounds)) {
            const uint32_t top = 60 + 40 * static_cast<uint32_t>(round % 5);
            uint32_t color = static_cast<uint32_t>(draw()) % top * 0x10000 + static_cast<uint32_t>(draw()) % 40;
            if (draw() % 4 == 0) {
                color = round == 11 ? 0xFFFFFF : 0xC0A080 + static_cast<uint32_t>(draw()) % 60;
            }
            pixels.argb[pixels.at({x, y})] = 0xFF000000 | color;
            const double red = color >> 16 & 0xFF, green = color >> 8 & 0xFF, blue = color & 0xFF;
            contrasts.push_back(static_cast<int>(std::sqrt(red * red + green * green + blue * blue)));
        }
        const int level = dividing(contrasts);
        const FoundStrokes found = find_strokes(pixels, {{DetectedObjectType::kOther, bounds}}, kGoOn);
        size_t i = 0;
        for (const auto& [x, y] : all_of(bounds)) {
            EXPECT_EQ(found.stands_out[pixels.at({x, y})], contrasts[i++] > level ? 1 : 0);
        }
    }
    // In an area of one color nothing does.
    const FoundStrokes found = find_strokes(one_color(9, 9, gray(77)), {}, kGoOn);
    EXPECT_TRUE(found.strokes.foreground.empty());
    EXPECT_EQ(std::count(found.stands_out.begin(), found.stands_out.end(), 0), 81);
}

TEST(StrokesTest, FourColorsDescribeTheBackground) {
    // Each side of the edge another color, all of which are inside as well: none stands out beside another color.
    const uint32_t sides[] = {0xFFFF0000, 0xFF00FF00, 0xFF0000FF, 0xFFFFFF00};
    AreaPixels pixels = one_color(20, 20, 0xFF00FFFF);
    for (int32_t i = 0; i < 20; ++i) {
        pixels.argb[pixels.at({i, 0})] = sides[0];
        pixels.argb[pixels.at({i, 19})] = sides[1];
    }
    for (int32_t i = 1; i < 19; ++i) {
        pixels.argb[pixels.at({0, i})] = sides[2];
        pixels.argb[pixels.at({19, i})] = sides[3];
    }
    const RectangleValue bounds{4, 4, 10, 10};
    for (const auto& [x, y] : all_of(bounds)) {
        pixels.argb[pixels.at({x, y})] = sides[(x + y) % 4];
    }
    pixels.argb[pixels.at({8, 8})] = 0xFF00FFFF;
    const FoundStrokes found = find_strokes(pixels, {{DetectedObjectType::kOther, bounds}}, kGoOn);
    EXPECT_EQ(places_of(found.strokes.foreground), (std::vector<Place>{{8, 8}}));
}

TEST(StrokesTest, TheWorkEndsAtEachCheckpoint) {
    const AreaPixels pixels = noisy(30, 30, 1);
    int count = 0;
    find_strokes(pixels, {}, [&] { ++count; });
    ASSERT_GE(count, 3);  // the rounds that find the colors of the background, and what follows them
    for (int last = 1; last <= count; ++last) {
        int reached = 0;
        const auto ends = [&] {
            if (++reached == last) {
                throw int{last};
            }
        };
        EXPECT_THROW(find_strokes(pixels, {}, ends), int);
        EXPECT_EQ(reached, last);
    }
    // An edge of one color takes two rounds at most, and the last checkpoint comes behind them.
    const AreaPixels plain = bright_in_dark(30, 30, {10, 10, 5, 5});
    count = 0;
    find_strokes(plain, {}, [&] { ++count; });
    EXPECT_EQ(count, 2);
}

}  // namespace
}  // namespace zelmor::embed
