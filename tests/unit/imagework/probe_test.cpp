// Reading of headers: facts of files that the backend wrote, and bytes that only look like a picture.
#include <algorithm>
#include <random>
#include <string>

#include "runtime/native/formats/bmp/bmp_encoding.h"
#include "runtime/native/formats/format_room.h"
#include "runtime/native/formats/gif/gif_encoding.h"
#include "runtime/native/formats/jpeg/jpeg_encoding.h"
#include "runtime/native/formats/png/png_encoding.h"
#include "runtime/native/formats/tiff/tiff_encoding.h"
#include "runtime/native/formats/webp/webp_encoding.h"
#include "runtime/native/imagework/probe/probe.h"
#include "tests/unit/imagework/failure_of.h"
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
        EXPECT_EQ(facts.encoding->format(), c.encoding.format());
    }
}

TEST(ProbeTest, TellsSettings) {
    auto png = probe(encoded(*noise(8, 8, true), PngEncoding{PngColor::kAuto, 0, true}));
    EXPECT_TRUE(png.encoding->get<PngEncoding>().interlaced);
    EXPECT_EQ(png.encoding->get<PngEncoding>().color, PngColor::kTruecolorAlpha);
    EXPECT_TRUE(png.has_alpha);
    auto tiff = probe(encoded(*noise(8, 8, false), TiffEncoding{.compression = TiffCompression::kDeflate,
                                                                .predictor = TiffDifferencing::kHorizontal}));
    EXPECT_EQ(tiff.encoding->get<TiffEncoding>().compression, TiffCompression::kDeflate);
    EXPECT_EQ(tiff.encoding->get<TiffEncoding>().predictor, TiffDifferencing::kHorizontal);
    auto gif = probe(encoded(*noise(8, 8, false), GifEncoding{8, true}));
    EXPECT_TRUE(gif.encoding->get<GifEncoding>().interlaced);
    EXPECT_TRUE(probe(encoded(*noise(8, 8, true), WebpEncoding{true, 100})).encoding->get<WebpEncoding>().lossless);
}

TEST(ProbeTest, SniffNeedsTheWholeSignature) {
    auto png = encoded(*noise(8, 8, false), PngEncoding{});
    EXPECT_EQ(sniff(std::span(png).first(8)), Format::kPng);
    EXPECT_EQ(sniff(std::span(png).first(7)), Format::kUnknown);
    EXPECT_EQ(sniff({}), Format::kUnknown);
}

// The beginning of a file of each format that has no pixels, with its variant; those that are not read are refused by
// their names.
TEST(ProbeTest, KnownFormatsAreToldByTheirFirstBytes) {
    using namespace std::string_literals;
    struct Case {
        std::string beginning;
        Format format;
        Variant variant = Variant::kUsual;
    };
    const std::string type = "application/vnd.oasis.opendocument.graphics";
    const auto archive = [](const std::string& mime) {
        const std::string size = {static_cast<char>(mime.size()), '\0', '\0', '\0'};
        return "PK\x03\x04\x0A\0\0\0\0\0\0\0\0\0\0\0\0\0"s.append(size)
            .append(size)
            .append("\x08\0\0\0mimetype"s)
            .append(mime);
    };
    for (const Case& c : {
             Case{"RIFF\x10\0\0\0CDRAvrsn"s, Format::kCdr},
             Case{"RIFX\0\0\0\x10"s + "CMX1", Format::kCmx},
             Case{"999\nby a program\n  0\r\nSECTION\r\n  2\r\n", Format::kDxf},
             Case{"%!PS\n", Format::kEps},
             Case{"\xC5\xD0\xD3\xC6", Format::kEps},
             Case{"\xEF\xBB\xBF <!DOCTYPE HTML><body><Canvas id='a'>", Format::kHtml5Canvas},
             Case{archive(type), Format::kOdg},
             Case{"<office:document office:mimetype=\"" + type + "\">", Format::kOdg, Variant::kFOdg},
             Case{archive(type + "-template"), Format::kOtg},
             Case{"%PDF-1.4", Format::kPdf},
             Case{"\xD7\xCD\xC6\x9A", Format::kWmf},
             Case{"\1\0\x09\0\0\3"s, Format::kWmf},
         }) {
        const std::vector<uint8_t> file(c.beginning.begin(), c.beginning.end());
        const FileFacts facts = probe(file);
        EXPECT_EQ(facts.format, c.format) << format_name(c.format);
        EXPECT_EQ(facts.variant, c.variant) << format_name(c.format);
        if (room_of(c.format).probe == nullptr) {
            EXPECT_FALSE(facts.readable);
            EXPECT_EQ(std::string(failure_of([&] { require_decodable(facts, {}); }).what()),
                      "this runtime does not read " + std::string(format_name(c.format)) + " files");
        }
    }
}

TEST(ProbeTest, SizesOfMetafiles) {
    using namespace std::string_literals;
    const auto number = [](int32_t value) { return std::string(reinterpret_cast<const char*>(&value), 4); };
    std::string emf = number(1) + number(88);
    for (const int32_t side : {0, 0, 95, 47, 0, 0, 2540, 1270}) {  // bounds, and the frame
        emf += number(side);
    }
    emf += " EMF" + std::string(28, '\0') + number(9600) + number(9600) + number(2540) + number(2540);
    const auto facts_of = [](const std::string& file) { return probe(std::vector<uint8_t>(file.begin(), file.end())); };
    FileFacts facts = facts_of(emf);
    EXPECT_TRUE(facts.readable);
    EXPECT_EQ(facts.format, Format::kEmf);
    EXPECT_EQ(facts.width, 96);
    EXPECT_EQ(facts.height, 48);
    std::fill_n(emf.begin() + 24, 16, '\0');  // no frame: the bounds count
    EXPECT_EQ(facts_of(emf).width, 96);
    EXPECT_EQ(facts_of(emf).height, 48);
    EXPECT_FALSE(facts_of(emf.substr(0, 80)).readable);

    const std::string header = "\1\0\x09\0\0\3"s + std::string(12, '\0');
    const std::string frame =
        "\xD7\xCD\xC6\x9A"s + std::string(6, '\0') + "\xD0\x02\xA0\x05\xA0\x05"s + std::string(6, '\0');
    facts = facts_of(frame + header);
    EXPECT_TRUE(facts.readable);
    EXPECT_EQ(facts.format, Format::kWmf);
    EXPECT_EQ(facts.width, 48);
    EXPECT_EQ(facts.height, 96);
    EXPECT_FALSE(facts_of(frame).readable);
    facts = facts_of(header + "\4\0\0\0\3\1\x08\0\5\0\0\0\x0C\2\x40\0\xE0\xFF"s);
    EXPECT_EQ(facts.width, 32);
    EXPECT_EQ(facts.height, 64);
}

// The version in its first directory makes a TIFF a DNG, which has a raw picture.
TEST(ProbeTest, ADngIsToldFromATiff) {
    using namespace std::string_literals;
    const std::string directory =
        "II*\0\x08\0\0\0\x02\0"s + "\0\x01\x03\0\x01\0\0\0\x01\0\0\0"s + "\x12\xC6\x01\0\x04\0\0\0\x01\x04\0\0"s;
    const std::vector<uint8_t> file(directory.begin(), directory.end());
    const FileFacts facts = probe(file);
    EXPECT_EQ(facts.format, Format::kDng);
    EXPECT_FALSE(facts.readable);
    EXPECT_EQ(failure_of([&] { require_decodable(facts, {}); }).kind(), Failure::kDamaged);
}

TEST(ProbeTest, AlikeBeginningsAreNoFormat) {
    using namespace std::string_literals;
    for (const std::string& beginning :
         {"RIFF\x10\0\0\0WAVE"s, "<html><body>"s, "<office:document>"s, "0\nSECTIONS\n"s, "PK\x03\x04"s, "8BPS\0\3"s,
          "\0\0\1\0\0\0"s, "<svgs>"s, "\x1F\x8B\x08\0"s, "<!-- <svg> -->"s,
          "\0\1\2\0\0\0\0\0\0\0\0\0\1\0\1\0\x18\0"s,  // a true color TGA with a map of no entries
          std::string(300, '\0')}) {
        const std::vector<uint8_t> file(beginning.begin(), beginning.end());
        EXPECT_EQ(sniff(file), Format::kUnknown) << beginning;
    }
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
