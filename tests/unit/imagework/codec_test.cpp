// Encoding and decoding: what is lossless comes back as it was, what is not stays near, and limits are told.
#include <algorithm>
#include <cstdlib>
#include <string>

#include "runtime/native/formats/bmp/bmp_encoding.h"
#include "runtime/native/formats/gif/gif_encoding.h"
#include "runtime/native/formats/jpeg/jpeg_encoding.h"
#include "runtime/native/formats/png/png_encoding.h"
#include "runtime/native/formats/tiff/tiff_encoding.h"
#include "runtime/native/formats/webp/webp_encoding.h"
#include "runtime/native/imagework/probe/probe.h"
#include "tests/unit/imagework/pictures.h"

namespace zelmor::imagework {
namespace {

struct Lossless {
    const char* name;
    FormatEncoding format;
    bool alpha;
};

class LosslessTest : public testing::TestWithParam<Lossless> {};

TEST_P(LosslessTest, GivesBackEveryPixel) {
    // Odd sizes, so that padding of rows would show.
    auto picture = noise(37, 23, GetParam().alpha);
    if (format_of({GetParam().format, {}, kWhite, true, {}}) == Format::kWebp && GetParam().alpha) {
        auto pixels = pixels_of(*picture);
        for (Argb& pixel : pixels) {
            pixel |= 0x01000000;  // WebP is free to drop the color of clear pixels
        }
        picture = picture_of(37, 23, true, pixels);
    }
    auto copy = decoded(encoded(*picture, GetParam().format));
    EXPECT_EQ(copy->width(), 37);
    EXPECT_EQ(copy->height(), 23);
    EXPECT_EQ(pixels_of(*copy), pixels_of(*picture));
}

INSTANTIATE_TEST_SUITE_P(
    Formats, LosslessTest,
    testing::Values(Lossless{"Bmp24", BmpEncoding{}, false}, Lossless{"Bmp32", BmpEncoding{32}, true},
                    Lossless{"Png", PngEncoding{}, false}, Lossless{"PngAlpha", PngEncoding{}, true},
                    Lossless{"PngInterlaced", PngEncoding{PngColor::kAuto, 0, true}, true},
                    Lossless{"PngSub", PngEncoding{PngColor::kAuto, 0, false, PngFilter::kSub}, false},
                    Lossless{"TiffPlain", TiffEncoding{TiffCompression::kNone}, true},
                    Lossless{"TiffLzw", TiffEncoding{TiffCompression::kLzw}, true},
                    Lossless{"TiffDeflate", TiffEncoding{TiffCompression::kDeflate}, true},
                    Lossless{"TiffPackBits", TiffEncoding{TiffCompression::kPackBits}, false},
                    Lossless{"TiffBigEndian", TiffEncoding{.big_endian = true}, true},
                    Lossless{"TiffBig", TiffEncoding{.big_tiff = true}, true},
                    Lossless{"TiffBigBigEndian", TiffEncoding{.big_tiff = true, .big_endian = true}, false},
                    Lossless{"TiffTiled", TiffEncoding{.tile_width = 16, .tile_height = 32}, false},
                    Lossless{"WebP", WebpEncoding{true, 100}, false},
                    Lossless{"WebPAlpha", WebpEncoding{true, 100}, true}),
    [](const auto& info) { return info.param.name; });

// A picture of `count` colors in blocks.
std::unique_ptr<Picture> colored(int count) {
    std::vector<Argb> pixels;
    for (int i = 0; i < 64 * 48; i++) {
        pixels.push_back(0xFF000000 | static_cast<Argb>(i / 7 % count) * 0x050B13);
    }
    return picture_of(64, 48, false, pixels);
}

TEST(PaletteTest, FewColorsSurviveEveryIndexedForm) {
    auto picture = colored(16);
    for (const FormatEncoding& format :
         {FormatEncoding(BmpEncoding{8}), FormatEncoding(BmpEncoding{4}),
          FormatEncoding(BmpEncoding{8, BmpCompression::kRle8}), FormatEncoding(BmpEncoding{4, BmpCompression::kRle4}),
          FormatEncoding(PngEncoding{PngColor::kIndexed, 8}), FormatEncoding(PngEncoding{PngColor::kIndexed, 4}),
          FormatEncoding(GifEncoding{8}), FormatEncoding(GifEncoding{8, true})}) {
        EXPECT_EQ(pixels_of(*decoded(encoded(*picture, format))), pixels_of(*picture));
    }
}

TEST(PaletteTest, ManyColorsAreReducedToWhatThePaletteHolds) {
    auto pixels = pixels_of(*decoded(encoded(*noise(64, 64, false), BmpEncoding{4})));
    std::sort(pixels.begin(), pixels.end());
    pixels.erase(std::unique(pixels.begin(), pixels.end()), pixels.end());
    EXPECT_GT(pixels.size(), 1U);
    EXPECT_LE(pixels.size(), 16U);
}

TEST(JpegTest, QualityDecidesOnSizeAndIsFoundAgain) {
    auto picture = noise(64, 64, false);
    size_t last = 0;
    for (int quality : {1, 10, 35, 50, 75, 92, 100}) {
        auto bytes = encoded(*picture, JpegEncoding{quality});
        EXPECT_GT(bytes.size(), last);
        last = bytes.size();
        auto facts = probe(bytes);
        ASSERT_TRUE(facts.encoding);
        EXPECT_EQ(facts.encoding->get<JpegEncoding>().quality, quality);
    }
}

TEST(JpegTest, ColorKindAndCommentStandInTheFile) {
    auto picture = colored(200);
    auto gray = probe(encoded(*picture, JpegEncoding{75, true, JpegColor::kGray, "a word"}));
    EXPECT_EQ(gray.bits_per_pixel, 8);
    EXPECT_TRUE(gray.encoding->get<JpegEncoding>().progressive);
    EXPECT_EQ(gray.encoding->get<JpegEncoding>().comment, "a word");
    EXPECT_EQ(probe(encoded(*picture, JpegEncoding{75, false, JpegColor::kCmyk})).bits_per_pixel, 32);
    auto failure = failure_of([&] {
        encoded(*picture, JpegEncoding{75, false, JpegColor::kAuto, std::string(65534, 'x')});
    });
    EXPECT_EQ(failure.kind(), Failure::kEncoding);
}

TEST(JpegTest, AlphaIsBlendedWithTheBackgroundOrDropped) {
    auto picture = backend().create(16, 16, true, false, 0x80FF0000);
    Encoding encoding{JpegEncoding{100}, {}, 0xFF0000FF, true, {}};
    auto blend = [&] {
        EncodedBytes bytes = picture->encode(encoding);
        return backend().decode({bytes.data.get(), bytes.size}, {})->get_argb(8, 8);
    };
    Argb blended = blend();
    EXPECT_NEAR(static_cast<double>(blended >> 16 & 0xFF), 128, 4);
    EXPECT_NEAR(static_cast<double>(blended & 0xFF), 127, 4);
    encoding.blend_alpha = false;
    Argb dropped = blend();
    EXPECT_NEAR(static_cast<double>(dropped >> 16 & 0xFF), 255, 4);
    EXPECT_NEAR(static_cast<double>(dropped & 0xFF), 0, 4);
}

TEST(PngTest, SixteenBitsStaySixteenBits) {
    auto wide = decoded(encoded(*noise(20, 10, false), PngEncoding{PngColor::kTruecolor, 16}));
    EXPECT_EQ(wide->form().bits, 16);
    EXPECT_EQ(wide->get_argb(3, 3), noise(20, 10, false)->get_argb(3, 3));
    auto again = encoded(*wide, PngEncoding{});
    EXPECT_EQ(probe(again).bits_per_pixel, 48);
}

TEST(PngTest, ColorTypeDecidesOnChannels) {
    auto picture = noise(20, 10, true);
    EXPECT_EQ(probe(encoded(*picture, PngEncoding{PngColor::kGray})).bits_per_pixel, 8);
    EXPECT_EQ(probe(encoded(*picture, PngEncoding{PngColor::kTruecolor})).bits_per_pixel, 24);
    EXPECT_EQ(probe(encoded(*picture, PngEncoding{PngColor::kGrayAlpha})).bits_per_pixel, 16);
    EXPECT_EQ(probe(encoded(*picture, PngEncoding{PngColor::kTruecolorAlpha})).bits_per_pixel, 32);
    EXPECT_EQ(probe(encoded(*picture, PngEncoding{PngColor::kGray, 1})).bits_per_pixel, 1);
    EXPECT_EQ(failure_of([&] { encoded(*picture, PngEncoding{PngColor::kTruecolor, 4}); }).kind(), Failure::kEncoding);
    EXPECT_EQ(failure_of([&] { encoded(*picture, PngEncoding{PngColor::kIndexed, 16}); }).kind(), Failure::kEncoding);
}

TEST(TiffTest, FaxTakesBlackAndWhiteOnly) {
    auto picture = noise(33, 9, false);
    auto failure = failure_of([&] { encoded(*picture, TiffEncoding{TiffCompression::kFax4}); });
    EXPECT_EQ(failure.kind(), Failure::kEncoding);
    picture->binarize_fixed(127);
    auto copy =
        decoded(encoded(*picture, TiffEncoding{.compression = TiffCompression::kFax4, .color = TiffColor::kBilevel}));
    EXPECT_EQ(pixels_of(*copy), pixels_of(*picture));
}

TEST(TiffTest, SixteenBitsInEitherByteOrder) {
    auto wide = decoded(encoded(*noise(20, 10, false), PngEncoding{PngColor::kTruecolor, 16}));
    wide->adjust_gamma(1.3, 1.3, 1.3);  // so that the two bytes of a sample differ
    TiffEncoding plain{TiffCompression::kNone};
    auto little = encoded(*wide, plain);
    plain.big_endian = true;
    auto big = encoded(*wide, plain);
    EXPECT_EQ(little.size(), big.size());
    EXPECT_EQ(big[0], 'M');
    EXPECT_EQ(encoded(*decoded(big), PngEncoding{}), encoded(*decoded(little), PngEncoding{}));
    TiffEncoding packed{TiffCompression::kLzw};
    packed.big_endian = true;
    EXPECT_EQ(encoded(*decoded(encoded(*wide, packed)), PngEncoding{}), encoded(*decoded(little), PngEncoding{}));
}

TEST(BmpTest, RefusesWhatTheFormatDoesNotHave) {
    auto picture = noise(8, 8, false);
    EXPECT_EQ(failure_of([&] { encoded(*picture, BmpEncoding{7}); }).kind(), Failure::kEncoding);
    EXPECT_EQ(failure_of([&] {
                  encoded(*picture, BmpEncoding{24, BmpCompression::kRle8});
              }).kind(),
              Failure::kEncoding);
}

TEST(LimitTest, SidesBeyondTheFormatAreToldBeforeEncoding) {
    auto picture = backend().create(16384, 1, false, true, kWhite);
    auto failure = failure_of([&] { encoded(*picture, WebpEncoding{}); });
    EXPECT_EQ(failure.kind(), Failure::kEncoding);
    EXPECT_NE(std::string(failure.what()).find("16383"), std::string::npos);
    picture = backend().create(65536, 1, false, true, kWhite);
    EXPECT_NE(std::string(failure_of([&] { encoded(*picture, JpegEncoding{}); }).what()).find("65535"),
              std::string::npos);
    EXPECT_EQ(failure_of([&] { encoded(*picture, GifEncoding{}); }).kind(), Failure::kEncoding);
}

TEST(LimitTest, PicturesThatNoMemoryHoldsAreRefused) {
    EXPECT_EQ(failure_of([] { backend().create(2147483647, 2147483647, true, false, 0); }).kind(), Failure::kTooLarge);
    EXPECT_EQ(failure_of([] { backend().create(50000, 50000, false, false, 0); }).kind(), Failure::kTooLarge);
    auto picture = noise(4, 4, false);
    EXPECT_EQ(failure_of([&] { picture->resize(2147483647, 1, Resampling::kLanczos); }).kind(), Failure::kTooLarge);
    EXPECT_EQ(picture->width(), 4);
}

TEST(ResolutionTest, IsKeptByTheFormatsThatHoldIt) {
    for (const FormatEncoding& format : {FormatEncoding(BmpEncoding{}), FormatEncoding(JpegEncoding{}),
                                         FormatEncoding(PngEncoding{}), FormatEncoding(TiffEncoding{})}) {
        Encoding encoding{format, Resolution{300, 150}, kWhite, true, {}};
        EncodedBytes bytes = noise(8, 8, false)->encode(encoding);
        auto copy = backend().decode({bytes.data.get(), bytes.size}, {});
        EXPECT_NEAR(copy->resolution().horizontal, 300, 0.6) << format_name(format.format());
        EXPECT_NEAR(copy->resolution().vertical, 150, 0.6) << format_name(format.format());
    }
    EXPECT_EQ(decoded(encoded(*noise(8, 8, false), GifEncoding{}))->resolution(), kDefaultResolution);
}

TEST(CmykTest, PrimariesGoThroughTheProfileAndBack) {
    std::vector<Argb> colors = {0xFFFFFFFF, 0xFF000000, 0xFF808080, 0xFF3060A0};
    std::vector<uint8_t> cmyk(16);
    backend().argb_to_cmyk(colors, cmyk);
    EXPECT_EQ((std::vector<uint8_t>{cmyk.begin(), cmyk.begin() + 4}), (std::vector<uint8_t>{0, 0, 0, 0}));
    std::vector<Argb> back(4);
    backend().cmyk_to_argb(cmyk, back);
    for (size_t i = 0; i < colors.size(); i++) {
        for (int shift : {0, 8, 16}) {
            EXPECT_NEAR(static_cast<double>(back[i] >> shift & 0xFF), static_cast<double>(colors[i] >> shift & 0xFF),
                        45)
                << i;
        }
    }
}

}  // namespace
}  // namespace zelmor::imagework
