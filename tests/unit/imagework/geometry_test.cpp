// Cutting, placing, turning and mirroring, pixel for pixel where nothing is resampled.
#include "tests/unit/imagework/pictures.h"

namespace zelmor::imagework {
namespace {

constexpr int32_t kWidth = 13;
constexpr int32_t kHeight = 7;

TEST(RotateFlipTest, AllSixteenAreExact) {
    for (bool alpha : {false, true}) {
        auto source = noise(kWidth, kHeight, alpha);
        for (int quarters = 0; quarters < 4; quarters++) {
            for (int mirror = 0; mirror < 4; mirror++) {
                auto picture = source->copy();
                picture->rotate_flip(quarters, (mirror & 1) != 0, (mirror & 2) != 0);
                int32_t width = quarters % 2 == 0 ? kWidth : kHeight;
                int32_t height = quarters % 2 == 0 ? kHeight : kWidth;
                ASSERT_EQ(picture->width(), width);
                ASSERT_EQ(picture->height(), height);
                for (int32_t y = 0; y < height; y++) {
                    for (int32_t x = 0; x < width; x++) {
                        int32_t mx = (mirror & 1) != 0 ? width - 1 - x : x;
                        int32_t my = (mirror & 2) != 0 ? height - 1 - y : y;
                        // Where the pixel stood before the clockwise turn.
                        int32_t sx = quarters == 0   ? mx
                                     : quarters == 1 ? my
                                     : quarters == 2 ? kWidth - 1 - mx
                                                     : kWidth - 1 - my;
                        int32_t sy = quarters == 0   ? my
                                     : quarters == 1 ? kHeight - 1 - mx
                                     : quarters == 2 ? kHeight - 1 - my
                                                     : mx;
                        ASSERT_EQ(picture->get_argb(x, y), source->get_argb(sx, sy)) << quarters << " " << mirror;
                    }
                }
            }
        }
    }
}

TEST(CropTest, TakesTheRectangleAndRefusesOneOutside) {
    auto source = noise(kWidth, kHeight, true);
    auto picture = source->copy();
    picture->crop({2, 1, 5, 4});
    ASSERT_EQ(picture->width(), 5);
    ASSERT_EQ(picture->height(), 4);
    for (int32_t y = 0; y < 4; y++) {
        for (int32_t x = 0; x < 5; x++) {
            EXPECT_EQ(picture->get_argb(x, y), source->get_argb(x + 2, y + 1));
        }
    }
    constexpr int32_t kMost = 2147483647;
    for (Rect area : {Rect{-1, 0, 2, 2}, Rect{0, 0, kWidth + 1, 1}, Rect{0, 0, 0, 3}, Rect{0, 0, 3, -1},
                      Rect{1, 1, kMost, kMost}, Rect{kMost, kMost, kMost, kMost}}) {
        auto failure = failure_of([&] { picture->crop(area); });
        EXPECT_EQ(failure.kind(), Failure::kArgument);
        EXPECT_EQ(failure.parameter(), "rectangle");
    }
}

TEST(PlaceTest, CutsAndFillsAroundThePicture) {
    auto source = noise(kWidth, kHeight, false);
    constexpr Argb kFill = 0xFF102030;
    for (auto [width, height, x, y] : {std::array{20, 15, 3, 4}, std::array{5, 5, -4, -1}, std::array{9, 30, 0, 8},
                                       std::array{6, 6, 50, 0}, std::array{6, 6, 0, -50}}) {
        auto picture = source->copy();
        picture->place(width, height, x, y, kFill);
        ASSERT_EQ(picture->width(), width);
        ASSERT_EQ(picture->height(), height);
        for (int32_t py = 0; py < height; py++) {
            for (int32_t px = 0; px < width; px++) {
                int32_t sx = px - x;
                int32_t sy = py - y;
                bool inside = sx >= 0 && sy >= 0 && sx < kWidth && sy < kHeight;
                ASSERT_EQ(picture->get_argb(px, py), inside ? source->get_argb(sx, sy) : kFill);
            }
        }
    }
}

TEST(RotateTest, RightAnglesAreExactAndClockwise) {
    auto source = noise(kWidth, kHeight, false);
    for (double degrees : {90.0, -270.0, 450.0}) {
        auto picture = source->copy();
        picture->rotate(degrees, true, kWhite);
        auto expected = source->copy();
        expected->rotate_flip(1, false, false);
        EXPECT_EQ(pixels_of(*picture), pixels_of(*expected));
    }
    auto same = source->copy();
    same->rotate(720.0, true, kWhite);
    EXPECT_EQ(pixels_of(*same), pixels_of(*source));
}

TEST(RotateTest, GrowsTheCanvasOrKeepsIt) {
    auto source = backend().create(40, 20, false, false, 0xFF00FF00);
    auto grown = source->copy();
    grown->rotate(30, true, kBlack);
    EXPECT_EQ(grown->width(), 45);   // 40 cos 30 + 20 sin 30
    EXPECT_EQ(grown->height(), 38);  // 40 sin 30 + 20 cos 30
    EXPECT_EQ(grown->get_argb(22, 19), 0xFF00FF00);
    EXPECT_EQ(grown->get_argb(0, 0), kBlack);
    EXPECT_EQ(grown->get_argb(44, 37), kBlack);
    auto kept = source->copy();
    kept->rotate(90, false, kBlack);
    EXPECT_EQ(kept->width(), 40);
    EXPECT_EQ(kept->height(), 20);
    EXPECT_EQ(kept->get_argb(0, 10), kBlack);
    EXPECT_EQ(kept->get_argb(20, 10), 0xFF00FF00);
}

TEST(RotateTest, TurnsClockwise) {
    // A light bar from the middle to the right ends below the middle after a turn by 80 degrees.
    auto picture = backend().create(101, 101, false, false, kBlack);
    std::vector<Argb> bar(40 * 5, kWhite);
    picture->write_argb({56, 48, 40, 5}, bar);
    picture->rotate(80, false, kBlack);
    EXPECT_EQ(picture->get_argb(54, 75) & 0xFF, 0xFFU);
    EXPECT_EQ(picture->get_argb(47, 25), kBlack);
}

TEST(RotateTest, TransparentPixelsDoNotBleed) {
    // Opaque red beside clear green: no mixture may turn greenish.
    std::vector<Argb> pixels;
    for (int i = 0; i < 40 * 40; i++) {
        pixels.push_back(i % 40 < 20 ? 0xFFFF0000 : 0x0000FF00);
    }
    auto picture = picture_of(40, 40, true, pixels);
    picture->rotate(33, false, 0);
    for (Argb pixel : pixels_of(*picture)) {
        if (pixel >> 24 > 8) {
            EXPECT_LT(pixel >> 8 & 0xFF, 16U) << std::hex << pixel;
        }
    }
}

TEST(CopyTest, SharesPixelsUntilEitherIsWritten) {
    auto first = noise(kWidth, kHeight, false);
    auto before = pixels_of(*first);
    auto second = first->copy();
    first->set_argb(0, 0, 0xFF123456);
    EXPECT_EQ(pixels_of(*second), before);
    second->set_argb(1, 1, 0xFF654321);
    EXPECT_EQ(first->get_argb(1, 1), before[kWidth + 1]);
    EXPECT_EQ(first->get_argb(0, 0), 0xFF123456U);
}

}  // namespace
}  // namespace zelmor::imagework
