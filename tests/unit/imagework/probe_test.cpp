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

// An entry of a ZIP archive: its header, its name, other facts, its data.
struct Entry {
    std::string name;
    std::string data;
    int flags = 0;
    int method = 0;
    std::string extra = {};
    int claimed = 0;  // more bytes than there are

    std::string bytes() const {
        std::string result = "PK\x03\x04";
        const auto number = [&](size_t value, int size) {
            for (int i = 0; i < size; i++) {
                result += static_cast<char>(value >> (8 * i));
            }
        };
        for (const auto& [value, size] : {std::pair{size_t{20}, 2},
                                          {static_cast<size_t>(flags), 2},
                                          {static_cast<size_t>(method), 2},
                                          {size_t{0x51}, 4},
                                          {size_t{0xC0FFEE}, 4},
                                          {data.size() + static_cast<size_t>(claimed), 4},
                                          {data.size() + 3, 4},
                                          {name.size(), 2},
                                          {extra.size(), 2}}) {
            number(value, size);
        }
        return result + name + extra + data;
    }
};

TEST(ProbeTest, ArchivesAreToldByTheirEntries) {
    const Entry cdr{"content/riffData.cdr", "RIFF"};
    const auto format_of = [](const std::vector<Entry>& entries) {
        std::string all;
        for (const Entry& entry : entries) {
            all += entry.bytes();
        }
        return sniff(std::vector<uint8_t>(all.begin(), all.end()));
    };
    const Entry other{"metadata/metadata.xml", std::string(300, 'x')};
    EXPECT_EQ(format_of({cdr}), Format::kCdr);
    EXPECT_EQ(format_of({other, cdr}), Format::kCdr);
    EXPECT_EQ(format_of({other, {"content/root.dat", ""}}), Format::kCdr);
    EXPECT_EQ(format_of({{"a", "b", 0, 8, "extra"}, {"c", ""}, cdr}), Format::kCdr);
    EXPECT_EQ(format_of({other, {"content/riffData.cdr", "RIFF", 8}}), Format::kCdr);
    EXPECT_EQ(format_of({{"a", "b", 8}, cdr}), Format::kUnknown);  // whose size stands behind its data
    EXPECT_EQ(format_of({{"a", "b", 0, 0, "", 1}, cdr}), Format::kUnknown);
    for (const char* name : {"content/riffData.cdr2", "content/riffData.cd", "content/riffData.cdR", ""}) {
        EXPECT_EQ(format_of({other, {name, "RIFF"}}), Format::kUnknown) << name;
    }
    std::vector<Entry> many(15, other);
    many.push_back(cdr);
    EXPECT_EQ(format_of(many), Format::kCdr);
    many.insert(many.begin(), other);
    EXPECT_EQ(format_of(many), Format::kUnknown);  // not among the first sixteen
    const std::string type = "application/vnd.oasis.opendocument.graphics";
    EXPECT_EQ(format_of({{"mimetype", type}}), Format::kOdg);
    EXPECT_EQ(format_of({{"mimetype", type, 8}, cdr}), Format::kOdg);
    EXPECT_EQ(format_of({{"mimetype", type, 0, 0, "extra"}}), Format::kOdg);
    EXPECT_EQ(format_of({{"mimetype", type, 0, 8}}), Format::kUnknown);
    EXPECT_EQ(format_of({{"mimetype", type, 0, 0, "", 1}}), Format::kUnknown);
    EXPECT_EQ(format_of({{"mimetypE", type}}), Format::kUnknown);
    EXPECT_EQ(format_of({other, {"mimetype", type}}), Format::kUnknown);
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

TEST(ProbeTest, SizesOfEnhancedMetafilesComeFromTheFrameOrTheBounds) {
    const auto number = [](int32_t value) { return std::string(reinterpret_cast<const char*>(&value), 4); };
    struct Emf {
        std::array<int32_t, 4> bounds, frame;
        std::array<int32_t, 4> device;  // in pixels, and in millimeters
        int64_t width, height;
    };
    for (const Emf& c : {
             Emf{{0, 0, 9, 9}, {0, 0, 2540, 1270}, {9600, 9600, 2540, 2540}, 96, 48},
             Emf{{0, 0, 9, 9}, {100, 300, 2640, 1570}, {9600, 9600, 2540, 2540}, 96, 48},
             Emf{{0, 0, 9, 9}, {-200, -70, 2340, 1200}, {0, 0, 0, 0}, 96, 48},
             Emf{{0, 0, 9, 9}, {0, 0, 2646, 1323}, {0, 0, 0, 0}, 100, 50},  // of 100 by 50 pixels, rounded
             Emf{{0, 0, 9, 9}, {0, 0, 2660, 1300}, {0, 0, 0, 0}, 101, 50},  // parts of a pixel count as one
             Emf{{3, 5, 98, 52}, {0, 0, 0, 0}, {9600, 9600, 2540, 2540}, 96, 48},
             Emf{{3, 5, 98, 52}, {7, 0, 7, 9}, {9600, 4800, 2540, 2540}, 96, 96},
             Emf{{3, 5, 98, 52}, {7, 9, 9, 9}, {4800, 9600, 2540, 2540}, 192, 48},
             Emf{{3, 5, 98, 52}, {0, 0, 0, 0}, {9600, 9600, 5080, 1270}, 192, 24},
             Emf{{3, 5, 98, 52}, {0, 0, 0, 0}, {0, 9600, 5080, 1270}, 96, 48},
             Emf{{3, 5, 98, 52}, {0, 0, 0, 0}, {9600, 0, 5080, 1270}, 96, 48},
             Emf{{3, 5, 98, 52}, {0, 0, 0, 0}, {9600, 9600, 0, 1270}, 96, 48},
             Emf{{3, 5, 98, 52}, {0, 0, 0, 0}, {9600, 9600, 5080, 0}, 96, 48},
             Emf{{9, 9, 0, 0}, {0, 0, 0, 0}, {9600, 9600, 2540, 2540}, 0, 0},
         }) {
        std::string file = number(1) + number(88);
        for (const auto& box : {c.bounds, c.frame}) {
            for (const int32_t side : box) {
                file += number(side);
            }
        }
        file += " EMF" + std::string(28, '\0');
        for (const int32_t side : c.device) {
            file += number(side);
        }
        const FileFacts facts = probe(std::vector<uint8_t>(file.begin(), file.end()));
        EXPECT_TRUE(facts.readable && facts.has_alpha);
        EXPECT_EQ(facts.bits_per_pixel, 32);
        EXPECT_EQ(std::pair(facts.width, facts.height), std::pair(c.width, c.height)) << file.size();
        const std::string cut = file.substr(0, 87);
        EXPECT_FALSE(probe(std::vector<uint8_t>(cut.begin(), cut.end())).readable);
    }
}

TEST(ProbeTest, SizesOfWindowsMetafilesComeFromTheFrameOrTheWindow) {
    using namespace std::string_literals;
    const auto word = [](int32_t value) { return std::string(reinterpret_cast<const char*>(&value), 2); };
    const std::string header = "\1\0\x09\0\0\3"s + std::string(12, '\0');
    const auto facts_of = [](const std::string& file) { return probe(std::vector<uint8_t>(file.begin(), file.end())); };
    const auto framed = [&](int left, int top, int right, int bottom, int inch) {
        return "\xD7\xCD\xC6\x9A"s + word(0) + word(left) + word(top) + word(right) + word(bottom) + word(inch) +
               std::string(6, '\0') + header;
    };
    const auto size_of = [&](const std::string& file) {
        const FileFacts facts = facts_of(file);
        return std::pair(facts.width, facts.height);
    };
    EXPECT_EQ(size_of(framed(0, 0, 1440, 720, 1440)), std::pair(int64_t{96}, int64_t{48}));
    EXPECT_EQ(size_of(framed(100, -300, 1540, 420, 1440)), std::pair(int64_t{96}, int64_t{48}));
    EXPECT_EQ(size_of(framed(1540, 420, 100, -300, 1440)), std::pair(int64_t{96}, int64_t{48}));  // turned round
    EXPECT_EQ(size_of(framed(0, 0, 101, 50, 192)), std::pair(int64_t{51}, int64_t{25}));
    EXPECT_EQ(size_of(framed(0, 0, 100, 50, 0)), std::pair(int64_t{100}, int64_t{50}));  // as many as usual
    EXPECT_TRUE(facts_of(framed(0, 0, 9, 9, 96)).readable);
    EXPECT_FALSE(facts_of(framed(0, 0, 9, 9, 96).substr(0, 39)).readable);

    const std::string other = "\4\0\0\0\2\1\0\0"s, window = "\5\0\0\0\x0C\2"s + word(-64) + word(320);
    EXPECT_EQ(size_of(header + window), std::pair(int64_t{320}, int64_t{64}));
    std::string many = header;
    for (int i = 0; i < 63; ++i) {
        many += other;
    }
    EXPECT_EQ(size_of(many + window), std::pair(int64_t{320}, int64_t{64}));
    EXPECT_EQ(size_of(many + other + window), std::pair(int64_t{0}, int64_t{0}));              // looked for so far only
    EXPECT_EQ(size_of(header + "\2\0\0\0\2\1"s + window), std::pair(int64_t{0}, int64_t{0}));  // no record so short
    EXPECT_EQ(size_of(header + window.substr(0, 9)), std::pair(int64_t{0}, int64_t{0}));
    EXPECT_TRUE(facts_of(header).readable);
    EXPECT_FALSE(facts_of(header.substr(0, 17)).readable);
    for (const auto& [begin, known] : {std::pair("\1\0\x09\0\0\1"s, true), std::pair("\2\0\x09\0\0\3"s, true),
                                       std::pair("\3\0\x09\0\0\3"s, false), std::pair("\0\0\x09\0\0\3"s, false),
                                       std::pair("\1\0\x08\0\0\3"s, false), std::pair("\1\0\x09\0\0\2"s, false)}) {
        EXPECT_EQ(facts_of(begin + std::string(12, '\0')).format == Format::kWmf, known);
    }
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
