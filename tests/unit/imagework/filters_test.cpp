// Filters, pictures laid over each other, the angle of lines.
#include <cmath>

#include "tests/unit/imagework/pictures.h"

namespace zelmor::imagework {
namespace {

Rect whole(const Picture& picture) {
    return {0, 0, picture.width(), picture.height()};
}

Kernel box(int side) {
    return {side, side, std::vector<double>(static_cast<size_t>(side * side), 1.0 / (side * side))};
}

TEST(FilterTest, ConvolutionIsTheWeightedSum) {
    auto picture = noise(9, 8, false);
    const auto before = pixels_of(*picture);
    picture->filter(whole(*picture), Convolution{box(3), 1.0, 0.0});
    const auto at = [&](int x, int y, int shift) {
        return static_cast<double>(before[static_cast<size_t>(y * 9 + x)] >> shift & 0xFF);
    };
    for (int y = 1; y < 7; y++) {
        for (int x = 1; x < 8; x++) {
            for (const int shift : {0, 8, 16}) {
                double sum = 0;
                for (int dy = -1; dy <= 1; dy++) {
                    for (int dx = -1; dx <= 1; dx++) {
                        sum += at(x + dx, y + dy, shift);
                    }
                }
                EXPECT_NEAR(picture->get_argb(x, y) >> shift & 0xFF, sum / 9, 1.0);
            }
        }
    }
}

TEST(FilterTest, FactorAndBiasAreApplied) {
    auto picture = backend().create(5, 5, false, false, 0xFF404040);
    picture->filter(whole(*picture), Convolution{box(3), 2.0, 10.0});
    EXPECT_EQ(picture->get_argb(2, 2), 0xFF8A8A8AU);
}

TEST(FilterTest, OnlyTheAreaChanges) {
    auto picture = noise(12, 12, true);
    const auto before = picture->copy();
    const Rect area{3, 4, 5, 6};
    picture->filter(area, Convolution{box(5), 1.0, 0.0});
    int changed = 0;
    for (int y = 0; y < 12; y++) {
        for (int x = 0; x < 12; x++) {
            const bool inside = x >= 3 && x < 8 && y >= 4 && y < 10;
            if (!inside) {
                EXPECT_EQ(picture->get_argb(x, y), before->get_argb(x, y));
            }
            changed += picture->get_argb(x, y) != before->get_argb(x, y) ? 1 : 0;
        }
    }
    EXPECT_GT(changed, 20);
    EXPECT_EQ(failure_of([&] { picture->filter({8, 8, 5, 5}, Median{3}); }).kind(), Failure::kArgument);
}

TEST(FilterTest, TransparentPixelsDoNotBleed) {
    std::vector<Argb> pixels(25, 0x0000FF00);
    pixels[12] = 0xFFFF0000;
    auto picture = picture_of(5, 5, true, pixels);
    picture->filter(whole(*picture), Convolution{box(3), 1.0, 0.0});
    const Argb color = picture->get_argb(1, 1);
    EXPECT_EQ(color & 0xFFFFFF, 0xFF0000U);
    EXPECT_NEAR(color >> 24, 255.0 / 9, 1.0);
}

TEST(FilterTest, MedianTakesSpotsAway) {
    auto picture = backend().create(9, 9, false, false, 0xFF406080);
    picture->set_argb(4, 4, 0xFFFFFFFF);
    picture->set_argb(0, 0, 0xFF000000);
    picture->filter(whole(*picture), Median{3});
    for (const Argb color : pixels_of(*picture)) {
        EXPECT_EQ(color, 0xFF406080U);
    }
}

TEST(FilterTest, BilateralKeepsEdges) {
    std::vector<Argb> pixels;
    for (int y = 0; y < 16; y++) {
        for (int x = 0; x < 16; x++) {
            pixels.push_back(x < 8 ? 0xFF202020 + static_cast<Argb>((x + y) % 2) * 0x040404 : 0xFFE0E0E0);
        }
    }
    auto picture = picture_of(16, 16, false, pixels);
    picture->filter(whole(*picture), Bilateral{5, 3.0, 2.0, 20.0, 2.0});
    EXPECT_EQ(picture->get_argb(8, 8), 0xFFE0E0E0U);
    EXPECT_NEAR(picture->get_argb(7, 8) & 0xFF, 0x22, 1);
    EXPECT_NEAR(picture->get_argb(3, 8) & 0xFF, 0x22, 1);
    EXPECT_NEAR(picture->get_argb(4, 8) & 0xFF, 0x22, 1);
}

double difference(const Picture& a, const Picture& b) {
    double sum = 0;
    for (int y = 8; y < a.height() - 8; y++) {
        for (int x = 8; x < a.width() - 8; x++) {
            const double d = static_cast<double>(a.get_argb(x, y) & 0xFF) - (b.get_argb(x, y) & 0xFF);
            sum += d * d;
        }
    }
    return std::sqrt(sum / ((a.width() - 16) * (a.height() - 16)));
}

TEST(FilterTest, DeconvolutionUndoesABlur) {
    std::vector<Argb> pixels;
    for (int y = 0; y < 64; y++) {
        for (int x = 0; x < 64; x++) {
            pixels.push_back((x / 8 + y / 8) % 2 ? 0xFFC0C0C0 : 0xFF303030);
        }
    }
    const auto sharp = picture_of(64, 64, false, pixels);
    auto blurred = sharp->copy();
    blurred->filter(whole(*blurred), Convolution{box(5), 1.0, 0.0});
    auto restored = blurred->copy();
    restored->filter(whole(*restored), Deconvolution{box(5), 0.001, 1.0, false});
    EXPECT_LT(difference(*restored, *sharp), difference(*blurred, *sharp) / 2);
}

TEST(DrawTest, OpaqueReplacesAndIsCut) {
    auto below = backend().create(4, 4, false, false, 0xFF000000);
    below->draw(*backend().create(3, 3, false, true, 0xFF808080), 2, -1);
    EXPECT_EQ(below->get_argb(2, 1), 0xFF808080U);
    EXPECT_EQ(below->get_argb(1, 1), 0xFF000000U);
    EXPECT_EQ(below->get_argb(3, 2), 0xFF000000U);
    below->draw(*backend().create(3, 3, false, true, 0xFF808080), 9, 9);
    EXPECT_EQ(below->get_argb(3, 3), 0xFF000000U);
}

TEST(DrawTest, AlphaBlends) {
    auto below = backend().create(2, 2, false, false, 0xFF000000);
    below->draw(*backend().create(2, 2, true, false, 0x80FFFFFF), 0, 0);
    EXPECT_NEAR(below->get_argb(0, 0) & 0xFF, 0x80, 1);
    auto clear = backend().create(2, 2, true, false, 0);
    clear->draw(*backend().create(1, 1, true, false, 0x80FF0000), 0, 0);
    EXPECT_EQ(clear->get_argb(0, 0), 0x80FF0000U);
    EXPECT_EQ(clear->get_argb(1, 1), 0U);
}

TEST(WidePixelTest, SixteenBitsPerChannel) {
    auto picture = picture_of(1, 1, true, {0x7F102030});
    uint64_t color = 0;
    picture->read_argb64({0, 0, 1, 1}, {&color, 1});
    EXPECT_EQ(color, 0x7F7F101020203030U);
    picture = backend().create(1, 1, false, true, 0xFF454545);
    picture->read_argb64({0, 0, 1, 1}, {&color, 1});
    EXPECT_EQ(color, 0xFFFF454545454545U);
}

TEST(SkewTest, LinesTellTheirAngle) {
    auto page = backend().create(400, 300, false, true, 0xFFFFFFFF);
    std::vector<Argb> ink(300 * 6, 0xFF101010);
    for (int line = 0; line < 12; line++) {
        page->write_argb({50, 30 + 20 * line, 300, 6}, ink);
    }
    EXPECT_NEAR(page->skew_angle(), 0.0, 0.05);
    for (const double degrees : {3.0, -7.25, 12.5}) {
        auto turned = page->copy();
        turned->rotate(degrees, true, 0xFFFFFFFF);
        EXPECT_NEAR(turned->skew_angle(), degrees, 0.2);
    }
    EXPECT_EQ(backend().create(40, 30, false, true, 0xFFFFFFFF)->skew_angle(), 0.0);
}

}  // namespace
}  // namespace zelmor::imagework
