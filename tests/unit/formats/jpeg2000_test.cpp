// JPEG 2000 files: round trips of every form, files of other programs, and damage.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstring>

#include "runtime/native/formats/jpeg2000/jpeg2000_codec.h"
#include "runtime/native/formats/jpeg2000/jpeg2000_probe.h"
#include "runtime/native/formats/jpeg2000/jpeg2000_structure.h"
#include "runtime/native/imagework/codec_library.h"
#include "tests/unit/formats/oracle_files.h"

namespace zelmor::imagework {
namespace {

constexpr PixelForm kGray{ColorModel::kGray};
constexpr PixelForm kRgb{};

Bytes written(const RowsHeader& header, const Bytes& rows, const Jpeg2000Encoding& encoding = {}, int32_t step = 5) {
    Bytes out;
    const auto writer = make_jpeg2000_writer(header, encoding, out);
    write_all(*writer, header, rows, step);
    return out;
}

SharedFrames opened(const Bytes& file, const Jpeg2000Reading& reading = {}) {
    return open_jpeg2000(memory_source(file), reading);
}

Bytes read_rows(const Bytes& file, const Jpeg2000Reading& reading = {}) {
    return all_rows(*opened(file, reading)->open(0), 7);
}

// Random samples of the form, in the steps that so many bits of the file have.
Bytes random_samples(const RowsHeader& header, int bits, unsigned seed = 3) {
    std::mt19937 random(seed);
    const size_t size = sample_size(header.form.sample);
    const uint64_t top = size == 1 ? 0xFF : size == 2 ? 0xFFFF : 0xFFFFFFFF;
    const uint64_t most = (uint64_t{1} << bits) - 1;
    Bytes out;
    for (size_t left = row_size(header) * static_cast<size_t>(header.height) / size; left > 0; left--) {
        const uint64_t value = ((random() & most) * top + most / 2) / most;
        for (size_t i = 0; i < size; i++) {
            out.push_back(static_cast<uint8_t>(value >> 8 * i));
        }
    }
    return out;
}

// The place of some bytes in a file, which are there.
size_t find(const Bytes& file, std::string_view text) {
    const auto at = std::search(file.begin(), file.end(), text.begin(), text.end(),
                                [](uint8_t a, char b) { return a == static_cast<uint8_t>(b); });
    EXPECT_NE(at, file.end()) << text;
    return static_cast<size_t>(at - file.begin());
}

void set_u32(Bytes& file, size_t at, uint32_t value) {
    for (size_t i = 0; i < 4; i++) {
        file[at + i] = static_cast<uint8_t>(value >> 8 * (3 - i));
    }
}

// A file whose header box has other boxes added at its end.
Bytes with_header_box(Bytes file, std::string_view type, const Bytes& content) {
    const size_t at = find(file, "jp2h") - 4;
    const uint32_t length = static_cast<uint32_t>(file[at + 2]) << 8 | file[at + 3];
    Bytes box(8);
    set_u32(box, 0, static_cast<uint32_t>(content.size() + 8));
    std::copy(type.begin(), type.end(), box.begin() + 4);
    box.insert(box.end(), content.begin(), content.end());
    file.insert(file.begin() + static_cast<std::ptrdiff_t>(at + length), box.begin(), box.end());
    set_u32(file, at, length + static_cast<uint32_t>(box.size()));
    return file;
}

TEST(Jpeg2000, EveryFormComesBackAsItWas) {
    using enum ColorModel;
    using enum SampleType;
    const PixelForm forms[] = {
        {kGray, kUint8, 1, false}, {kGray, kUint8, 2, false},   {kGray, kUint8, 4, false},  {kGray, kUint8, 8, false},
        {kGray, kUint8, 8, true},  {kRgb, kUint8, 8, false},    {kRgb, kUint8, 8, true},    {kCmyk, kUint8, 8, false},
        {kCmyk, kUint8, 8, true},  {kGray, kUint16, 16, false}, {kGray, kUint16, 16, true}, {kRgb, kUint16, 16, false},
        {kRgb, kUint16, 16, true}, {kCmyk, kUint16, 16, true},  {kGray, kInt8, 8, false},   {kGray, kInt16, 16, false},
        {kRgb, kInt16, 16, false},
    };
    for (const PixelForm& form : forms) {
        for (const Jpeg2000Codec codec : {Jpeg2000Codec::kJp2, Jpeg2000Codec::kJ2k}) {
            if (form.color == kCmyk && codec == Jpeg2000Codec::kJ2k) {
                continue;
            }
            const RowsHeader header = header_of(37, 23, form);
            const int bits = form.bits < 8 ? form.bits : static_cast<int>(8 * sample_size(form.sample));
            const Bytes rows = random_samples(header, bits);
            const Bytes file = written(header, rows, {.codec = codec});
            const auto reader = opened(file)->open(0);
            EXPECT_EQ(reader->header().form, form) << static_cast<int>(form.color) << " " << form.bits;
            EXPECT_TRUE(same(all_rows(*reader, 4), rows))
                << static_cast<int>(form.color) << " " << form.bits << form.alpha;
        }
    }
}

TEST(Jpeg2000, EveryDepthComesBackAsItWas) {
    for (int bits = 1; bits <= 20; bits++) {
        PixelForm form = kRgb;
        form.sample = bits <= 8 ? SampleType::kUint8 : bits <= 16 ? SampleType::kUint16 : SampleType::kUint32;
        form.bits = static_cast<int>(8 * sample_size(form.sample));
        const RowsHeader header = header_of(19, 11, form);
        const Bytes rows = random_samples(header, bits);
        Jpeg2000Encoding encoding;
        encoding.bit_depth = bits;
        const Bytes file = written(header, rows, encoding);
        EXPECT_TRUE(same(read_rows(file), rows)) << bits;
        const Jpeg2000Facts facts = probe_jpeg2000(ByteReader(file));
        EXPECT_EQ(settings_as<Jpeg2000Encoding>(facts.facts)->bit_depth, bits);
        EXPECT_TRUE(facts.facts.readable) << facts.unreadable;
        EXPECT_EQ(facts.facts.bits_per_pixel, 3 * form.bits);
    }
}

TEST(Jpeg2000, PalettesComeBackAsTheyWere) {
    for (const int bits : {1, 2, 4, 8}) {
        RowsHeader header = header_of(31, 9, {ColorModel::kIndexed, SampleType::kUint8, bits, false});
        const Bytes rows = random_rows(header);
        const auto reader = opened(written(header, rows))->open(0);
        EXPECT_EQ(reader->header().form, header.form);
        EXPECT_EQ(reader->header().palette, header.palette);
        EXPECT_TRUE(same(all_rows(*reader), rows));
        header.palette[1] = 0x40112233;
        header.deep_palette.clear();
        for (const Argb color : header.palette) {
            header.deep_palette.push_back(uint64_t{color} << 32 | 0x00010000ULL * color % 0xFFFFFFFF);
        }
        const auto deep = opened(written(header, rows))->open(0);
        EXPECT_EQ(deep->header().deep_palette, header.deep_palette);
        EXPECT_TRUE(same(all_rows(*deep), rows));
        EXPECT_TRUE(opened(written(header, rows))->reduction(0, 8) == 1);
    }
}

TEST(Jpeg2000, HeaderKeepsResolutionProfileAndMetadata) {
    RowsHeader header = header_of(8, 6, kRgb);
    Bytes profile(200, 7);
    std::memcpy(profile.data() + 16, "RGB ", 4);
    header.profile = std::make_shared<const Bytes>(profile);
    Jpeg2000Encoding encoding;
    encoding.comments = {"Grüße, 5 €", "zweiter"};
    encoding.xmp = {'<', 'x', '/', '>'};
    encoding.exif = {'I', 'I', 42, 0};
    for (const Resolution resolution : {Resolution{300, 150}, Resolution{72, 72}, Resolution{96, 1200},
                                        Resolution{0.5, 25.4}, Resolution{19999.5, 3000000}}) {
        header.resolution = resolution;
        const Bytes file = written(header, waves(8, 6, 3), encoding);
        const auto reader = opened(file)->open(0);
        ASSERT_TRUE(reader->header().resolution);
        EXPECT_NEAR(reader->header().resolution->horizontal / resolution.horizontal, 1, 1e-5);
        EXPECT_NEAR(reader->header().resolution->vertical / resolution.vertical, 1, 1e-5);
        ASSERT_TRUE(reader->header().profile);
        EXPECT_EQ(*reader->header().profile, profile);
        const Jpeg2000Structure structure = jpeg2000_structure(ByteReader(file));
        EXPECT_EQ(structure.comments, encoding.comments);
        EXPECT_EQ(Bytes(file.begin() + static_cast<std::ptrdiff_t>(structure.xmp.at),
                        file.begin() + static_cast<std::ptrdiff_t>(structure.xmp.at + structure.xmp.size)),
                  encoding.xmp);
        EXPECT_EQ(structure.exif.size, encoding.exif.size());
        EXPECT_TRUE(same(read_rows(file), waves(8, 6, 3)));
    }
}

TEST(Jpeg2000, OtherProgramsReadWhatIsWritten) {
    const OracleDirectory files;
    const Bytes rows = waves(301, 203, 3);
    const RowsHeader header = header_of(301, 203, kRgb);
    files.write("a.jp2", written(header, rows));
    files.run("opj_decompress -i a.jp2 -o a.ppm");
    EXPECT_TRUE(same(map_samples(files.read("a.ppm")), rows));
    files.write("b.j2k", written(header, rows, {.codec = Jpeg2000Codec::kJ2k, .irreversible = true}));
    files.run("opj_decompress -i b.j2k -o b.ppm");
    EXPECT_GT(psnr(map_samples(files.read("b.ppm")), rows), 45);
    EXPECT_TRUE(same(map_samples(files.read("b.ppm")), read_rows(files.read("b.j2k"))));
}

TEST(Jpeg2000, LargePicturesAreWrittenInTiles) {
    const OracleDirectory files;
    constexpr Jpeg2000Tiling kTiling{1500, 32};
    struct Case {
        int32_t width;
        int32_t height;
        int columns;
        int rows;
    };
    for (const Case& each : {Case{50, 30, 1, 1}, Case{51, 30, 2, 1}, Case{64, 32, 2, 1}, Case{65, 33, 3, 2},
                             Case{20, 100, 1, 4}, Case{1501, 1, 47, 1}}) {
        for (const int bands : {1, 3}) {
            for (const int32_t step : {1, 7, 1000}) {
                const RowsHeader header = header_of(each.width, each.height, bands == 3 ? kRgb : kGray);
                const Bytes rows = waves(each.width, each.height, bands);
                Bytes file;
                write_all(*make_jpeg2000_writer(header, {}, file, kTiling), header, rows, std::min(step, each.height));
                EXPECT_TRUE(same(read_rows(file), rows)) << each.width;
                const Jpeg2000Grid grid = jpeg2000_structure(ByteReader(file)).grid;
                EXPECT_EQ(static_cast<int>(grid.columns()), each.columns);
                EXPECT_EQ(static_cast<int>(grid.rows()), each.rows);
                files.write("a.jp2", file);
                files.run("opj_decompress -i a.jp2 -o out.p" + std::string(bands == 3 ? "pm" : "gm"));
                EXPECT_TRUE(same(map_samples(files.read(bands == 3 ? "out.ppm" : "out.pgm")), rows)) << each.width;
            }
        }
    }
}

TEST(Jpeg2000, RatiosMakeLayersOfThatSize) {
    const RowsHeader header = header_of(256, 256, kRgb);
    std::mt19937 random(1);
    Bytes rows = waves(256, 256, 3);
    for (uint8_t& byte : rows) {
        byte = static_cast<uint8_t>(std::min<unsigned long>(255, byte + random() % 32));
    }
    Jpeg2000Encoding encoding;
    encoding.compression_ratios = {20};
    const Bytes lossy = written(header, rows, encoding);
    EXPECT_NEAR(static_cast<double>(rows.size()) / static_cast<double>(lossy.size()), 20, 2);
    EXPECT_GT(psnr(read_rows(lossy), rows), 20);
    encoding.compression_ratios = {40, 10, 1};
    const Bytes layered = written(header, rows, encoding);
    EXPECT_TRUE(same(read_rows(layered), rows));
    EXPECT_EQ(jpeg2000_structure(ByteReader(layered)).coding.layers, 3);
    encoding.irreversible = true;
    EXPECT_TRUE(
        settings_as<Jpeg2000Encoding>(probe_jpeg2000(ByteReader(written(header, rows, encoding))).facts)->irreversible);
}

TEST(Jpeg2000, FilesOfAnotherEncoderGiveItsDecodersPixels) {
    const OracleDirectory files;
    const Bytes rows = waves(213, 150, 3);
    files.write("in.ppm", portable_map(213, 150, 3, 255, rows));
    const char* const settings[] = {
        "",
        "-t 64,48",
        "-t 64,48 -TP R -p RPCL",
        "-t 50,50 -d 13,7 -T 5,3",
        "-n 3 -c [64,64],[32,32] -b 16,16 -p PCRL -SOP -EPH",
        "-I -r 8",
        "-r 30,10,1 -p RLCP",
        "-t 100,100 -p CPRL -PLT -TLM",
        "-M 63",
        "-mct 0 -n 1",
    };
    for (const std::string setting : settings) {
        for (const std::string name : {"a.jp2", "a.j2k"}) {
            files.run(std::string("opj_compress -i in.ppm -o ").append(name).append(" ").append(setting));
            files.run("opj_decompress -i " + name + " -o out.ppm");
            const Bytes file = files.read(name);
            EXPECT_TRUE(same(read_rows(file), map_samples(files.read("out.ppm")))) << setting;
            if (setting.find("-I") == std::string::npos) {
                EXPECT_TRUE(same(read_rows(file), rows)) << setting;
            }
        }
    }
}

TEST(Jpeg2000, PicturesGetSmallerByNoMoreThanTheirLevels) {
    const OracleDirectory files;
    files.write("in.pgm", portable_map(40, 30, 1, 255, waves(40, 30, 1)));
    files.run("opj_compress -i in.pgm -o a.j2k -n 3");
    Bytes file = files.read("a.j2k");
    const size_t coding = find(file, "\xFF\x52");  // its marker, and the levels behind the form of the packets
    ASSERT_EQ(file[coding + 9], 2);
    for (const uint8_t levels : {0, 1, 15, 16, 17, 32}) {  // of 32 that a file can have, 16 are used
        file[coding + 9] = levels;
        const auto frames = opened(file);
        EXPECT_EQ(frames->reduction(0, 1 << 20), 1 << std::min<int>(levels, 16)) << int{levels};
        EXPECT_EQ(frames->reduction(0, 1), 1);
    }
}

TEST(Jpeg2000, SmallerPicturesAreThoseOfTheOtherDecoder) {
    const OracleDirectory files;
    files.write("in.ppm", portable_map(213, 150, 3, 255, waves(213, 150, 3)));
    for (const std::string setting : {"", "-t 64,48"}) {
        files.run("opj_compress -i in.ppm -o a.jp2 " + setting);
        const auto frames = opened(files.read("a.jp2"));
        EXPECT_EQ(frames->reduction(0, 1), 1);
        EXPECT_EQ(frames->reduction(0, 7), 4);
        EXPECT_EQ(frames->reduction(0, 1000), 32);
        for (const int halvings : {1, 2, 5}) {
            files.run("opj_decompress -i a.jp2 -o out.ppm -r " + std::to_string(halvings));
            const auto reader = frames->open_reduced(0, 1 << halvings);
            EXPECT_EQ(reader->header().width, (213 + (1 << halvings) - 1) >> halvings);
            EXPECT_EQ(reader->header().height, (150 + (1 << halvings) - 1) >> halvings);
            EXPECT_TRUE(same(all_rows(*reader), map_samples(files.read("out.ppm")))) << setting << halvings;
        }
    }
}

TEST(Jpeg2000, HalvedColorDifferencesBecomeRgb) {
    const OracleDirectory files;
    Bytes planes = waves(64, 48, 1);
    for (int plane = 0; plane < 2; plane++) {
        for (int i = 0; i < 32 * 24; i++) {
            planes.push_back(static_cast<uint8_t>(128 + (plane == 0 ? 1 : -1) * (i % 32) * 2));
        }
    }
    files.write("in.raw", planes);
    for (const std::string setting : {"", " -t 20,16 -n 3"}) {
        files.run("opj_compress -i in.raw -o a.j2k -mct 0 -n 4 -F 64,48,3,8,u@1x1:2x2:2x2" + setting);
        files.run("opj_decompress -i a.j2k -o out.ppm");
        const Bytes found = read_rows(files.read("a.j2k"));
        const Bytes expected = map_samples(files.read("out.ppm"));
        ASSERT_EQ(found.size(), expected.size());
        for (size_t i = 0; i < found.size(); i++) {
            ASSERT_NEAR(found[i], expected[i], 1) << i;
        }
    }
}

TEST(Jpeg2000, DeepGrayAndSignedSamplesAreRead) {
    const OracleDirectory files;
    Bytes raw;
    for (int i = 0; i < 40 * 30; i++) {
        const int value = i * 7 % 4096;
        raw.push_back(static_cast<uint8_t>(value));
        raw.push_back(static_cast<uint8_t>(value >> 8));
    }
    files.write("in.rawl", raw);
    files.run("opj_compress -i in.rawl -o a.jp2 -n 3 -F 40,30,1,12,u");
    const auto reader = opened(files.read("a.jp2"))->open(0);
    EXPECT_EQ(reader->header().form, (PixelForm{ColorModel::kGray, SampleType::kUint16, 16, false}));
    const Bytes rows = all_rows(*reader);
    for (size_t i = 0; i < 40 * 30; i++) {
        const unsigned value = static_cast<unsigned>(i) * 7 % 4096;
        ASSERT_EQ(rows[2 * i] | rows[2 * i + 1] << 8, static_cast<int>((value * 65535 + 2047) / 4095));
    }
    files.run("opj_compress -i in.rawl -o b.jp2 -n 3 -F 40,30,1,16,s");
    const auto negative = opened(files.read("b.jp2"))->open(0);
    EXPECT_EQ(negative->header().form, (PixelForm{ColorModel::kGray, SampleType::kInt16, 16, false}));
    EXPECT_TRUE(same(all_rows(*negative), raw));
}

TEST(Jpeg2000, ChannelsAreWhatTheirDefinitionsSay) {
    // Blue, green, red and opacity that the colors are multiplied by.
    const RowsHeader header = header_of(2, 1, {ColorModel::kCmyk});
    Bytes file = written(header, {10, 20, 30, 128, 0, 0, 0, 0});
    set_u32(file, find(file, "colr") + 7, 16);
    const Bytes definitions{0, 4, 0, 0, 0, 0, 0, 3, 0, 1, 0, 0, 0, 2, 0, 2, 0, 0, 0, 1, 0, 3, 0, 2, 0, 0};
    const auto reader = opened(with_header_box(file, "cdef", definitions))->open(0);
    EXPECT_EQ(reader->header().form, (PixelForm{ColorModel::kRgb, SampleType::kUint8, 8, true}));
    EXPECT_EQ(all_rows(*reader), (Bytes{60, 40, 20, 128, 0, 0, 0, 0}));
    // Without definitions the fourth channel is opacity.
    EXPECT_EQ(read_rows(file), (Bytes{10, 20, 30, 128, 0, 0, 0, 0}));
    const Bytes strange{0, 1, 0, 3, 0, 7, 0, 0};
    EXPECT_STREQ(failure_of([&] { opened(with_header_box(file, "cdef", strange)); }).what(),
                 "this is a JPEG 2000 file with 1 channels that are neither colors nor the opacity of the picture");
}

TEST(Jpeg2000, UnreadableFilesAreNamed) {
    const Bytes file = written(header_of(4, 4, kRgb), waves(4, 4, 3));
    const auto reason = [](const Bytes& bytes) {
        const Jpeg2000Facts facts = probe_jpeg2000(ByteReader(bytes));
        EXPECT_FALSE(facts.facts.readable);
        return facts.unreadable;
    };
    Bytes space = file;
    set_u32(space, find(space, "colr") + 7, 14);
    EXPECT_EQ(reason(space),
              "this is a JPEG 2000 file of the color space number 14; sRGB, gray, sYCC and CMYK are read");
    Bytes deep = file;
    deep[find(deep, "\xFF\x51") + 40] = 30;
    EXPECT_EQ(reason(deep), "this is a JPEG 2000 file with 31 bits per component; up to 24 are read");
    EXPECT_EQ(reason(Bytes(file.begin(), file.begin() + 60)), "the JPEG 2000 file is damaged: it has no codestream");
    EXPECT_FALSE(is_jpeg2000(ByteReader(Bytes{0, 0, 0, 12, 'j', 'P', ' ', ' ', '\r', '\n', 0x87})));
    EXPECT_TRUE(is_jpeg2000(ByteReader(file)));
}

TEST(Jpeg2000, SettingsThatNoFileHasAreRefused) {
    const auto refusal = [](const RowsHeader& header, const Jpeg2000Encoding& encoding) {
        Bytes out;
        const PictureError error = failure_of([&] { make_jpeg2000_writer(header, encoding, out); });
        EXPECT_EQ(error.kind(), Failure::kEncoding);
        return std::string(error.what());
    };
    const RowsHeader rgb = header_of(4, 4, kRgb);
    EXPECT_EQ(refusal(rgb, {.codec = Jpeg2000Codec::kJpt}),
              "JPT streams belong to a network protocol and cannot be written");
    EXPECT_EQ(refusal(rgb, {.compression_ratios = {10, 20}}), "each compression ratio is below the one before it");
    EXPECT_EQ(refusal(rgb, {.compression_ratios = {0.5F}}), "a compression ratio is 1 or more");
    EXPECT_EQ(refusal(rgb, {.compression_ratios = {NAN}}), "a compression ratio is 1 or more");
    EXPECT_EQ(refusal(rgb, {.compression_ratios = std::vector<float>(101, 2.F)}),
              "there are 101 compression ratios; up to 100 can be written");
    EXPECT_EQ(refusal(rgb, {.bit_depth = 25}), "JPEG 2000 is written with 1 to 24 bits a sample, not 25");
    EXPECT_EQ(refusal(rgb, {.comments = {"\u4E2D"}}),
              "a comment has characters beyond those of ISO 8859-15, which JPEG 2000 has no place for");
    EXPECT_EQ(refusal(rgb, {.comments = {std::string(65532, 'x')}}), "a comment has more than 65531 characters");
    EXPECT_EQ(refusal(rgb, {.codec = Jpeg2000Codec::kJ2k, .xmp = {1}}),
              "a bare JPEG 2000 codestream has no place for XMP or EXIF data; a JP2 file has");
    const RowsHeader indexed = header_of(4, 4, {ColorModel::kIndexed});
    EXPECT_EQ(refusal(indexed, {.irreversible = true}), "indices into a palette can be written without loss alone");
    EXPECT_EQ(refusal(indexed, {.codec = Jpeg2000Codec::kJ2k}),
              "a bare JPEG 2000 codestream cannot tell that its samples are indices into a palette; a JP2 file can");
    EXPECT_EQ(refusal(header_of(4, 4, {ColorModel::kCmyk}), {.codec = Jpeg2000Codec::kJ2k}),
              "a bare JPEG 2000 codestream cannot tell that its samples are inks; a JP2 file can");
    EXPECT_EQ(refusal(header_of(4, 4, {ColorModel::kRgb, SampleType::kFloat, 32}), {}),
              "JPEG 2000 files hold gray, RGB, CMYK and indexed pictures of integers here, no others");
}

TEST(Jpeg2000, CutFilesKeepTheTilesBeforeTheCut) {
    const OracleDirectory files;
    const Bytes rows = waves(90, 120, 3);
    files.write("in.ppm", portable_map(90, 120, 3, 255, rows));
    files.run("opj_compress -i in.ppm -o a.jp2 -t 30,40 -n 3");
    Bytes file = files.read("a.jp2");
    file.resize(file.size() * 6 / 10);
    const PictureError error = failure_of([&] { opened(file); });
    EXPECT_EQ(error.kind(), Failure::kDamaged);
    EXPECT_NE(std::string(error.what()).find("of 9 tiles are missing or cut off"), std::string::npos) << error.what();

    const auto some = opened(file, {.recovery = Recovery::kConsistent})->open(0);
    Bytes first(row_size(some->header()) * 40);
    some->read(40, first);
    EXPECT_TRUE(std::equal(first.begin(), first.end(), rows.begin()));
    Bytes rest(row_size(some->header()) * 80);
    EXPECT_EQ(failure_of([&] { some->read(80, rest); }).kind(), Failure::kDamaged);

    const auto all = opened(file, {.recovery = Recovery::kMaximal})->open(0);
    const Bytes found = all_rows(*all, 120);
    EXPECT_TRUE(std::equal(first.begin(), first.end(), found.begin()));
    const auto lost = all->lost();
    ASSERT_FALSE(lost.empty());
    EXPECT_EQ(lost.back(), (Rect{60, 80, 30, 40}));
}

// The library reads a million bytes at a time, which end within the data of the tile.
TEST(Jpeg2000, ATileMayBeLongerThanWhatIsReadAtATime) {
    const RowsHeader header = header_of(1100, 1000, kGray);
    const Bytes rows = random_samples(header, 8);
    const Bytes file = written(header, rows);
    ASSERT_GT(file.size(), size_t{1} << 20);
    EXPECT_TRUE(same(read_rows(file), rows));
}

TEST(Jpeg2000, ClaimsOfTheHeaderCostNothing) {
    const Bytes file = written(header_of(64, 64, kGray), waves(64, 64, 1), {.codec = Jpeg2000Codec::kJ2k});
    const auto budget = std::make_shared<MemoryBudget>(uint64_t{64} << 20);
    const auto failure = [&](const Bytes& bytes) {
        return failure_of([&] {
            const auto reader = opened(bytes, {.memory = budget})->open(0);
            Bytes row(row_size(reader->header()));
            reader->read(1, row);
        });
    };
    Bytes wide = file;  // one tile of 30000 by 30000
    for (const size_t at : {8U, 12U, 24U, 28U}) {
        set_u32(wide, at, 30000);
    }
    EXPECT_EQ(failure(wide).kind(), Failure::kTooLarge);
    Bytes tiles = file;  // 62500 of them
    set_u32(tiles, 8, 16000);
    set_u32(tiles, 12, 16000);
    EXPECT_EQ(failure(tiles).kind(), Failure::kDamaged);
    Bytes layers = file;  // 65535 layers of 30 bytes
    const size_t coding = find(layers, "\xFF\x52");
    layers[coding + 6] = layers[coding + 7] = 0xFF;
    EXPECT_EQ(failure(layers).kind(), Failure::kDamaged);
    EXPECT_EQ(budget->used(), 0U);
}

TEST(Jpeg2000, TimeIsLimited) {
    const RowsHeader header = header_of(250, 250, kRgb);
    const Bytes file = written(header, random_samples(header, 8));
    EXPECT_EQ(failure_of([&] { read_rows(file, {.most_time = 1}); }).kind(), Failure::kInternal);
    EXPECT_EQ(failure_of([&] { read_rows(file, {.most_time_of_tile = 1}); }).kind(), Failure::kInternal);
    EXPECT_EQ(read_rows(file, {.most_time = 600'000, .most_time_of_tile = 600'000}).size(), 250U * 250 * 3);
}

TEST(Jpeg2000, DamageIsAnErrorOrAPicture) {
    const OracleDirectory files;
    files.write("in.ppm", portable_map(60, 50, 3, 255, waves(60, 50, 3)));
    files.run("opj_compress -i in.ppm -o a.jp2 -t 32,32 -n 4 -TP R -p RPCL");
    RowsHeader indexed = header_of(31, 9, {ColorModel::kIndexed});
    const Bytes sources[] = {files.read("a.jp2"), written(indexed, random_rows(indexed)),
                             written(header_of(40, 40, kGray), waves(40, 40, 1), {.codec = Jpeg2000Codec::kJ2k})};
    const auto budget = std::make_shared<MemoryBudget>(uint64_t{256} << 20);
    int pictures = 0;
    for (unsigned seed = 0; seed < 600; seed++) {
        const Bytes file = damaged(sources[seed % 3], seed);
        const auto recovery = static_cast<Recovery>(seed / 3 % 3);
        const auto start = std::chrono::steady_clock::now();
        try {
            const auto frames = opened(file, {.recovery = recovery, .memory = budget});
            const auto reader = frames->open_reduced(0, frames->reduction(0, seed % 2 == 0 ? 1 : 4));
            if (int64_t{reader->header().width} * reader->header().height < 4'000'000) {
                all_rows(*reader, 16);
                pictures++;
            }
        } catch (const PictureError& error) {
            EXPECT_STRNE(error.what(), "");
        }
        EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5)) << seed;
        EXPECT_EQ(budget->used(), 0U) << seed;
    }
    EXPECT_GT(pictures, 100);
}

TEST(Jpeg2000, SharedObjectHasTheCodec) {
    const FormatCodec& codec = *load_codec(JPEG2000_LIBRARY, false);
    const RowsHeader header = header_of(5, 4, kRgb);
    MemorySink memory;
    const auto writer = codec.make_writer(header, Jpeg2000Encoding{}, memory);
    write_all(*writer, header, waves(5, 4, 3), 1);
    const EncodedBytes encoded = memory.take();
    const Bytes out(encoded.bytes().begin(), encoded.bytes().end());
    EXPECT_TRUE(same(all_rows(*codec.open(memory_source(out), {}, {})->open(0)), waves(5, 4, 3)));
    EXPECT_EQ(failure_of([&] { codec.open(memory_source({1, 2, 3}), {}, {}); }).kind(), Failure::kDamaged);
}

}  // namespace
}  // namespace zelmor::imagework
