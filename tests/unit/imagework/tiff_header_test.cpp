// What the directories of a TIFF file say, entry by entry, in all four ways to write them: the facts of a page, the
// settings that write it again, where the pages are, and where the file ends.
#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <tuple>
#include <vector>

#include "runtime/native/formats/tiff/tiff_directories.h"
#include "runtime/native/formats/tiff/tiff_encoding.h"
#include "runtime/native/formats/tiff/tiff_end.h"
#include "runtime/native/imagework/limits.h"
#include "tests/unit/imagework/tiff_bytes.h"

namespace zelmor::imagework {
namespace {

using Bytes = std::vector<uint8_t>;
using Values = std::vector<TiffValue>;

constexpr std::pair<bool, bool> kForms[] = {{false, false}, {true, false}, {false, true}, {true, true}};

// A page of 9 by 7 gray samples, with other entries or without some.
Values gray(const Values& other = {}, const std::vector<uint16_t>& without = {}) {
    Values values = {{256, 3, {9}}, {257, 3, {7}}, {258, 3, {8}}, {259, 3, {1}}, {262, 3, {1}}, {277, 3, {1}}};
    std::erase_if(values, [&](const TiffValue& value) {
        return std::find(without.begin(), without.end(), value.tag) != without.end() ||
               std::any_of(other.begin(), other.end(), [&](const TiffValue& each) { return each.tag == value.tag; });
    });
    values.insert(values.end(), other.begin(), other.end());
    return values;
}

FileFacts facts_of(const Values& values, bool big_endian = false, bool big = false) {
    TiffBytes file(big_endian, big);
    const uint64_t at = file.page(values);
    return probe_tiff_page(ByteReader(file.bytes), at);
}

TiffEncoding settings_of(const Values& values) {
    const FileFacts facts = facts_of(values);
    EXPECT_TRUE(facts.readable);
    return facts.encoding ? facts.encoding->get<TiffEncoding>() : TiffEncoding{};
}

TEST(TiffFactsTest, AllEntriesInAllForms) {
    for (const auto& [big_endian, big] : kForms) {
        const FileFacts facts = facts_of({{256, 4, {70000}},
                                          {257, 3, {7}},
                                          {258, 3, {16, 16, 16}},
                                          {259, 3, {5}},
                                          {262, 3, {2}},
                                          {266, 3, {2}},
                                          {277, 3, {3}},
                                          {278, 3, {4}},
                                          {282, 5, {300, 2}},
                                          {283, 5, {100, 4}},
                                          {284, 3, {2}},
                                          tiff_text(285, std::string("a page\0more", 11)),
                                          {292, 4, {0x01020304}},
                                          {296, 3, {3}},
                                          {317, 3, {2}},
                                          {339, 3, {2, 2, 2}},
                                          {530, 3, {4, 1}}},
                                         big_endian, big);
        EXPECT_TRUE(facts.readable);
        EXPECT_EQ(facts.format, Format::kTiff);
        EXPECT_EQ(facts.variant, big ? Variant::kBigTiff : Variant::kUsual);
        EXPECT_EQ(facts.width, 70000);
        EXPECT_EQ(facts.height, 7);
        EXPECT_EQ(facts.bits_per_pixel, 48);
        EXPECT_FALSE(facts.has_alpha);
        EXPECT_TRUE(facts.has_resolution);
        EXPECT_TRUE(facts.palette.empty());
        TiffEncoding expected;
        expected.of_file = true;
        expected.compression = TiffCompression::kLzw;
        expected.color = TiffColor::kRgb;
        expected.bit_depth = 16;
        expected.numbers = TiffNumbers::kSigned;
        expected.photometric = TiffPhotometric::kRgb;
        expected.predictor = TiffDifferencing::kHorizontal;
        expected.fax3_options = 0x01020304;
        expected.horizontal_subsampling = 4;
        expected.vertical_subsampling = 1;
        expected.big_tiff = big;
        expected.big_endian = big_endian;
        expected.lowest_bit_first = true;
        expected.separate_planes = true;
        expected.rows_per_strip = 4;
        expected.unit = TiffUnit::kCentimeter;
        expected.page_name = "a page";
        EXPECT_EQ(facts.encoding->get<TiffEncoding>(), expected);
    }
}

TEST(TiffFactsTest, WhatHoldsWhereAFileDoesNotTell) {
    const FileFacts facts = facts_of({{256, 3, {9}}, {257, 3, {7}}});
    EXPECT_TRUE(facts.readable);
    EXPECT_EQ(facts.bits_per_pixel, 1);
    EXPECT_FALSE(facts.has_resolution);
    TiffEncoding expected;
    expected.of_file = true;
    expected.compression = TiffCompression::kNone;
    expected.color = TiffColor::kBilevel;
    expected.bit_depth = 1;
    expected.numbers = TiffNumbers::kUnsigned;
    expected.photometric = TiffPhotometric::kMinIsBlack;
    expected.rows_per_strip = 7;
    expected.unit = TiffUnit::kNone;
    EXPECT_EQ(facts.encoding->get<TiffEncoding>(), expected);
}

TEST(TiffFactsTest, NumbersThatAPictureCanHave) {
    const std::pair<Values, bool> rows[] = {
        {{}, true},
        {{{256, 3, {0}}}, false},
        {{{256, 3, {1}}}, true},
        {{{257, 3, {0}}}, false},
        {{{257, 3, {1}}}, true},
        {{{256, 4, {0x7FFFFFFF}}}, true},
        {{{256, 4, {0x80000000}}}, false},
        {{{257, 4, {0x7FFFFFFF}}}, true},
        {{{257, 4, {0x80000000}}}, false},
        {{{258, 3, {0}}}, false},
        {{{258, 3, {64}}}, true},
        {{{258, 3, {65}}}, false},
        {{{277, 3, {0}}}, false},
        {{{277, 3, {64}}}, true},
        {{{277, 3, {65}}}, false},
        // Types of other widths; a number of a type that there is not counts as a byte.
        {{{256, 1, {200}}}, true},
        {{{256, 16, {200}}}, true},
    };
    for (size_t i = 0; i < std::size(rows); i++) {
        const FileFacts facts = facts_of(gray(rows[i].first));
        EXPECT_EQ(facts.readable, rows[i].second) << "row " << i;
        EXPECT_EQ(facts.encoding.has_value(), rows[i].second) << "row " << i;
        EXPECT_EQ(facts.format, Format::kTiff);
    }
    EXPECT_FALSE(facts_of(gray({}, {256})).readable);
    EXPECT_FALSE(facts_of(gray({}, {257})).readable);
    EXPECT_EQ(facts_of(gray({{256, 16, {200}}})).width, 200);
    EXPECT_EQ(facts_of(gray({{256, 1, {200}}})).width, 200);
    EXPECT_EQ(facts_of(gray({{256, 4, {0x7FFFFFFF}}})).width, 0x7FFFFFFF);
    // The values of an entry that is there twice are those of the last.
    EXPECT_EQ(facts_of({{256, 3, {9}}, {257, 3, {7}}, {256, 3, {5}}}).width, 5);
}

TEST(TiffFactsTest, FilesThatAreCutOff) {
    TiffBytes file;
    const uint64_t at = file.page(gray({{282, 5, {72, 1}}}));
    const auto readable = [&](size_t size) {
        return probe_tiff_page(ByteReader(std::span(file.bytes).first(size)), at).readable;
    };
    // The values that stand in the entries are enough; those behind the directory are missed.
    EXPECT_TRUE(readable(file.bytes.size()));
    EXPECT_FALSE(readable(at + 2 + 12));
    EXPECT_FALSE(readable(at + 1));
    EXPECT_FALSE(readable(0));
    TiffBytes big(false, true);
    const uint64_t directory = big.page(gray());
    EXPECT_TRUE(probe_tiff_page(ByteReader(big.bytes), directory).readable);
    // As many entries as no directory has.
    big.set(directory, limits::kEntries, 8);
    EXPECT_TRUE(probe_tiff_page(ByteReader(big.bytes), directory).readable);
    big.set(directory, limits::kEntries + 1, 8);
    EXPECT_FALSE(probe_tiff_page(ByteReader(big.bytes), directory).readable);
}

TEST(TiffFactsTest, ColorsAndAlpha) {
    using P = TiffPhotometric;
    using T = TiffColor;
    struct Row {
        P photometric;
        uint64_t samples;
        uint64_t bits;
        T color;
        bool alpha;
    };
    const Row rows[] = {
        {P::kMinIsWhite, 1, 1, T::kBilevel, false},
        {P::kMinIsWhite, 1, 2, T::kGray, false},
        {P::kMinIsBlack, 1, 1, T::kBilevel, false},
        {P::kMinIsBlack, 1, 8, T::kGray, false},
        {P::kMinIsBlack, 2, 1, T::kGrayAlpha, true},
        {P::kMinIsWhite, 2, 8, T::kGrayAlpha, true},
        {P::kMask, 1, 1, T::kBilevel, false},
        {P::kMask, 2, 8, T::kGrayAlpha, true},
        {P::kLogL, 1, 16, T::kGray, false},
        {P::kLogL, 2, 16, T::kGrayAlpha, true},
        {P::kRgb, 3, 8, T::kRgb, false},
        {P::kRgb, 4, 8, T::kRgba, true},
        {P::kYcbcr, 3, 8, T::kRgb, false},
        {P::kYcbcr, 4, 8, T::kRgba, true},
        {P::kLogLuv, 3, 16, T::kRgb, false},
        {P::kLogLuv, 4, 16, T::kRgba, true},
        {P::kPalette, 1, 4, T::kIndexed, false},
        {P::kPalette, 2, 8, T::kIndexed, false},
        {P::kSeparated, 4, 8, T::kCmyk, false},
        {P::kSeparated, 5, 8, T::kCmyka, true},
        {P::kCieLab, 3, 8, T::kLab, false},
        {P::kCieLab, 4, 8, T::kLab, true},
        {P::kIccLab, 3, 8, T::kLab, false},
        {P::kIccLab, 4, 16, T::kLab, true},
        {static_cast<P>(7), 3, 8, T::kAuto, false},
        {static_cast<P>(10), 4, 8, T::kAuto, false},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(std::to_string(static_cast<int>(row.photometric)) + " " + std::to_string(row.samples));
        const Values more = {
            {262, 3, {static_cast<uint64_t>(row.photometric)}}, {277, 3, {row.samples}}, {258, 3, {row.bits}}};
        const FileFacts facts = facts_of(gray(more));
        const auto& settings = facts.encoding->get<TiffEncoding>();
        EXPECT_EQ(settings.color, row.color);
        EXPECT_EQ(settings.photometric, row.photometric);
        EXPECT_EQ(facts.has_alpha, row.alpha);
        EXPECT_EQ(facts.bits_per_pixel, static_cast<int>(row.bits * row.samples));
        // What the file says of its extra samples counts where there is alpha.
        for (uint64_t kind = 0; kind <= 4; kind++) {
            Values with_kind = more;
            with_kind.push_back({338, 3, {kind}});
            EXPECT_EQ(settings_of(gray(with_kind)).alpha,
                      !row.alpha ? TiffAlpha::kUnassociated : static_cast<TiffAlpha>(std::min<uint64_t>(kind, 2)))
                << kind;
        }
        EXPECT_EQ(settings.alpha, row.alpha ? TiffAlpha::kUnspecified : TiffAlpha::kUnassociated);
    }
}

TEST(TiffFactsTest, Settings) {
    for (const uint64_t number : {1, 2, 3, 4, 5, 6, 7, 8, 32773, 50000}) {
        EXPECT_EQ(settings_of(gray({{259, 3, {number}}})).compression, static_cast<TiffCompression>(number));
    }
    for (const auto& [number, expected] : {std::pair{0, TiffDifferencing::kNone},
                                           {1, TiffDifferencing::kNone},
                                           {2, TiffDifferencing::kHorizontal},
                                           {3, TiffDifferencing::kFloatingPoint},
                                           {4, TiffDifferencing::kNone}}) {
        EXPECT_EQ(settings_of(gray({{317, 3, {static_cast<uint64_t>(number)}}})).predictor, expected) << number;
    }
    for (const auto& [number, expected] : {std::pair{0, TiffNumbers::kUnsigned},
                                           {1, TiffNumbers::kUnsigned},
                                           {2, TiffNumbers::kSigned},
                                           {3, TiffNumbers::kFloatingPoint},
                                           {4, TiffNumbers::kUnsigned}}) {
        EXPECT_EQ(settings_of(gray({{339, 3, {static_cast<uint64_t>(number)}}})).numbers, expected) << number;
    }
    for (const uint64_t number : {0, 1, 2, 3}) {
        EXPECT_EQ(settings_of(gray({{266, 3, {number}}})).lowest_bit_first, number == 2);
        EXPECT_FALSE(settings_of(gray({{284, 3, {number}}})).separate_planes);
        EXPECT_EQ(settings_of(gray({{284, 3, {number}}, {277, 3, {2}}})).separate_planes, number == 2);
    }
    const TiffEncoding sampled = settings_of(gray({{530, 3, {0x0101, 0x0204}}}));
    EXPECT_EQ(std::pair(sampled.horizontal_subsampling, sampled.vertical_subsampling), std::pair(1, 4));
    const TiffEncoding one = settings_of(gray({{530, 3, {1}}}));
    EXPECT_EQ(std::pair(one.horizontal_subsampling, one.vertical_subsampling), std::pair(1, 2));
    EXPECT_EQ(settings_of(gray({tiff_text(285, "")})).page_name, "");
    EXPECT_EQ(settings_of(gray({tiff_text(285, std::string(4097, 'x'))})).page_name, std::string(4096, 'x'));
    EXPECT_EQ(settings_of(gray({{285, 1, {65, 66}}})).page_name, "");
}

TEST(TiffFactsTest, StripsAndTiles) {
    const auto pieces = [](const Values& more) {
        const TiffEncoding settings = settings_of(gray(more));
        return std::tuple(settings.rows_per_strip, settings.tile_width, settings.tile_height);
    };
    EXPECT_EQ(pieces({{278, 3, {6}}}), std::tuple(6, 0, 0));
    EXPECT_EQ(pieces({{278, 3, {7}}}), std::tuple(7, 0, 0));
    EXPECT_EQ(pieces({{278, 4, {0xFFFFFFFF}}}), std::tuple(7, 0, 0));
    EXPECT_EQ(pieces({{322, 3, {16}}, {323, 3, {32}}}), std::tuple(0, 16, 32));
    EXPECT_EQ(pieces({{322, 3, {1}}, {323, 3, {1}}}), std::tuple(0, 1, 1));
    EXPECT_EQ(pieces({{322, 3, {32768}}, {323, 3, {32768}}}), std::tuple(0, 32768, 32768));
    for (const auto& [width, height] : {std::pair{0, 16}, {16, 0}, {32769, 16}, {16, 32769}}) {
        EXPECT_EQ(pieces({{322, 3, {static_cast<uint64_t>(width)}}, {323, 3, {static_cast<uint64_t>(height)}}}),
                  std::tuple(7, 0, 0));
    }
}

TEST(TiffFactsTest, Resolutions) {
    struct Row {
        Values more;
        TiffUnit unit;
        bool known;
        std::optional<Resolution> resolution;
    };
    const TiffValue x{282, 5, {144, 2}};
    const TiffValue y{283, 5, {72, 3}};
    const auto unit = [](uint64_t number) { return TiffValue{296, 3, {number}}; };
    const Row rows[] = {
        {{x, y}, TiffUnit::kInch, true, {}},
        {{x, y, unit(0)}, TiffUnit::kInch, true, {}},
        {{x, y, unit(1)}, TiffUnit::kNone, false, Resolution{72, 24}},
        {{x, y, unit(2)}, TiffUnit::kInch, true, {}},
        {{x, y, unit(3)}, TiffUnit::kCentimeter, true, {}},
        {{x, y, unit(4)}, TiffUnit::kInch, true, {}},
        {{y, unit(2)}, TiffUnit::kNone, false, {}},
        {{x, unit(1)}, TiffUnit::kNone, false, {}},
        {{{282, 5, {0, 2}}, y, unit(1)}, TiffUnit::kNone, false, {}},
        {{x, {283, 5, {72, 0}}, unit(1)}, TiffUnit::kNone, false, {}},
        {{{282, 10, {144, 2}}, {283, 10, {72, 3}}, unit(1)}, TiffUnit::kNone, false, Resolution{72, 24}},
        {{{282, 10, {0xFFFFFF00, 2}}, y, unit(1)}, TiffUnit::kNone, false, {}},
        {{{282, 10, {144, 0xFFFFFFFF}}, y, unit(1)}, TiffUnit::kNone, false, {}},
        {{{282, 3, {144}}, y, unit(1)}, TiffUnit::kNone, false, {}},
        {{{282, 5, {0xFFFFFFFF, 1}}, {283, 5, {1, 0xFFFFFFFF}}, unit(1)},
         TiffUnit::kNone,
         false,
         Resolution{4294967295.0, 1 / 4294967295.0}},
    };
    for (size_t i = 0; i < std::size(rows); i++) {
        const FileFacts facts = facts_of(gray(rows[i].more));
        const auto& settings = facts.encoding->get<TiffEncoding>();
        EXPECT_EQ(settings.unit, rows[i].unit) << "row " << i;
        EXPECT_EQ(facts.has_resolution, rows[i].known) << "row " << i;
        EXPECT_EQ(settings.resolution, rows[i].resolution) << "row " << i;
    }
}

TEST(TiffFactsTest, Palettes) {
    const auto palette = [](uint64_t bits, size_t colors, uint16_t type = 3, uint64_t photometric = 3) {
        Values values = gray({{258, 3, {bits}}, {262, 3, {photometric}}});
        TiffValue map{320, type, {}};
        for (size_t i = 0; i < 3 * colors; i++) {
            map.numbers.push_back((i + 1) << 8 | 0x7F);
        }
        values.push_back(map);
        return facts_of(values).palette;
    };
    const auto two = std::vector<Argb>{0xFF010305, 0xFF020406};
    EXPECT_EQ(palette(1, 2), two);
    EXPECT_EQ(palette(2, 4), (std::vector<Argb>{0xFF010509, 0xFF02060A, 0xFF03070B, 0xFF04080C}));
    EXPECT_EQ(palette(8, 256).size(), 256U);
    EXPECT_EQ(palette(8, 85).size(), 0U);
    EXPECT_EQ(palette(9, 512).size(), 0U);
    EXPECT_EQ(palette(1, 3).size(), 0U);
    EXPECT_EQ(palette(1, 1).size(), 0U);
    EXPECT_EQ(palette(1, 2, 4).size(), 0U);
    EXPECT_EQ(palette(1, 2, 3, 1).size(), 0U);
    // A table that is cut off.
    TiffBytes file;
    const uint64_t at =
        file.page(gray({{262, 3, {3}}, {258, 3, {1}}, {320, 3, {1 << 8, 2 << 8, 3 << 8, 4 << 8, 5 << 8, 6 << 8}}}));
    EXPECT_EQ(probe_tiff_page(ByteReader(file.bytes), at).palette, two);
    file.bytes.pop_back();
    EXPECT_TRUE(probe_tiff_page(ByteReader(file.bytes), at).palette.empty());
}

// The luminance table that T.81 publishes in its annex K, in the order of the zigzag: encoders call it quality 50.
constexpr uint8_t kAnnexK[] = {16, 11, 12,  14,  12,  10, 16, 14,  13,  14,  18,  17,  16, 19,  24,  40,
                               26, 24, 22,  22,  24,  49, 35, 37,  29,  40,  58,  51,  61, 60,  57,  51,
                               56, 55, 64,  72,  92,  78, 64, 68,  87,  69,  55,  56,  80, 109, 81,  87,
                               95, 98, 103, 104, 103, 62, 77, 113, 121, 112, 100, 120, 92, 101, 103, 99};

TEST(TiffFactsTest, QualityOfTheTablesOfJpeg) {
    const auto quality = [](const std::vector<uint64_t>& stream, uint64_t compression = 7) {
        return settings_of(gray({{259, 3, {compression}}, {347, 7, stream}})).quality;
    };
    const auto table = [](bool wide, uint64_t length, size_t values = 64) {
        std::vector<uint64_t> bytes = {0xFF, 0xDB, length >> 8, length & 0xFF, wide ? 0x10U : 0U};
        for (size_t i = 0; i < values; i++) {
            if (wide) {
                bytes.push_back(0);
            }
            bytes.push_back(kAnnexK[i]);
        }
        return bytes;
    };
    const auto stream = [](std::initializer_list<std::vector<uint64_t>> pieces) {
        std::vector<uint64_t> bytes = {0xFF, 0xD8};
        for (const auto& piece : pieces) {
            bytes.insert(bytes.end(), piece.begin(), piece.end());
        }
        return bytes;
    };
    const std::vector<uint64_t> huffman = {0xFF, 0xC4, 0, 5, 1, 2, 3};
    EXPECT_EQ(quality(stream({table(false, 67)})), 50);
    EXPECT_EQ(quality(stream({table(true, 131)})), 50);
    EXPECT_EQ(quality(stream({huffman, table(false, 67)})), 50);
    // No table, a marker that is too short for one, one that is cut off, and another compression.
    EXPECT_EQ(quality(stream({})), 75);
    EXPECT_EQ(quality(stream({huffman})), 75);
    EXPECT_EQ(quality(stream({table(false, 66)})), 75);
    EXPECT_EQ(quality(stream({table(false, 67)}), 1), 75);
    TiffBytes file;
    const uint64_t at = file.page(gray({{259, 3, {7}}, {347, 7, stream({table(false, 67)})}}));
    const auto cut = [&](size_t less) {
        const auto facts = probe_tiff_page(ByteReader(std::span(file.bytes).first(file.bytes.size() - less)), at);
        return facts.encoding->get<TiffEncoding>().quality;
    };
    EXPECT_EQ(cut(0), 50);
    EXPECT_EQ(cut(1), 75);
}

// ---- Where the pages are

TEST(TiffDirectoriesTest, AllPagesInTheirOrder) {
    for (const auto& [big_endian, big] : kForms) {
        TiffBytes file(big_endian, big);
        std::vector<uint64_t> expected;
        for (int i = 0; i < 3; i++) {
            expected.push_back(file.page(gray({{282, 5, {72, 1}}})));
        }
        EXPECT_EQ(tiff_directories(ByteReader(file.bytes)), expected);
        // A chain that comes back ends, and one that leaves the file has its last page there.
        file.set(file.next(), expected[1], file.word());
        EXPECT_EQ(tiff_directories(ByteReader(file.bytes)), expected);
        file.set(file.next(), 100000, file.word());
        expected.push_back(100000);
        EXPECT_EQ(tiff_directories(ByteReader(file.bytes)), expected);
        // So has a file that ends within the link to the next page.
        const auto head = std::span(file.bytes).first(expected[1] + (big ? 8 : 2));
        EXPECT_EQ(tiff_directories(ByteReader(head)), (std::vector{expected[0], expected[1]}));
    }
    EXPECT_TRUE(tiff_directories(ByteReader(TiffBytes().bytes)).empty());
    TiffBytes big(false, true);
    const uint64_t first = big.page(gray());
    const uint64_t second = big.page(gray());
    EXPECT_EQ(tiff_directories(ByteReader(big.bytes)), (std::vector{first, second}));
    big.set(first, limits::kEntries + 1, 8);
    EXPECT_EQ(tiff_directories(ByteReader(big.bytes)), std::vector{first});
}

// ---- The end of the file

uint64_t end_of(const Bytes& file) {
    FileFacts facts;
    facts.format = Format::kTiff;
    return tiff_end(facts)->needed(file);
}

// More is asked for as long as the file is cut, and never more than it has; what comes behind it changes nothing.
void expect_end(Bytes file, uint64_t end) {
    ASSERT_LE(end, file.size());
    for (size_t size = 0; size < end; size++) {
        const uint64_t needed = end_of(Bytes(file.begin(), file.begin() + static_cast<std::ptrdiff_t>(size)));
        ASSERT_GT(needed, size);
        ASSERT_LE(needed, std::max<uint64_t>(16, end)) << size;
    }
    file.resize(file.size() + 100, 0xFF);
    EXPECT_EQ(end_of(file), end);
}

TEST(TiffEndTest, DirectoriesAndTheirValues) {
    for (const auto& [big_endian, big] : kForms) {
        TiffBytes plain(big_endian, big);
        plain.page(gray());
        expect_end(plain.bytes, plain.bytes.size());
        // Values of every type behind the directory; of a type that there is not they are nowhere.
        for (uint16_t type = 1; type <= 18; type++) {
            TiffBytes file(big_endian, big);
            file.page(gray({{700, type, std::vector<uint64_t>(20, 1)}}));
            const size_t without = file.bytes.size() - 20;
            expect_end(file.bytes, type == 14 || type == 15 ? without : file.bytes.size());
        }
        TiffBytes file(big_endian, big);
        file.page(gray({{282, 5, {72, 1}}}));
        file.page(gray({{282, 5, {72, 1}}, {700, 1, std::vector<uint64_t>(30, 1)}}));
        expect_end(file.bytes, file.bytes.size());
    }
}

TEST(TiffEndTest, PiecesOfThePicture) {
    for (const auto& [big_endian, big] : kForms) {
        for (const auto& [offsets, sizes] : {std::pair<uint16_t, uint16_t>{273, 279}, {324, 325}, {513, 514}}) {
            for (const uint16_t type : {uint16_t{3}, uint16_t{4}}) {
                TiffBytes file(big_endian, big);
                file.page(gray({{offsets, type, {600, 500}}, {sizes, type, {20, 50}}}));
                file.bytes.resize(700);
                expect_end(file.bytes, 620);
            }
            // One without a size has no end.
            TiffBytes open(big_endian, big);
            open.page(gray({{offsets, 3, {600, 500}}, {sizes, 3, {20}}}));
            EXPECT_EQ(end_of(open.bytes), PictureEnd::kUnknown);
            TiffBytes none(big_endian, big);
            none.page(gray({{offsets, 3, {600}}}));
            EXPECT_EQ(end_of(none.bytes), PictureEnd::kUnknown);
            TiffBytes only_sizes(big_endian, big);
            only_sizes.page(gray({{sizes, 3, {600}}}));
            EXPECT_EQ(end_of(only_sizes.bytes), only_sizes.bytes.size());
        }
    }
    TiffBytes beyond(false, true);
    beyond.page(gray({{273, 16, {UINT64_MAX}}, {279, 16, {1}}}));
    EXPECT_EQ(end_of(beyond.bytes), PictureEnd::kUnknown);
}

TEST(TiffEndTest, DirectoriesBelowOthers) {
    for (const auto& [big_endian, big] : kForms) {
        for (const uint16_t tag : {uint16_t{330}, uint16_t{34665}, uint16_t{34853}, uint16_t{40965}}) {
            TiffBytes file(big_endian, big);
            file.page(gray({{tag, 4, {600}}}));
            file.bytes.resize(600);
            const uint64_t below = file.directory({{700, 1, std::vector<uint64_t>(30, 1)}});
            const uint64_t end = file.bytes.size();
            // What comes after one that is no page is nothing.
            file.set(file.next(), 900, file.word());
            file.bytes.resize(1000);
            EXPECT_EQ(below, 600U);
            expect_end(file.bytes, end);
        }
        // Several, of which one lies below another.
        TiffBytes file(big_endian, big);
        file.page(gray({{330, 4, {600, 700}}}));
        file.bytes.resize(600);
        file.directory({{34665, 4, {800}}});
        file.bytes.resize(700);
        file.directory({{330, 4, {600}}});
        file.bytes.resize(800);
        file.directory({{700, 1, std::vector<uint64_t>(30, 1)}});
        expect_end(file.bytes, file.bytes.size());
        TiffBytes other(big_endian, big);
        other.page(gray({{331, 4, {600}}}));
        EXPECT_EQ(end_of(other.bytes), other.bytes.size());
    }
}

TEST(TiffEndTest, ClaimsThatNoFileKeeps) {
    TiffBytes far(false, true);
    far.page(gray({{700, 1, std::vector<uint64_t>(30, 1)}}));
    const uint64_t entry = 16 + 8 + 20 * 6;
    const uint64_t directory = far.bytes.size() - 30;
    for (const auto& [count, at, end] : {std::tuple<uint64_t, uint64_t, uint64_t>{30, uint64_t{1} << 62, directory},
                                         {30, (uint64_t{1} << 62) - 30, uint64_t{1} << 62},
                                         {30, (uint64_t{1} << 62) - 29, directory},
                                         {30, UINT64_MAX - 10, directory},
                                         {UINT64_MAX, directory, directory}}) {
        far.set(entry + 4, count, 8);
        far.set(entry + 12, at, 8);
        EXPECT_EQ(end_of(far.bytes), end) << count << " " << at;
    }
    far.set(entry + 2, 12, 2);  // of 8 bytes each, so that their length overflows
    far.set(entry + 4, (uint64_t{1} << 61) + 1, 8);
    EXPECT_EQ(end_of(far.bytes), directory);
    // Directories beyond all files, and such that have more entries than any directory.
    TiffBytes link(false, true);
    link.set(8, (uint64_t{1} << 62) + 1, 8);
    EXPECT_EQ(end_of(link.bytes), 16U);
    link.set(8, uint64_t{1} << 62, 8);
    EXPECT_EQ(end_of(link.bytes), (uint64_t{1} << 62) + 8);
    link.set(8, 0, 8);
    EXPECT_EQ(end_of(link.bytes), 16U);
    TiffBytes many(false, true);
    many.page(gray());
    many.set(16, limits::kEntries + 1, 8);
    EXPECT_EQ(end_of(many.bytes), 16U);
    many.set(16, limits::kEntries, 8);
    EXPECT_EQ(end_of(many.bytes), 24 + 20 * limits::kEntries + 8);
}

TEST(TiffEndTest, TheLimitCountsAllPages) {
    const auto limit = [](const std::vector<Values>& pages) {
        TiffBytes file;
        for (const Values& page : pages) {
            file.page(page);
        }
        const auto end = tiff_end(FileFacts{});
        const uint64_t before = end->limit();
        EXPECT_LE(end->needed(file.bytes), file.bytes.size());
        return end->limit() - before;
    };
    // The bytes that the values take; and four times the pixels, of rows with 16 bytes each besides.
    const uint64_t values = 6 * 2;
    EXPECT_EQ(limit({gray()}), values + 4 * (9 + 16) * 7);
    EXPECT_EQ(limit({gray(), gray()}), 2 * (values + 4 * (9 + 16) * 7));
    EXPECT_EQ(limit({gray({{258, 3, {16, 16, 16}}, {277, 3, {3}}})}), values + 4 + 4 * (9 * 6 + 16) * 7);
    EXPECT_EQ(limit({gray({}, {258, 277})}), values - 4 + 4 * (9 + 16) * 7);
    EXPECT_EQ(limit({gray({{258, 3, {0}}, {277, 3, {0}}})}), values + 4 * (9 + 16) * 7);
    EXPECT_EQ(limit({gray({{700, 1, std::vector<uint64_t>(30, 1)}})}), values + 30 + 4 * (9 + 16) * 7);
    EXPECT_EQ(limit({gray({}, {256})}), values - 2 + 4 * 16 * 7);
    const uint64_t side = limits::kSide;
    EXPECT_EQ(limit({gray({{256, 4, {side + 1}}, {257, 4, {side}}})}), values + 4 + 4 * (side + 16) * side);
}

}  // namespace
}  // namespace zelmor::imagework
