// The canvas of an animation, and the canvases that are kept of it.
#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <set>

#include "runtime/native/imagework/limits.h"
#include "runtime/native/imagework/pixels/canvas_cache.h"

namespace zelmor::imagework {
namespace {

constexpr int32_t kWidth = 9, kHeight = 7;
constexpr FrameDisposal kDisposals[] = {FrameDisposal::kLeave, FrameDisposal::kClear, FrameDisposal::kRestore};

using Pixels = std::vector<std::vector<uint8_t>>;  // each with its bytes

Pixels blank(const std::vector<uint8_t>& clear) {
    return Pixels(static_cast<size_t>(kWidth * kHeight), clear);
}
std::vector<uint8_t> bytes_of(const Pixels& pixels) {
    std::vector<uint8_t> bytes;
    for (const auto& pixel : pixels) {
        bytes.insert(bytes.end(), pixel.begin(), pixel.end());
    }
    return bytes;
}
bool covers(const Rect& area, int32_t x, int32_t y) {
    return x >= area.x && y >= area.y && int64_t{x} < int64_t{area.x} + area.width &&
           int64_t{y} < int64_t{area.y} + area.height;
}

// Gives all places of the canvas in the area a value.
void paint(Pixels& pixels, const Rect& area, const std::vector<uint8_t>& value) {
    for (int32_t y = 0; y < kHeight; y++) {
        for (int32_t x = 0; x < kWidth; x++) {
            if (covers(area, x, y)) {
                pixels[static_cast<size_t>(y * kWidth + x)] = value;
            }
        }
    }
}
void paint(FrameCanvas& canvas, const Rect& area, const std::vector<uint8_t>& value) {
    const Rect inner = canvas.inside(area);
    for (int32_t y = inner.y; y < inner.y + inner.height; y++) {
        for (int32_t x = inner.x; x < inner.x + inner.width; x++) {
            std::copy(value.begin(), value.end(), canvas.row(y, x));
        }
    }
}
std::vector<uint8_t> pixels_of(const FrameCanvas& canvas) {
    return {canvas.pixels().begin(), canvas.pixels().end()};
}

constexpr Rect kAreas[] = {{0, 0, kWidth, kHeight},
                           {2, 3, 4, 2},
                           {-3, -2, 6, 5},
                           {6, 5, 100, 100},
                           {20, 1, 3, 3},
                           {1, 20, 3, 3},
                           {-9, 0, 4, 4},
                           {0, -9, 4, 9},
                           {3, 3, 0, 2},
                           {8, 6, 1, 1},
                           {5, 2, INT32_MAX, 2},
                           {INT32_MIN, 1, INT32_MAX, 3}};

TEST(FrameCanvasTest, AreasAreCutAtTheCanvas) {
    const FrameCanvas canvas(kWidth, kHeight, std::vector<uint8_t>{0});
    for (const Rect& area : kAreas) {
        const Rect inner = canvas.inside(area);
        for (int32_t y = -3; y < kHeight + 3; y++) {
            for (int32_t x = -3; x < kWidth + 3; x++) {
                const bool on_canvas = x >= 0 && y >= 0 && x < kWidth && y < kHeight;
                EXPECT_EQ(covers(inner, x, y), on_canvas && covers(area, x, y)) << area.x << ' ' << x << ' ' << y;
            }
        }
        EXPECT_GE(inner.width, 0);
        EXPECT_GE(inner.height, 0);
    }
}

TEST(FrameCanvasTest, DisposalsBringBackWhatWasThere) {
    for (const std::vector<uint8_t>& clear :
         {std::vector<uint8_t>{7}, {0, 0, 0, 0}, {1, 2, 3, 0}, {9, 9}, {1, 2}, {5, 5, 6}}) {
        std::vector<uint8_t> value(clear.size());
        FrameCanvas canvas(kWidth, kHeight, clear);
        Pixels expected = blank(clear);
        EXPECT_EQ(pixels_of(canvas), bytes_of(expected));
        uint8_t number = 20;
        for (int round = 0; round < 3; round++) {
            for (const Rect& area : kAreas) {
                for (const FrameDisposal disposal : kDisposals) {
                    std::fill(value.begin(), value.end(), number++);
                    const Pixels before = expected;
                    canvas.begin(area, disposal);
                    EXPECT_EQ(pixels_of(canvas), bytes_of(expected));
                    paint(canvas, area, value);
                    paint(expected, area, value);
                    EXPECT_EQ(pixels_of(canvas), bytes_of(expected));
                    canvas.dispose();
                    if (disposal == FrameDisposal::kClear) {
                        paint(expected, area, clear);
                    } else if (disposal == FrameDisposal::kRestore) {
                        expected = before;
                    }
                    EXPECT_EQ(pixels_of(canvas), bytes_of(expected));
                    canvas.dispose();  // a second time there is nothing to do
                    EXPECT_EQ(pixels_of(canvas), bytes_of(expected));
                }
            }
        }
    }
}

TEST(FrameCanvasTest, AnAreaIsCleared) {
    for (const std::vector<uint8_t>& clear : {std::vector<uint8_t>{7, 7}, {7, 8}}) {
        for (const Rect& area : kAreas) {
            FrameCanvas canvas(kWidth, kHeight, clear);
            Pixels expected = blank(clear);
            paint(canvas, {0, 0, kWidth, kHeight}, {50, 60});
            paint(expected, {0, 0, kWidth, kHeight}, {50, 60});
            canvas.fill_clear(area);
            paint(expected, area, clear);
            EXPECT_EQ(pixels_of(canvas), bytes_of(expected));
        }
    }
}

// ---- Kept canvases

// An animation in which each frame is a stripe, laid on those before it.
class Animation {
 public:
    Animation(size_t frames, size_t canvas_bytes, std::set<size_t> alone = {})
        : m_cache(frames, canvas_bytes), m_alone(std::move(alone)) {}

    // The frames that were drawn for this one.
    std::vector<size_t> show(size_t index) {
        std::vector<size_t> drawn;
        const std::vector<uint8_t> clear{0, 0};
        const std::vector<uint8_t> found = composed_frame(
            m_cache, index, {kWidth, kHeight, clear}, [&](size_t frame) { return m_alone.contains(frame); },
            disposal_of,
            [&](size_t frame, FrameCanvas& canvas) {
                drawn.push_back(frame);
                lay(frame, canvas);
            });
        Pixels expected = blank(clear);
        for (size_t frame = 0; frame <= index; frame++) {
            const Pixels before = expected;
            paint(expected, area_of(frame), value_of(frame));
            if (frame == index) {
                break;
            }
            if (disposal_of(frame) == FrameDisposal::kClear) {
                paint(expected, area_of(frame), clear);
            } else if (disposal_of(frame) == FrameDisposal::kRestore) {
                expected = before;
            }
        }
        EXPECT_EQ(found, bytes_of(expected)) << index;
        return drawn;
    }

 private:
    Rect area_of(size_t frame) const {
        return m_alone.contains(frame) ? Rect{0, 0, kWidth, kHeight}
                                       : Rect{static_cast<int32_t>(frame % 5), static_cast<int32_t>(frame % 3), 4, 3};
    }
    static std::vector<uint8_t> value_of(size_t frame) {
        return {static_cast<uint8_t>(frame + 1), static_cast<uint8_t>(3 * frame)};
    }
    static FrameDisposal disposal_of(size_t frame) { return kDisposals[frame % 3]; }
    void lay(size_t frame, FrameCanvas& canvas) const {
        canvas.begin(area_of(frame), disposal_of(frame));
        paint(canvas, area_of(frame), value_of(frame));
    }

    CanvasCache m_cache;
    std::set<size_t> m_alone;
};

std::vector<size_t> from_to(size_t first, size_t last) {
    std::vector<size_t> numbers;
    for (size_t i = first; i <= last; i++) {
        numbers.push_back(i);
    }
    return numbers;
}

TEST(CanvasCacheTest, InTheirOrderEachFrameIsDrawnOnce) {
    Animation animation(30, limits::kCanvasBytes);  // memory for one canvas
    for (size_t i = 0; i < 30; i++) {
        EXPECT_EQ(animation.show(i), from_to(i, i));
    }
}

TEST(CanvasCacheTest, WithMemoryForAllNoFrameIsDrawnTwice) {
    Animation animation(30, 1);
    EXPECT_EQ(animation.show(29), from_to(0, 29));
    for (size_t i = 30; i-- > 0;) {
        EXPECT_EQ(animation.show(i), from_to(i, i));
    }
}

TEST(CanvasCacheTest, CanvasesAreKeptAtEqualDistances) {
    // Of 30 frames memory is for six canvases: each fifth is kept.
    Animation animation(30, limits::kCanvasBytes / 6);
    EXPECT_EQ(animation.show(29), from_to(0, 29));
    for (const size_t i : {28U, 24U, 13U, 10U, 9U, 4U, 27U, 6U}) {
        EXPECT_EQ(animation.show(i), from_to(i / 5 * 5, i)) << i;
    }
    // And that behind the last one shown; of these only one.
    EXPECT_EQ(animation.show(7), from_to(7, 7));
    EXPECT_EQ(animation.show(18), from_to(15, 18));
    EXPECT_EQ(animation.show(19), from_to(19, 19));
    EXPECT_EQ(animation.show(8), from_to(5, 8));
    // A frame that is shown again, by the canvas before it.
    EXPECT_EQ(animation.show(8), from_to(5, 8));
    // 31 frames for six canvases: each sixth.
    Animation longer(31, limits::kCanvasBytes / 6);
    EXPECT_EQ(longer.show(30), from_to(0, 30));
    EXPECT_EQ(longer.show(16), from_to(12, 16));
}

TEST(CanvasCacheTest, AFrameThatHidesAllBeginsAnew) {
    static_assert(kDisposals[9 % 3] == FrameDisposal::kLeave && kDisposals[16 % 3] == FrameDisposal::kClear);
    Animation animation(20, limits::kCanvasBytes, {9, 16});
    EXPECT_EQ(animation.show(7), from_to(0, 7));
    EXPECT_EQ(animation.show(12), from_to(9, 12));
    EXPECT_EQ(animation.show(16), from_to(16, 16));
    EXPECT_EQ(animation.show(19), from_to(17, 19));
    EXPECT_EQ(animation.show(14), from_to(9, 14));
    EXPECT_EQ(animation.show(9), from_to(9, 9));
    EXPECT_EQ(animation.show(0), from_to(0, 0));
}

TEST(CanvasCacheTest, WhatAFrameHidComesBackBehindIt) {
    static_assert(kDisposals[8 % 3] == FrameDisposal::kRestore);
    Animation animation(20, limits::kCanvasBytes, {8});
    EXPECT_EQ(animation.show(10), from_to(0, 10));
    EXPECT_EQ(animation.show(8), from_to(8, 8));
    EXPECT_EQ(animation.show(9), from_to(0, 9));
}

}  // namespace
}  // namespace zelmor::imagework
