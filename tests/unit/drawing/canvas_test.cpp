// The drawing backend through its shared object.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "runtime/native/behaviors/drawing/outlines.h"
#include "runtime/native/drawwork/canvas.h"
#include "runtime/native/drawwork/texture_tile.h"

namespace zelmor::drawwork {
namespace {

Backend& backend() {
    static Backend* loaded = [] {
        void* library = dlopen(DRAWWORK_LIBRARY, RTLD_NOW | RTLD_LOCAL);
        EXPECT_NE(library, nullptr) << dlerror();
        return reinterpret_cast<BackendFunction>(dlsym(library, kBackendSymbol))();
    }();
    return *loaded;
}

Paint solid(Argb color, double opacity = 1) {
    Paint paint;
    paint.color = color;
    paint.opacity = opacity;
    return paint;
}

TEST(CanvasTest, UntouchedPixelsStayToTheLastBit) {
    std::vector<Argb> pixels(256);
    for (Argb i = 0; i < 256; ++i) {
        pixels[i] = i << 24 | i * 77 % 256 << 16 | i * 13 % 256 << 8 | (255 - i);
    }
    const auto canvas = backend().canvas({5, 7, 16, 16}, pixels);
    EXPECT_EQ(canvas->pixels(), pixels);
    canvas->fill({embed::rectangle_contour({5, 7, 1, 1})}, FillRule::kAlternate, solid(0xFF102030), false);
    pixels[0] = 0xFF102030;
    EXPECT_EQ(canvas->pixels(), pixels);
}

TEST(CanvasTest, ClipsIntersectUntilTheyAreRemoved) {
    const std::vector<Argb> white(100, 0xFFFFFFFF);
    const auto canvas = backend().canvas({0, 0, 10, 10}, white);
    canvas->clip({embed::rectangle_contour({0, 0, 5, 10})}, FillRule::kAlternate, false);
    canvas->clip({embed::rectangle_contour({0, 0, 10, 5})}, FillRule::kAlternate, false);
    canvas->clear(0xFF000000);
    const auto dark = [&] {
        const auto pixels = canvas->pixels();
        return std::count(pixels.begin(), pixels.end(), 0xFF000000);
    };
    EXPECT_EQ(dark(), 25);
    canvas->unclip();
    canvas->clear(0xFF000000);
    EXPECT_EQ(dark(), 100);
}

TEST(CanvasTest, OpacityAppliesToADrawingAsAWhole) {
    const std::vector<Argb> white(100, 0xFFFFFFFF);
    const auto canvas = backend().canvas({0, 0, 10, 10}, white);
    Outline twice{embed::rectangle_contour({0, 0, 10, 10}), embed::rectangle_contour({0, 0, 10, 10})};
    canvas->fill(twice, FillRule::kWinding, solid(0xFF000000, 0.5), true);
    EXPECT_NEAR(canvas->pixels()[55] & 0xFF, 127, 1);
    canvas->fill(twice, FillRule::kWinding, solid(0xFF000000, 0), true);
    EXPECT_NEAR(canvas->pixels()[55] & 0xFF, 127, 1);
}

TEST(CanvasTest, SavedClipsComeBack) {
    const std::vector<Argb> white(100, 0xFFFFFFFF);
    const auto canvas = backend().canvas({3, 4, 10, 10}, white);
    canvas->clip({embed::rectangle_contour({3, 4, 5, 10})}, FillRule::kAlternate, false);
    canvas->save();
    canvas->clip({embed::rectangle_contour({3, 4, 10, 5})}, FillRule::kAlternate, false);
    canvas->restore();
    canvas->clear(0xFF000000);
    const auto pixels = canvas->pixels();
    EXPECT_EQ(std::count(pixels.begin(), pixels.end(), 0xFF000000), 50);
}

TEST(CanvasTest, GroupsAreLaidOverTheRestAsAWhole) {
    const std::vector<Argb> gray(100, 0xFF808080);
    const auto canvas = backend().canvas({0, 0, 10, 10}, gray);
    canvas->clip({embed::rectangle_contour({0, 0, 10, 5})}, FillRule::kAlternate, false);
    canvas->begin_group();
    canvas->unclip();  // within the group
    canvas->fill({embed::rectangle_contour({0, 0, 10, 10})}, FillRule::kAlternate, solid(0xFFFF0000), false);
    canvas->fill({embed::rectangle_contour({0, 0, 5, 10})}, FillRule::kAlternate, solid(0xFF0000FF), false);
    canvas->end_group(0.5, Blend::kOver);
    canvas->unclip();
    EXPECT_EQ(canvas->pixels()[0], 0xFF4040C0U);
    EXPECT_EQ(canvas->pixels()[9], 0xFFC04040U);
    EXPECT_EQ(canvas->pixels()[90], 0xFF808080U);
    canvas->begin_group();
    canvas->fill({embed::rectangle_contour({0, 9, 10, 1})}, FillRule::kAlternate, solid(0xFF80FF00), false);
    canvas->end_group(1, Blend::kMultiply);
    EXPECT_EQ(canvas->pixels()[99], 0xFF408000U);
}

TEST(CanvasTest, RadialGradientsRunBetweenTwoCircles) {
    const std::vector<Argb> white(21 * 21, 0xFFFFFFFF);
    const auto canvas = backend().canvas({0, 0, 21, 21}, white);
    Paint paint;
    paint.kind = Paint::Kind::kRadial;
    paint.from = paint.to = {10.5, 10.5};
    paint.from_radius = 2;
    paint.to_radius = 10;
    paint.stops = {{0, 0xFF000000}, {1, 0xFFFF0000}};
    canvas->fill({embed::rectangle_contour({0, 0, 21, 21})}, FillRule::kAlternate, paint, false);
    const auto pixels = canvas->pixels();
    EXPECT_EQ(pixels[10 * 21 + 10], 0xFF000000U);
    EXPECT_EQ(pixels[0], 0xFFFF0000U);
    EXPECT_NEAR(pixels[10 * 21 + 16] >> 16 & 0xFF, 127.5, 2);
}

// Every operation against its definition, on numbers that have all combinations of bits.
TEST(CanvasTest, RasterOperationsCombineBitByBit) {
    constexpr Argb kPattern = 0xF0F0F0, kSource = 0xCCCCCC, kDestination = 0xAAAAAA;
    for (unsigned operation = 0; operation < 256; ++operation) {
        const std::vector<Argb> before(100, 0xFF000000 | kDestination);
        const auto canvas = backend().canvas({7, 5, 10, 10}, before);
        canvas->clip({embed::rectangle_contour({8, 6, 20, 20})}, FillRule::kAlternate, false);
        EXPECT_TRUE(canvas->combine({embed::rectangle_contour({7, 5, 5, 4})}, FillRule::kAlternate,
                                    solid(0xFF000000 | kPattern), solid(0xFF000000 | kSource),
                                    static_cast<uint8_t>(operation)));
        std::vector<Argb> expected = before;
        for (size_t y = 1; y < 4; ++y) {
            for (size_t x = 1; x < 5; ++x) {
                Argb& pixel = expected[y * 10 + x];
                pixel = 0xFF000000;
                for (unsigned bit = 0; bit < 24; ++bit) {
                    const unsigned index =
                        (kPattern >> bit & 1) * 4 + (kSource >> bit & 1) * 2 + (kDestination >> bit & 1);
                    pixel |= (operation >> index & 1) << bit;
                }
            }
        }
        EXPECT_EQ(canvas->pixels(), expected) << operation;
    }
}

TEST(CanvasTest, APaintIsATextureOfItself) {
    Paint paint;
    paint.kind = Paint::Kind::kLinear;
    paint.from = {2, 1};
    paint.to = {12, 9};
    paint.stops = {{0, 0xFFFF0000}, {0.4, 0x8000FF00}, {1, 0xFF0000FF}};
    paint.extend = Extend::kReflect;
    paint.placing = Affine{2, 0.5, -0.25, 1.5, 3, 4};
    paint.opacity = 0.75;
    const RectD area{4, 6, 30, 20};
    const Paint texture = texture_of_paint(backend(), paint, area);
    EXPECT_EQ(texture.kind, Paint::Kind::kTexture);
    EXPECT_EQ(std::make_pair(texture.width, texture.height), std::make_pair(60, 40));  // two pixels for a unit
    EXPECT_EQ(texture.pixels.size(), 2400U);
    EXPECT_EQ(texture.opacity, 0.75);
    EXPECT_EQ(texture.placing.apply({0, 0}), (PointD{4, 6}));
    EXPECT_EQ(texture.placing.apply({60, 40}), (PointD{34, 26}));
    std::vector<Argb> seen[2];
    for (const bool as_texture : {false, true}) {
        const auto canvas = backend().canvas({0, 0, 40, 30}, 0xFFFFFFFF);
        canvas->fill({embed::rectangle_contour(area)}, FillRule::kWinding, as_texture ? texture : paint, false);
        seen[as_texture ? 1 : 0] = canvas->pixels();
    }
    for (size_t i = 0; i < seen[0].size(); ++i) {
        for (const int shift : {16, 8, 0}) {
            EXPECT_NEAR(static_cast<double>(seen[0][i] >> shift & 0xFF),
                        static_cast<double>(seen[1][i] >> shift & 0xFF), 12)
                << i % 40 << ' ' << i / 40;
        }
    }
    EXPECT_NE(seen[0][16 * 40 + 20], 0xFFFFFFFF);
    const Paint tiny = texture_of_paint(backend(), paint, {7, 7, 0.2, 0.7});
    EXPECT_EQ(std::make_pair(tiny.width, tiny.height), std::make_pair(1, 2));
    EXPECT_EQ(texture_of_paint(backend(), paint, {7, 7, 0, 0}).pixels.size(), 1U);
}

TEST(CanvasTest, CoordinatesTooFarAwayAreRefused) {
    const std::vector<Argb> white(100, 0xFFFFFFFF);
    const auto canvas = backend().canvas({0, 0, 10, 10}, white);
    constexpr double kFarthest = 4194304;
    for (const double far : {kFarthest, 1e30, std::nan(""), double(INFINITY)}) {
        EXPECT_THROW(canvas->fill({embed::rectangle_contour({0, 0, far, 1})}, FillRule::kAlternate, solid(1), true),
                     DrawError);
    }
    EXPECT_EQ(canvas->pixels(), white);
    canvas->fill({embed::rectangle_contour({0, 0, kFarthest - 1, 10})}, FillRule::kAlternate, solid(0xFF000000), true);
    EXPECT_EQ(canvas->pixels(), std::vector<Argb>(100, 0xFF000000));
}

TEST(CanvasTest, TextIsAsLargeAsItsFont) {
    TextLayout layout;
    layout.text = "Hxg";
    layout.family = "sans";
    layout.size = 20;
    const TextExtent small = backend().measure(layout);
    layout.size = 40;
    const TextExtent large = backend().measure(layout);
    EXPECT_NEAR(large.width, 2 * small.width, 1.5);
    EXPECT_NEAR(large.height, 2 * small.height, 1.5);
    EXPECT_FALSE(backend().outline_of(layout).empty());
    EXPECT_FALSE(backend().has_family("a family that nobody made", {}));
}

}  // namespace
}  // namespace zelmor::drawwork
