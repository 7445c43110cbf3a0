// TIFF by rows: every form in every compression and layout, pages, damage, and what is refused.
#include <algorithm>
#include <cmath>
#include <cstring>
#include <random>
#include <string>

#include <gtest/gtest.h>

#include "failure_of.h"
#include "runtime/native/formats/tiff/half.h"
#include "runtime/native/formats/tiff/tiff_directories.h"
#include "runtime/native/formats/tiff/tiff_encoding.h"
#include "runtime/native/formats/tiff/tiff_pages.h"
#include "runtime/native/formats/tiff/tiff_reader.h"
#include "runtime/native/formats/tiff/tiff_writer.h"
#include "runtime/native/formats/tiff/writable_forms.h"
#include "runtime/native/imagework/picture_error.h"
#include "runtime/native/imagework/probe/probe.h"
#include "tests/unit/imagework/counted_source.h"

namespace zelmor::imagework {
namespace {

using Bytes = std::vector<uint8_t>;
using C = TiffCompression;
using P = TiffPhotometric;
using S = SampleType;

Bytes bytes_of(const EncodedBytes& encoded) {
    return {encoded.bytes().begin(), encoded.bytes().end()};
}

// A picture of odd sides, so that padding of rows, strips and tiles shows.
struct Sample {
    RowsHeader header;
    Bytes rows;
    std::vector<Rect> lost = {};
};

template <class Number>
void put(Bytes& rows, Number number) {
    const size_t at = rows.size();
    rows.resize(at + sizeof number);
    std::memcpy(rows.data() + at, &number, sizeof number);
}

// Noise among runs of equal samples, so that compressions have something to do.
Bytes noise(const PixelForm& form, size_t samples) {
    std::mt19937 random(static_cast<uint32_t>(samples) + static_cast<uint32_t>(form.bits));
    Bytes rows;
    uint32_t value = 0;
    for (size_t i = 0; i < samples; i++) {
        if (random() % 4 != 0) {
            value = random();
        }
        if (form.bits < 8) {
            const uint32_t steps = (1U << form.bits) - 1;
            const uint32_t step = value % (steps + 1);
            put(rows, static_cast<uint8_t>(form.color == ColorModel::kIndexed ? step : step * 255 / steps));
        } else if (form.sample == S::kFloat && form.bits == 16) {
            put(rows, float_of_half(static_cast<uint16_t>(value % 0x7C00)));
        } else if (form.sample == S::kFloat) {
            put(rows, static_cast<float>(value) / 7.0F - 1000.0F);
        } else if (form.sample == S::kDouble) {
            put(rows, value / 7.0 - 1000.0);
        } else {
            for (size_t byte = 0; byte < sample_size(form.sample); byte++) {
                put(rows, static_cast<uint8_t>(value >> 8 * byte));
            }
        }
    }
    return rows;
}

Sample sample(const PixelForm& form, int32_t width = 37, int32_t height = 19) {
    Sample result;
    result.header.width = width;
    result.header.height = height;
    result.header.form = form;
    result.header.resolution = Resolution{300, 150};
    if (form.color == ColorModel::kIndexed) {
        for (uint32_t i = 0; i < 1U << form.bits; i++) {
            result.header.palette.push_back(kBlack | i * 0x050301);
        }
    }
    result.rows =
        noise(form, static_cast<size_t>(width) * static_cast<size_t>(height) * static_cast<size_t>(form.bands()));
    return result;
}

Bytes written(const Sample& picture, const TiffEncoding& encoding) {
    MemorySink out;
    TiffFile file(out, encoding.big_tiff, encoding.big_endian);
    const auto page = file.add_page(picture.header, encoding);
    page->write(picture.header.height, picture.rows);
    page->finish();
    return bytes_of(out.take());
}

Sample read_page(const SharedSource& source, uint64_t directory = 0, const DecodeOptions& options = {}) {
    const auto reader = open_tiff_page(source, directory, options);
    Sample result{reader->header(), {}};
    const size_t size = static_cast<size_t>(result.header.width) * result.header.form.pixel_size();
    result.rows.resize(size * static_cast<size_t>(result.header.height));
    // Some rows at a time, of no use to strips or tiles.
    for (int32_t y = 0; y < result.header.height;) {
        const int32_t count = std::min(7, result.header.height - y);
        reader->read(count,
                     std::span(result.rows).subspan(static_cast<size_t>(y) * size, static_cast<size_t>(count) * size));
        y += count;
    }
    result.lost = reader->lost();
    return result;
}
Sample read_bytes(Bytes bytes, const DecodeOptions& options = {}) {
    return read_page(memory_source(std::move(bytes)), 0, options);
}

// ---- Numbers

TEST(HalfTest, EveryHalfComesBack) {
    for (uint32_t half = 0; half < 0x10000; half++) {
        EXPECT_EQ(half_of_float(float_of_half(static_cast<uint16_t>(half))), half);
    }
}

TEST(HalfTest, HalvesAreTheNumbersThatTheStandardSays) {
    for (uint32_t half = 0; half < 0x7C00; half++) {
        const int exponent = static_cast<int>(half >> 10);
        const double fraction = half & 0x3FF;
        const double number = exponent == 0 ? std::ldexp(fraction, -24) : std::ldexp(1024 + fraction, exponent - 25);
        ASSERT_EQ(float_of_half(static_cast<uint16_t>(half)), number) << half;
        ASSERT_EQ(float_of_half(static_cast<uint16_t>(half | 0x8000)), -number) << half;
    }
    EXPECT_TRUE(std::isinf(float_of_half(0x7C00)));
    EXPECT_TRUE(std::isnan(float_of_half(0x7C01)));
}

TEST(HalfTest, FloatsBetweenAreRoundedToTheNearestEvenOne) {
    for (uint16_t half = 0; half < 0x7BFF; half++) {
        const double low = float_of_half(half);
        const double high = float_of_half(static_cast<uint16_t>(half + 1));
        const auto middle = static_cast<float>((low + high) / 2);
        ASSERT_EQ(half_of_float(middle), half % 2 == 0 ? half : half + 1) << half;
        ASSERT_EQ(half_of_float(std::nextafter(middle, 0.0F)), half);
        ASSERT_EQ(half_of_float(std::nextafter(middle, 1e9F)), half + 1);
    }
    EXPECT_EQ(half_of_float(65519.0F), 0x7BFF);
    EXPECT_EQ(half_of_float(65520.0F), 0x7C00);
}

// ---- Every form, compression and layout

constexpr PixelForm kForms[] = {
    {ColorModel::kGray, S::kUint8, 1},        {ColorModel::kGray, S::kUint8, 2},
    {ColorModel::kGray, S::kUint8, 4},        {ColorModel::kGray, S::kUint8, 8},
    {ColorModel::kGray, S::kInt8, 8},         {ColorModel::kGray, S::kUint16, 16},
    {ColorModel::kGray, S::kInt16, 16},       {ColorModel::kGray, S::kUint32, 32},
    {ColorModel::kGray, S::kInt32, 32},       {ColorModel::kGray, S::kFloat, 16},
    {ColorModel::kGray, S::kFloat, 32},       {ColorModel::kGray, S::kDouble, 64},
    {ColorModel::kGray, S::kUint8, 8, true},  {ColorModel::kGray, S::kUint16, 16, true},
    {ColorModel::kRgb, S::kUint8, 4},         {ColorModel::kRgb, S::kUint8, 8},
    {ColorModel::kRgb, S::kUint8, 8, true},   {ColorModel::kRgb, S::kUint16, 16},
    {ColorModel::kRgb, S::kUint16, 16, true}, {ColorModel::kRgb, S::kUint32, 32},
    {ColorModel::kRgb, S::kFloat, 16, true},  {ColorModel::kRgb, S::kFloat, 32},
    {ColorModel::kRgb, S::kDouble, 64},       {ColorModel::kIndexed, S::kUint8, 1},
    {ColorModel::kIndexed, S::kUint8, 2},     {ColorModel::kIndexed, S::kUint8, 4},
    {ColorModel::kIndexed, S::kUint8, 8},     {ColorModel::kCmyk, S::kUint8, 8},
    {ColorModel::kCmyk, S::kUint8, 8, true},  {ColorModel::kCmyk, S::kUint16, 16},
    {ColorModel::kLab, S::kUint8, 8},         {ColorModel::kLab, S::kUint16, 16},
    {ColorModel::kLab, S::kFloat, 32},        {ColorModel::kLab, S::kUint8, 8, true},
};
constexpr C kLossless[] = {C::kNone,     C::kCcittRle, C::kFax3, C::kFax4, C::kLzw,  C::kDeflate, C::kOldDeflate,
                           C::kPackBits, C::kJbig,     C::kLerc, C::kLzma, C::kZstd, C::kWebp};

struct Layout {
    const char* name;
    TiffEncoding encoding;
};
const Layout kLayouts[] = {
    {"strips", {}},
    {"single rows", {.rows_per_strip = 1}},
    {"strips of 16", {.rows_per_strip = 16}},
    {"one strip", {.rows_per_strip = 1000}},
    {"tiles", {.tile_width = 32, .tile_height = 16}},
    {"one tile", {.tile_width = 48, .tile_height = 32}},
    {"planes", {.separate_planes = true, .rows_per_strip = 6}},
    {"tiled planes", {.separate_planes = true, .tile_width = 16, .tile_height = 32}},
    {"lowest bit first", {.lowest_bit_first = true}},
    {"lowest bit first in tiles", {.lowest_bit_first = true, .tile_width = 16, .tile_height = 16}},
    {"big-endian", {.big_endian = true}},
    {"big-endian planes", {.big_endian = true, .separate_planes = true}},
    {"BigTIFF", {.big_tiff = true}},
    {"big-endian BigTIFF", {.big_tiff = true, .big_endian = true, .tile_width = 16, .tile_height = 16}},
    {"horizontal differences", {.predictor = TiffDifferencing::kHorizontal, .big_endian = true}},
    {"floating-point differences", {.predictor = TiffDifferencing::kFloatingPoint}},
    {"white is least", {.photometric = P::kMinIsWhite}},
    {"ICC Lab", {.photometric = P::kIccLab}},
    {"unspecified alpha", {.alpha = TiffAlpha::kUnspecified}},
};

// Floating-point numbers are counted from 1 where white is the least, which rounds; 16-bit ICC Lab has fewer values.
bool is_exact(const PixelForm& form, const TiffEncoding& encoding) {
    return !(encoding.photometric == P::kMinIsWhite && !form.is_integer()) &&
           !(encoding.photometric == P::kIccLab && form.sample == S::kUint16);
}

std::string description(const PixelForm& form, C compression, const char* layout) {
    return "color " + std::to_string(static_cast<int>(form.color)) + ", type " +
           std::to_string(static_cast<int>(form.sample)) + ", " + std::to_string(form.bits) + " bits" +
           (form.alpha ? " with alpha" : "") + ", compression " + std::to_string(static_cast<int>(compression)) + ", " +
           layout;
}

TEST(TiffSweepTest, EveryFormSurvivesEveryCompressionAndLayout) {
    int tried = 0;
    for (const PixelForm& form : kForms) {
        const Sample picture = sample(form);
        for (const C compression : kLossless) {
            for (const Layout& layout : kLayouts) {
                SCOPED_TRACE(description(form, compression, layout.name));
                TiffEncoding encoding = layout.encoding;
                encoding.compression = compression;
                const TiffEncoding fit = fitted(picture.header, encoding);
                if (fit != encoding || !is_exact(form, encoding)) {
                    continue;  // a combination that is refused, which another test holds
                }
                if ((compression == C::kLzma || compression == C::kZstd) && encoding.rows_per_strip == 1) {
                    continue;  // encoders that take a millisecond to begin
                }
                tried++;
                Bytes file;
                Sample again;
                ASSERT_NO_THROW(file = written(picture, encoding));
                ASSERT_NO_THROW(again = read_bytes(file));
                ASSERT_EQ(again.header.form, form);
                ASSERT_EQ(again.header.palette, picture.header.palette);
                ASSERT_EQ(again.header.resolution, picture.header.resolution);
                ASSERT_TRUE(again.rows == picture.rows);
                // What the probe tells writes the same file again.
                const FileFacts facts = probe(file);
                ASSERT_TRUE(facts.readable);
                ASSERT_EQ(facts.has_alpha, form.alpha);
                const auto& found = facts.encoding->get<TiffEncoding>();
                ASSERT_EQ(fitted(again.header, found), found);
                if (compression != C::kLerc) {  // which leaves some bytes to chance
                    ASSERT_TRUE(written(again, found) == file);
                }
            }
        }
    }
    EXPECT_GT(tried, 2500);
}

TEST(TiffSweepTest, WhatDoesNotFitIsRefused) {
    for (const PixelForm& form : kForms) {
        const Sample picture = sample(form);
        for (const C compression :
             {C::kFax4, C::kJbig, C::kJpeg, C::kWebp, C::kLerc, C::kNext, C::kOldJpeg, C::kSgiLog}) {
            for (const Layout& layout : kLayouts) {
                SCOPED_TRACE(description(form, compression, layout.name));
                TiffEncoding encoding = layout.encoding;
                encoding.compression = compression;
                const TiffEncoding fit = fitted(picture.header, encoding);
                if (fit != encoding) {
                    EXPECT_EQ(failure_of([&] { written(picture, encoding); }).kind(), Failure::kEncoding);
                    EXPECT_NO_THROW(written(picture, fit));  // which takes its place
                }
            }
        }
    }
}

TEST(TiffTest, IccLabOf16BitsKeepsTheValuesOfItsFiles) {
    Sample picture = sample({ColorModel::kLab, S::kUint16, 16}, 0xFF01, 1);
    for (uint32_t i = 0; i < 0xFF01; i++) {
        const auto lightness = static_cast<uint16_t>((i * 257 + 128) / 256);
        std::memcpy(&picture.rows[size_t{i} * 6], &lightness, 2);
    }
    EXPECT_TRUE(read_bytes(written(picture, {.photometric = P::kIccLab})).rows == picture.rows);
}

// ---- Colors

TEST(TiffTest, PremultipliedColorsComeBackWhereTheyMakeSense) {
    for (const PixelForm& form : {kForms[12], kForms[13], kForms[16], kForms[18]}) {
        Sample picture = sample(form);
        const TiffEncoding associated{.alpha = TiffAlpha::kAssociated};
        // Stored samples are quantized by their alpha: once read, they stay as they are.
        const Bytes file = written(picture, associated);
        picture = read_bytes(file);
        EXPECT_TRUE(written(picture, associated) == file);
        EXPECT_EQ(probe(file).encoding->get<TiffEncoding>().alpha, TiffAlpha::kAssociated);
    }
}

TEST(TiffTest, AssociatedAlphaIsTakenOutOfTheColors) {
    Sample picture = sample({ColorModel::kRgb, S::kUint8, 8, true}, 3, 1);
    picture.rows = {200, 100, 50, 128, 255, 0, 9, 255, 7, 8, 9, 0};
    const Sample again = read_bytes(written(picture, {.alpha = TiffAlpha::kAssociated}));
    // round(200 * 128 / 255) = 100, and back 199; a clear pixel has no color.
    EXPECT_EQ(again.rows, (Bytes{199, 100, 50, 128, 255, 0, 9, 255, 0, 0, 0, 0}));
}

TEST(TiffTest, JpegKeepsRgbAtEveryQuality) {
    Sample picture = sample({}, 64, 64);
    for (size_t i = 0; i < picture.rows.size(); i++) {
        picture.rows[i] = static_cast<uint8_t>(i / 3 % 64 * 2 + i % 3 * 40);
    }
    for (const int quality : {10, 75, 95}) {
        for (const P photometric : {P::kRgb, P::kYcbcr}) {
            const TiffEncoding encoding{.compression = C::kJpeg, .photometric = photometric, .quality = quality};
            const Bytes file = written(picture, encoding);
            const auto found = probe(file).encoding->get<TiffEncoding>();
            EXPECT_EQ(found.photometric, photometric);
            EXPECT_NEAR(found.quality, quality, 1);
            const Sample again = read_bytes(file);
            int worst = 0;
            for (size_t i = 0; i < again.rows.size(); i++) {
                worst = std::max(worst, std::abs(again.rows[i] - picture.rows[i]));
            }
            EXPECT_LT(worst, quality < 50 ? 60 : 20);
        }
    }
}

TEST(TiffTest, SubsamplingOfJpeg) {
    for (const int across : {1, 2, 4}) {
        for (const int down : {1, 2, 4}) {
            if (across * down > 8) {
                continue;  // more than JPEG allows
            }
            const TiffEncoding encoding{.compression = C::kJpeg,
                                        .horizontal_subsampling = across,
                                        .vertical_subsampling = down,
                                        .tile_width = 32,
                                        .tile_height = 32};
            const Bytes file = written(sample({}, 64, 64), encoding);
            const auto found = probe(file).encoding->get<TiffEncoding>();
            EXPECT_EQ(found.horizontal_subsampling, across);
            EXPECT_EQ(found.vertical_subsampling, down);
            EXPECT_NO_THROW(read_bytes(file));
        }
    }
}

TEST(TiffTest, DeepPalettesAndProfilesAreKept) {
    Sample picture = sample({ColorModel::kIndexed, S::kUint8, 4});
    for (uint64_t i = 0; i < 16; i++) {
        picture.header.deep_palette.push_back(0xFFFF000000000000 | i * 0x0123045607890ABC % 0xFFFFFFFFFFFF);
        const uint64_t deep = picture.header.deep_palette.back();
        picture.header.palette[i] =
            static_cast<Argb>(kBlack | (deep >> 40 & 0xFF) << 16 | (deep >> 24 & 0xFF) << 8 | (deep >> 8 & 0xFF));
    }
    picture.header.profile = std::make_shared<const Bytes>(Bytes(1000, 77));
    const Sample again = read_bytes(written(picture, {}));
    EXPECT_EQ(again.header.deep_palette, picture.header.deep_palette);
    EXPECT_EQ(again.header.palette, picture.header.palette);
    ASSERT_NE(again.header.profile, nullptr);
    EXPECT_EQ(*again.header.profile, *picture.header.profile);
}

TEST(TiffTest, Resolutions) {
    Sample picture = sample({});
    picture.header.resolution = Resolution{254, 508};
    EXPECT_EQ(read_bytes(written(picture, {.unit = TiffUnit::kCentimeter})).header.resolution,
              picture.header.resolution);
    const Bytes plain = written(picture, {.unit = TiffUnit::kNone, .resolution = Resolution{2, 1}});
    EXPECT_EQ(read_bytes(plain).header.resolution, std::nullopt);
    EXPECT_EQ(probe(plain).encoding->get<TiffEncoding>().resolution, (Resolution{2, 1}));
    picture.header.resolution.reset();
    EXPECT_EQ(read_bytes(written(picture, {})).header.resolution, std::nullopt);
}

TEST(TiffTest, FaxOptionsAreWritten) {
    const Sample picture = sample({ColorModel::kGray, S::kUint8, 1});
    Bytes files[2];
    for (const uint32_t options : {0U, 1U, 4U, 5U}) {
        const Bytes file = written(picture, {.compression = C::kFax3, .fax3_options = options});
        EXPECT_EQ(probe(file).encoding->get<TiffEncoding>().fax3_options, options);
        EXPECT_TRUE(read_bytes(file).rows == picture.rows);
        files[options & 1] = file;
    }
    EXPECT_FALSE(files[0] == files[1]);
    const TiffEncoding uncompressed{.compression = C::kFax3, .fax3_options = 2};
    EXPECT_EQ(failure_of([&] { written(picture, uncompressed); }).kind(), Failure::kEncoding);
}

// ---- Pages

class VectorBytes final : public ByteSource {
 public:
    explicit VectorBytes(const Bytes& bytes) : m_bytes(bytes) {}
    std::span<const uint8_t> at(uint64_t offset, uint64_t length) override {
        asked += length;
        return ByteReader(m_bytes).piece(offset, length);
    }
    uint64_t asked = 0;

 private:
    const Bytes& m_bytes;
};

TEST(TiffPagesTest, PagesOfDifferentForms) {
    for (const bool big_tiff : {false, true}) {
        for (const bool big_endian : {false, true}) {
            MemorySink out;
            TiffFile file(out, big_tiff, big_endian);
            std::vector<Sample> pictures;
            for (const PixelForm& form : kForms) {
                const auto number = static_cast<int32_t>(pictures.size());
                pictures.push_back(sample(form, 20 + number, 90 - number));
                TiffEncoding encoding;
                encoding.page_name = "page " + std::to_string(number);
                if (number % 2 == 1) {
                    encoding.tile_width = encoding.tile_height = 16;
                }
                const auto page = file.add_page(pictures.back().header, encoding);
                page->write(pictures.back().header.height, pictures.back().rows);
                page->finish();
            }
            const Bytes bytes = bytes_of(out.take());
            VectorBytes in(bytes);
            const auto directories = tiff_directories(ByteReader(in));
            ASSERT_EQ(directories.size(), std::size(kForms));
            const SharedSource source = memory_source(bytes);
            for (size_t i = directories.size(); i-- > 0;) {  // in any order
                const Sample page = read_page(source, directories[i]);
                EXPECT_EQ(page.header.form, kForms[i]);
                EXPECT_TRUE(page.rows == pictures[i].rows);
                const FileFacts facts = probe_tiff_page(ByteReader(in), directories[i]);
                EXPECT_EQ(facts.encoding->get<TiffEncoding>().page_name, "page " + std::to_string(i));
                EXPECT_EQ(facts.width, page.header.width);
            }
        }
    }
}

// A file that has no room behind so many bytes.
class FullFile final : public EditableFile {
 public:
    struct Full {};
    explicit FullFile(uint64_t room) : m_room(room) {}
    uint64_t size() const override { return m_file.size(); }
    void write_at(uint64_t offset, std::span<const uint8_t> bytes) override {
        EXPECT_FALSE(m_is_full) << "it is used after it has failed";
        m_is_full = offset + bytes.size() > m_room;
        if (m_is_full) {
            throw Full();
        }
        m_file.write_at(offset, bytes);
    }
    void read_at(uint64_t offset, std::span<uint8_t> out) const override { m_file.read_at(offset, out); }

 private:
    uint64_t m_room;
    bool m_is_full = false;
    MemorySink m_file;
};

TEST(TiffPagesTest, AFullTargetEndsTheWriting) {
    const Sample picture = sample({ColorModel::kRgb, S::kUint8, 8}, 100, 90);
    for (const C compression : {C::kNone, C::kLzw, C::kJpeg}) {
        TiffEncoding encoding;
        encoding.compression = compression;
        const uint64_t size = written(picture, encoding).size();
        for (const uint64_t room : {uint64_t{0}, uint64_t{8}, size / 2, size - 1}) {
            FullFile full(room);
            const auto write = [&] {
                TiffFile file(full, false, false);
                const auto page = file.add_page(picture.header, encoding);
                page->write(picture.header.height, picture.rows);
                page->finish();
            };
            EXPECT_THROW(write(), FullFile::Full) << room;
        }
    }
}

TEST(TiffPagesTest, AFileIsASourceOfFrames) {
    MemorySink out;
    TiffFile file(out, false, true);
    for (int32_t i = 1; i <= 3; i++) {
        const Sample picture = sample({ColorModel::kGray, S::kUint16, 16}, 10 * i, 5);
        const auto page = file.add_page(picture.header, {});
        page->write(5, picture.rows);
        page->finish();
    }
    const Bytes bytes = bytes_of(out.take());
    const SharedFrames frames = open_tiff(std::make_shared<CountedSource>(bytes), {});
    ASSERT_EQ(frames->count(), 3U);
    for (const size_t i : {2, 0, 1}) {
        const auto width = static_cast<int32_t>(10 * (i + 1));
        EXPECT_EQ(frames->header(i).facts.width, width);
        EXPECT_EQ(frames->header(i).area, (Rect{0, 0, width, 5}));
        EXPECT_EQ(frames->open(i)->header().width, width);
    }
    Bytes none = bytes;
    std::fill(none.begin() + 4, none.begin() + 8, uint8_t{0});
    EXPECT_EQ(failure_of([&] { open_tiff(memory_source(none), {}); }).kind(), Failure::kDamaged);
}

TEST(TiffPagesTest, SixtyThousandPagesCostTheirHeaders) {
    constexpr size_t kPages = 60000;
    MemorySink out;
    TiffFile file(out, false, false);
    Sample picture = sample({ColorModel::kGray, S::kUint8, 8}, 1, 1);
    for (size_t i = 0; i < kPages; i++) {
        picture.rows[0] = static_cast<uint8_t>(i % 251);
        const auto page = file.add_page(picture.header, {.compression = C::kNone});
        page->write(1, picture.rows);
        page->finish();
    }
    const Bytes bytes = bytes_of(out.take());
    VectorBytes in(bytes);
    const auto directories = tiff_directories(ByteReader(in));
    ASSERT_EQ(directories.size(), kPages);
    EXPECT_LT(in.asked, kPages * 32);
    const SharedSource source = memory_source(bytes);
    for (size_t i = 0; i < kPages; i += 500) {
        EXPECT_EQ(read_page(source, directories[i]).rows[0], i % 251);
    }
}

TEST(TiffPagesTest, ALatePageCostsItsOwnBytes) {
    MemorySink out;
    TiffFile file(out, false, false);
    const Sample picture = sample({ColorModel::kGray, S::kUint8, 1}, 400, 400);
    for (int i = 0; i < 100; i++) {
        const auto page = file.add_page(picture.header, {.compression = C::kFax4});
        page->write(400, picture.rows);
        page->finish();
    }
    const Bytes bytes = bytes_of(out.take());
    VectorBytes in(bytes);
    const auto directories = tiff_directories(ByteReader(in));
    const auto source = std::make_shared<CountedSource>(bytes);
    EXPECT_TRUE(read_page(source, directories[80]).rows == picture.rows);
    EXPECT_LT(source->read, bytes.size() / 100 + 2000);
}

// ---- Damage

TEST(TiffDamageTest, RowsOfOtherStripsAreKept) {
    const Sample picture = sample({ColorModel::kGray, S::kUint16, 16});
    for (const C compression : {C::kLzw, C::kDeflate}) {
        SCOPED_TRACE(static_cast<int>(compression));
        Bytes file = written(picture, {.compression = compression, .rows_per_strip = 6});
        VectorBytes in(file);
        const auto directory = static_cast<std::ptrdiff_t>(tiff_directories(ByteReader(in)).front());
        std::fill(file.begin() + directory - 70, file.begin() + directory, uint8_t{0xFF});  // the last strip
        EXPECT_EQ(failure_of([&] { read_bytes(file); }).kind(), Failure::kDamaged);
        EXPECT_EQ(failure_of([&] { read_bytes(file, {.recovery = Recovery::kConsistent}); }).kind(), Failure::kDamaged);
        const Sample found = read_bytes(file, {.recovery = Recovery::kMaximal});
        const auto kept = found.rows.begin() + std::ptrdiff_t{18} * 37 * 2;
        EXPECT_TRUE(std::equal(found.rows.begin(), kept, picture.rows.begin()));
        EXPECT_EQ(found.lost, (std::vector<Rect>{{0, 18, 37, 1}}));  // the row of the last strip
        EXPECT_TRUE(std::all_of(kept, found.rows.end(), [](uint8_t byte) { return byte == 0; }));
    }
}

TEST(TiffDamageTest, PlainStripsAreReadAsFarAsTheyAreThere) {
    // A strip that is larger than the file: the rows that are there count.
    const Sample picture = sample({ColorModel::kGray, S::kUint8, 8}, 50, 40);
    Bytes file = written(picture, {.compression = C::kNone, .rows_per_strip = 40});
    // The picture's bytes are moved behind the directory, and the last 10 rows are left out.
    VectorBytes in(file);
    const uint64_t directory = tiff_directories(ByteReader(in)).front();
    const uint32_t at = static_cast<uint32_t>(file.size());
    file.insert(file.end(), picture.rows.begin(), picture.rows.begin() + 30 * 50);
    bool found = false;
    for (uint64_t entry = directory + 2; entry + 12 <= at; entry += 12) {
        if (file[entry] == 0x11 && file[entry + 1] == 0x01) {
            std::memcpy(&file[entry + 8], &at, 4);
            found = true;
        }
    }
    ASSERT_TRUE(found);
    const auto reader = open_tiff_page(memory_source(file), 0, {.recovery = Recovery::kConsistent});
    Bytes rows(50 * 30);
    reader->read(30, rows);
    EXPECT_TRUE(std::equal(rows.begin(), rows.end(), picture.rows.begin()));
    Bytes row(50);
    EXPECT_EQ(failure_of([&] { reader->read(1, row); }).kind(), Failure::kDamaged);
    const Sample whole = read_bytes(file, {.recovery = Recovery::kMaximal});
    EXPECT_TRUE(std::equal(rows.begin(), rows.end(), whole.rows.begin()));
    EXPECT_EQ(whole.lost, (std::vector<Rect>{{0, 30, 50, 10}}));
}

TEST(TiffDamageTest, NothingIsReadOfAnotherFile) {
    EXPECT_EQ(failure_of([] { read_bytes(Bytes(100, 'x')); }).kind(), Failure::kDamaged);
    EXPECT_EQ(failure_of([] { read_bytes({}); }).kind(), Failure::kDamaged);
    Bytes file = written(sample({}), {});
    file.resize(file.size() - 1);
    EXPECT_EQ(failure_of([&] { read_page(memory_source(file), file.size() + 10); }).kind(), Failure::kDamaged);
}

TEST(TiffDamageTest, MessagesBelongToTheirFile) {
    const Bytes good = written(sample({}), {});
    Bytes bad = good;
    std::fill(bad.begin() + 8, bad.begin() + 400, uint8_t{0xFF});
    testing::internal::CaptureStderr();
    const auto first = failure_of([&] { read_bytes(bad); });
    EXPECT_NO_THROW(read_bytes(good));
    const auto second = failure_of([&] { read_bytes(bad); });
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    EXPECT_STREQ(first.what(), second.what());
}

TEST(TiffDamageTest, AnyChangeOfAByteIsAnErrorOrAPicture) {
    std::mt19937 random(5);
    for (const C compression : {C::kNone, C::kLzw, C::kDeflate, C::kJpeg, C::kFax4, C::kPackBits}) {
        const bool fax = compression == C::kFax4;
        const PixelForm form = fax ? kForms[0] : kForms[15];
        for (const bool tiled : {false, true}) {
            TiffEncoding encoding{.compression = compression};
            if (tiled) {
                encoding.tile_width = encoding.tile_height = 16;
            }
            const Bytes good = written(sample(form), encoding);
            for (int i = 0; i < 150; i++) {
                Bytes bad = good;
                bad[random() % bad.size()] = static_cast<uint8_t>(random());
                bad[random() % 400 % bad.size()] = static_cast<uint8_t>(random());
                const size_t tail = random() % 300;  // the directory
                bad[bad.size() - 1 - tail] = static_cast<uint8_t>(random());
                const auto recovery = static_cast<Recovery>(random() % 3);
                try {
                    const auto reader = open_tiff_page(memory_source(bad), 0, {.recovery = recovery});
                    const RowsHeader& header = reader->header();
                    const size_t size = static_cast<size_t>(header.width) * header.form.pixel_size();
                    if (size < 1 << 20) {
                        Bytes row(size);
                        for (int32_t y = 0; y < std::min(header.height, 200); y++) {
                            reader->read(1, row);
                        }
                    }
                } catch (const PictureError& error) {
                    EXPECT_STRNE(error.what(), "");
                }
            }
        }
    }
}

// ---- Claims

// A directory of numbers, at the end of the bytes given.
Bytes with_directory(Bytes bytes, std::vector<std::pair<uint16_t, uint32_t>> entries) {
    const auto number = [&](uint32_t value, int size) {
        for (int i = 0; i < size; i++) {
            bytes.push_back(static_cast<uint8_t>(value >> 8 * i));
        }
    };
    const auto directory = static_cast<uint32_t>(bytes.size());
    std::memcpy(bytes.data(), "II*\0", 4);
    std::memcpy(bytes.data() + 4, &directory, 4);
    std::sort(entries.begin(), entries.end());
    number(static_cast<uint32_t>(entries.size()), 2);
    for (const auto& [tag, value] : entries) {
        number(tag, 2);
        number(4, 2);
        number(1, 4);
        number(value, 4);
    }
    number(0, 4);
    return bytes;
}

TEST(TiffClaimsTest, AFewBytesAreNoHugePicture) {
    for (const uint32_t compression : {1U, 3U, 4U, 5U, 8U, 32773U, 32946U}) {
        SCOPED_TRACE(compression);
        const bool fax = compression == 3 || compression == 4;
        const uint32_t side = fax ? 1000000 : 100000;
        const Bytes file = with_directory(Bytes(1000), {{256, side},
                                                        {257, side},
                                                        {258, fax ? 1 : 8},
                                                        {259, compression},
                                                        {262, 1},
                                                        {273, 8},
                                                        {277, 1},
                                                        {278, side},
                                                        {279, 900}});
        const auto error = failure_of([&] { open_tiff_page(memory_source(file), 0, {}); });
        EXPECT_EQ(error.kind(), Failure::kDamaged);
        EXPECT_NE(std::string(error.what()).find("bytes cannot hold"), std::string::npos) << error.what();
    }
}

TEST(TiffClaimsTest, TilesAreOfASensibleSize) {
    const Bytes file = with_directory(Bytes(1000), {{256, 100},
                                                    {257, 100},
                                                    {258, 8},
                                                    {259, 7},
                                                    {262, 1},
                                                    {277, 1},
                                                    {322, 32768},
                                                    {323, 32768},
                                                    {324, 8},
                                                    {325, 900}});
    EXPECT_EQ(failure_of([&] { open_tiff_page(memory_source(file), 0, {}); }).kind(), Failure::kTooLarge);
}

TEST(TiffClaimsTest, FormsThatAreNotReadAreNamed) {
    struct Case {
        std::vector<std::pair<uint16_t, uint32_t>> tags;
        const char* text;
    };
    const std::vector<std::pair<uint16_t, uint32_t>> usual = {{256, 4}, {257, 4}, {258, 8}, {259, 1},  {262, 1},
                                                              {273, 8}, {277, 1}, {278, 4}, {279, 900}};
    for (const Case& c : {Case{{{258, 12}}, "unsigned samples of 12 bits"}, Case{{{262, 32803}}, "32803"},
                          Case{{{277, 3}}, "2 samples a pixel besides its colors"},
                          Case{{{262, 5}, {277, 4}, {332, 2}}, "inks other than CMYK"},
                          Case{{{262, 2}}, "1 samples a pixel, of which its colors take 3"},
                          Case{{{339, 2}, {258, 4}}, "signed samples of 4 bits"},
                          Case{{{339, 3}, {258, 24}}, "floating-point samples of 24 bits"},
                          Case{{{259, 34712}}, "the compression 34712"}}) {
        auto tags = usual;
        for (const auto& tag : c.tags) {
            tags.erase(
                std::remove_if(tags.begin(), tags.end(), [&](const auto& old) { return old.first == tag.first; }),
                tags.end());
            tags.push_back(tag);
        }
        const Bytes file = with_directory(Bytes(1000), tags);
        const auto error = failure_of([&] { read_bytes(file); });
        EXPECT_EQ(error.kind(), Failure::kUnsupported) << c.text;
        EXPECT_NE(std::string(error.what()).find(c.text), std::string::npos) << error.what();
    }
}

}  // namespace
}  // namespace zelmor::imagework
