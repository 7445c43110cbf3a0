// PNG rows: every form, over memory and over open files, whole and damaged.
#include <unistd.h>

#include <cstdio>

#include "runtime/native/formats/png/png_chunks.h"
#include "runtime/native/formats/png/png_codec.h"
#include "runtime/native/formats/png/png_encoding.h"
#include "tests/unit/imagecodecs/codec_files.h"

namespace zelmor::imagework {
namespace {

std::vector<uint8_t> written(const RowsHeader& header, const std::vector<uint8_t>& rows,
                             const PngEncoding& encoding = {}, int32_t step = 1) {
    MemorySink out;
    const auto writer = make_png_writer(header, encoding, out);
    write_all(*writer, header, rows, step);
    return bytes_in(out);
}

std::vector<PixelForm> forms() {
    std::vector<PixelForm> result;
    for (const int bits : {1, 2, 4, 8}) {
        result.push_back({ColorModel::kGray, SampleType::kUint8, bits, false});
        result.push_back({ColorModel::kIndexed, SampleType::kUint8, bits, false});
    }
    for (const ColorModel color : {ColorModel::kGray, ColorModel::kRgb}) {
        for (const bool alpha : {false, true}) {
            result.push_back({color, SampleType::kUint16, 16, alpha});
            if (alpha || color == ColorModel::kRgb) {
                result.push_back({color, SampleType::kUint8, 8, alpha});
            }
        }
    }
    return result;
}

TEST(PngRowsTest, EachFormComesBack) {
    for (const PixelForm& form : forms()) {
        for (const bool interlaced : {false, true}) {
            for (const auto& [width, height] : {std::pair{1, 1}, {7, 3}, {33, 20}}) {
                const RowsHeader header = header_of(width, height, form);
                const auto rows = random_rows(header);
                PngEncoding encoding;
                encoding.interlaced = interlaced;
                const auto reader = open_png(memory_source(written(header, rows, encoding, 3)));
                EXPECT_EQ(reader->header().form, form);
                EXPECT_EQ(reader->header().palette, header.palette);
                EXPECT_EQ(all_rows(*reader, 4), rows);
            }
        }
    }
}

TEST(PngRowsTest, FiltersLoseNothing) {
    const RowsHeader header = header_of(40, 30, {ColorModel::kRgb, SampleType::kUint16, 16, true});
    const auto rows = random_rows(header);
    for (const PngFilter filter : {PngFilter::kNone, PngFilter::kSub, PngFilter::kUp, PngFilter::kAverage,
                                   PngFilter::kPaeth, PngFilter::kAdaptive}) {
        PngEncoding encoding;
        encoding.filter = filter;
        EXPECT_EQ(all_rows(*open_png(memory_source(written(header, rows, encoding)))), rows);
    }
}

TEST(PngRowsTest, FormsThatPngHasNotAreRefused) {
    MemorySink out;
    for (const PixelForm& form : {PixelForm{ColorModel::kCmyk}, PixelForm{ColorModel::kLab},
                                  PixelForm{ColorModel::kGray, SampleType::kFloat, 32, false},
                                  PixelForm{ColorModel::kRgb, SampleType::kUint32, 32, false},
                                  PixelForm{ColorModel::kGray, SampleType::kInt16, 16, false}}) {
        EXPECT_EQ(failure_of([&] { make_png_writer(header_of(3, 3, form), {}, out); }).kind(), Failure::kEncoding);
    }
}

TEST(PngRowsTest, AProfileThatIsNoneIsRefused) {
    RowsHeader header = header_of(3, 3, {});
    header.profile = std::make_shared<const std::vector<uint8_t>>(200, uint8_t{7});
    MemorySink out;
    EXPECT_EQ(failure_of([&] { make_png_writer(header, {}, out); }).kind(), Failure::kEncoding);
}

TEST(PngRowsTest, TheFileGoesOutWhileRowsCome) {
    const RowsHeader header = header_of(300, 200, {});
    const auto rows = random_rows(header);
    const size_t size = written(header, rows).size();
    ASSERT_GT(size, rows.size() * 9 / 10);
    FullSink sink(size / 2);
    const auto writer = make_png_writer(header, {}, sink);
    const size_t half = rows.size() / 2;
    writer->write(header.height / 2 - 20, std::span(rows).first(half - 20 * row_size(header)));
    EXPECT_THROW(writer->write(60, std::span(rows).subspan(half, 60 * row_size(header))), FullSink::Full);
    EXPECT_THROW(make_png_writer(header, {}, *std::make_unique<FullSink>(20)), FullSink::Full);
}

TEST(PngRowsTest, AnOpenFileIsReadRowByRow) {
    const RowsHeader header = header_of(300, 200, {});
    const auto rows = random_rows(header);
    const auto bytes = written(header, rows);
    std::FILE* file = std::tmpfile();
    ASSERT_EQ(std::fwrite(bytes.data(), 1, bytes.size(), file), bytes.size());
    ASSERT_EQ(std::fflush(file), 0);
    const auto reader = open_png(file_source(fileno(file)));
    std::vector<uint8_t> row(row_size(header));
    reader->read(1, row);
    EXPECT_TRUE(std::equal(row.begin(), row.end(), rows.begin()));
    // Cut off behind the reader's back: an error, and no crash.
    ASSERT_EQ(ftruncate(fileno(file), 100), 0);
    EXPECT_EQ(failure_of([&] {
                  for (int y = 1; y < header.height; y++) {
                      reader->read(1, row);
                  }
              }).kind(),
              Failure::kDamaged);
    std::fclose(file);
}

TEST(PngRowsTest, EveryCutIsDamageAndLenientReadingHasTheRowsBefore) {
    const RowsHeader header = header_of(40, 30, {});
    const auto rows = random_rows(header);
    PngEncoding encoding;
    encoding.compression_level = 0;
    const auto bytes = written(header, rows, encoding);
    size_t most = 0;
    for (size_t length = 0; length < bytes.size(); length += 1 + length / 9) {
        std::vector<uint8_t> cut(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(length));
        EXPECT_EQ(failure_of([&] { all_rows(*open_png(memory_source(cut))); }).kind(), Failure::kDamaged);
        try {
            const auto reader = open_png(memory_source(cut), {true, false});
            std::vector<uint8_t> row(row_size(header));
            for (size_t y = 0; y < static_cast<size_t>(header.height); y++) {
                reader->read(1, row);
                EXPECT_TRUE(
                    std::equal(row.begin(), row.end(), rows.begin() + static_cast<std::ptrdiff_t>(y * row.size())));
                most = std::max(most, y);
            }
        } catch (const PictureError& error) {
            EXPECT_EQ(error.kind(), Failure::kDamaged);
        }
    }
    EXPECT_GT(most, 20U);
}

// Rows that come one by one need room for themselves alone.
TEST(PngRowsTest, APictureLargerThanMemoryIsRefusedOnlyWhereItsRowsComeAtOnce) {
    for (const bool interlaced : {false, true}) {
        PngEncoding encoding;
        encoding.interlaced = interlaced;
        const RowsHeader header = header_of(3, 3, {ColorModel::kGray});
        auto file = written(header, random_rows(header), encoding);
        for (const size_t at : {size_t{16}, size_t{20}}) {  // 1,048,576 pixels to a side
            file[at + 1] = 0x10;
            file[at + 3] = 0;
        }
        std::vector<uint8_t> header_chunk;
        put_png_chunk(header_chunk, kIhdr, std::span(file).subspan(16, 13));
        std::copy(header_chunk.begin(), header_chunk.end(), file.begin() + 8);
        if (interlaced) {
            EXPECT_EQ(failure_of([&] { open_png(memory_source(file)); }).kind(), Failure::kTooLarge);
        } else {
            EXPECT_EQ(open_png(memory_source(file))->header().height, 0x100000);
        }
    }
}

// Its rows come all at once, so that a file of some hundred bytes could take gigabytes for them.
TEST(PngRowsTest, AnInterlacedPictureHasTheMemoryOfItsImageAndGivesItBack) {
    const RowsHeader header = header_of(40, 30, {});
    const auto rows = random_rows(header);
    PngEncoding encoding;
    encoding.interlaced = true;
    const auto bytes = written(header, rows, encoding);
    const auto budget = std::make_shared<MemoryBudget>(rows.size());
    {
        const auto reader = open_png(memory_source(bytes), {false, false, budget});
        EXPECT_EQ(budget->used(), 0U);
        std::vector<uint8_t> row(row_size(header));
        reader->read(1, row);
        EXPECT_EQ(budget->used(), rows.size());
        std::vector<uint8_t> others(rows.size() - row.size());
        reader->read(header.height - 1, others);
        EXPECT_EQ(budget->used(), 0U);
        reader->read(0, {});
        EXPECT_TRUE(std::equal(others.begin(), others.end(), rows.begin() + static_cast<std::ptrdiff_t>(row.size())));
    }
    const auto small = std::make_shared<MemoryBudget>(rows.size() - 1);
    EXPECT_EQ(failure_of([&] {
                  all_rows(*open_png(memory_source(bytes), {false, false, small}));
              }).kind(),
              Failure::kTooLarge);
    EXPECT_EQ(small->used(), 0U);
}

TEST(PngRowsTest, ARowLargerThanTheMemoryOfItsImageIsRefusedBeforeAnyIsRead) {
    const RowsHeader header = header_of(40, 30, {});
    const auto bytes = written(header, random_rows(header));
    const auto budget = std::make_shared<MemoryBudget>(row_size(header) - 1);
    EXPECT_EQ(failure_of([&] { open_png(memory_source(bytes), {false, false, budget}); }).kind(), Failure::kTooLarge);
}

TEST(PngRowsTest, AKeyStandsForTransparentPixels) {
    const RowsHeader header = header_of(2, 1, {ColorModel::kRgb, SampleType::kUint8, 8, true});
    const PngKey key{8, {1, 2, 3}};
    std::vector<uint8_t> rows{1, 2, 3, 0, 9, 9, 9, 255};
    EXPECT_TRUE(has_png_key(key, header, rows));
    PngEncoding encoding;
    encoding.key = key;
    EXPECT_EQ(all_rows(*open_png(memory_source(written(header, rows, encoding)))), rows);
    rows[7] = 254;
    EXPECT_FALSE(has_png_key(key, header, rows));
    rows = {1, 2, 3, 255, 9, 9, 9, 255};
    EXPECT_FALSE(has_png_key(key, header, rows));
}

}  // namespace
}  // namespace zelmor::imagework
