// The drawing backend through its shared object.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "runtime/native/behaviors/drawing/outlines.h"
#include "runtime/native/drawwork/canvas.h"

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

TEST(CanvasTest, CoordinatesTooFarAwayAreRefused) {
    const std::vector<Argb> white(100, 0xFFFFFFFF);
    const auto canvas = backend().canvas({0, 0, 10, 10}, white);
    for (const double far : {1e30, std::nan(""), double(INFINITY)}) {
        EXPECT_THROW(canvas->fill({embed::rectangle_contour({0, 0, far, 1})}, FillRule::kAlternate, solid(1), true),
                     DrawError);
    }
    EXPECT_EQ(canvas->pixels(), white);
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
