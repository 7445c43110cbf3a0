// The range of samples of DICOM files, palettes in segments, and places of frames.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "runtime/native/formats/dicom/dicom_codec.h"
#include "runtime/native/formats/dicom/dicom_palette.h"
#include "runtime/native/formats/dicom/dicom_writer.h"
#include "runtime/native/formats/dicom/frame_places.h"
#include "runtime/native/formats/dicom/sample_range.h"
#include "runtime/native/formats/jpegls/jpegls_decoder.h"
#include "runtime/native/imagework/picture_error.h"

namespace zelmor::imagework {
namespace {

using Bytes = std::vector<uint8_t>;

TEST(SampleRangeTest, EverySampleComesBack) {
    for (const auto& [bits, sample] : {std::pair{1, SampleType::kUint8},
                                       {5, SampleType::kUint8},
                                       {8, SampleType::kInt8},
                                       {12, SampleType::kInt16},
                                       {16, SampleType::kUint16},
                                       {20, SampleType::kInt32}}) {
        PixelForm form{ColorModel::kGray, sample, static_cast<int>(8 * sample_size(sample)), false};
        const SampleRange range(bits, form);
        std::vector<uint32_t> samples;
        for (uint64_t value = 0; value <= range.top(); value += 1 + range.top() / 5000) {
            samples.push_back(static_cast<uint32_t>(value));
        }
        samples.push_back(range.top());
        Bytes row(samples.size() * sample_size(sample));
        range.put(samples, row);
        std::vector<uint32_t> back(samples.size());
        range.take(row, back);
        EXPECT_EQ(back, samples) << bits;
    }
}

TEST(SampleRangeTest, TheLeastAndTheGreatestAreThoseOfTheType) {
    Bytes row(4);
    SampleRange(12, {ColorModel::kGray, SampleType::kInt16, 16, false}).put(std::vector<uint32_t>{0, 4095}, row);
    EXPECT_EQ(row, (Bytes{0x00, 0x80, 0xFF, 0x7F}));
}

DicomLookup segments(const Bytes& words, uint32_t entries) {
    DicomLookup lookup;
    lookup.entries = entries;
    lookup.bits = 16;
    lookup.segmented = true;
    lookup.data.at = 0;
    lookup.data.length = static_cast<uint32_t>(words.size());
    return lookup;
}

TEST(DicomPaletteTest, SegmentsEndWithTheTable) {
    // A value, a line to 6 of 3 steps, and a segment that is used again and refers to itself.
    const Bytes words = {0, 0, 1, 0, 3, 0, 1, 0, 3, 0, 6, 0, 2, 0, 9, 0, 0, 0, 0, 0};
    EXPECT_EQ(dicom_table(ByteReader(words), segments(words, 4)), (std::vector<uint16_t>{3, 4, 5, 6}));
    EXPECT_EQ(dicom_table(ByteReader(words), segments(words, 8)), (std::vector<uint16_t>{3, 4, 5, 6, 3, 4, 5, 6}));
    EXPECT_EQ(dicom_table(ByteReader(words), segments(words, 65536)).size(), 8U);
}

DicomFile pieces_file(const std::vector<Bytes>& pieces, int64_t frames) {
    Bytes bytes;
    for (const Bytes& piece : pieces) {
        for (const int byte : {0xFE, 0xFF, 0x00, 0xE0}) {
            bytes.push_back(static_cast<uint8_t>(byte));
        }
        bytes.push_back(static_cast<uint8_t>(piece.size()));
        bytes.resize(bytes.size() + 3);
        bytes.insert(bytes.end(), piece.begin(), piece.end());
    }
    DicomFile file;
    file.source = memory_source(bytes);
    file.header.frames = frames;
    file.header.pixels = DicomElement{};
    return file;
}

std::vector<size_t> piece_counts(const DicomFile& file) {
    std::vector<size_t> counts;
    for (const auto& frame : dicom_frame_pieces(file)) {
        counts.push_back(frame.size());
    }
    return counts;
}

TEST(FramePlacesTest, PiecesBelongToFramesByTheTableOrByTheirBeginnings) {
    const Bytes start = {0xFF, 0xD8, 1, 2};
    const Bytes rest = {3, 4};
    EXPECT_EQ(piece_counts(pieces_file({{}, start, rest, rest}, 1)), (std::vector<size_t>{3}));
    EXPECT_EQ(piece_counts(pieces_file({{}, start, rest, start}, 2)), (std::vector<size_t>{2, 1}));
    EXPECT_EQ(piece_counts(pieces_file({{}, rest, rest}, 2)), (std::vector<size_t>{1, 1}));
    // The second frame begins with the third piece: behind 12 and 10 bytes.
    EXPECT_EQ(piece_counts(pieces_file({{0, 0, 0, 0, 22, 0, 0, 0}, start, rest, rest}, 2)),
              (std::vector<size_t>{2, 1}));
    EXPECT_THROW(piece_counts(pieces_file({{}, rest, rest, rest}, 2)), PictureError);
    EXPECT_EQ(piece_counts(pieces_file({{}, start}, 3)), (std::vector<size_t>{1}));
}

TEST(JoinedPiecesTest, ReadsAcrossPieces) {
    const SharedSource source = memory_source({0, 1, 2, 3, 4, 5, 6, 7, 8, 9});
    const SharedSource joined = joined_pieces(source, {{7, 2}, {1, 0}, {2, 3}}, {100, 101});
    EXPECT_EQ(joined->size(), 7U);
    EXPECT_EQ(all_bytes(*joined), (Bytes{100, 101, 7, 8, 2, 3, 4}));
    Bytes some(3);
    EXPECT_EQ(joined->read_at(3, some), 3U);
    EXPECT_EQ(some, (Bytes{8, 2, 3}));
    EXPECT_EQ(joined->read_at(6, some), 1U);
}

TEST(DicomRunsTest, RunsAndCopiesEndWithTheRow) {
    DicomForm form;
    form.width = 5;
    form.height = 2;
    const Bytes runs = dicom_runs(form, Bytes{7, 7, 7, 1, 2, 2, 3, 4, 5, 5});
    EXPECT_EQ(Bytes(runs.begin(), runs.begin() + 8), (Bytes{1, 0, 0, 0, 64, 0, 0, 0}));
    EXPECT_EQ(Bytes(runs.begin() + 64, runs.end()), (Bytes{254, 7, 1, 1, 2, 2, 2, 3, 4, 255, 5, 0}));
}

TEST(JpegLsTest, DataThatEndTooEarlyGiveTheRowsBefore) {
    // The header of 4 by 4 samples of 8 bits, and a scan without data.
    const Bytes frame = {0xFF, 0xD8, 0xFF, 0xF7, 0, 11, 8, 0, 4, 0,    4, 1,    1,   0x11,
                         0,    0xFF, 0xDA, 0,    8, 1,  1, 0, 0, 0x00, 0, 0xFF, 0xD9};
    EXPECT_THROW(decode_jpegls(frame, {4, 4, 1}, false), PictureError);
    EXPECT_THROW(decode_jpegls(frame, {4, 4, 1}, true), PictureError);
    EXPECT_THROW(decode_jpegls(frame, {5, 4, 1}, true), PictureError);
}

}  // namespace
}  // namespace zelmor::imagework
