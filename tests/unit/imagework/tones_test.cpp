// Gray, brightness, contrast, gamma and thresholds, against the arithmetic written out.
#include <algorithm>
#include <cmath>

#include "tests/unit/imagework/pictures.h"

namespace zelmor::imagework {
namespace {

int channel(Argb pixel, int shift) {
    return static_cast<int>(pixel >> shift & 0xFF);
}

int luma_of(Argb pixel) {
    return static_cast<int>(
        std::rint(0.299 * channel(pixel, 16) + 0.587 * channel(pixel, 8) + 0.114 * channel(pixel, 0)));
}

// Every channel of `picture` is what `expected` makes of it, and alpha is as it was.
template <class Change, class Expected>
void expect_change(Change&& change, Expected&& expected, int tolerance = 0) {
    auto source = noise(50, 20, true);
    auto picture = source->copy();
    change(*picture);
    auto before = pixels_of(*source);
    auto after = pixels_of(*picture);
    for (size_t i = 0; i < before.size(); i++) {
        ASSERT_EQ(after[i] >> 24, before[i] >> 24);
        for (int shift : {0, 8, 16}) {
            ASSERT_NEAR(channel(after[i], shift), std::clamp(expected(channel(before[i], shift)), 0.0, 255.0),
                        0.5 + tolerance);
        }
    }
}

TEST(ToneTest, BrightnessIsAdded) {
    for (int brightness : {-255, -40, 0, 99, 255}) {
        expect_change([&](Picture& p) { p.adjust_brightness(brightness); },
                      [&](int v) { return v + brightness * 1.0; });
    }
}

TEST(ToneTest, ContrastStretchesAroundTheMiddle) {
    for (double contrast : {-100.0, -30.0, 0.0, 45.0, 100.0}) {
        double factor = std::pow((100 + contrast) / 100, 2);
        expect_change([&](Picture& p) { p.adjust_contrast(contrast); },
                      [&](int v) { return (v - 127.5) * factor + 127.5; });
    }
}

TEST(ToneTest, GammaBendsEachChannel) {
    for (double gamma : {0.4, 1.0, 2.2}) {
        expect_change([&](Picture& p) { p.adjust_gamma(gamma, gamma, gamma); },
                      [&](int v) { return 255 * std::pow(v / 255.0, 1 / gamma); });
    }
    auto source = noise(9, 9, false);
    auto picture = source->copy();
    picture->adjust_gamma(2.0, 1.0, 0.5);
    EXPECT_EQ(channel(picture->get_argb(4, 4), 8), channel(source->get_argb(4, 4), 8));
    EXPECT_NEAR(channel(picture->get_argb(4, 4), 16), 255 * std::sqrt(channel(source->get_argb(4, 4), 16) / 255.0),
                0.51);
    EXPECT_NEAR(channel(picture->get_argb(4, 4), 0), 255 * std::pow(channel(source->get_argb(4, 4), 0) / 255.0, 2),
                0.51);
}

TEST(ToneTest, GrayIsLumaAndKeepsAlpha) {
    auto source = noise(30, 30, true);
    auto picture = source->copy();
    picture->grayscale();
    EXPECT_TRUE(picture->is_gray());
    for (int32_t i = 0; i < 30; i++) {
        Argb pixel = picture->get_argb(i, i);
        EXPECT_EQ(pixel >> 24, source->get_argb(i, i) >> 24);
        EXPECT_NEAR(channel(pixel, 0), luma_of(source->get_argb(i, i)), 1);
        EXPECT_EQ(channel(pixel, 0), channel(pixel, 16));
    }
}

TEST(BinarizeTest, FixedTakesWhatIsAboveForWhite) {
    std::vector<Argb> pixels;
    for (Argb level = 0; level < 256; level++) {
        pixels.push_back(0xFF000000 | level * 0x010101);
    }
    auto picture = picture_of(256, 1, false, pixels);
    picture->binarize_fixed(100);
    EXPECT_EQ(picture->get_argb(100, 0), kBlack);
    EXPECT_EQ(picture->get_argb(101, 0), kWhite);
}

TEST(BinarizeTest, OtsuPartsTwoHeaps) {
    std::vector<Argb> pixels;
    for (int i = 0; i < 1000; i++) {
        Argb level = static_cast<Argb>(i % 3 == 0 ? 180 + i % 17 : 60 + i % 23);
        pixels.push_back(0xFF000000 | level * 0x010101);
    }
    auto picture = picture_of(100, 10, false, pixels);
    picture->binarize_otsu();
    for (int i = 0; i < 1000; i++) {
        ASSERT_EQ(picture->get_argb(i % 100, i / 100), i % 3 == 0 ? kWhite : kBlack);
    }
}

TEST(BinarizeTest, BradleyComparesWithTheMeanOfTheWindow) {
    constexpr int32_t kWidth = 31;
    constexpr int32_t kHeight = 22;
    auto source = noise(kWidth, kHeight, false);
    source->grayscale();
    for (int32_t window : {1, 3, 9, 25, 99}) {
        auto picture = source->copy();
        picture->binarize_bradley(0.12, window);
        int32_t half = window / 2;
        for (int32_t y = 0; y < kHeight; y++) {
            for (int32_t x = 0; x < kWidth; x++) {
                double sum = 0;
                int count = 0;
                for (int32_t wy = std::max(0, y - half); wy <= std::min(kHeight - 1, y + half); wy++) {
                    for (int32_t wx = std::max(0, x - half); wx <= std::min(kWidth - 1, x + half); wx++) {
                        sum += channel(source->get_argb(wx, wy), 0);
                        count++;
                    }
                }
                bool white = channel(source->get_argb(x, y), 0) * count >= sum * (1.0 - 0.12);
                ASSERT_EQ(picture->get_argb(x, y), white ? kWhite : kBlack) << window << " at " << x << ", " << y;
            }
        }
    }
}

}  // namespace
}  // namespace zelmor::imagework
