// BMP files as rows: every depth and coding, rows from the top or from the bottom, and files that lack some.
#include <unistd.h>

#include <cstdio>

#include "runtime/native/formats/bmp/bmp_codec.h"
#include "runtime/native/formats/bmp/bmp_encoding.h"
#include "runtime/native/imagework/pixels/samples.h"
#include "tests/unit/imagecodecs/codec_files.h"
#include "tests/unit/imagework/counted_source.h"

namespace zelmor::imagework {
namespace {

using Bytes = std::vector<uint8_t>;

constexpr PixelForm kRgb{};
constexpr PixelForm kRgba{ColorModel::kRgb, SampleType::kUint8, 8, true};
constexpr PixelForm indices(int bits) {
    return {ColorModel::kIndexed, SampleType::kUint8, bits, false};
}

Bytes file_of(const RowsHeader& header, const Bytes& rows, const BmpEncoding& encoding, int32_t step = 3) {
    MemorySink out;
    const auto writer = make_bmp_writer(header, encoding, out);
    write_all(*writer, header, rows, step);
    return bytes_in(out);
}

void put(Bytes& out, uint64_t value, int bytes) {
    for (int i = 0; i < bytes; i++, value >>= 8) {
        out.push_back(static_cast<uint8_t>(value));
    }
}

// A file by hand: the plain header, a palette, and the stored rows.
struct Stored {
    int32_t width = 2;
    int32_t height = 2;  // negative: the first row comes first
    int bits = 8;
    uint32_t storage = 0;
    std::vector<Argb> palette = {};
    Bytes data = {};
    std::optional<uint32_t> colors_used = {};
    int gap = 0;  // bytes between the palette and the pixels

    Bytes file() const {
        Bytes out{'B', 'M'};
        put(out, 0, 8);
        put(out, 54 + 4 * palette.size() + static_cast<uint64_t>(gap), 4);
        put(out, 40, 4);
        put(out, static_cast<uint32_t>(width), 4);
        put(out, static_cast<uint32_t>(height), 4);
        put(out, 1, 2);
        put(out, static_cast<uint64_t>(bits), 2);
        put(out, storage, 4);
        put(out, 0, 12);
        put(out, colors_used.value_or(static_cast<uint32_t>(palette.size())), 4);
        put(out, 0, 4);
        for (const Argb color : palette) {
            put(out, color & 0xFFFFFF, 4);
        }
        out.insert(out.end(), static_cast<size_t>(gap), 0xEE);
        out.insert(out.end(), data.begin(), data.end());
        return out;
    }
};

SharedFrames opened(const Bytes& file, Recovery recovery = Recovery::kNone, Argb background = kWhite) {
    DecodeOptions options;
    options.recovery = recovery;
    options.background = background;
    return open_bmp(memory_source(file), options);
}

Bytes rows_of(const Bytes& file, Recovery recovery = Recovery::kNone, Argb background = kWhite) {
    return all_rows(*opened(file, recovery, background)->open(0));
}

class TemporaryFile {
 public:
    explicit TemporaryFile(const Bytes& bytes) : m_file(std::tmpfile()) {
        std::fwrite(bytes.data(), 1, bytes.size(), m_file);
        std::fflush(m_file);
    }
    ~TemporaryFile() { std::fclose(m_file); }
    SharedSource source() const { return file_source(fileno(m_file)); }
    void cut(off_t size) { EXPECT_EQ(ftruncate(fileno(m_file), size), 0); }

 private:
    std::FILE* m_file;
};

struct Kind {
    BmpEncoding encoding;
    PixelForm form;
};
const Kind kKinds[] = {{{1}, indices(1)},
                       {{4}, indices(4)},
                       {{8}, indices(8)},
                       {{4, BmpCompression::kRle4}, indices(4)},
                       {{8, BmpCompression::kRle8}, indices(8)},
                       {{24}, kRgb},
                       {{32}, kRgb},
                       {{32}, kRgba},
                       {{32, BmpCompression::kBitFields}, kRgb}};

TEST(BmpRowsTest, EveryKindComesBackFromMemoryAndFiles) {
    for (const Kind& kind : kKinds) {
        for (const auto& [width, height] : {std::pair{1, 1}, {3, 2}, {9, 5}, {17, 300}, {700, 41}}) {
            RowsHeader header = header_of(width, height, kind.form);
            header.resolution = Resolution{300, 150};
            const Bytes rows = random_rows(header);
            const Bytes file = file_of(header, rows, kind.encoding);
            const TemporaryFile kept(file);
            for (const SharedSource& source : {memory_source(file), kept.source()}) {
                const auto frames = open_bmp(source, {});
                ASSERT_EQ(frames->count(), 1U);
                for (const int32_t step : {1, 4, height}) {
                    const auto reader = frames->open(0);
                    const RowsHeader& found = reader->header();
                    EXPECT_EQ(found.palette, header.palette);
                    EXPECT_EQ(found.form.color, kind.form.color);
                    EXPECT_EQ(found.form.bits, kind.form.bits);
                    EXPECT_NEAR(found.resolution->horizontal, 300, 0.02);
                    EXPECT_NEAR(found.resolution->vertical, 150, 0.02);
                    const Bytes read = all_rows(*reader, step);
                    if (found.form.alpha && !kind.form.alpha) {
                        for (size_t i = 0; i < read.size() / 4; i++) {
                            ASSERT_EQ(read[4 * i + 1], rows[3 * i + 1]);
                            ASSERT_EQ(read[4 * i + 3], 255);
                        }
                    } else {
                        EXPECT_EQ(read, rows) << kind.encoding.bits_per_pixel << " " << width;
                    }
                }
            }
        }
    }
}

TEST(BmpRowsTest, SixteenBitsAreRoundedToFiveOrSix) {
    const RowsHeader header = header_of(33, 9, kRgb);
    const Bytes rows = random_rows(header);
    for (const BmpCompression compression : {BmpCompression::kRgb, BmpCompression::kBitFields}) {
        const Bytes read = rows_of(file_of(header, rows, {16, compression}));
        for (size_t i = 0; i < rows.size(); i++) {
            const unsigned top = i % 3 == 1 && compression == BmpCompression::kBitFields ? 63 : 31;
            const unsigned level = (rows[i] * top + 127) / 255;
            ASSERT_EQ(read[i], (level * 255 + top / 2) / top);
        }
    }
}

TEST(BmpRowsTest, RowsMayRunFromTheTop) {
    const std::vector<Argb> palette{0xFF000000, 0xFFFFFFFF, 0xFF102030};
    Stored stored{3, 2, 8, 0, palette, {0, 1, 2, 0, 2, 2, 1, 0}};
    EXPECT_EQ(rows_of(stored.file()), (Bytes{2, 2, 1, 0, 1, 2}));
    stored.height = -2;
    EXPECT_EQ(rows_of(stored.file()), (Bytes{0, 1, 2, 2, 2, 1}));
    stored.gap = 5;
    EXPECT_EQ(rows_of(stored.file()), (Bytes{0, 1, 2, 2, 2, 1}));
    EXPECT_EQ(opened(stored.file())->open(0)->header().form.bits, 2);  // three colors
}

TEST(BmpRowsTest, IndicesOfEqualColorsStayApart) {
    const std::vector<Argb> palette{0xFF000000, 0xFF123456, 0xFF123456, 0xFF123456};
    const auto reader = opened(Stored{4, 1, 8, 0, palette, {3, 2, 1, 0}}.file())->open(0);
    EXPECT_EQ(reader->header().palette, palette);
    EXPECT_EQ(all_rows(*reader), (Bytes{3, 2, 1, 0}));
}

TEST(BmpRowsTest, AnIndexBeyondThePaletteIsBlack) {
    // The palette has black: its index.
    Stored stored{4, 1, 8, 0, {0xFFFFFFFF, 0xFF000000}, {0, 1, 2, 255}};
    EXPECT_EQ(rows_of(stored.file()), (Bytes{0, 1, 1, 1}));
    // It has none, and needs none.
    stored.palette = {0xFFFFFFFF, 0xFFFF0000};
    stored.data = {0, 1, 1, 0};
    EXPECT_EQ(opened(stored.file())->open(0)->header().palette, stored.palette);
    // It has none: colors.
    stored.data = {0, 1, 2, 0};
    auto reader = opened(stored.file())->open(0);
    EXPECT_EQ(reader->header().form, kRgb);
    EXPECT_EQ(all_rows(*reader), (Bytes{255, 255, 255, 255, 0, 0, 0, 0, 0, 255, 255, 255}));
    stored.palette = {0xFFFFFFFF, 0xFF808080};
    reader = opened(stored.file())->open(0);
    EXPECT_EQ(reader->header().form.color, ColorModel::kGray);
    EXPECT_EQ(all_rows(*reader), (Bytes{255, 128, 0, 255}));
    // No palette at all.
    stored.palette = {};
    EXPECT_EQ(rows_of(stored.file()), (Bytes{0, 0, 0, 0}));
}

TEST(BmpRowsTest, ThePaletteEndsWhereThePixelsBegin) {
    Stored stored{4, 1, 8, 0, {0xFFFFFFFF, 0xFF000000}, {0, 1, 1, 0}};
    stored.colors_used = 0;  // all 256, of which there are two
    EXPECT_EQ(opened(stored.file())->open(0)->header().palette, stored.palette);
    EXPECT_EQ(opened(stored.file())->header(0).facts.palette, stored.palette);
}

TEST(BmpRowsTest, RunsLiteralsAndMoves) {
    const std::vector<Argb> palette(256, 0xFF000001);
    const Bytes data{3,
                     7,
                     0,
                     0,
                     /* a literal */ 0,
                     3,
                     1,
                     2,
                     3,
                     0,
                     0,
                     0,
                     /* right 2, up 1 */ 0,
                     2,
                     2,
                     1,
                     1,
                     9,
                     /* beyond the row */ 9,
                     8,
                     0,
                     1};
    Stored stored{5, 5, 8, 1, palette, data};
    EXPECT_EQ(rows_of(stored.file()),
              (Bytes{0, 0, 0, 0, 0, 0, 0, 9, 8, 8, 0, 0, 0, 0, 0, 1, 2, 3, 0, 0, 7, 7, 7, 0, 0}));
    stored.bits = 4;
    stored.storage = 2;
    stored.palette.resize(16);
    stored.height = 1;
    stored.data = {3, 0x12, 0, 5, 0x34, 0x56, 0x70, 0, 0, 1};
    stored.width = 8;
    EXPECT_EQ(rows_of(stored.file()), (Bytes{1, 2, 1, 3, 4, 5, 6, 7}));
    stored.data = {3, 0x12, 0, 5, 0x34};
    EXPECT_EQ(failure_of([&] { rows_of(stored.file()); }).kind(), Failure::kDamaged);
    EXPECT_EQ(rows_of(stored.file(), Recovery::kConsistent), (Bytes{1, 2, 1, 0, 0, 0, 0, 0}));
}

TEST(BmpRowsTest, RowsThatAreLostHaveTheBackground) {
    for (const Kind& kind : kKinds) {
        if (kind.encoding.compression == BmpCompression::kRle4 || kind.encoding.compression == BmpCompression::kRle8) {
            continue;
        }
        const RowsHeader header = header_of(9, 30, kind.form);
        const Bytes file = file_of(header, random_rows(header), kind.encoding);
        for (const int share : {1, 5, 20}) {
            const Bytes cut(file.begin(), file.end() - 4 * share);
            EXPECT_EQ(failure_of([&] { opened(cut); }).kind(), Failure::kDamaged);
            const TemporaryFile kept(cut);
            for (const Recovery recovery : {Recovery::kConsistent, Recovery::kMaximal}) {
                DecodeOptions options;
                options.recovery = recovery;
                options.background = 0xFF0A0B0C;  // a color that no palette here has
                const auto reader = open_bmp(kept.source(), options)->open(0);
                const RowsHeader& found = reader->header();
                ASSERT_EQ(found.form.color, ColorModel::kRgb);
                const Bytes rows = all_rows(*reader);
                EXPECT_EQ((Bytes{rows.begin(), rows.begin() + 3}), (Bytes{10, 11, 12}));
                // The last row came first. A color of the palette keeps it.
                if (kind.form.color == ColorModel::kIndexed) {
                    const auto kept_form = opened(cut, recovery, header.palette[1])->open(0);
                    EXPECT_EQ(kept_form->header().form.color, ColorModel::kIndexed);
                    EXPECT_EQ(all_rows(*kept_form)[0], 1);
                } else {
                    const auto step = static_cast<std::ptrdiff_t>(row_size(found));
                    const Bytes whole = rows_of(file);
                    EXPECT_TRUE(std::equal(rows.end() - step, rows.end(), whole.end() - step));
                }
            }
        }
    }
}

TEST(BmpRowsTest, EveryCutIsAnError) {
    for (const Kind& kind : kKinds) {
        const RowsHeader header = header_of(8, 6, kind.form);
        const Bytes file = file_of(header, random_rows(header), kind.encoding);
        // The last row may lack its padding, of which one bit a pixel has three bytes.
        const size_t padding = kind.encoding.bits_per_pixel == 1 ? 3 : 0;
        for (size_t length = 0; length + padding < file.size(); length++) {
            const Bytes cut(file.begin(), file.begin() + static_cast<std::ptrdiff_t>(length));
            EXPECT_EQ(failure_of([&] { rows_of(cut); }).kind(), Failure::kDamaged)
                << kind.encoding.bits_per_pixel << " " << length;
            try {
                rows_of(cut, Recovery::kMaximal);
            } catch (const PictureError& error) {
                EXPECT_EQ(error.kind(), Failure::kDamaged);
            }
        }
    }
}

TEST(BmpRowsTest, AlteredHeadersAreAnErrorOrAPicture) {
    for (const Kind& kind : kKinds) {
        const RowsHeader header = header_of(8, 6, kind.form);
        const Bytes file = file_of(header, random_rows(header), kind.encoding);
        for (size_t at = 0; at < 70; at++) {
            for (const uint8_t value : {0x00, 0x01, 0x04, 0x7F, 0x80, 0xFF}) {
                Bytes altered = file;
                altered[at] = value;
                try {
                    const auto frames = opened(altered);
                    const FrameHeader facts = frames->header(0);
                    if (facts.facts.width * facts.facts.height < 1 << 20) {
                        all_rows(*frames->open(0));
                    }
                } catch (const PictureError& error) {
                    EXPECT_NE(error.kind(), Failure::kInternal);
                }
            }
        }
    }
}

TEST(BmpRowsTest, AFileThatWasChangedIsAnError) {
    const RowsHeader header = header_of(900, 900, kRgb);
    TemporaryFile file(file_of(header, random_rows(header), {24}));
    const auto reader = open_bmp(file.source(), {})->open(0);
    Bytes row(row_size(header));
    reader->read(1, row);
    file.cut(1000);
    EXPECT_EQ(failure_of([&] {
                  for (int i = 1; i < 900; i++) {
                      reader->read(1, row);
                  }
              }).kind(),
              Failure::kDamaged);
}

TEST(BmpRowsTest, RowsAreReadAsTheyAreAskedFor) {
    const RowsHeader header = header_of(1000, 1000, kRgb);
    const auto source = std::make_shared<CountedSource>(file_of(header, random_rows(header), {24}));
    const auto frames = open_bmp(source, {});
    EXPECT_LT(source->read, 100'000U);
    const auto reader = frames->open(0);
    EXPECT_LT(source->read, 100'000U);
    source->read = 0;
    Bytes rows(10 * row_size(header));
    reader->read(10, rows);
    EXPECT_LT(source->read, 300'000U);
    all_rows(*frames->open(0));
    EXPECT_LT(source->read, 3'500'000U);  // each byte once
    EXPECT_LE(source->longest, 300'000U);
}

TEST(BmpRowsTest, SizesAreCheckedBeforeMemoryIsTaken) {
    Stored stored{10'000'001, 1, 8, 0, {kBlack}};
    EXPECT_EQ(failure_of([&] { opened(stored.file()); }).kind(), Failure::kTooLarge);
    stored.width = 9'000'000;
    stored.height = 9'000'000;
    EXPECT_EQ(failure_of([&] { opened(stored.file()); }).kind(), Failure::kDamaged);  // the rows are not there
    stored.storage = 1;                                                               // run-length data may be short
    stored.palette.resize(256);
    const auto frames = opened(stored.file());
    Bytes row(9'000'000);
    EXPECT_EQ(failure_of([&] { frames->open(0)->read(1, row); }).kind(), Failure::kTooLarge);
}

TEST(BmpRowsTest, OtherFormsAreRefused) {
    MemorySink out;
    const auto refused = [&](const RowsHeader& header, const BmpEncoding& encoding) {
        return failure_of([&] { make_bmp_writer(header, encoding, out); }).kind();
    };
    EXPECT_EQ(refused(header_of(2, 2, kRgb), {8}), Failure::kEncoding);
    EXPECT_EQ(refused(header_of(2, 2, indices(8)), {24}), Failure::kEncoding);
    EXPECT_EQ(refused(header_of(2, 2, indices(8)), {4}), Failure::kEncoding);
    EXPECT_EQ(refused(header_of(2, 2, {ColorModel::kGray}), {24}), Failure::kEncoding);
    EXPECT_EQ(refused(header_of(2, 2, kRgb), {7}), Failure::kEncoding);
    EXPECT_EQ(refused(header_of(2, 2, kRgb), {24, BmpCompression::kRle8}), Failure::kEncoding);
    EXPECT_EQ(refused(header_of(2'000'000, 2'000'000, kRgb), {24}), Failure::kEncoding);
}

}  // namespace
}  // namespace zelmor::imagework
