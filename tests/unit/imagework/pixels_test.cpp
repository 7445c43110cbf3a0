// Reading and writing single pixels, replacing colors, opacity.
#include <functional>

#include "runtime/native/formats/png/png_encoding.h"
#include "tests/unit/imagework/pictures.h"

namespace zelmor::imagework {
namespace {

TEST(PixelTest, WhatIsWrittenIsRead) {
    auto picture = backend().create(5, 4, true, false, 0);
    picture->set_argb(4, 3, 0x7F010203);
    EXPECT_EQ(picture->get_argb(4, 3), 0x7F010203U);
    EXPECT_EQ(picture->get_argb(3, 3), 0U);
}

TEST(PixelTest, OutsideIsRefused) {
    auto picture = backend().create(5, 4, true, false, 0);
    struct Place {
        int32_t x, y;
    };
    for (Place place : {Place{-1, 0}, Place{5, 0}, Place{0, 4}, Place{0, -1}}) {
        EXPECT_EQ(failure_of([&] { picture->get_argb(place.x, place.y); }).kind(), Failure::kArgument);
        EXPECT_EQ(failure_of([&] { picture->set_argb(place.x, place.y, 0); }).kind(), Failure::kArgument);
    }
}

TEST(PixelTest, APictureWithoutAlphaDropsIt) {
    auto picture = backend().create(2, 2, false, false, kBlack);
    picture->set_argb(0, 0, 0x10FF8040);
    EXPECT_EQ(picture->get_argb(0, 0), 0xFFFF8040U);
}

TEST(PixelTest, AGrayPictureTurnsRgbAtTheFirstColor) {
    auto picture = backend().create(3, 3, false, true, 0xFF404040);
    picture->set_argb(0, 0, 0xFF909090);
    EXPECT_TRUE(picture->is_gray());
    picture->set_argb(1, 0, 0xFF900000);
    EXPECT_FALSE(picture->is_gray());
    EXPECT_EQ(picture->get_argb(0, 0), 0xFF909090U);
    EXPECT_EQ(picture->get_argb(1, 0), 0xFF900000U);
    EXPECT_EQ(picture->get_argb(2, 2), 0xFF404040U);
}

// Whichever width the colors have that are written.
TEST(PixelTest, GrayOfFewBitsKeepsItsDepthForItsLevels) {
    for (const int bits : {1, 2, 4}) {
        const uint32_t step = 255U / ((1U << bits) - 1);
        for (uint32_t level = 0; level < 256; level++) {
            PixelForm form;
            form.color = ColorModel::kGray;
            form.bits = bits;
            const int expected = level % step == 0 ? bits : 8;
            const Argb color = kBlack | level * 0x010101;
            auto narrow = backend().create(1, 1, form, kBlack, {});
            narrow->write_argb({0, 0, 1, 1}, {{color}});
            EXPECT_EQ(narrow->form().bits, expected) << level;
            EXPECT_EQ(narrow->get_argb(0, 0), color);
            auto wide = backend().create(1, 1, form, kBlack, {});
            const uint64_t word = uint64_t{0xFFFF} << 48 | uint64_t{level * 257} * 0x100010001;
            wide->write_argb64({0, 0, 1, 1}, {{word}});
            EXPECT_EQ(wide->form().bits, expected) << level;
            EXPECT_EQ(wide->get_argb(0, 0), color);
        }
    }
}

TEST(PixelTest, SixteenBitPicturesShowTheirUpperByte) {
    Encoding encoding{PngEncoding{PngColor::kTruecolor, 16}, {}, kWhite, true, {}};
    EncodedBytes bytes = noise(4, 4, false)->encode(encoding);
    auto picture = backend().decode({bytes.data.get(), bytes.size}, {});
    picture->set_argb(1, 2, 0xFFABCDEF);
    EXPECT_EQ(picture->get_argb(1, 2), 0xFFABCDEFU);
    EXPECT_EQ(picture->form().bits, 16);
}

TEST(ReplaceTest, TakesWhatIsNearEnoughInEveryChannel) {
    auto picture = picture_of(4, 1, true, {0xFF101010, 0xFF131310, 0xFF141010, 0xFE101010});
    picture->replace_color(0xFF101010, 3, 0x80AABBCC);
    EXPECT_EQ(pixels_of(*picture), (std::vector<Argb>{0x80AABBCC, 0x80AABBCC, 0xFF141010, 0x80AABBCC}));
    picture = picture_of(2, 1, true, {0xFF101010, 0xFE101010});
    picture->replace_color(0xFF101010, 0, 0xFF000000);
    EXPECT_EQ(pixels_of(*picture), (std::vector<Argb>{0xFF000000, 0xFE101010}));
}

TEST(ReplaceTest, GrayTakesAColor) {
    auto picture = backend().create(2, 1, false, true, 0xFF202020);
    picture->replace_color(0xFF202020, 0, 0xFF00FF00);
    EXPECT_EQ(picture->get_argb(1, 0), 0xFF00FF00U);
}

TEST(ReplaceTest, RgbOfAllPixelsLeavesAlpha) {
    auto picture = picture_of(3, 1, true, {0xFF101010, 0x80ABCDEF, 0x00123456});
    picture->replace_rgb(0xFF0A0B0C);
    EXPECT_EQ(pixels_of(*picture), (std::vector<Argb>{0xFF0A0B0C, 0x800A0B0C, 0x000A0B0C}));
}

TEST(OpacityTest, IsTheMeanOfAlpha) {
    EXPECT_EQ(backend().create(3, 3, false, false, 0)->opacity(), 1.0);
    EXPECT_DOUBLE_EQ(picture_of(2, 1, true, {0xFF000000, 0x00000000})->opacity(), 0.5);
}

TEST(TransparentColorTest, IsWrittenAsClear) {
    auto picture = picture_of(2, 1, false, {0xFFFF00FF, 0xFF00FF00});
    Encoding encoding{PngEncoding{}, {}, kWhite, true, 0xFFFF00FF};
    EncodedBytes bytes = picture->encode(encoding);
    auto copy = backend().decode({bytes.data.get(), bytes.size}, {});
    EXPECT_EQ(copy->get_argb(0, 0) >> 24, 0U);
    EXPECT_EQ(copy->get_argb(1, 0), 0xFF00FF00U);
}

// The pixels of a picture and its copy are the same memory until one of them is written to.
TEST(PixelTest, WhatDidNothingLeavesThePixelsShared) {
    const std::vector<std::function<void(Picture&)>> operations = {
        [](Picture& picture) { picture.rotate(0.0, true, kWhite); },
        [](Picture& picture) { picture.rotate_flip(0, false, false); },
        [](Picture& picture) { picture.replace_color(0xFF010203, 0, kWhite); },
        [](Picture& picture) { picture.resize(4, 3, Resampling::kLanczos); },
    };
    for (const auto& operation : operations) {
        auto picture = backend().create(4, 3, false, false, 0xFF808080);
        const auto copy = picture->copy();
        operation(*picture);
        picture->set_argb(1, 1, 0xFF102030);
        EXPECT_EQ(picture->get_argb(1, 1), 0xFF102030U);
        EXPECT_EQ(copy->get_argb(1, 1), 0xFF808080U);
    }
}

}  // namespace
}  // namespace zelmor::imagework
