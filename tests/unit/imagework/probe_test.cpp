// Reading of headers: facts of files that the backend wrote, and bytes that only look like a picture.
#include <algorithm>
#include <random>
#include <string>

#include "runtime/native/imagework/probe/probe.h"
#include "tests/unit/imagework/pictures.h"

namespace zelmor::imagework {
namespace {

TEST(ProbeTest, TellsFormatSizeAndDepth) {
    struct Case {
        FormatEncoding encoding;
        Format format;
        int bits;
    };
    for (const Case& c : {Case{BmpEncoding{32}, Format::kBmp, 32}, Case{GifEncoding{}, Format::kGif, 8},
                          Case{JpegEncoding{}, Format::kJpeg, 24}, Case{PngEncoding{}, Format::kPng, 24},
                          Case{TiffEncoding{}, Format::kTiff, 24}, Case{WebpEncoding{}, Format::kWebp, 24},
                          Case{WebpEncoding{true, 100}, Format::kWebp, 24}}) {
        auto facts = probe(encoded(*noise(45, 31, false), c.encoding));
        EXPECT_EQ(facts.format, c.format);
        EXPECT_TRUE(facts.readable);
        EXPECT_EQ(facts.width, 45);
        EXPECT_EQ(facts.height, 31);
        EXPECT_EQ(facts.bits_per_pixel, c.bits) << format_name(c.format);
        ASSERT_TRUE(facts.encoding);
        EXPECT_EQ(facts.encoding->index(), c.encoding.index());
    }
}

TEST(ProbeTest, TellsSettings) {
    auto png = probe(encoded(*noise(8, 8, true), PngEncoding{PngColor::kAuto, 0, true}));
    EXPECT_TRUE(std::get<PngEncoding>(*png.encoding).interlaced);
    EXPECT_EQ(std::get<PngEncoding>(*png.encoding).color, PngColor::kTruecolorAlpha);
    EXPECT_TRUE(png.has_alpha);
    auto tiff = probe(encoded(*noise(8, 8, false), TiffEncoding{.compression = TiffCompression::kDeflate,
                                                                .predictor = TiffDifferencing::kHorizontal}));
    EXPECT_EQ(std::get<TiffEncoding>(*tiff.encoding).compression, TiffCompression::kDeflate);
    EXPECT_EQ(std::get<TiffEncoding>(*tiff.encoding).predictor, TiffDifferencing::kHorizontal);
    auto gif = probe(encoded(*noise(8, 8, false), GifEncoding{8, true}));
    EXPECT_TRUE(std::get<GifEncoding>(*gif.encoding).interlaced);
    EXPECT_TRUE(std::get<WebpEncoding>(*probe(encoded(*noise(8, 8, true), WebpEncoding{true, 100})).encoding).lossless);
}

TEST(ProbeTest, SniffNeedsTheWholeSignature) {
    auto png = encoded(*noise(8, 8, false), PngEncoding{});
    EXPECT_EQ(sniff(std::span(png).first(8)), Format::kPng);
    EXPECT_EQ(sniff(std::span(png).first(7)), Format::kUnknown);
    EXPECT_EQ(sniff({}), Format::kUnknown);
}

TEST(ProbeTest, AnyBytesAreTaken) {
    static const std::string kSignatures[] = {"\x89PNG\r\n\x1A\n",     "\xFF\xD8\xFF\xE0",      "GIF89a",          "BM",
                                              std::string("II*\0", 4), std::string("MM\0+", 4), "RIFF----WEBPVP8X"};
    std::mt19937 random(3);
    for (int i = 0; i < 20000; i++) {
        std::vector<uint8_t> data(random() % 200);
        for (uint8_t& byte : data) {
            byte = static_cast<uint8_t>(random() % 4 == 0 ? random() : random() % 3);
        }
        const std::string& signature = kSignatures[random() % std::size(kSignatures)];
        std::copy_n(signature.begin(), std::min(signature.size(), data.size()), data.begin());
        FileFacts facts = probe(data);
        if (facts.readable) {
            EXPECT_GT(facts.width, 0);
            EXPECT_GT(facts.height, 0);
        }
    }
}

}  // namespace
}  // namespace zelmor::imagework
