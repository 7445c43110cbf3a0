// JPEG rows: every kind of file, over memory and over open files, reduced, whole and damaged; and the writer.
#include <unistd.h>

#include <algorithm>
#include <cassert>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <utility>

#include "runtime/native/formats/jpeg/jpeg_codec.h"
#include "runtime/native/formats/jpeg/jpeg_encoding.h"
#include "tests/unit/imagecodecs/codec_files.h"
#include "tests/unit/imagecodecs/jpeg_files.h"
#include "tests/unit/imagework/counted_source.h"

namespace zelmor::imagework {
namespace {

using Bytes = std::vector<uint8_t>;

const JpegKind kBaseline{"baseline", JCS_RGB, JCS_YCbCr, 2, 2};
const JpegKind kProgressive{"progressive", JCS_RGB, JCS_YCbCr, 2, 2, true};

Bytes waves_file(const JpegKind& kind, int width, int height) {
    return jpeg_file(kind, width, height, waves(width, height, bands_of(kind.pixels)));
}

// Random pixels, whose file is large.
Bytes noise_file(const JpegKind& kind, int width, int height) {
    const RowsHeader header = header_of(width, height, {});
    Bytes rows = random_rows(header);
    rows.resize(rows.size() / 3 * static_cast<size_t>(bands_of(kind.pixels)));
    return jpeg_file(kind, width, height, rows);
}

// As rows have them: full ink is 255.
Bytes inks(Bytes rows, const JpegKind& kind) {
    if (kind.pixels == JCS_CMYK) {
        for (uint8_t& sample : rows) {
            sample = static_cast<uint8_t>(255 - sample);
        }
    }
    return rows;
}

Bytes rows_of(const Bytes& file, int32_t step = 1, Recovery recovery = Recovery::kNone) {
    return all_rows(*open_jpeg(memory_source(file), recovery)->open(0), step);
}

// A file on disc for as long as the object lives.
class OpenFile {
 public:
    explicit OpenFile(const Bytes& bytes) : m_file(std::tmpfile()) {
        EXPECT_EQ(std::fwrite(bytes.data(), 1, bytes.size(), m_file), bytes.size());
        EXPECT_EQ(std::fflush(m_file), 0);
    }
    OpenFile(const OpenFile&) = delete;
    OpenFile& operator=(const OpenFile&) = delete;
    ~OpenFile() { std::fclose(m_file); }
    int descriptor() const { return fileno(m_file); }

 private:
    std::FILE* m_file;
};

TEST(JpegRowsTest, EachKindHasThePixelsThatLibjpegGives) {
    for (const JpegKind& kind : jpeg_kinds()) {
        for (const auto& [width, height] : {std::pair{1, 1}, {2, 3}, {8, 8}, {9, 17}, {17, 9}, {50, 37}}) {
            SCOPED_TRACE(kind.name + " " + std::to_string(width) + " by " + std::to_string(height));
            const Bytes file = waves_file(kind, width, height);
            const Bytes expected = inks(jpeg_pixels(file), kind);
            const auto reader = open_jpeg(memory_source(file))->open(0);
            EXPECT_EQ(reader->header().width, width);
            EXPECT_EQ(reader->header().height, height);
            EXPECT_EQ(reader->header().form.bands(), bands_of(kind.pixels));
            EXPECT_EQ(all_rows(*reader, 1), expected);
            EXPECT_EQ(rows_of(file, 5), expected);
            const OpenFile on_disc(file);
            EXPECT_EQ(all_rows(*open_jpeg(file_source(on_disc.descriptor()))->open(0), 40), expected);
            for (const Recovery recovery : {Recovery::kConsistent, Recovery::kMaximal}) {
                const auto careless = open_jpeg(memory_source(file), recovery)->open(0);
                EXPECT_EQ(all_rows(*careless, 3), expected);
                EXPECT_TRUE(careless->lost().empty());
            }
        }
    }
}

// The mean of the pixels that a pixel of the reduced picture stands for.
int mean_of(const Bytes& rows, int width, int height, int bands, int divisor, int x, int y, int band) {
    int sum = 0;
    int count = 0;
    for (int v = y * divisor; v < std::min(height, (y + 1) * divisor); v++) {
        for (int u = x * divisor; u < std::min(width, (x + 1) * divisor); u++, count++) {
            sum += rows[static_cast<size_t>((v * width + u) * bands + band)];
        }
    }
    assert(count > 0);
    return (sum + count / 2) / count;
}

TEST(JpegRowsTest, ReducedRowsAreMeans) {
    constexpr int kWidth = 93;
    constexpr int kHeight = 70;
    for (const JpegKind& kind : jpeg_kinds()) {
        SCOPED_TRACE(kind.name);
        const int bands = bands_of(kind.pixels);
        Bytes rows;
        for (int y = 0; y < kHeight; y++) {
            for (int x = 0; x < kWidth; x++) {
                for (int band = 0; band < bands; band++) {
                    rows.push_back(static_cast<uint8_t>(60 + x + y / 2 - 9 * band));
                }
            }
        }
        const auto frames = open_jpeg(memory_source(jpeg_file(kind, kWidth, kHeight, rows)));
        const Bytes whole = all_rows(*frames->open(0));
        for (const int divisor : {2, 4, 8}) {
            EXPECT_EQ(frames->reduction(0, divisor), divisor);
            EXPECT_EQ(frames->reduction(0, 2 * divisor - 1), divisor);
            const auto reader = frames->open_reduced(0, divisor);
            const RowsHeader& header = reader->header();
            ASSERT_EQ(header.width, (kWidth + divisor - 1) / divisor);
            ASSERT_EQ(header.height, (kHeight + divisor - 1) / divisor);
            const Bytes small = all_rows(*reader, 2);
            int worst = 0;
            for (int y = 0; y < kHeight / divisor; y++) {
                for (int x = 0; x < kWidth / divisor; x++) {
                    for (int band = 0; band < bands; band++) {
                        const int got = small[static_cast<size_t>((y * header.width + x) * bands + band)];
                        worst = std::max(worst,
                                         std::abs(got - mean_of(whole, kWidth, kHeight, bands, divisor, x, y, band)));
                    }
                }
            }
            EXPECT_LE(worst, 6) << divisor;
        }
    }
    EXPECT_EQ(open_jpeg(memory_source(waves_file(kBaseline, 9, 9)))->reduction(0, 1), 1);
    EXPECT_EQ(open_jpeg(memory_source(waves_file(kBaseline, 9, 9)))->reduction(0, 1000), 8);
}

TEST(JpegRowsTest, AFileIsReadAsFarAsRowsAreAskedFor) {
    const auto source = std::make_shared<const CountedSource>(noise_file(kBaseline, 1200, 900));
    ASSERT_GT(source->size(), 700'000U);
    const auto frames = open_jpeg(source);
    const auto reader = frames->open(0);
    EXPECT_LE(source->furthest, 65536U);
    Bytes row(row_size(reader->header()));
    reader->read(1, row);
    EXPECT_LE(source->furthest, 131072U);
    for (int y = 1; y < 450; y++) {
        reader->read(1, row);
    }
    EXPECT_LE(source->furthest, source->size() * 6 / 10);
    EXPECT_LE(source->longest, 65536U);
}

TEST(JpegRowsTest, AFileThatIsChangedMeanwhileIsDamaged) {
    const OpenFile file(noise_file(kBaseline, 600, 500));
    const auto reader = open_jpeg(file_source(file.descriptor()))->open(0);
    Bytes row(row_size(reader->header()));
    reader->read(1, row);
    ASSERT_EQ(ftruncate(file.descriptor(), 100), 0);
    const auto rest = [&] {
        for (int y = 1; y < 500; y++) {
            reader->read(1, row);
        }
    };
    EXPECT_EQ(failure_of(rest).kind(), Failure::kDamaged);
    EXPECT_EQ(failure_of([&] { reader->read(1, row); }).kind(), Failure::kDamaged);  // and so it stays
}

bool starts_alike(const Bytes& a, const Bytes& b, size_t count) {
    return std::equal(a.begin(), a.begin() + static_cast<std::ptrdiff_t>(count), b.begin());
}

// How many rows there are before the error.
int32_t rows_before_error(const Bytes& file, Recovery recovery, const Bytes& whole) {
    int32_t y = 0;
    try {
        const auto reader = open_jpeg(memory_source(file), recovery)->open(0);
        Bytes row(row_size(reader->header()));
        for (; y < reader->header().height; y++) {
            reader->read(1, row);
            EXPECT_TRUE(std::equal(row.begin(), row.end(), whole.begin() + static_cast<std::ptrdiff_t>(row.size()) * y))
                << "row " << y;
        }
    } catch (const PictureError& error) {
        EXPECT_EQ(error.kind(), Failure::kDamaged);
    }
    return y;
}

TEST(JpegRowsTest, EveryCutIsDamageAndTheRowsBeforeItHold) {
    for (const JpegKind& kind :
         {kBaseline, JpegKind{"gray", JCS_GRAYSCALE, JCS_GRAYSCALE},
          JpegKind{"restarts", JCS_RGB, JCS_YCbCr, 1, 2, false, false, 1}, JpegKind{"cmyk", JCS_CMYK, JCS_CMYK}}) {
        SCOPED_TRACE(kind.name);
        const Bytes file = noise_file(kind, 80, 120);
        const Bytes whole = rows_of(file);
        int32_t last = 0;
        for (size_t length = 0; length < file.size(); length += std::min<size_t>(97, file.size() - length)) {
            const Bytes cut(file.begin(), file.begin() + static_cast<std::ptrdiff_t>(length));
            EXPECT_EQ(failure_of([&] { rows_of(cut); }).kind(), Failure::kDamaged) << length;
            const int32_t kept = rows_before_error(cut, Recovery::kConsistent, whole);
            EXPECT_GE(kept, last);
            last = kept;
        }
        EXPECT_GT(last, 100);
        const Bytes without_end(file.begin(), file.end() - 2);
        EXPECT_EQ(failure_of([&] { rows_of(without_end); }).kind(), Failure::kDamaged);
    }
}

TEST(JpegRowsTest, WhatIsMissingIsTold) {
    for (const JpegKind& kind :
         {kBaseline, JpegKind{"gray", JCS_GRAYSCALE, JCS_GRAYSCALE},
          JpegKind{"restarts", JCS_RGB, JCS_YCbCr, 2, 1, false, false, 1}, JpegKind{"cmyk", JCS_CMYK, JCS_CMYK}}) {
        SCOPED_TRACE(kind.name);
        constexpr int32_t kWidth = 80;
        constexpr int32_t kHeight = 120;
        const int32_t unit = 8 * kind.down;
        const Bytes file = waves_file(kind, kWidth, kHeight);
        const Bytes whole = rows_of(file);
        int64_t least = INT64_MAX;
        for (size_t length = 640; length < file.size(); length += 31) {
            const Bytes cut(file.begin(), file.begin() + static_cast<std::ptrdiff_t>(length));
            const auto reader = open_jpeg(memory_source(cut), Recovery::kMaximal)->open(0);
            const Bytes rows = all_rows(*reader, 3);
            const auto lost = reader->lost();
            int64_t missing = 0;
            int32_t top = kHeight;
            for (const Rect& area : lost) {
                missing += int64_t{area.width} * area.height;
                EXPECT_EQ(area.x + area.width, kWidth);
                EXPECT_EQ(area.y % unit, 0);
                top = std::min(top, area.y);
            }
            if (!lost.empty()) {
                EXPECT_EQ(lost.back().y + lost.back().height, kHeight);
            }
            EXPECT_LE(missing, least);  // the more data, the less is missing
            least = missing;
            // All rows above the row of units in which the data end are as they were, but the one next to it, which the
            // colors of missing pixels are mixed into.
            const int32_t kept = std::max(0, top - unit - 1);
            EXPECT_TRUE(starts_alike(rows, whole, static_cast<size_t>(kept) * row_size(reader->header()))) << length;
        }
        EXPECT_EQ(least, 0);
    }
}

TEST(JpegRowsTest, MissingColumnsAreToldToTheBlock) {
    constexpr int32_t kWidth = 160;
    const JpegKind kind{"gray", JCS_GRAYSCALE, JCS_GRAYSCALE};
    const Bytes file = noise_file(kind, kWidth, 8);
    const Bytes cut(file.begin(), file.begin() + static_cast<std::ptrdiff_t>(file.size() * 6 / 10));
    const auto reader = open_jpeg(memory_source(cut), Recovery::kMaximal)->open(0);
    all_rows(*reader);
    const auto lost = reader->lost();
    ASSERT_EQ(lost.size(), 1U);
    EXPECT_GT(lost[0].x, kWidth / 3);
    EXPECT_LT(lost[0].x, kWidth * 2 / 3 + 16);
}

TEST(JpegRowsTest, LaterScansOfAProgressiveFileMayBeMissing) {
    const Bytes file = waves_file(kProgressive, 80, 120);
    const Bytes whole = rows_of(file);
    size_t whole_pictures = 0;
    for (size_t length = 640; length < file.size(); length += 53) {
        const Bytes cut(file.begin(), file.begin() + static_cast<std::ptrdiff_t>(length));
        EXPECT_EQ(failure_of([&] { rows_of(cut); }).kind(), Failure::kDamaged);
        EXPECT_EQ(failure_of([&] { rows_of(cut, 1, Recovery::kConsistent); }).kind(), Failure::kDamaged);
        const auto reader = open_jpeg(memory_source(cut), Recovery::kMaximal)->open(0);
        const Bytes rows = all_rows(*reader);
        if (reader->lost().empty()) {
            whole_pictures++;
            int64_t difference = 0;
            for (size_t i = 0; i < rows.size(); i++) {
                difference += std::abs(rows[i] - whole[i]);
            }
            EXPECT_LT(difference, static_cast<int64_t>(rows.size()) * 30);
        }
    }
    EXPECT_GT(whole_pictures, 3U);
}

// The place of the marker, for the n-th time.
size_t marker_at(const Bytes& file, uint8_t marker, int nth = 1) {
    for (size_t i = 0; i + 1 < file.size(); i++) {
        if (file[i] == 0xFF && file[i + 1] == marker && --nth == 0) {
            return i;
        }
    }
    ADD_FAILURE() << "no such marker";
    return 0;
}

TEST(JpegRowsTest, AnErrorInALaterScanLeavesThoseBefore) {
    Bytes file = waves_file(kProgressive, 80, 120);
    const Bytes whole = rows_of(file);
    constexpr uint8_t kTables = 0xC4;
    const size_t tables = marker_at(file, kTables, 6);
    std::fill_n(file.begin() + static_cast<std::ptrdiff_t>(tables) + 5, 16, uint8_t{255});  // too many codes
    EXPECT_EQ(failure_of([&] { rows_of(file); }).kind(), Failure::kDamaged);
    const auto reader = open_jpeg(memory_source(file), Recovery::kMaximal)->open(0);
    const Bytes rows = all_rows(*reader);
    EXPECT_TRUE(reader->lost().empty());
    int64_t difference = 0;
    for (size_t i = 0; i < rows.size(); i++) {
        difference += std::abs(rows[i] - whole[i]);
    }
    EXPECT_LT(difference, static_cast<int64_t>(rows.size()) * 20);
    EXPECT_GT(difference, 0);
}

TEST(JpegRowsTest, AlteredBytesGiveAnErrorOrRows) {
    std::mt19937 random(3);
    for (const JpegKind& kind : {kBaseline, kProgressive, JpegKind{"arithmetic", JCS_CMYK, JCS_YCCK, 2, 1, false, true},
                                 JpegKind{"separate", JCS_RGB, JCS_YCbCr, 2, 2, false, false, 1, true}}) {
        const Bytes file = waves_file(kind, 40, 30);
        for (int i = 0; i < 400; i++) {
            Bytes altered = file;
            const size_t range = i % 2 == 0 ? std::min<size_t>(700, altered.size()) : altered.size();
            altered[2 + random() % (range - 2)] = static_cast<uint8_t>(random());
            for (const Recovery recovery : {Recovery::kNone, Recovery::kConsistent, Recovery::kMaximal}) {
                try {
                    const auto reader = open_jpeg(memory_source(altered), recovery)->open(0);
                    const RowsHeader& header = reader->header();
                    if (int64_t{header.width} * header.height < 1'000'000) {
                        all_rows(*reader, 4);
                    }
                } catch (const PictureError& error) {
                    EXPECT_NE(error.kind(), Failure::kInternal);
                    EXPECT_NE(std::string(error.what()), "");
                }
            }
        }
    }
}

TEST(JpegRowsTest, DamageBehindTheLastPixelDoesNotCount) {
    Bytes file = waves_file(kBaseline, 40, 30);
    const Bytes whole = rows_of(file);
    const auto scan = file.begin() + static_cast<std::ptrdiff_t>(marker_at(file, 0xDA));
    const Bytes again(scan, file.end());
    file.insert(file.end() - 2, again.begin(), again.end());  // a second scan, which has no place there
    EXPECT_EQ(rows_of(file), whole);
}

// Segments without end.
class EndlessHeader final : public DataSource {
 public:
    uint64_t size() const override { return uint64_t{70} << 20; }
    size_t read_at(uint64_t offset, std::span<uint8_t> out) const override {
        static constexpr uint8_t kStart[] = {0xFF, 0xD8};
        static constexpr uint8_t kSegment[] = {0xFF, 0xE5, 0xFF, 0xFF};
        std::fill(out.begin(), out.end(), uint8_t{0});
        put(kStart, 0, offset, out);
        for (uint64_t at = sizeof kStart + offset / kSegmentSize * kSegmentSize; at < offset + out.size();) {
            put(kSegment, at, offset, out);
            at += kSegmentSize;
        }
        return out.size();
    }

 private:
    static constexpr uint64_t kSegmentSize = 65537;

    // Those of the bytes, which begin at `at`, that lie in the piece.
    static void put(std::span<const uint8_t> bytes, uint64_t at, uint64_t offset, std::span<uint8_t> out) {
        for (size_t i = 0; i < bytes.size(); i++) {
            if (at + i >= offset && at + i < offset + out.size()) {
                out[at + i - offset] = bytes[i];
            }
        }
    }
};

TEST(JpegRowsTest, AHeaderEnds) {
    const auto frames = open_jpeg(std::make_shared<const EndlessHeader>(), Recovery::kMaximal);
    std::string text;
    try {
        frames->open(0);
    } catch (const PictureError& error) {
        EXPECT_EQ(error.kind(), Failure::kDamaged);
        text = error.what();
    }
    EXPECT_EQ(text, "the header does not end");
}

TEST(JpegRowsTest, CodingsThatAreNotReadAreNamed) {
    Bytes file = waves_file(kBaseline, 16, 16);
    const size_t frame = marker_at(file, 0xC0);
    const auto text_of = [](const Bytes& bytes) -> std::string {
        try {
            open_jpeg(memory_source(bytes))->open(0);
        } catch (const PictureError& error) {
            EXPECT_EQ(error.kind(), Failure::kUnsupported);
            return error.what();
        }
        return "";
    };
    file[frame + 4] = 12;
    EXPECT_NE(text_of(file).find("precision 12"), std::string::npos);
    file[frame + 4] = 8;
    file[frame + 1] = 0xC3;
    EXPECT_NE(text_of(file).find("0xc3"), std::string::npos);
    const JpegKind two{"two", JCS_UNKNOWN, JCS_UNKNOWN};
    EXPECT_NE(text_of(waves_file(two, 16, 16)).find("2 components"), std::string::npos);
}

// Scans of one coefficient each, and as many that add a bit to them.
Bytes many_scans(bool refined) {
    std::vector<jpeg_scan_info> scans{{1, {0}, 0, 0, 0, 0}};
    for (int i = 1; i < 64; i++) {
        scans.push_back({1, {0}, i, i, 0, refined ? 1 : 0});
        if (refined) {
            scans.push_back({1, {0}, i, i, 1, 0});
        }
    }
    const JpegKind gray{"gray", JCS_GRAYSCALE, JCS_GRAYSCALE};
    return jpeg_file(gray, 64, 64, waves(64, 64, 1), [&](jpeg_compress_struct& codec) {
        codec.scan_info = scans.data();
        codec.num_scans = static_cast<int>(scans.size());
    });
}

TEST(JpegRowsTest, ScansAreLimited) {
    EXPECT_EQ(rows_of(many_scans(false)).size(), 64U * 64);
    for (const Recovery recovery : {Recovery::kNone, Recovery::kConsistent, Recovery::kMaximal}) {
        EXPECT_EQ(failure_of([&] { rows_of(many_scans(true), 1, recovery); }).kind(), Failure::kTooLarge);
    }
}

TEST(JpegRowsTest, CoefficientsOfAllPixelsNeedRoom) {
    const auto budget = std::make_shared<MemoryBudget>(100'000);
    const auto read = [&](const JpegKind& kind) {
        return all_rows(*open_jpeg(memory_source(waves_file(kind, 200, 200)), Recovery::kNone, budget)->open(0)).size();
    };
    EXPECT_EQ(failure_of([&] { read(kProgressive); }).kind(), Failure::kTooLarge);
    EXPECT_EQ(read(kBaseline), 120'000U);  // decoded row by row
    EXPECT_EQ(budget->used(), 0U);
}

// ---- What the header says besides

Bytes with_density(int unit, int across, int down, const std::string& exif = {}) {
    const auto change = [&](jpeg_compress_struct& codec) {
        codec.density_unit = static_cast<UINT8>(unit);
        codec.X_density = static_cast<UINT16>(across);
        codec.Y_density = static_cast<UINT16>(down);
    };
    const auto header = [&](jpeg_compress_struct& codec) {
        if (!exif.empty()) {
            jpeg_write_marker(&codec, JPEG_APP0 + 1, reinterpret_cast<const JOCTET*>(exif.data()),
                              static_cast<unsigned>(exif.size()));
        }
    };
    return jpeg_file(kBaseline, 8, 8, waves(8, 8, 3), change, header);
}

std::optional<Resolution> resolution_of(const Bytes& file) {
    return open_jpeg(memory_source(file))->open(0)->header().resolution;
}

// A block of 200 by 100 dots to that unit; unit 0 stands for a block that has no such tag, -1 for one without tags.
std::string exif_block(int unit) {
    using namespace std::string_literals;
    if (unit < 0) {
        return "Exif\0\0MM\0*\0\0\0\x08\0\0\0\0\0\0"s;
    }
    std::string block = "Exif\0\0MM\0*\0\0\0\x08"s;
    block += unit == 0 ? "\0\x02"s : "\0\x03"s;
    const char values = unit == 0 ? 38 : 50;
    block += "\x01\x1A\0\x05\0\0\0\x01\0\0\0"s + values;
    block += "\x01\x1B\0\x05\0\0\0\x01\0\0\0"s + static_cast<char>(values + 8);
    if (unit > 0) {
        block += "\x01\x28\0\x03\0\0\0\x01\0"s + static_cast<char>(unit) + "\0\0"s;
    }
    return block + "\0\0\0\0"s + "\0\0\x01\x90\0\0\0\x02"s + "\0\0\0\x64\0\0\0\x01"s;
}

TEST(JpegHeaderTest, ResolutionIsThatOfExifOrJfif) {
    EXPECT_EQ(resolution_of(with_density(1, 300, 150)), (Resolution{300, 150}));
    EXPECT_EQ(resolution_of(with_density(2, 100, 50)), (Resolution{254, 127}));
    EXPECT_EQ(resolution_of(with_density(0, 4, 3)), std::nullopt);  // the shape of a pixel
    EXPECT_EQ(resolution_of(with_density(1, 1, 1)), std::nullopt);
    EXPECT_EQ(resolution_of(with_density(1, 300, 150, exif_block(2))), (Resolution{200, 100}));
    EXPECT_EQ(resolution_of(with_density(1, 300, 150, exif_block(3))), (Resolution{508, 254}));
    EXPECT_EQ(resolution_of(with_density(1, 300, 150, exif_block(0))), (Resolution{200, 100}));
    EXPECT_EQ(resolution_of(with_density(1, 300, 150, exif_block(1))), (Resolution{300, 150}));  // no unit at all
    EXPECT_EQ(resolution_of(with_density(1, 300, 150, exif_block(-1))), (Resolution{300, 150}));
    EXPECT_EQ(resolution_of(with_density(0, 1, 1, exif_block(-1))), (Resolution{72, 72}));
    for (size_t length = 0; length < exif_block(2).size(); length++) {
        EXPECT_NE(resolution_of(with_density(1, 300, 150, exif_block(2).substr(0, length))), (Resolution{200, 100}));
    }
}

// ---- The writer

RowsHeader waves_header(const JpegKind& kind, int32_t width, int32_t height) {
    PixelForm form;
    form.color = kind.pixels == JCS_GRAYSCALE ? ColorModel::kGray
                 : kind.pixels == JCS_RGB     ? ColorModel::kRgb
                                              : ColorModel::kCmyk;
    return header_of(width, height, form);
}

Bytes written(const RowsHeader& header, const Bytes& rows, const JpegEncoding& encoding, int32_t step = 1) {
    MemorySink out;
    const auto writer = make_jpeg_writer(header, encoding, out);
    write_all(*writer, header, rows, step);
    return bytes_in(out);
}

TEST(JpegWriterTest, FilesAreThoseOfLibjpegWithTheSameSettings) {
    for (const int quality : {1, 75, 89, 90, 100}) {
        for (const bool progressive : {false, true}) {
            const int factor = quality < 90 ? 2 : 1;
            for (const JpegKind& kind : {JpegKind{"gray", JCS_GRAYSCALE, JCS_GRAYSCALE, 1, 1, progressive},
                                         JpegKind{"rgb", JCS_RGB, JCS_YCbCr, factor, factor, progressive},
                                         JpegKind{"cmyk", JCS_CMYK, JCS_CMYK, 1, 1, progressive}}) {
                JpegKind same = kind;
                same.quality = quality;
                const Bytes pixels = waves(45, 29, bands_of(kind.pixels));
                const Bytes expected =
                    jpeg_file(same, 45, 29, pixels, [](jpeg_compress_struct& codec) { codec.optimize_coding = TRUE; });
                const RowsHeader header = waves_header(kind, 45, 29);
                for (const int32_t step : {1, 7, 29}) {
                    EXPECT_EQ(written(header, inks(pixels, kind), {quality, progressive}, step), expected)
                        << kind.name << quality;
                }
            }
        }
    }
}

TEST(JpegWriterTest, ProfileCommentAndResolutionComeBack) {
    for (const JpegKind& kind :
         {JpegKind{"gray", JCS_GRAYSCALE, JCS_GRAYSCALE}, kBaseline, JpegKind{"cmyk", JCS_CMYK, JCS_CMYK}}) {
        RowsHeader header = waves_header(kind, 12, 10);
        header.resolution = Resolution{299.7, 150.2};
        header.profile = std::make_shared<const Bytes>(random_rows(header_of(1000, 60, {})));  // of three segments
        JpegEncoding encoding;
        encoding.comment = "a word";
        const Bytes file = written(header, waves(12, 10, bands_of(kind.pixels)), encoding);
        const auto frames = open_jpeg(memory_source(file));
        const auto reader = frames->open(0);
        ASSERT_NE(reader->header().profile, nullptr);
        EXPECT_EQ(*reader->header().profile, *header.profile);
        const bool ink = kind.pixels == JCS_CMYK;
        EXPECT_EQ(reader->header().resolution, ink ? std::nullopt : std::optional(Resolution{300, 150}));
        EXPECT_EQ(frames->header(0).facts.encoding->get<JpegEncoding>().comment, "a word");
        EXPECT_EQ(file[3], ink ? 0xEE : 0xE0);  // Adobe's mark, or the header of JFIF
        // A profile of which a part is missing is none.
        Bytes damaged = file;
        static constexpr std::string_view kName = "ICC_PROFILE";
        const auto first = std::search(damaged.begin(), damaged.end(), kName.begin(), kName.end());
        *std::search(first + 1, damaged.end(), kName.begin(), kName.end()) = 'X';
        EXPECT_EQ(open_jpeg(memory_source(damaged))->open(0)->header().profile, nullptr);
    }
}

// The segments of a marker before the scan, without their lengths.
std::vector<Bytes> segments_of(const Bytes& file, uint8_t marker) {
    std::vector<Bytes> found;
    for (size_t at = 2; file[at + 1] != 0xDA;) {
        const size_t size = static_cast<size_t>(file[at + 2] << 8 | file[at + 3]);
        const auto from = file.begin() + static_cast<std::ptrdiff_t>(at);
        if (file[at + 1] == marker) {
            found.emplace_back(from + 4, from + static_cast<std::ptrdiff_t>(2 + size));
        }
        at += 2 + size;
    }
    return found;
}

Bytes lossless_file(const RowsHeader& header, const JpegEncoding& encoding) {
    MemorySink sink;
    const auto writer = make_lossless_jpeg_writer(header, encoding, sink);
    writer->write(header.height, random_rows(header));
    writer->finish();
    const EncodedBytes file = sink.take();
    return {file.bytes().begin(), file.bytes().end()};
}

TEST(JpegWriterTest, CommentsAndProfilesOfLosslessFiles) {
    constexpr size_t kMost = 65533;
    RowsHeader header = header_of(5, 4, {});
    JpegEncoding encoding;
    encoding.bits = 8;
    EXPECT_TRUE(segments_of(lossless_file(header, encoding), 0xFE).empty());
    for (const size_t size : {size_t{1}, kMost}) {
        encoding.comment = std::string(size, 'c');
        EXPECT_EQ(segments_of(lossless_file(header, encoding), 0xFE), std::vector<Bytes>{Bytes(size, 'c')});
    }
    encoding.comment += 'c';
    const auto reason = [&](const RowsHeader& of) {
        const PictureError error = failure_of([&] { lossless_file(of, encoding); });
        EXPECT_EQ(error.kind(), Failure::kEncoding);
        return std::string(error.what());
    };
    EXPECT_EQ(reason(header), "a JPEG comment has at most 65533 bytes, this one has 65534");
    encoding.comment.clear();

    constexpr size_t kPart = kMost - 14;  // the mark, the number of the part and that of all
    for (const size_t size : {size_t{1}, kPart, kPart + 1, 3 * kPart}) {
        Bytes profile(size);
        for (size_t i = 0; i < size; i++) {
            profile[i] = static_cast<uint8_t>(i * 7 + i / 251);
        }
        header.profile = std::make_shared<const Bytes>(profile);
        const std::vector<Bytes> parts = segments_of(lossless_file(header, encoding), 0xE2);
        const size_t count = (size + kPart - 1) / kPart;
        ASSERT_EQ(parts.size(), count);
        Bytes joined;
        for (size_t i = 0; i < count; i++) {
            Bytes mark{'I', 'C', 'C', '_', 'P', 'R', 'O', 'F', 'I', 'L', 'E', 0};
            mark.push_back(static_cast<uint8_t>(i + 1));
            mark.push_back(static_cast<uint8_t>(count));
            ASSERT_TRUE(std::equal(mark.begin(), mark.end(), parts[i].begin()));
            joined.insert(joined.end(), parts[i].begin() + 14, parts[i].end());
        }
        EXPECT_EQ(joined, profile);
    }
    header.profile = std::make_shared<const Bytes>(255 * kPart + 1);
    EXPECT_EQ(reason(header), "a color profile in a JPEG file has at most " + std::to_string(255 * kPart) +
                                  " bytes, this one has " + std::to_string(255 * kPart + 1));
}

TEST(JpegWriterTest, BitsOfLosslessFiles) {
    for (const int bits : {2, 3, 8, 9, 16}) {
        JpegEncoding encoding;
        encoding.bits = bits;
        PixelForm form;
        form.sample = bits > 8 ? SampleType::kUint16 : SampleType::kUint8;
        form.bits = bits > 8 ? 16 : 8;
        const std::vector<Bytes> frames = segments_of(lossless_file(header_of(5, 4, form), encoding), 0xC3);
        ASSERT_EQ(frames.size(), 1U);
        EXPECT_EQ(frames[0][0], bits);
    }
    for (const int bits : {0, 1, 17}) {
        JpegEncoding encoding;
        encoding.bits = bits;
        PixelForm form;
        form.sample = bits > 8 ? SampleType::kUint16 : SampleType::kUint8;
        form.bits = bits > 8 ? 16 : 8;
        const PictureError error = failure_of([&] { lossless_file(header_of(5, 4, form), encoding); });
        EXPECT_STREQ(error.what(),
                     ("lossless JPEG has samples of 2 to 16 bits; BitsPerChannel is " + std::to_string(bits)).c_str());
    }
}

TEST(JpegWriterTest, ASinkThatFailsEndsTheWriting) {
    const RowsHeader header = header_of(300, 300, {});
    const Bytes rows = random_rows(header);
    JpegEncoding encoding;
    encoding.quality = 100;
    const size_t size = written(header, rows, encoding).size();
    ASSERT_GT(size, size_t{128} << 10);
    for (const size_t room : {size_t{0}, size_t{64} << 10, size - 1}) {
        FullSink sink(room);
        const auto writer = make_jpeg_writer(header, encoding, sink);
        EXPECT_THROW(write_all(*writer, header, rows, 7), FullSink::Full) << room;
    }
    FullSink enough(size);
    write_all(*make_jpeg_writer(header, encoding, enough), header, rows, 7);
}

TEST(JpegWriterTest, WhatAFileDoesNotHoldIsRefused) {
    MemorySink out;
    for (const PixelForm& form : {PixelForm{ColorModel::kLab}, PixelForm{ColorModel::kIndexed},
                                  PixelForm{ColorModel::kRgb, SampleType::kUint16, 16, false},
                                  PixelForm{ColorModel::kRgb, SampleType::kUint8, 8, true}}) {
        EXPECT_EQ(failure_of([&] { make_jpeg_writer(header_of(3, 3, form), {}, out); }).kind(), Failure::kEncoding);
    }
    JpegEncoding encoding;
    encoding.comment.assign(65533, 'x');
    RowsHeader header = header_of(3, 3, {});
    EXPECT_GT(written(header, random_rows(header), encoding).size(), 65533U);
    encoding.comment += 'x';
    EXPECT_EQ(failure_of([&] { make_jpeg_writer(header, encoding, out); }).kind(), Failure::kEncoding);
    header.profile = std::make_shared<const Bytes>(size_t{255} * 65519 + 1);
    EXPECT_EQ(failure_of([&] { make_jpeg_writer(header, {}, out); }).kind(), Failure::kEncoding);
    EXPECT_EQ(failure_of([&] { make_jpeg_writer(header_of(65501, 1, {}), {}, out); }).kind(), Failure::kEncoding);
}

}  // namespace
}  // namespace zelmor::imagework
