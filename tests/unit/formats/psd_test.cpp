// PSD files as rows: every mode, depth and compression, transparency, kept sections, and damage.
#include <cmath>
#include <cstring>

#include "runtime/native/formats/jpeg/jpeg_codec.h"
#include "runtime/native/formats/psd/pack_bits.h"
#include "runtime/native/formats/psd/psd_codec.h"
#include "runtime/native/formats/psd/psd_planes.h"
#include "runtime/native/formats/psd/psd_resources.h"
#include "runtime/native/imagework/pixels/source_bytes.h"
#include "runtime/native/imagework/probe/picture_end.h"
#include "runtime/native/imagework/probe/probe.h"
#include "tests/unit/formats/psd_files.h"
#include "tests/unit/imagecodecs/codec_files.h"

namespace zelmor::imagework {
namespace {

constexpr PixelForm kGray8{ColorModel::kGray, SampleType::kUint8, 8, false};
constexpr PixelForm kRgb8{};
constexpr PixelForm kRgba8{ColorModel::kRgb, SampleType::kUint8, 8, true};

SharedFrames opened(const Bytes& file, Recovery recovery = Recovery::kNone) {
    DecodeOptions options;
    options.recovery = recovery;
    return open_psd(memory_source(file), options);
}
Bytes rows_of(const Bytes& file, int32_t step = 1) {
    return all_rows(*opened(file)->open(0), step);
}
RowsHeader read_header(const Bytes& file) {
    return opened(file)->open(0)->header();
}
PsdFile structure(const Bytes& file) {
    SourceBytes bytes(memory_source(file));
    return read_psd_structure(bytes, file.size());
}
struct PsdFacts {
    FileFacts facts;
    PsdEncoding encoding;
};
PsdFacts facts_of(const Bytes& file) {
    SourceBytes bytes(memory_source(file));
    FileFacts facts = probe(bytes);
    const auto* encoding = settings_as<PsdEncoding>(facts);
    return {facts, encoding != nullptr ? *encoding : PsdEncoding()};
}
std::string refusal_of(const Bytes& file, Failure kind = Failure::kUnsupported) {
    const PictureError error = failure_of([&] { opened(file); });
    EXPECT_EQ(error.kind(), kind);
    const FileFacts facts = probe(file);
    EXPECT_FALSE(facts.readable);
    // A file of another version is none of a PSD.
    const bool is_told = kind == Failure::kUnsupported && facts.format == Format::kPsd;
    EXPECT_EQ(facts.obstacle, is_told ? error.what() : std::string());
    return error.what();
}
Bytes written(const RowsHeader& header, const Bytes& rows, const PsdEncoding& encoding, PsdKept kept = {},
              int32_t step = 3, StandardColors colors = {}) {
    Bytes out;
    const auto writer = make_psd_writer(header, encoding, std::move(kept), out, std::move(colors));
    write_all(*writer, header, rows, step);
    return out;
}
// Random samples, whole floats among them.
Bytes samples(const RowsHeader& header, unsigned seed = 1) {
    if (header.form.sample != SampleType::kFloat) {
        return random_rows(header, seed);
    }
    std::mt19937 random(seed);
    Bytes rows(row_size(header) * static_cast<size_t>(header.height));
    for (size_t i = 0; i < rows.size(); i += 4) {
        const float value = static_cast<float>(random() % 4096) / 4096;
        std::memcpy(rows.data() + i, &value, 4);
    }
    return rows;
}

struct Mode {
    unsigned number;
    unsigned channels;
    ColorModel color;
    std::vector<unsigned> depths;
};
const std::vector<Mode>& modes() {
    static const std::vector<Mode> all{
        {0, 1, ColorModel::kGray, {1}},         {1, 1, ColorModel::kGray, {8, 16, 32}},
        {2, 1, ColorModel::kIndexed, {8}},      {3, 3, ColorModel::kRgb, {8, 16, 32}},
        {4, 4, ColorModel::kCmyk, {8, 16, 32}}, {7, 1, ColorModel::kGray, {8, 16, 32}},
        {7, 3, ColorModel::kCmyk, {8, 16, 32}}, {7, 4, ColorModel::kCmyk, {8, 16, 32}},
        {8, 1, ColorModel::kGray, {8, 16, 32}}, {9, 3, ColorModel::kLab, {8, 16}},
    };
    return all;
}

// The sample that a picture has for one of the file, as bytes.
Bytes expected(const PsdParts& parts, ColorModel color, size_t band, const Bytes& planes, size_t x, size_t y) {
    const size_t size = parts.depth / 8;
    const size_t plane = parts.row_bytes() * parts.height;
    if (band >= parts.channels) {
        return Bytes(size, 0);  // an ink that the file does not have
    }
    const uint8_t* row = planes.data() + band * plane + y * parts.row_bytes();
    if (parts.depth == 1) {
        return {static_cast<uint8_t>((row[x / 8] >> (7 - x % 8) & 1) != 0 ? 0 : 255)};
    }
    const uint8_t* at = row + x * size;
    Bytes sample(at, at + size);
    std::reverse(sample.begin(), sample.end());  // the tests run on little-endian processors, as the program does
    if (color == ColorModel::kCmyk) {
        if (parts.depth == 32) {
            float value = 0;
            std::memcpy(&value, sample.data(), 4);
            value = 1 - value;
            std::memcpy(sample.data(), &value, 4);
        } else {
            std::transform(sample.begin(), sample.end(), sample.begin(),
                           [](uint8_t byte) { return static_cast<uint8_t>(255 - byte); });
        }
    }
    if (color == ColorModel::kLab && band > 0) {
        sample.back() ^= 0x80;
    }
    return sample;
}

TEST(PsdReading, EveryModeDepthAndCompression) {
    for (const Mode& mode : modes()) {
        for (const unsigned depth : mode.depths) {
            for (unsigned compression = 0; compression < (depth == 1 ? 3U : 4U); compression++) {
                for (const int version : {1, 2}) {
                    SCOPED_TRACE("mode " + std::to_string(mode.number) + ", channels " + std::to_string(mode.channels) +
                                 ", depth " + std::to_string(depth) + ", compression " + std::to_string(compression) +
                                 ", version " + std::to_string(version));
                    PsdParts parts;
                    parts.version = version;
                    parts.mode = mode.number;
                    parts.channels = mode.channels;
                    parts.depth = depth;
                    parts.compression = compression;
                    parts.width = 21;
                    parts.height = 6;
                    if (mode.number == 2) {
                        parts.color_data = Bytes(768, 0x55);
                    }
                    const Bytes file = parts.file();
                    const RowsHeader header = read_header(file);
                    ASSERT_EQ(header.width, 21);
                    ASSERT_EQ(header.height, 6);
                    ASSERT_EQ(header.form.color, mode.color);
                    ASSERT_EQ(header.form.bits, static_cast<int>(depth));
                    ASSERT_FALSE(header.form.alpha);
                    const Bytes planes = parts.planes();
                    Bytes wanted;
                    for (size_t y = 0; y < 6; y++) {
                        for (size_t x = 0; x < 21; x++) {
                            for (int band = 0; band < header.form.bands(); band++) {
                                put(wanted, expected(parts, mode.color, static_cast<size_t>(band), planes, x, y));
                            }
                        }
                    }
                    EXPECT_EQ(rows_of(file), wanted);
                    EXPECT_EQ(rows_of(file, 4), wanted);
                    const PsdFacts facts = facts_of(file);
                    EXPECT_TRUE(facts.facts.readable);
                    EXPECT_EQ(facts.facts.bits_per_pixel, static_cast<int>(depth * mode.channels));
                    EXPECT_EQ(static_cast<unsigned>(facts.encoding.color), mode.number);
                    EXPECT_EQ(static_cast<unsigned>(facts.encoding.compression), compression);
                    EXPECT_EQ(facts.encoding.large, version == 2);
                }
            }
        }
    }
}

TEST(PsdReading, AStreamOfEachPlaneIsReadToo) {
    PsdParts parts;
    parts.compression = 2;
    const Bytes planes = parts.planes();
    Bytes file = parts.file();
    file.resize(structure(file).image.at + 2);
    const size_t plane = planes.size() / 3;
    for (size_t i = 0; i < 3; i++) {
        const auto first = planes.begin() + static_cast<std::ptrdiff_t>(i * plane);
        put(file, zipped(Bytes(first, first + static_cast<std::ptrdiff_t>(plane))));
    }
    EXPECT_EQ(rows_of(file), rows_of(parts.file()));
}

TEST(PsdReading, TheHeadersOfAnUndefinedFileAreRefusedByName) {
    PsdParts parts;
    parts.mode = 9;
    parts.depth = 32;
    EXPECT_EQ(refusal_of(parts.file()),
              "this is a PSD with 32 bits per channel in Lab mode, which the format does not define");
    parts = {};
    parts.version = 2;
    parts.depth = 1;
    EXPECT_EQ(refusal_of(parts.file()),
              "this is a PSB with 1 bits per channel in RGB mode, which the format does not define");
    parts = {};
    parts.mode = 5;
    EXPECT_EQ(refusal_of(parts.file()), "this is a PSD with color mode 5, which the format does not define");
    parts = {};
    parts.mode = 7;
    parts.channels = 5;
    EXPECT_EQ(refusal_of(parts.file()),
              "this is a PSD with 5 channels in Multichannel mode, of which up to 4 are read");
    parts = {};
    parts.compression = 4;
    EXPECT_EQ(refusal_of(parts.file()), "this is a PSD with compression 4, which the format does not define");
    parts = {};
    parts.mode = 0;
    parts.depth = 1;
    parts.channels = 1;
    parts.compression = 3;
    EXPECT_EQ(refusal_of(parts.file()),
              "this is a PSD with prediction of 1-bit samples, which the format does not define");
    parts = {};
    parts.version = 3;
    EXPECT_EQ(refusal_of(parts.file()), "this is a PSD of version 3, which the format does not define");
    parts = {};
    parts.channels = 2;
    EXPECT_EQ(refusal_of(parts.file(), Failure::kDamaged), "the file has 2 channels, too few for RGB mode");
    parts = {};
    parts.mode = 2;
    parts.channels = 1;
    EXPECT_EQ(refusal_of(parts.file(), Failure::kDamaged), "the file has no palette");
    EXPECT_FALSE(is_psd(Bytes{'8', 'B', 'P', 'S', 0, 3}));
    EXPECT_TRUE(is_psd(Bytes{'8', 'B', 'P', 'S', 0, 2}));
    EXPECT_FALSE(is_psd(Bytes{'8', 'B', 'P'}));
}

TEST(PsdReading, ResolutionProfileAndPalette) {
    PsdParts parts;
    parts.mode = 2;
    parts.channels = 1;
    parts.width = 2;
    parts.height = 1;
    for (int i = 0; i < 768; i++) {
        parts.color_data.push_back(static_cast<uint8_t>(i % 256 + i / 256));
    }
    put(parts.resources, resource(1005, {0x01, 0x2C, 0x80, 0, 0, 2, 0, 2, 0, 72, 0, 0, 0, 1, 0, 1}, "name"));
    put(parts.resources, resource(1039, {9, 8, 7}));
    put(parts.resources, resource(1047, {0, 3}));
    RowsHeader header = read_header(parts.file());
    ASSERT_TRUE(header.resolution);
    EXPECT_DOUBLE_EQ(header.resolution->horizontal, 300.5);
    EXPECT_DOUBLE_EQ(header.resolution->vertical, 72);
    ASSERT_NE(header.profile, nullptr);
    EXPECT_EQ(*header.profile, (Bytes{9, 8, 7}));
    ASSERT_EQ(header.palette.size(), 256);
    EXPECT_EQ(header.palette[2], 0xFF020304);
    EXPECT_EQ(header.palette[3], 0x00030405);
    EXPECT_EQ(facts_of(parts.file()).facts.palette, header.palette);

    // Colors that are not in use are left out, unless a pixel has one of them.
    put(parts.resources, resource(1046, {0, 16}));
    Bytes file = parts.file();
    file[file.size() - 2] = 15;
    file[file.size() - 1] = 0;
    EXPECT_EQ(read_header(file).palette.size(), 16);
    file[file.size() - 1] = 16;
    EXPECT_EQ(read_header(file).palette.size(), 256);
}

// ---- Transparency.

Bytes layer_info(int count) {
    Bytes info;
    put(info, static_cast<uint16_t>(count), 2);
    Bytes section;
    put(section, info.size(), 4);
    put(section, info);
    put(section, 0, 4);
    return section;
}

TEST(PsdAlpha, AFurtherChannelIsTransparencyWhereTheFileSaysSo) {
    PsdParts parts;
    parts.channels = 4;
    EXPECT_TRUE(read_header(parts.file()).form.alpha) << "a file that says nothing";
    parts.resources = resource(1006, {7, 'A', 'l', 'p', 'h', 'a', ' ', '1'});
    EXPECT_FALSE(read_header(parts.file()).form.alpha) << "a selection with a name";
    Bytes name{12};
    put(name, "Transparency");
    parts.resources = resource(1006, name);
    EXPECT_TRUE(read_header(parts.file()).form.alpha);
    parts.resources = {};
    parts.layers = layer_info(2);
    EXPECT_FALSE(read_header(parts.file()).form.alpha);
    parts.layers = layer_info(-2);
    EXPECT_TRUE(read_header(parts.file()).form.alpha);
    for (const char* key : {"Mtrn", "Mt16", "Mt32"}) {
        parts.layers = layer_info(2);
        put(parts.layers, "8BIMcinf");
        put(parts.layers, 3, 4);
        put(parts.layers, 0x01020300, 4);
        put(parts.layers, "8BIM");
        put(parts.layers, key);
        put(parts.layers, 0, 4);
        EXPECT_TRUE(read_header(parts.file()).form.alpha) << key;
        EXPECT_EQ(facts_of(parts.file()).encoding.channels, 4);
    }
    parts.channels = 5;
    EXPECT_EQ(read_header(parts.file()).form.bands(), 4) << "a fifth channel is a selection";
}

TEST(PsdAlpha, ColorsOfACompositeAreTakenOffTheWhite) {
    PsdParts parts;
    parts.channels = 4;
    parts.width = 3;
    parts.height = 1;
    parts.layers = layer_info(-2);
    Bytes file = parts.file();
    // Red half transparent, blue opaque, nothing.
    const Bytes planes{255, 0, 255, 127, 0, 255, 127, 255, 255, 128, 255, 0};
    std::copy(planes.begin(), planes.end(), file.end() - 12);
    EXPECT_EQ(rows_of(file), (Bytes{255, 0, 0, 128, 0, 0, 255, 255, 255, 255, 255, 0}));
    // A file whose transparency is only named has the colors as they are.
    parts.layers = {};
    file = parts.file();
    std::copy(planes.begin(), planes.end(), file.end() - 12);
    EXPECT_EQ(rows_of(file), (Bytes{255, 127, 127, 128, 0, 0, 255, 255, 255, 255, 255, 0}));
}

// ---- Writing.

std::vector<PixelForm> writable_forms() {
    std::vector<PixelForm> forms{{ColorModel::kGray, SampleType::kUint8, 1, false},
                                 {ColorModel::kIndexed, SampleType::kUint8, 8, false}};
    for (const ColorModel color : {ColorModel::kGray, ColorModel::kRgb, ColorModel::kCmyk, ColorModel::kLab}) {
        for (const bool alpha : {false, true}) {
            forms.push_back({color, SampleType::kUint8, 8, alpha});
            forms.push_back({color, SampleType::kUint16, 16, alpha});
            if (color != ColorModel::kLab) {
                forms.push_back({color, SampleType::kFloat, 32, alpha});
            }
        }
    }
    return forms;
}

TEST(PsdWriting, EveryFormAndCompressionComesBack) {
    for (const PixelForm& form : writable_forms()) {
        for (unsigned compression = 0; compression < (form.bits == 1 ? 3U : 4U); compression++) {
            for (const bool large : {false, true}) {
                SCOPED_TRACE("color " + std::to_string(static_cast<int>(form.color)) + ", bits " +
                             std::to_string(form.bits) + (form.alpha ? ", alpha" : "") + ", compression " +
                             std::to_string(compression) + (large ? ", large" : ""));
                RowsHeader header = header_of(19, 7, form);
                header.resolution = Resolution{300, 150.5};
                header.profile = std::make_shared<const Bytes>(Bytes{1, 2, 3});
                PsdEncoding encoding;
                encoding.compression = static_cast<PsdCompression>(compression);
                encoding.large = large;
                ASSERT_EQ(psd_form(header, encoding), form);
                Bytes rows = samples(header);
                if (form.sample == SampleType::kFloat && form.color == ColorModel::kCmyk) {
                    rows = samples(header, 2);  // multiples of 1/4096, exact when they are turned
                }
                const Bytes file = written(header, rows, encoding);
                const auto reader = opened(file)->open(0);
                EXPECT_EQ(reader->header().form, form);
                EXPECT_EQ(reader->header().resolution, header.resolution);
                EXPECT_EQ(reader->header().palette, header.palette);
                ASSERT_NE(reader->header().profile, nullptr);
                EXPECT_EQ(*reader->header().profile, *header.profile);
                EXPECT_EQ(all_rows(*reader), rows);
                const PsdFacts facts = facts_of(file);
                EXPECT_EQ(static_cast<unsigned>(facts.encoding.compression), compression);
                EXPECT_EQ(facts.encoding.large, large);
                EXPECT_EQ(structure(file).layer.size(), form.alpha ? static_cast<size_t>(form.bands()) : 0);
            }
        }
    }
}

TEST(PsdWriting, ACompositeWithAlphaIsMixedWithWhite) {
    for (const PixelForm& form : writable_forms()) {
        if (!form.alpha) {
            continue;
        }
        SCOPED_TRACE("color " + std::to_string(static_cast<int>(form.color)) + ", bits " + std::to_string(form.bits));
        const RowsHeader header = header_of(1, 1, form);
        // No color and half of alpha; as the file has it, the color is halfway to white.
        Bytes rows(form.pixel_size(), 0);
        const size_t size = sample_size(form.sample);
        const float half = 0.5F;
        if (size == 4) {
            std::memcpy(rows.data() + rows.size() - 4, &half, 4);
        } else {
            rows.back() = 0x80;
        }
        PsdEncoding encoding;
        encoding.compression = PsdCompression::kRaw;
        const Bytes file = written(header, rows, encoding);
        const uint8_t* composite = file.data() + file.size() - rows.size();
        const bool inks = form.color == ColorModel::kCmyk;
        const uint8_t first = size == 4 ? 0x3F : inks ? 0xFF : 0x7F;
        EXPECT_NEAR(composite[0], first, 1);
        if (form.color == ColorModel::kLab) {
            EXPECT_EQ(composite[size], 0x80) << "gray stays gray";
        }
    }
}

TEST(PsdWriting, MultichannelAndLackingInks) {
    const PixelForm cmyk{ColorModel::kCmyk, SampleType::kUint8, 8, false};
    RowsHeader header = header_of(4, 2, cmyk);
    PsdEncoding encoding;
    encoding.color = PsdColorMode::kMultichannel;
    encoding.channels = 4;
    Bytes rows = random_rows(header);
    Bytes file = written(header, rows, encoding);
    EXPECT_EQ(structure(file).mode, PsdColorMode::kMultichannel);
    EXPECT_EQ(rows_of(file), rows);
    encoding.channels = 3;
    EXPECT_EQ(failure_of([&] { written(header, rows, encoding); }).kind(), Failure::kEncoding);
    for (size_t i = 3; i < rows.size(); i += 4) {
        rows[i] = 0;
    }
    file = written(header, rows, encoding);
    EXPECT_EQ(structure(file).channels, 3);
    EXPECT_EQ(rows_of(file), rows);
    header = header_of(4, 2, kGray8);
    encoding.channels = 1;
    file = written(header, random_rows(header), encoding);
    EXPECT_EQ(rows_of(file), random_rows(header));
}

TEST(PsdWriting, TransparentColorsOfAPaletteBecomeOne) {
    RowsHeader header = header_of(4, 1, {ColorModel::kIndexed, SampleType::kUint8, 8, false});
    header.palette = {0xFF112233, 0x00000001, 0xFF445566, 0x00000002};
    const Bytes file = written(header, {0, 1, 2, 3}, {});
    const RowsHeader found = read_header(file);
    EXPECT_EQ(found.palette, (std::vector<Argb>{0xFF112233, 0x00000001, 0xFF445566, 0xFF000002}));
    EXPECT_EQ(rows_of(file), (Bytes{0, 1, 2, 1}));
    header.palette[1] = 0x80000000;
    EXPECT_EQ(psd_form(header, {}), kRgba8);
}

TEST(PsdWriting, SettingsThatDoNotGoTogetherAreRefused) {
    const RowsHeader rgb = header_of(4, 4, kRgb8);
    const auto refusal = [&](const PsdEncoding& encoding) {
        const PictureError error = failure_of([&] { psd_form(rgb, encoding); });
        EXPECT_EQ(error.kind(), Failure::kEncoding);
        return std::string(error.what());
    };
    PsdEncoding encoding;
    encoding.bits = 4;
    EXPECT_EQ(refusal(encoding), "PSD has no samples of 4 bits; there are 1, 8, 16 and 32");
    encoding = {};
    encoding.color = PsdColorMode::kIndexed;
    encoding.bits = 16;
    EXPECT_EQ(refusal(encoding), "PSD has no Indexed mode with 16 bits per channel");
    encoding.color = PsdColorMode::kLab;
    encoding.bits = 32;
    EXPECT_EQ(refusal(encoding), "PSD has no Lab mode with 32 bits per channel");
    encoding.color = PsdColorMode::kBitmap;
    EXPECT_EQ(refusal(encoding), "PSD has no Bitmap mode with 32 bits per channel");
    encoding.bits = 0;
    encoding.compression = PsdCompression::kZipWithPrediction;
    EXPECT_EQ(refusal(encoding), "PSD has no prediction of 1-bit samples");
    encoding = {};
    encoding.channels = 2;
    EXPECT_EQ(refusal(encoding),
              "channels_count: a PSD of RGB mode has 3 channels, or one more with transparency, not 2");
    encoding.color = PsdColorMode::kIndexed;
    EXPECT_EQ(refusal(encoding), "channels_count: a PSD of Indexed mode has 1 channels, not 2");

    encoding = {};
    encoding.color = PsdColorMode::kDuotone;
    const PictureError error = failure_of([&] { written(header_of(4, 4, kGray8), Bytes(16), encoding); });
    EXPECT_STREQ(
        error.what(),
        "color_mode: a Duotone PSD needs the inks and curves of a Duotone file that the picture was read from");
    const RowsHeader wide = header_of(30001, 1, kGray8);
    EXPECT_STREQ(failure_of([&] { written(wide, Bytes(30001), {}); }).what(),
                 "PSD has at most 30000 pixels to a side; PSB has 300000");
    encoding = {};
    encoding.large = true;
    EXPECT_EQ(rows_of(written(wide, Bytes(30001, 7), encoding)), Bytes(30001, 7));
    const RowsHeader deep = header_of(30000, 1, {ColorModel::kGray, SampleType::kFloat, 32, false});
    Bytes noise(120000);
    std::mt19937 random(3);
    std::generate(noise.begin(), noise.end(), [&] { return static_cast<uint8_t>(random()); });
    EXPECT_STREQ(failure_of([&] { written(deep, noise, {}); }).what(),
                 "a row is too long for the run-length coding of a PSD; a PSB has longer ones");
}

TEST(PsdWriting, TheFormFollowsPictureAndSettings) {
    PsdEncoding encoding;
    const auto form = [&](const PixelForm& picture) { return psd_form(header_of(4, 4, picture), encoding); };
    EXPECT_EQ(form({ColorModel::kGray, SampleType::kUint8, 2, false}), kGray8);
    EXPECT_EQ(form({ColorModel::kRgb, SampleType::kDouble, 64, true}),
              (PixelForm{ColorModel::kRgb, SampleType::kFloat, 32, true}));
    EXPECT_EQ(form({ColorModel::kLab, SampleType::kFloat, 32, false}),
              (PixelForm{ColorModel::kLab, SampleType::kUint16, 16, false}));
    encoding.channels = 4;
    EXPECT_EQ(form(kRgb8), kRgba8);
    encoding.channels = 3;
    EXPECT_EQ(form(kRgba8), kRgb8);
    encoding = {};
    encoding.bits = 1;
    EXPECT_EQ(form(kRgba8), (PixelForm{ColorModel::kGray, SampleType::kUint8, 1, false}));
    encoding = {};
    encoding.color = PsdColorMode::kCmyk;
    encoding.bits = 16;
    EXPECT_EQ(form(kRgba8), (PixelForm{ColorModel::kCmyk, SampleType::kUint16, 16, true}));
}

// ---- What is kept.

PsdKept kept(const Bytes& file, bool unchanged) {
    return {memory_source(file), unchanged};
}

Bytes layers_with_text() {
    Bytes layers = layer_info(2);
    put(layers, "8BIMTxt2");
    put(layers, 5, 4);
    put(layers, Bytes{1, 2, 3, 4, 5, 0, 0, 0});
    put(layers, "8BIMFMsk");
    put(layers, 4, 4);
    put(layers, Bytes{9, 9, 9, 9});
    return layers;
}

TEST(PsdKeeping, ADamagedChannelBesideThePictureIsRefused) {
    PsdParts parts;
    parts.channels = 5;
    parts.compression = 1;
    const Bytes file = parts.file();
    const Bytes rows = rows_of(file);
    const Bytes cut(file.begin(), file.end() - 1);  // within the last row of the last channel
    try {
        written(read_header(file), rows, facts_of(file).encoding, kept(cut, true));
        FAIL() << "nothing is refused";
    } catch (const PictureError& error) {
        EXPECT_EQ(error.kind(), Failure::kDamaged);
        EXPECT_EQ(std::string(error.what()).rfind("a channel beside the picture: ", 0), 0U) << error.what();
    }
}

TEST(PsdKeeping, AnUnchangedPictureKeepsItsSectionsByteForByte) {
    for (const unsigned compression : {0U, 1U, 2U, 3U}) {
        for (const int version : {1, 2}) {
            PsdParts parts;
            parts.version = version;
            parts.channels = 5;  // two selections
            parts.compression = compression;
            for (const unsigned id : {1006U, 1024U, 1028U, 1036U, 1058U, 1060U, 4000U}) {
                put(parts.resources, resource(id, Bytes(id % 9, static_cast<uint8_t>(id)), id == 4000 ? "plug" : ""));
            }
            parts.layers = version == 1 ? layers_with_text() : Bytes(20, 0);
            const Bytes file = parts.file();
            const Bytes again = written(read_header(file), rows_of(file), facts_of(file).encoding, kept(file, true));
            if (compression == 0) {
                EXPECT_EQ(again, file);
            }
            const size_t image = structure(file).image.at;
            EXPECT_EQ(Bytes(again.begin(), again.begin() + static_cast<std::ptrdiff_t>(image + 2)),
                      Bytes(file.begin(), file.begin() + static_cast<std::ptrdiff_t>(image + 2)));
            // The further channels are there too: the file with its last three planes as colors shows them.
            const auto last_planes = [&](const Bytes& of) {
                const PsdFile found = structure(of);
                EXPECT_EQ(found.channels, 5);
                constexpr int kLast[] = {2, 3, 4};
                Bytes planes;
                for (const auto& plane : open_psd_planes(memory_source(of), found, kLast, nullptr)) {
                    for (int32_t y = 0; y < found.height; y++) {
                        Bytes row(found.row_bytes());
                        EXPECT_TRUE(plane->read(row)) << plane->fault();
                        put(planes, row);
                    }
                }
                return planes;
            };
            EXPECT_EQ(last_planes(again), last_planes(file));
            EXPECT_EQ(rows_of(again), rows_of(file));
        }
    }
}

TEST(PsdKeeping, TheTextEngineIsLeftOutWhereAsked) {
    PsdParts parts;
    parts.layers = layers_with_text();
    const Bytes file = parts.file();
    PsdEncoding encoding = facts_of(file).encoding;
    encoding.without_text_engine = true;
    const Bytes again = written(read_header(file), rows_of(file), encoding, kept(file, true));
    parts.layers = layer_info(2);
    put(parts.layers, "8BIMFMsk");
    put(parts.layers, 4, 4);
    put(parts.layers, Bytes{9, 9, 9, 9});
    EXPECT_EQ(again, parts.file());
}

TEST(PsdKeeping, AChangedPictureKeepsWhatIsStillTrue) {
    PsdParts parts;
    parts.channels = 4;
    parts.layers = layers_with_text();
    const Bytes name{1, 'a'};
    for (const unsigned id : {1006U, 1024U, 1028U, 1036U, 1060U, 1065U}) {
        put(parts.resources, resource(id, name));
    }
    const Bytes file = parts.file();
    PsdEncoding encoding = facts_of(file).encoding;
    const auto check = [&](const Bytes& again) {
        const PsdFile found = structure(again);
        EXPECT_EQ(found.layers.size, 0);
        EXPECT_EQ(found.channels, 3);
        std::vector<int> ids;
        for (const PsdResource& block : found.blocks) {
            ids.push_back(block.id);
        }
        EXPECT_EQ(ids, (std::vector<int>{1028, 1036, 1060}));
    };
    check(written(read_header(file), rows_of(file), encoding, kept(file, false)));
    encoding.large = true;  // lengths of other sizes
    check(written(read_header(file), rows_of(file), encoding, kept(file, true)));
}

TEST(PsdKeeping, DuotonesKeepTheirCurves) {
    PsdParts parts;
    parts.mode = 8;
    parts.channels = 1;
    parts.color_data = Bytes(37, 0x5A);
    const Bytes file = parts.file();
    const Bytes rows(20, 0x33);
    const Bytes again = written(read_header(file), rows, facts_of(file).encoding, kept(file, false));
    const PsdFile found = structure(again);
    EXPECT_EQ(found.mode, PsdColorMode::kDuotone);
    EXPECT_EQ(Bytes(again.begin() + 30, again.begin() + 67), parts.color_data);
    EXPECT_EQ(rows_of(again), rows);
}

// A picture of 400 by 100, whose squares of 3 by 3 have the samples `one` in their first column and `two` in the
// others, and the picture of their means, as it asks for its colors.
template <class Sample>
void expect_means(const RowsHeader& header, const std::vector<Sample>& one, const std::vector<Sample>& two,
                  const std::vector<Sample>& mean, const PixelForm& form) {
    Bytes rows;
    for (int i = 0; i < 400 * 100; i++) {
        const auto& pixel = i % 400 % 3 == 0 ? one : two;
        const auto* first = reinterpret_cast<const uint8_t*>(pixel.data());
        rows.insert(rows.end(), first, first + sizeof(Sample) * pixel.size());
    }
    PsdEncoding encoding;
    encoding.new_thumbnail = true;
    PsdParts old;
    put(old.resources, resource(1033, {1}));
    put(old.resources, resource(1036, {2}));
    RowsHeader asked;
    Bytes means;
    const auto colors = [&](const RowsHeader& small, Bytes samples) {
        asked = small;
        means = std::move(samples);
        Bytes rgb;
        for (int i = 0; i < 134 * 34; i++) {
            put(rgb, {200, 100, 50});
        }
        return rgb;
    };
    const Bytes file = written(header, rows, encoding, kept(old.file(), false), 100, colors);
    EXPECT_EQ(asked.width, 134);
    EXPECT_EQ(asked.height, 34);
    EXPECT_EQ(asked.form, form);
    EXPECT_EQ(asked.profile, header.profile);
    EXPECT_TRUE(asked.palette.empty());
    ASSERT_EQ(means.size(), 134 * 34 * form.pixel_size());
    // The last square of a row has but one column, that of the other samples.
    for (const size_t at : {size_t{0}, size_t{132}, size_t{133}, size_t{134 * 33}, size_t{134 * 34 - 1}}) {
        std::vector<Sample> found(mean.size());
        std::memcpy(found.data(), means.data() + at * form.pixel_size(), form.pixel_size());
        if (at % 134 != 133) {
            EXPECT_EQ(found, mean) << at;
        } else if (header.form.color != ColorModel::kIndexed) {
            EXPECT_EQ(found, std::vector<Sample>(one.begin(), one.begin() + form.bands())) << at;
        }
    }

    EXPECT_EQ(structure(file).find(1033), nullptr);
    const Bytes data = psd_resource(memory_source(file), kPsdThumbnail);
    ASSERT_GT(data.size(), 28U);
    EXPECT_EQ(Bytes(data.begin(), data.begin() + 12), (Bytes{0, 0, 0, 1, 0, 0, 0, 134, 0, 0, 0, 34}));
    const auto jpeg = open_jpeg(memory_source(Bytes(data.begin() + 28, data.end())))->open(0);
    EXPECT_EQ(jpeg->header().width, 134);
    EXPECT_EQ(jpeg->header().height, 34);
    const Bytes small = all_rows(*jpeg);
    EXPECT_NEAR(small[0], 200, 3);
    EXPECT_NEAR(small[1], 100, 3);
    EXPECT_NEAR(small[2], 50, 3);
}

TEST(PsdKeeping, ANewThumbnailIsMadeOfMeans) {
    const auto form = [](ColorModel color, SampleType sample, int bits, bool alpha = false) {
        return PixelForm{color, sample, bits, alpha};
    };
    const auto at = [](const PixelForm& own) { return header_of(400, 100, own); };
    expect_means<uint8_t>(at(kRgb8), {10, 0, 255}, {40, 3, 252}, {30, 2, 253}, kRgb8);
    expect_means<uint8_t>(at(kGray8), {10}, {41}, {31}, kGray8);
    expect_means<uint8_t>(at(form(ColorModel::kGray, SampleType::kUint8, 1)), {0}, {255}, {170}, kGray8);
    const PixelForm rgb16 = form(ColorModel::kRgb, SampleType::kUint16, 16);
    expect_means<uint16_t>(at(rgb16), {1000, 0, 65535}, {4000, 3, 65532}, {3000, 2, 65533}, rgb16);
    const PixelForm floats = form(ColorModel::kRgb, SampleType::kFloat, 32);
    expect_means<float>(at(floats), {-0.5F, 0.0F, 2.0F}, {1.0F, 0.75F, 2.0F}, {0.5F, 0.5F, 2.0F}, floats);
    const PixelForm cmyk = form(ColorModel::kCmyk, SampleType::kUint8, 8);
    RowsHeader profiled = at(cmyk);
    profiled.profile = std::make_shared<const Bytes>(Bytes{1, 2, 3});
    expect_means<uint8_t>(profiled, {0, 30, 60, 90}, {3, 60, 30, 255}, {2, 50, 40, 200}, cmyk);
    // The a* and b* are signed: -1 and 2, 127 and -128.
    const PixelForm lab = form(ColorModel::kLab, SampleType::kUint8, 8);
    expect_means<uint8_t>(at(lab), {90, 255, 127}, {30, 2, 128}, {50, 1, 213}, lab);
    const PixelForm lab16 = form(ColorModel::kLab, SampleType::kUint16, 16);
    expect_means<uint16_t>(at(lab16), {900, 65535, 32767}, {300, 2, 32768}, {500, 1, 54613}, lab16);
    // Alpha does not count, of a picture that is white where it is transparent.
    expect_means<uint8_t>(at(kRgba8), {10, 0, 255, 255}, {40, 3, 252, 255}, {30, 2, 253}, kRgb8);
    // A palette is of red, green and blue; behind its end there is black.
    RowsHeader indexed = at(form(ColorModel::kIndexed, SampleType::kUint8, 8));
    indexed.palette = {0xFF0A0B0C, 0xFF28292A};
    expect_means<uint8_t>(indexed, {0}, {1}, {30, 31, 32}, kRgb8);
    expect_means<uint8_t>(indexed, {2}, {1}, {27, 27, 28}, kRgb8);
}

TEST(PsdKeeping, ResourcesAreReplacedInAFile) {
    PsdParts parts;
    put(parts.resources, resource(1028, {1, 2, 3}));
    put(parts.resources, resource(1060, {4, 5}));
    put(parts.resources, resource(4001, {6}, "odd"));
    const Bytes file = parts.file();
    EXPECT_EQ(psd_resource(memory_source(file), kPsdIptc), (Bytes{1, 2, 3}));
    EXPECT_EQ(psd_resource(memory_source(file), kPsdExif), Bytes());
    parts.resources = resource(1028, {1, 2, 3});
    put(parts.resources, resource(1060, {7, 8, 9}));
    put(parts.resources, resource(4001, {6}, "odd"));
    EXPECT_EQ(with_psd_resources(file, {{kPsdXmp, Bytes{7, 8, 9}}}), parts.file());
    parts.resources = resource(1028, {1, 2, 3});
    put(parts.resources, resource(4001, {6}, "odd"));
    EXPECT_EQ(with_psd_resources(file, {{kPsdXmp, std::nullopt}}), parts.file());
    put(parts.resources, resource(1058, {1}));
    EXPECT_EQ(with_psd_resources(file, {{kPsdXmp, std::nullopt}, {kPsdExif, Bytes{1}}}), parts.file());
}

TEST(PsdKeeping, MetadataComeOutAndGoIn) {
    PsdParts parts;
    parts.resources = resource(1028, {1, 2, 3});
    put(parts.resources, resource(1036, {9}));
    put(parts.resources, resource(1058, {'I', 'I'}));
    put(parts.resources, resource(1060, {'<', 'x'}));
    put(parts.resources, resource(1006, {1, 'a'}));
    const PsdMetadata found = find_psd_metadata(memory_source(parts.file()));
    EXPECT_EQ(found.exif, (Bytes{'I', 'I'}));
    EXPECT_EQ(found.xmp, (Bytes{'<', 'x'}));
    const Bytes others = resource(1028, {1, 2, 3});
    EXPECT_EQ(found.resources, others);

    PsdParts target;
    target.resources = resource(1006, {1, 'b'});
    put(target.resources, resource(1034, {1}));
    put(target.resources, resource(1058, {'M', 'M'}));
    const Bytes file = target.file();
    target.resources = resource(1006, {1, 'b'});
    put(target.resources, resource(1058, {'I', 'I'}));
    put(target.resources, resource(1028, {1, 2, 3}));
    put(target.resources, resource(1060, {'<', 'x'}));
    EXPECT_EQ(with_psd_metadata(file, found), target.file());
    target.resources = resource(1006, {1, 'b'});
    EXPECT_EQ(with_psd_metadata(file, {}), target.file());
}

// ---- Files in streams, large files, damage.

TEST(PsdEnd, ThePictureEndsBehindItsPlanes) {
    for (const unsigned compression : {0U, 1U, 2U}) {
        for (const int version : {1, 2}) {
            PsdParts parts;
            parts.version = version;
            parts.compression = compression;
            Bytes file = parts.file();
            const size_t size = file.size();
            file.resize(size + 100, 0xEE);
            const auto end = picture_end(probe(file));
            if (compression == 2) {
                EXPECT_EQ(end->needed(file), PictureEnd::kUnknown);
                continue;
            }
            // However much of it has come.
            for (size_t come = 0; come < file.size(); come++) {
                const uint64_t needed = picture_end(probe(file))->needed(std::span(file).first(come));
                EXPECT_TRUE(needed == size || (needed > come && needed < size)) << come << ": " << needed;
            }
        }
    }
}

// A file of which only the header is written; all planes are one byte over and over.
class EndlessSource final : public DataSource {
 public:
    EndlessSource(Bytes header, uint64_t size) : m_header(std::move(header)), m_size(size) {}
    uint64_t size() const override { return m_size; }
    size_t read_at(uint64_t offset, std::span<uint8_t> out) const override {
        for (size_t i = 0; i < out.size(); i++) {
            const uint64_t at = offset + i;
            out[i] = at < m_header.size() ? m_header[static_cast<size_t>(at)] : 0x42;
        }
        m_read += out.size();
        return out.size();
    }
    uint64_t bytes_read() const { return m_read; }

 private:
    Bytes m_header;
    uint64_t m_size;
    mutable uint64_t m_read = 0;
};

TEST(PsdLarge, RowsCostNoMoreThanThemselves) {
    PsdParts parts;
    parts.width = 0;
    Bytes header = parts.file();
    header[18] = header[14] = 0;
    header[20] = header[16] = 0x4E;  // 20,000 pixels to each side
    header[21] = header[17] = 0x20;
    const auto source = std::make_shared<EndlessSource>(header, header.size() + uint64_t{3} * 20000 * 20000);
    const auto reader = open_psd(source, {})->open(0);
    EXPECT_LT(source->bytes_read(), 64U << 10);
    Bytes rows(3 * 20000 * 2);
    reader->read(2, rows);
    EXPECT_EQ(rows, Bytes(rows.size(), 0x42));
    EXPECT_LT(source->bytes_read(), 1U << 20);
}

TEST(PsdLarge, AClaimOfManyRowsTakesNoMemory) {
    PsdParts parts;
    parts.version = 2;
    parts.compression = 1;
    Bytes file = parts.file();
    for (const size_t at : {size_t{14}, size_t{18}}) {  // 300,000 pixels to each side
        file[at + 1] = 0x04;
        file[at + 2] = 0x93;
        file[at + 3] = 0xE0;
    }
    EXPECT_STREQ(failure_of([&] { opened(file)->open(0); }).what(), "the file ends in the table of its rows");
    DecodeOptions options;
    options.memory = std::make_shared<MemoryBudget>(100);
    parts.width = 101;
    EXPECT_EQ(failure_of([&] { open_psd(memory_source(parts.file()), options)->open(0); }).kind(), Failure::kTooLarge);
}

TEST(PsdDamage, RecoveryKeepsRowsAndChannels) {
    for (const unsigned compression : {0U, 1U, 2U}) {
        PsdParts parts;
        parts.width = 64;
        parts.height = 40;
        parts.compression = compression;
        Bytes file = parts.file();
        const Bytes whole = rows_of(file);
        file.resize(file.size() - (compression == 0 ? 64 * 10 : 500));
        const size_t row = size_t{64} * 3;
        Bytes rows(whole.size());
        const auto read_all = [&](RowReader& reader) {
            int32_t done = 0;
            try {
                for (; done < 40; done++) {
                    reader.read(1, std::span(rows).subspan(row * static_cast<size_t>(done), row));
                }
            } catch (const PictureError& error) {
                EXPECT_EQ(error.kind(), Failure::kDamaged);
            }
            return done;
        };
        const int32_t done = read_all(*opened(file)->open(0));
        EXPECT_GT(done, 5);
        EXPECT_LT(done, 40);
        EXPECT_TRUE(std::equal(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(row) * done, rows.begin()));
        const auto reader = opened(file, Recovery::kMaximal)->open(0);
        EXPECT_EQ(read_all(*reader), 40);
        EXPECT_TRUE(reader->lost().empty());
        EXPECT_EQ(rows[row * 39], whole[row * 39]) << "the first channel is whole";
        EXPECT_EQ(rows[row * 39 + 2], 0) << "the last one is not";
    }
}

TEST(PsdDamage, RowsWithoutAnyChannelAreLost) {
    PsdParts parts;
    parts.mode = 1;
    parts.channels = 1;
    Bytes file = parts.file();
    file.resize(file.size() - 7);  // of rows of 5 bytes
    const auto reader = opened(file, Recovery::kMaximal)->open(0);
    all_rows(*reader);
    EXPECT_EQ(reader->lost(), (std::vector<Rect>{{0, 2, 5, 2}}));
}

// Reads all that can be read of a file, whatever it is; only errors of the codec may come.
void read_whatever(const Bytes& file) {
    for (const Recovery recovery : {Recovery::kNone, Recovery::kMaximal}) {
        try {
            const auto frames = opened(file, recovery);
            const auto reader = frames->open(0);
            const RowsHeader header = reader->header();
            Bytes rows(row_size(header));
            for (int32_t y = 0; y < header.height && y < 100; y++) {
                reader->read(1, rows);
            }
            // And writes it again where it is small, with what is kept of it.
            if (header.height <= 20 && header.width <= 100) {
                const Bytes all = all_rows(*frames->open(0));
                written(header, all, facts_of(file).encoding, kept(file, true));
            }
        } catch (const PictureError& error) {
            EXPECT_NE(error.kind(), Failure::kInternal) << error.what();
        }
    }
    SourceBytes bytes(memory_source(file));
    picture_end(probe(bytes))->needed(file);
}

std::vector<Bytes> seeds() {
    std::vector<Bytes> files;
    for (const unsigned compression : {0U, 1U, 2U, 3U}) {
        PsdParts parts;
        parts.compression = compression;
        parts.channels = 5;
        parts.depth = compression == 3 ? 16 : 8;
        parts.layers = layers_with_text();
        parts.resources = resource(1005, Bytes(16, 1));
        put(parts.resources, resource(1006, {1, 'a'}));
        files.push_back(parts.file());
        // With a layer of its own.
        RowsHeader header = header_of(6, 5, kRgba8);
        if (compression == 2) {
            header = header_of(6, 5, {ColorModel::kCmyk, SampleType::kUint16, 16, true});
        }
        PsdEncoding encoding;
        encoding.compression = static_cast<PsdCompression>(compression);
        encoding.large = compression == 1;
        files.push_back(written(header, samples(header), encoding));
    }
    PsdParts indexed;
    indexed.mode = 2;
    indexed.channels = 1;
    indexed.color_data = Bytes(768, 1);
    put(indexed.resources, resource(1046, {0, 20}));
    put(indexed.resources, resource(1047, {0, 3}));
    files.push_back(indexed.file());
    return files;
}

TEST(PsdDamage, FilesThatEndAnywhere) {
    for (const Bytes& file : seeds()) {
        const Bytes whole = rows_of(file);
        const uint64_t image = structure(file).image.at;
        size_t unharmed = 0;
        for (size_t size = 0; size < file.size(); size++) {
            const Bytes cut(file.begin(), file.begin() + static_cast<std::ptrdiff_t>(size));
            read_whatever(cut);
            // Behind the planes that are read there may be selections, or a composite beside its only layer.
            if (size < image + 2) {
                EXPECT_THROW(rows_of(cut), PictureError) << size << " of " << file.size();
                continue;
            }
            try {
                EXPECT_EQ(rows_of(cut), whole) << size << " of " << file.size();
                unharmed++;
            } catch (const PictureError& error) {
                EXPECT_EQ(error.kind(), Failure::kDamaged);
            }
        }
        EXPECT_LT(unharmed, file.size() - image);
    }
}

TEST(PsdDamage, FilesWithOtherBytes) {
    std::mt19937 random(11);
    const std::vector<Bytes> files = seeds();
    for (int i = 0; i < 2000; i++) {
        Bytes file = files[static_cast<size_t>(i) % files.size()];
        for (unsigned changes = 1 + random() % 4; changes > 0; changes--) {
            const size_t at = random() % (random() % 2 == 0 ? file.size() : std::min<size_t>(file.size(), 200));
            constexpr uint8_t kSpecial[] = {0, 1, 2, 3, 0x7F, 0x80, 0xFE, 0xFF};
            file[at] = random() % 2 == 0 ? kSpecial[random() % 8] : static_cast<uint8_t>(random());
        }
        read_whatever(file);
    }
}

TEST(PackBits, RowsComeBack) {
    std::mt19937 random(5);
    for (size_t size = 0; size < 600; size += 7) {
        for (const unsigned kinds : {1U, 2U, 5U, 256U}) {
            Bytes row(size);
            std::generate(row.begin(), row.end(), [&] { return static_cast<uint8_t>(random() % kinds); });
            Bytes coded;
            pack_bits(row, coded);
            EXPECT_LE(coded.size(), size + size / 128 + 1);
            Bytes again(size);
            EXPECT_EQ(unpack_bits(coded, again), size);
            EXPECT_EQ(again, row);
        }
    }
}

}  // namespace
}  // namespace zelmor::imagework
