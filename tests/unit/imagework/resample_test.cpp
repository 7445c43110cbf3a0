// Resizing: exact sizes, exact nearest sampling, and smooth methods that keep what every sound method keeps.
#include <cmath>

#include "tests/unit/imagework/pictures.h"

namespace zelmor::imagework {
namespace {

constexpr Resampling kSmooth[] = {Resampling::kBilinear, Resampling::kCatmullRom, Resampling::kMitchell,
                                  Resampling::kLanczos,  Resampling::kSinc,       Resampling::kAdaptive,
                                  Resampling::kBell,     Resampling::kBSpline};

TEST(ResizeTest, SizesAreExactForAllMethods) {
    for (Resampling method : kSmooth) {
        for (auto [width, height] :
             {std::pair{1, 1}, std::pair{33, 47}, std::pair{200, 3}, std::pair{7, 211}, std::pair{61, 59}}) {
            auto picture = noise(60, 60, true);
            picture->resize(width, height, method);
            EXPECT_EQ(picture->width(), width);
            EXPECT_EQ(picture->height(), height);
        }
    }
}

TEST(ResizeTest, NearestTakesThePixelUnderTheCenter) {
    auto source = noise(60, 45, true);
    for (auto [width, height] : {std::pair{20, 15}, std::pair{33, 47}, std::pair{200, 31}, std::pair{1, 1}}) {
        auto picture = source->copy();
        picture->resize(width, height, Resampling::kNearest);
        for (int32_t y = 0; y < height; y++) {
            for (int32_t x = 0; x < width; x++) {
                ASSERT_EQ(picture->get_argb(x, y),
                          source->get_argb((2 * x + 1) * 60 / (2 * width), (2 * y + 1) * 45 / (2 * height)));
            }
        }
    }
}

TEST(ResizeTest, OneColorStaysThatColor) {
    for (Resampling method : kSmooth) {
        for (int32_t side : {5, 16, 90}) {
            auto picture = backend().create(30, 30, true, false, 0xC0408020);
            picture->resize(side, side, method);
            for (Argb pixel : pixels_of(*picture)) {
                for (int shift : {0, 8, 16, 24}) {
                    ASSERT_NEAR(static_cast<double>(pixel >> shift & 0xFF),
                                static_cast<double>(0xC0408020U >> shift & 0xFF), 1);
                }
            }
        }
    }
}

TEST(ResizeTest, AGradientStaysAGradient) {
    std::vector<Argb> pixels;
    for (int i = 0; i < 64 * 8; i++) {
        pixels.push_back(0xFF000000 | static_cast<Argb>(i % 64 * 4) * 0x010101);
    }
    for (Resampling method : kSmooth) {
        for (int32_t width : {32, 128}) {
            auto picture = picture_of(64, 8, false, pixels);
            picture->resize(width, 8, method);
            // Away from the edges, at the place of each new center.
            for (int32_t x = width / 8; x < width - width / 8; x++) {
                double expected = ((x + 0.5) * 64 / width - 0.5) * 4;
                ASSERT_NEAR(static_cast<double>(picture->get_argb(x, 4) & 0xFF), expected, 2.1)
                    << x << " of " << width << " by method " << static_cast<int>(method);
            }
        }
    }
}

TEST(ResizeTest, TransparentPixelsDoNotBleed) {
    std::vector<Argb> pixels;
    for (int i = 0; i < 40 * 40; i++) {
        pixels.push_back(i % 40 < 20 ? 0xFFFF0000 : 0x0000FF00);
    }
    for (Resampling method : kSmooth) {
        for (int32_t side : {13, 77}) {
            auto picture = picture_of(40, 40, true, pixels);
            picture->resize(side, side, method);
            for (Argb pixel : pixels_of(*picture)) {
                if (pixel >> 24 > 8) {
                    ASSERT_LT(pixel >> 8 & 0xFF, 16U) << std::hex << pixel;
                }
            }
        }
    }
}

}  // namespace
}  // namespace zelmor::imagework
