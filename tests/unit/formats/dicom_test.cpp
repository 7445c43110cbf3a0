// The range of samples of DICOM files, palettes in segments, and places of frames.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <string>
#include <vector>

#include "runtime/native/formats/dicom/dicom_codec.h"
#include "runtime/native/formats/dicom/dicom_palette.h"
#include "runtime/native/formats/dicom/dicom_writer.h"
#include "runtime/native/formats/dicom/frame_places.h"
#include "runtime/native/formats/dicom/sample_range.h"
#include "runtime/native/formats/jpegls/jpegls_decoder.h"
#include "runtime/native/imagework/picture_error.h"
#include "tests/unit/imagework/failure_of.h"

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

TEST(SampleRangeTest, SamplesAreSpreadOverTheirType) {
    // To the nearest number of the type; those of a type with a sign are counted from its least one.
    const auto check = [](auto of_type, SampleType type, bool is_signed) {
        using Number = decltype(of_type);
        constexpr uint64_t kMost = static_cast<Number>(~Number{0});
        const uint64_t turned = is_signed ? kMost / 2 + 1 : 0;
        for (int bits = 1; bits <= static_cast<int>(8 * sizeof(Number)); bits++) {
            SCOPED_TRACE(std::to_string(bits) + " of " + std::to_string(8 * sizeof(Number)));
            const uint64_t top = (uint64_t{1} << bits) - 1;
            std::vector<uint32_t> samples;
            std::vector<Number> expected;
            for (const uint64_t sample : {uint64_t{0}, uint64_t{1}, top / 3, top / 2, top - 1, top, top + 1}) {
                if (sample <= UINT32_MAX) {
                    samples.push_back(static_cast<uint32_t>(sample));
                    const long double wide = static_cast<long double>(std::min(sample, top)) * kMost / top;
                    expected.push_back(static_cast<Number>(static_cast<uint64_t>(wide + 0.5L) ^ turned));
                }
            }
            const SampleRange range(bits, {ColorModel::kGray, type, static_cast<int>(8 * sizeof(Number)), false});
            EXPECT_EQ(range.top(), top);
            Bytes row(samples.size() * sizeof(Number));
            range.put(samples, row);
            std::vector<Number> found(samples.size());
            std::memcpy(found.data(), row.data(), row.size());
            EXPECT_EQ(found, expected);
            // Numbers between become the nearest sample.
            std::vector<Number> numbers;
            std::vector<uint32_t> nearest;
            for (uint64_t i = 0; i <= 20; i++) {
                const uint64_t number = kMost * i / 20;
                numbers.push_back(static_cast<Number>(number ^ turned));
                nearest.push_back(static_cast<uint32_t>(static_cast<long double>(number) * top / kMost + 0.5L));
            }
            row.resize(numbers.size() * sizeof(Number));
            std::memcpy(row.data(), numbers.data(), row.size());
            std::vector<uint32_t> taken(numbers.size());
            range.take(row, taken);
            EXPECT_EQ(taken, nearest);
        }
    };
    check(uint8_t{}, SampleType::kUint8, false);
    check(uint8_t{}, SampleType::kInt8, true);
    check(uint16_t{}, SampleType::kUint16, false);
    check(uint16_t{}, SampleType::kInt16, true);
    check(uint32_t{}, SampleType::kUint32, false);
    check(uint32_t{}, SampleType::kInt32, true);
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

std::vector<uint16_t> table_of(const std::vector<uint16_t>& words, uint32_t entries = 65536) {
    Bytes bytes;
    for (const uint16_t word : words) {
        bytes.push_back(static_cast<uint8_t>(word));
        bytes.push_back(static_cast<uint8_t>(word >> 8));
    }
    return dicom_table(ByteReader(bytes), segments(bytes, entries));
}

TEST(DicomPaletteTest, EverySegment) {
    using Words = std::vector<uint16_t>;
    // Values one after the other; lines, whose values are rounded away from their beginning.
    EXPECT_EQ(table_of({0, 3, 7, 8, 9}), (Words{7, 8, 9}));
    EXPECT_EQ(table_of({0, 0, 0, 1, 7}), Words{7});
    EXPECT_EQ(table_of({0, 3, 7, 8}), (Words{7, 8}));
    EXPECT_EQ(table_of({0, 1, 2, 1, 4, 10}), (Words{2, 4, 6, 8, 10}));
    EXPECT_EQ(table_of({0, 1, 0, 1, 3, 10}), (Words{0, 3, 7, 10}));
    EXPECT_EQ(table_of({0, 1, 10, 1, 3, 0}), (Words{10, 7, 3, 0}));
    EXPECT_EQ(table_of({0, 1, 0, 1, 2, 1}), (Words{0, 1, 1}));
    EXPECT_EQ(table_of({0, 1, 1, 1, 2, 0}), (Words{1, 0, 0}));
    EXPECT_EQ(table_of({0, 1, 0, 1, 2, 65535}), (Words{0, 32768, 65535}));
    EXPECT_EQ(table_of({1, 2, 8}), (Words{4, 8}));
    // Segments that are used again: so many from a byte on, none of which uses others.
    const Words twice = {0, 2, 1, 2, 1, 1, 5, 2, 2, 0, 0};
    EXPECT_EQ(table_of(twice), (Words{1, 2, 5, 1, 2, 5}));
    EXPECT_EQ(table_of({0, 2, 1, 2, 1, 1, 5, 2, 1, 0, 0}), (Words{1, 2, 5, 1, 2}));
    EXPECT_EQ(table_of({0, 2, 1, 2, 1, 1, 5, 2, 1, 8, 0}), (Words{1, 2, 5, 5}));
    EXPECT_EQ(table_of({0, 2, 1, 2, 1, 1, 5, 2, 9, 0, 0, 0, 1, 3}), (Words{1, 2, 5, 1, 2, 5, 3}));
    EXPECT_EQ(table_of({0, 1, 4, 2, 1, 0, 1}), Words{4});  // beyond the table
    Words far(40002, 0);
    far[0] = 2;
    far[1] = 1;
    far[2] = 80000 - 65536;
    far[3] = 1;
    far.insert(far.begin() + 40000, {0, 2, 6, 7});
    EXPECT_EQ(table_of(far, 2), (Words{6, 7}));
    // What is cut off or unknown ends the table.
    EXPECT_EQ(table_of({0, 1, 4, 3, 1, 9, 0, 1, 5}), Words{4});
    EXPECT_EQ(table_of({0, 1, 4, 1, 2}), Words{4});
    EXPECT_EQ(table_of({0, 1, 4, 2, 1, 0}), Words{4});
    EXPECT_EQ(table_of({0, 1, 4, 0}), Words{4});
    EXPECT_EQ(table_of({0, 3, 7, 8, 9}, 2), (Words{7, 8}));
    EXPECT_EQ(table_of({1, 3, 9}, 2), (Words{3, 6}));
    EXPECT_TRUE(table_of({}).empty());
}

DicomLookup plain(int bits, uint32_t entries, uint64_t at, uint32_t length, bool big_endian = false) {
    DicomLookup lookup;
    lookup.entries = entries;
    lookup.bits = bits;
    lookup.data.at = at;
    lookup.data.length = length;
    lookup.data.order.big_endian = big_endian;
    return lookup;
}

TEST(DicomPaletteTest, EntriesOfOneByteOrOfTwo) {
    using Words = std::vector<uint16_t>;
    const Bytes file = {9, 9, 1, 2, 3, 4, 5, 6, 7, 8};
    const auto table = [&](const DicomLookup& lookup) { return dicom_table(ByteReader(file), lookup); };
    EXPECT_EQ(table(plain(16, 4, 2, 8)), (Words{0x0201, 0x0403, 0x0605, 0x0807}));
    EXPECT_EQ(table(plain(16, 3, 2, 8)), (Words{0x0201, 0x0403, 0x0605}));
    EXPECT_EQ(table(plain(16, 4, 2, 7)), (Words{0x0201, 0x0403, 0x0605}));
    EXPECT_EQ(table(plain(16, 4, 2, 2)), Words{0x0201});
    EXPECT_EQ(table(plain(16, 4, 2, 1)), Words{});
    EXPECT_EQ(table(plain(16, 2, 2, 8, true)), (Words{0x0102, 0x0304}));
    // Bytes are packed where each has no word of its own.
    EXPECT_EQ(table(plain(8, 8, 2, 8)), (Words{1, 2, 3, 4, 5, 6, 7, 8}));
    EXPECT_EQ(table(plain(8, 5, 2, 8)), (Words{1, 2, 3, 4, 5}));
    EXPECT_EQ(table(plain(8, 4, 2, 8)), (Words{1, 3, 5, 7}));
    EXPECT_EQ(table(plain(8, 4, 2, 8, true)), (Words{2, 4, 6, 8}));
    EXPECT_EQ(table(plain(8, 8, 2, 8, true)), (Words{2, 1, 4, 3, 6, 5, 8, 7}));
    // The file ends before the table, or the length is not told.
    EXPECT_EQ(table(plain(16, 4, 6, 8)), (Words{0x0605, 0x0807}));
    EXPECT_TRUE(table(plain(16, 4, 2, kDicomUndefined)).empty());
    DicomLookup lookup = plain(8, 4, 2, 8);
    lookup.segmented = true;
    const Bytes line = {0, 0, 0, 0, 0, 0, 1, 0, 0x34, 0x12};
    EXPECT_EQ(dicom_table(ByteReader(line), lookup), Words{});
    lookup.data.at = 4;
    lookup.data.length = 6;
    EXPECT_EQ(dicom_table(ByteReader(line), lookup), Words{0x34});
}

TEST(DicomPaletteTest, ThreeTablesAreColors) {
    using Colors = std::vector<std::array<uint16_t, 3>>;
    Bytes file;
    for (int i = 1; i <= 32; i++) {
        file.push_back(static_cast<uint8_t>(i));
    }
    DicomHeader header;
    const auto colors = [&](int red, int green, int blue, std::array<uint32_t, 3> entries) {
        header.palette = {plain(red, entries[0], 0, 2 * entries[0]), plain(green, entries[1], 10, 2 * entries[1]),
                          plain(blue, entries[2], 20, 2 * entries[2])};
        header.palette[0].first = -7;
        header.palette[1].first = 3;
        const DicomPalette palette = dicom_palette(ByteReader(file), header);
        EXPECT_EQ(palette.first, -7);
        EXPECT_EQ(palette.deep, red == 16 || green == 16 || blue == 16);
        return palette.colors;
    };
    EXPECT_EQ(colors(16, 16, 16, {2, 2, 2}), (Colors{{0x0201, 0x0C0B, 0x1615}, {0x0403, 0x0E0D, 0x1817}}));
    EXPECT_EQ(colors(8, 8, 8, {2, 2, 2}), (Colors{{0x01, 0x0B, 0x15}, {0x03, 0x0D, 0x17}}));
    EXPECT_EQ(colors(8, 16, 8, {2, 2, 2}), (Colors{{0x0101, 0x0C0B, 0x1515}, {0x0303, 0x0E0D, 0x1717}}));
    EXPECT_EQ(colors(8, 8, 16, {1, 1, 1}), (Colors{{0x0101, 0x0B0B, 0x1615}}));
    // As many as there are reds; of a shorter table the last is repeated.
    EXPECT_EQ(colors(8, 8, 8, {3, 2, 5}), (Colors{{0x01, 0x0B, 0x15}, {0x03, 0x0D, 0x17}, {0x05, 0x0D, 0x19}}));
    for (size_t empty = 0; empty < 3; empty++) {
        std::array<uint32_t, 3> entries = {2, 2, 2};
        entries[empty] = 0;
        const auto error = failure_of([&] { colors(8, 8, 8, entries); });
        EXPECT_EQ(error.kind(), Failure::kDamaged);
        EXPECT_STREQ(error.what(), "a table of the palette has no entries");
    }
}

DicomFile pieces_file(const std::vector<Bytes>& pieces, int64_t frames, const std::vector<uint64_t>& extended = {}) {
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
    file.header.offsets.at = bytes.size();
    file.header.offsets.length = static_cast<uint32_t>(8 * extended.size());
    for (const uint64_t offset : extended) {
        for (int i = 0; i < 8; i++) {
            bytes.push_back(static_cast<uint8_t>(offset >> 8 * i));
        }
    }
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

TEST(FramePlacesTest, TablesOfOffsets) {
    using Counts = std::vector<size_t>;
    const Bytes rest = {3, 4};  // pieces of 10 bytes each, of which none tells that a frame begins
    const std::vector<Bytes> four = {{}, rest, rest, rest, rest};
    const auto usual = [&](const Bytes& table) {
        std::vector<Bytes> pieces = four;
        pieces[0] = table;
        return pieces_file(pieces, 2);
    };
    EXPECT_EQ(piece_counts(usual({0, 0, 0, 0, 10, 0, 0, 0})), (Counts{1, 3}));
    EXPECT_EQ(piece_counts(usual({0, 0, 0, 0, 30, 0, 0, 0})), (Counts{3, 1}));
    EXPECT_EQ(piece_counts(usual({0, 0, 0, 0, 20, 0, 0, 0, 99, 0, 0, 0})), (Counts{2, 2}));
    EXPECT_EQ(piece_counts(pieces_file(four, 2, {0, 10})), (Counts{1, 3}));
    EXPECT_EQ(piece_counts(pieces_file(four, 2, {0, 30, 99})), (Counts{3, 1}));
    EXPECT_EQ(piece_counts(pieces_file(four, 3, {0, 10, 20})), (Counts{1, 1, 2}));
    // The longer offsets count where there are both.
    std::vector<Bytes> both = four;
    both[0] = {0, 0, 0, 0, 10, 0, 0, 0};
    EXPECT_EQ(piece_counts(pieces_file(both, 2, {0, 20})), (Counts{2, 2}));
    EXPECT_EQ(piece_counts(pieces_file(both, 2, {0})), (Counts{1, 3}));
    const std::string text = "the file does not tell which of its 4 pieces of pixels belong to which of its 2 frames";
    for (const Bytes& wrong : {Bytes{0, 0, 0, 0}, Bytes{1, 0, 0, 0, 10, 0, 0, 0}, Bytes{0, 0, 0, 0, 10, 0, 0},
                               Bytes{0, 0, 0, 0, 99, 0, 0, 0}, Bytes{0, 0, 0, 0, 0, 0, 0, 0}, Bytes{}}) {
        const auto error = failure_of([&] { piece_counts(usual(wrong)); });
        EXPECT_EQ(error.kind(), Failure::kDamaged);
        EXPECT_EQ(error.what(), text);
    }
    for (const std::vector<uint64_t>& wrong : {std::vector<uint64_t>{0, 99}, {2, 10}, {20, 10}, {0}}) {
        EXPECT_EQ(failure_of([&] { piece_counts(pieces_file(four, 2, wrong)); }).what(), text);
    }
    // A table that is said to be there and is not.
    DicomFile cut = pieces_file(four, 2, {0, 10});
    cut.header.offsets.at += 8;
    EXPECT_EQ(failure_of([&] { piece_counts(cut); }).what(), text);
    cut.header.offsets.at -= 8;
    cut.header.offsets.length = kDicomUndefined;
    EXPECT_EQ(failure_of([&] { piece_counts(cut); }).what(), text);
}

TEST(FramePlacesTest, WherePiecesLie) {
    const auto places = [](const Bytes& bytes) {
        DicomFile file;
        file.source = memory_source(bytes);
        file.header.pixels = DicomElement{};
        file.header.pixels->at = 2;
        std::vector<std::pair<uint64_t, uint64_t>> found;
        for (const auto& frame : dicom_frame_pieces(file)) {
            for (const DicomPiece& piece : frame) {
                found.emplace_back(piece.at, piece.size);
            }
        }
        return found;
    };
    using Places = std::vector<std::pair<uint64_t, uint64_t>>;
    const Bytes table = {9, 9, 0xFE, 0xFF, 0x00, 0xE0, 0, 0, 0, 0};
    const Bytes piece = {0xFE, 0xFF, 0x00, 0xE0, 4, 0, 0, 0, 1, 2, 3, 4};
    const auto joined = [](std::initializer_list<Bytes> parts) {
        Bytes all;
        for (const Bytes& part : parts) {
            all.insert(all.end(), part.begin(), part.end());
        }
        return all;
    };
    EXPECT_EQ(places(joined({table, piece, piece})), (Places{{18, 4}, {30, 4}}));
    EXPECT_EQ(places(table), Places{});
    for (const Bytes& end : {Bytes{0xFE, 0xFF, 0xDD, 0xE0, 0, 0, 0, 0}, Bytes{0xFE, 0xFF, 0x01, 0xE0, 0, 0, 0, 0},
                             Bytes{0xFE, 0xFF, 0x00, 0xE0, 0xFF, 0xFF, 0xFF, 0xFF}}) {
        EXPECT_EQ(places(joined({table, piece, end, piece})), (Places{{18, 4}}));
    }
    // The last one as far as it is there.
    for (size_t size = 0; size <= piece.size(); size++) {
        const Bytes part(piece.begin(), piece.begin() + static_cast<std::ptrdiff_t>(size));
        EXPECT_EQ(places(joined({table, piece, part})),
                  size < 8 ? (Places{{18, 4}}) : (Places{{18, 4}, {30, size - 8}}));
    }
}

TEST(FramePlacesTest, BeginningsOfFrames) {
    const Bytes rest = {3, 4};
    for (const Bytes& start : {Bytes{0xFF, 0xD8}, Bytes{0xFF, 0x4F, 1}}) {
        EXPECT_EQ(piece_counts(pieces_file({{}, start, rest, start, rest, rest}, 2)), (std::vector<size_t>{2, 3}));
        EXPECT_EQ(piece_counts(pieces_file({{}, rest, rest, start, rest}, 2)), (std::vector<size_t>{2, 2}));
        EXPECT_EQ(piece_counts(pieces_file({{}, start, start, rest, start}, 3)), (std::vector<size_t>{1, 2, 1}));
        EXPECT_THROW(piece_counts(pieces_file({{}, start, rest, start, start}, 2)), PictureError);
        EXPECT_EQ(piece_counts(pieces_file({{}, start, rest, start, rest}, 3)), (std::vector<size_t>{2, 2}));
    }
    for (const Bytes& other : {Bytes{0xFF, 0xD9}, Bytes{0xFE, 0xD8}, Bytes{0xFF, 0x50}, Bytes{0xFF}}) {
        EXPECT_THROW(piece_counts(pieces_file({{}, other, rest, other, rest}, 2)), PictureError);
    }
}

TEST(FramePlacesTest, TheNumberOfPiecesIsBounded) {
    Bytes bytes(8 * (2097153 + 1));
    for (size_t at = 0; at < bytes.size(); at += 8) {
        std::copy_n("\xFE\xFF\x00\xE0", 4, bytes.begin() + static_cast<std::ptrdiff_t>(at));
    }
    DicomFile file;
    file.source = memory_source(std::move(bytes));
    file.header.pixels = DicomElement{};
    const auto error = failure_of([&] { dicom_frame_pieces(file); });
    EXPECT_EQ(error.kind(), Failure::kDamaged);
    EXPECT_STREQ(error.what(), "the pixels have more than 2097152 pieces");
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
    EXPECT_EQ(joined->read_at(7, some), 0U);
    EXPECT_EQ(joined->read_at(0, std::span(some).first(1)), 1U);
    EXPECT_EQ(some[0], 100);
}

TEST(JoinedPiecesTest, OnePieceInMemoryIsThereAtOnce) {
    const SharedSource source = memory_source({0, 1, 2, 3, 4, 5});
    const auto memory = [&](std::vector<DicomPiece> pieces, Bytes before = {}) {
        const auto joined = joined_pieces(source, std::move(pieces), std::move(before));
        const auto found = joined->in_memory();
        return Bytes(found.begin(), found.end());
    };
    EXPECT_EQ(memory({{2, 3}}), (Bytes{2, 3, 4}));
    EXPECT_EQ(memory({{2, 3}, {0, 0}}), (Bytes{2, 3, 4}));
    EXPECT_TRUE(memory({{2, 3}, {0, 1}}).empty());
    EXPECT_TRUE(memory({{2, 3}}, {7}).empty());
    EXPECT_TRUE(memory({}).empty());
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
