// Samples of DICOM frames that are stored without a compression, or in runs: where each lies, and what is damage.
#include <gtest/gtest.h>

#include <functional>
#include <numeric>
#include <string>
#include <vector>

#include "runtime/native/formats/dicom/stored_samples.h"
#include "tests/unit/imagework/failure_of.h"

namespace zelmor::imagework {
namespace {

using Bytes = std::vector<uint8_t>;
using Samples = std::vector<uint32_t>;

DicomHeader header_of(
    int columns, int rows, int samples, int allocated,
    const std::function<void(DicomHeader&)>& change = [](DicomHeader&) {}) {
    DicomHeader header;
    header.columns = columns;
    header.rows = rows;
    header.samples = samples;
    header.allocated = allocated;
    header.stored = allocated;
    header.high_bit = allocated - 1;
    header.color = samples == 1 ? DicomColor::kMonochrome2 : DicomColor::kRgb;
    header.pixels = DicomElement{};
    header.pixels->type = dicom_type("OW");
    change(header);
    if (header.stored != allocated && header.high_bit == allocated - 1) {
        header.high_bit = header.stored - 1;
    }
    return header;
}

std::vector<Samples> rows_of(StoredSamples& samples, const DicomHeader& header) {
    std::vector<Samples> rows;
    for (int y = 0; y < header.rows; y++) {
        Samples row(static_cast<size_t>(header.columns * header.samples));
        samples.next(row);
        rows.push_back(row);
    }
    return rows;
}

std::vector<Samples> raw(const Bytes& bytes, const DicomHeader& header, uint64_t bit = 0) {
    return rows_of(*raw_samples(memory_source(bytes), header, bit), header);
}

Bytes counted(int count) {
    Bytes bytes(static_cast<size_t>(count));
    std::iota(bytes.begin(), bytes.end(), uint8_t{1});
    return bytes;
}

TEST(RawSamplesTest, EveryNumberOfBytes) {
    EXPECT_EQ(raw(counted(4), header_of(2, 2, 1, 8)), (std::vector<Samples>{{1, 2}, {3, 4}}));
    EXPECT_EQ(raw(counted(8), header_of(2, 2, 1, 16)), (std::vector<Samples>{{0x0201, 0x0403}, {0x0605, 0x0807}}));
    EXPECT_EQ(raw(counted(12), header_of(2, 2, 1, 24)),
              (std::vector<Samples>{{0x030201, 0x060504}, {0x090807, 0x0C0B0A}}));
    EXPECT_EQ(raw(counted(8), header_of(1, 2, 1, 32)), (std::vector<Samples>{{0x04030201}, {0x08070605}}));
    // Bits lie without gaps, the lowest first.
    EXPECT_EQ(raw({0b01001101, 0b00000010}, header_of(5, 2, 1, 1)),
              (std::vector<Samples>{{1, 0, 1, 1, 0}, {0, 1, 0, 0, 1}}));
    EXPECT_EQ(raw({0, 0b10000000, 0b00000011, 0}, header_of(3, 1, 1, 1), 15), (std::vector<Samples>{{1, 1, 1}}));
}

TEST(RawSamplesTest, WhereTheyBegin) {
    EXPECT_EQ(raw(counted(6), header_of(2, 1, 1, 8), 24), (std::vector<Samples>{{4, 5}}));
    EXPECT_EQ(raw(counted(6), header_of(2, 1, 1, 8), 32), (std::vector<Samples>{{5, 6}}));
    EXPECT_EQ(raw(counted(9), header_of(2, 1, 1, 8, [](DicomHeader& header) { header.pixels->at = 3; }), 16),
              (std::vector<Samples>{{6, 7}}));
}

TEST(RawSamplesTest, BitsThatCount) {
    const auto with = [](int stored, int high, bool is_signed) {
        return header_of(2, 1, 1, 16, [=](DicomHeader& header) {
            header.stored = stored;
            header.high_bit = high;
            header.is_signed = is_signed;
        });
    };
    const Bytes bytes = {0x34, 0x92, 0xFF, 0x7F};
    EXPECT_EQ(raw(bytes, with(16, 15, false)), (std::vector<Samples>{{0x9234, 0x7FFF}}));
    EXPECT_EQ(raw(bytes, with(16, 15, true)), (std::vector<Samples>{{0x1234, 0xFFFF}}));
    EXPECT_EQ(raw(bytes, with(12, 11, false)), (std::vector<Samples>{{0x234, 0xFFF}}));
    EXPECT_EQ(raw(bytes, with(12, 11, true)), (std::vector<Samples>{{0xA34, 0x7FF}}));
    EXPECT_EQ(raw(bytes, with(12, 14, false)), (std::vector<Samples>{{0x246, 0xFFF}}));
    EXPECT_EQ(raw(bytes, with(1, 4, false)), (std::vector<Samples>{{1, 1}}));
    EXPECT_EQ(raw_samples(memory_source(bytes), with(12, 11, false), 0)->bits, 12);
    EXPECT_EQ(raw({1, 2, 3, 0x84}, header_of(1, 1, 1, 32, [](DicomHeader& header) { header.is_signed = true; })),
              (std::vector<Samples>{{0x04030201}}));
}

TEST(RawSamplesTest, FilesInBigEndian) {
    const auto swapped = [](int columns, int allocated, DicomType type) {
        return header_of(columns, 1, 1, allocated, [=](DicomHeader& header) {
            header.order.big_endian = true;
            header.pixels->type = type;
        });
    };
    // Bytes of words stand in pairs, and those of bytes do not.
    EXPECT_EQ(raw(counted(4), swapped(4, 8, dicom_type("OW"))), (std::vector<Samples>{{2, 1, 4, 3}}));
    EXPECT_EQ(raw(counted(4), swapped(3, 8, dicom_type("OW"))), (std::vector<Samples>{{2, 1, 4}}));
    EXPECT_EQ(raw(counted(6), swapped(2, 8, dicom_type("OW")), 24), (std::vector<Samples>{{3, 6}}));
    EXPECT_EQ(raw(counted(4), swapped(4, 8, dicom_type("OB"))), (std::vector<Samples>{{1, 2, 3, 4}}));
    for (const DicomType type : {dicom_type("OW"), dicom_type("OB")}) {
        EXPECT_EQ(raw(counted(4), swapped(2, 16, type)), (std::vector<Samples>{{0x0102, 0x0304}}));
    }
    const auto cut = failure_of([&] { raw(counted(3), swapped(3, 8, dicom_type("OW"))); });
    EXPECT_STREQ(cut.what(), "the pixels end too early");
}

TEST(RawSamplesTest, Colors) {
    EXPECT_EQ(raw(counted(12), header_of(2, 2, 3, 8)),
              (std::vector<Samples>{{1, 2, 3, 4, 5, 6}, {7, 8, 9, 10, 11, 12}}));
    const auto planar = header_of(2, 2, 3, 8, [](DicomHeader& header) { header.planar = 1; });
    EXPECT_EQ(raw(counted(12), planar), (std::vector<Samples>{{1, 5, 9, 2, 6, 10}, {3, 7, 11, 4, 8, 12}}));
    EXPECT_EQ(raw(counted(4), header_of(2, 2, 1, 8, [](DicomHeader& header) { header.planar = 1; })),
              (std::vector<Samples>{{1, 2}, {3, 4}}));
    // Two luminances, and the differences that both pixels have.
    for (const DicomColor color : {DicomColor::kYbrFull422, DicomColor::kYbrPartial422}) {
        const auto shared = header_of(4, 2, 3, 8, [=](DicomHeader& header) { header.color = color; });
        EXPECT_EQ(raw(counted(16), shared), (std::vector<Samples>{{1, 3, 4, 2, 3, 4, 5, 7, 8, 6, 7, 8},
                                                                  {9, 11, 12, 10, 11, 12, 13, 15, 16, 14, 15, 16}}));
    }
}

TEST(RawSamplesTest, DataThatEndTooEarly) {
    for (int size = 0; size < 8; size++) {
        const auto error = failure_of([&] { raw(counted(size), header_of(2, 2, 1, 16)); });
        EXPECT_EQ(error.kind(), Failure::kDamaged);
        EXPECT_STREQ(error.what(), "the pixels end too early") << size;
    }
    // The last byte of an odd number has none beside it.
    EXPECT_EQ(raw(counted(3), header_of(3, 1, 1, 8)), (std::vector<Samples>{{1, 2, 3}}));
}

// ---- Runs

// A frame whose segments begin behind the header, one after the other.
Bytes frame_of(const std::vector<Bytes>& segments) {
    Bytes bytes(64);
    bytes[0] = static_cast<uint8_t>(segments.size());
    for (size_t i = 0; i < segments.size(); i++) {
        bytes[4 + 4 * i] = static_cast<uint8_t>(bytes.size());
        bytes[5 + 4 * i] = static_cast<uint8_t>(bytes.size() >> 8);
        bytes.insert(bytes.end(), segments[i].begin(), segments[i].end());
    }
    return bytes;
}

std::vector<Samples> runs(const Bytes& frame, const DicomHeader& header) {
    return rows_of(*rle_samples(memory_source(frame), header), header);
}

TEST(RunSamplesTest, RunsAndCopies) {
    const auto row = [](const Bytes& segment, int columns) {
        return runs(frame_of({segment}), header_of(columns, 1, 1, 8))[0];
    };
    EXPECT_EQ(row({0, 7}, 1), Samples{7});
    EXPECT_EQ(row({2, 7, 8, 9}, 3), (Samples{7, 8, 9}));
    EXPECT_EQ(row({255, 7}, 2), (Samples{7, 7}));
    EXPECT_EQ(row({254, 7, 0, 8}, 4), (Samples{7, 7, 7, 8}));
    EXPECT_EQ(row({128, 0, 7, 128, 128, 255, 8}, 3), (Samples{7, 8, 8}));
    EXPECT_EQ(row({129, 7}, 128), Samples(128, 7));
    EXPECT_EQ(row({129, 7, 0, 8}, 129)[128], 8U);
    Bytes longest = {127};
    Samples expected;
    for (uint32_t i = 0; i < 128; i++) {
        longest.push_back(static_cast<uint8_t>(i));
        expected.push_back(i);
    }
    EXPECT_EQ(row(longest, 128), expected);
    // They may go on from row to row.
    EXPECT_EQ(runs(frame_of({{253, 7, 3, 1, 2, 3, 4}}), header_of(2, 4, 1, 8)),
              (std::vector<Samples>{{7, 7}, {7, 7}, {1, 2}, {3, 4}}));
}

TEST(RunSamplesTest, TheHighestByteHasTheFirstSegment) {
    EXPECT_EQ(runs(frame_of({{1, 1, 2}, {1, 3, 4}}), header_of(2, 1, 1, 16)), (std::vector<Samples>{{0x0103, 0x0204}}));
    EXPECT_EQ(runs(frame_of({{0, 1}, {0, 2}, {0, 3}, {0, 4}}), header_of(1, 1, 1, 32)),
              (std::vector<Samples>{{0x01020304}}));
    EXPECT_EQ(runs(frame_of({{1, 1, 2}, {1, 3, 4}, {1, 5, 6}}), header_of(2, 1, 3, 8)),
              (std::vector<Samples>{{1, 3, 5, 2, 4, 6}}));
    EXPECT_EQ(runs(frame_of({{0, 1}, {0, 2}, {0, 3}, {0, 4}, {0, 5}, {0, 6}}), header_of(1, 1, 3, 16)),
              (std::vector<Samples>{{0x0102, 0x0304, 0x0506}}));
    const auto some = header_of(1, 1, 1, 16, [](DicomHeader& header) {
        header.stored = 12;
        header.is_signed = true;
    });
    EXPECT_EQ(runs(frame_of({{0, 0xF8}, {0, 0x01}}), some), (std::vector<Samples>{{0x001}}));
    EXPECT_EQ(rle_samples(memory_source(frame_of({{0, 0}, {0, 0}})), some)->bits, 12);
}

TEST(RunSamplesTest, Damage) {
    const auto damage = [](const Bytes& frame, const DicomHeader& header) {
        const auto error = failure_of([&] { runs(frame, header); });
        EXPECT_EQ(error.kind(), Failure::kDamaged);
        return std::string(error.what());
    };
    const auto gray = header_of(3, 1, 1, 8);
    const std::string early = "a segment of runs ends too early";
    for (const Bytes& segment :
         {Bytes{}, Bytes{2}, Bytes{2, 7}, Bytes{2, 7, 8}, Bytes{254}, Bytes{128}, Bytes{1, 7, 8}}) {
        EXPECT_EQ(damage(frame_of({segment}), gray), early);
    }
    EXPECT_EQ(damage(frame_of({{2, 7, 8, 9}, {2, 1, 1, 1}}), gray),
              "a frame has 2 segments of runs, where its samples need 1");
    EXPECT_EQ(damage(frame_of({{2, 7, 8, 9}}), header_of(3, 1, 3, 16)),
              "a frame has 1 segments of runs, where its samples need 6");
    EXPECT_EQ(damage({1, 0, 0}, gray), "a frame has 0 segments of runs, where its samples need 1");
    const auto two = header_of(1, 1, 1, 16);
    const std::string order = "the segments of a frame do not follow each other";
    const auto moved = [](size_t place, uint8_t to) {
        Bytes frame = frame_of({{0, 1}, {0, 2}});
        frame[place] = to;
        return frame;
    };
    EXPECT_EQ(damage(moved(4, 63), two), order);
    EXPECT_EQ(damage(moved(8, 63), two), order);
    EXPECT_EQ(damage(moved(8, 69), two), order);
    EXPECT_EQ(damage(moved(8, 64), two), early);
    EXPECT_EQ(damage(moved(8, 65), two), early);
    const Bytes whole = frame_of({{0, 1}, {0, 2}});
    EXPECT_EQ(damage(Bytes(whole.begin(), whole.begin() + 11), two), order);
    // A segment ends where the next one begins.
    EXPECT_EQ(damage(frame_of({{128}, {0, 2}}), two), early);
}

}  // namespace
}  // namespace zelmor::imagework
