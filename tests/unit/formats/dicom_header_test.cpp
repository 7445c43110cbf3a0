// What a DICOM file says of its picture, element by element; which pictures are refused, and by which words; which
// headers contradict themselves; and the form of the picture.
#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <string>
#include <vector>

#include "runtime/native/formats/dicom/dicom_header.h"
#include "tests/unit/formats/dicom_bytes.h"

namespace zelmor::imagework {
namespace {

using namespace dicom_bytes;
using namespace std::string_literals;

const std::string kBegin = std::string(128, 'p') + "DICM";

std::optional<DicomHeader> file_header(const std::string& text) {
    const auto bytes = bytes_of(text);
    return dicom_file_header(ByteReader(bytes));
}

std::string with_syntax(const std::string& uid) {
    return kBegin + element(0x00020001, "OB", "\0\1"s) + element(0x00020010, "UI", uid);
}

TEST(DicomFileHeaderTest, TheMarkAndTheElementsOfTheFileItself) {
    const std::string data = words(0x00080010, {1});
    EXPECT_FALSE(file_header(""));
    EXPECT_FALSE(file_header(kBegin.substr(0, 131)));
    EXPECT_FALSE(file_header(kBegin.substr(1) + "DICM"));
    const std::string head = with_syntax("1.2.840.10008.1.2.1\0"s);
    const auto found = file_header(head + element(0x0002FFFF, "SH", "ABCD") + data);
    ASSERT_TRUE(found);
    EXPECT_EQ(found->data_set_at, head.size() + 12);
    EXPECT_EQ(found->syntax_uid, "1.2.840.10008.1.2.1");
    // Where they end: before another group, before what is no element, and with the file.
    for (const std::string& rest :
         {data, words(0x00030000, {1}), words(0x00010000, {1}), "\2\0\1\0xx"s, "\2\0"s, "\2"s, ""s}) {
        const auto cut = file_header(head + rest);
        ASSERT_TRUE(cut);
        EXPECT_EQ(cut->data_set_at, head.size()) << rest;
        EXPECT_EQ(cut->syntax_uid, "1.2.840.10008.1.2.1");
    }
    // A sequence among them ends them too.
    const auto sequence = file_header(head + element(0x00020099, "SQ", item(words(0x00020010, {1}))) + data);
    ASSERT_TRUE(sequence);
    EXPECT_EQ(sequence->syntax_uid, "1.2.840.10008.1.2.1");
}

TEST(DicomFileHeaderTest, TransferSyntaxes) {
    const auto order = [](const std::string& uid) {
        const auto header = file_header(with_syntax(uid));
        EXPECT_TRUE(header && header->syntax != nullptr) << uid;
        EXPECT_EQ(header->order.explicit_types, header->syntax->order.explicit_types);
        EXPECT_EQ(header->order.big_endian, header->syntax->order.big_endian);
        return std::string(header->order.explicit_types ? "explicit" : "implicit") +
               (header->order.big_endian ? " big" : " little") + (header->syntax->deflated ? " deflated" : "");
    };
    EXPECT_EQ(order(""), "implicit little");
    EXPECT_EQ(order("1.2.840.10008.1.2"), "implicit little");
    EXPECT_EQ(order("1.2.840.113619.5.2"), "implicit little");
    EXPECT_EQ(order("1.2.840.10008.1.2.1"), "explicit little");
    EXPECT_EQ(order("1.2.840.10008.1.2.1.98"), "explicit little");
    EXPECT_EQ(order("1.2.840.10008.1.2.1.99"), "explicit little deflated");
    EXPECT_EQ(order("1.2.840.10008.1.2.2"), "explicit big");
    EXPECT_EQ(order("1.2.840.10008.1.2.5"), "explicit little");
    for (const int number : {50, 51,  53,  55,  57,  70,  80,  81,  90,  91,  92,  93,  94,
                             95, 100, 101, 102, 103, 104, 105, 106, 107, 108, 201, 202, 203}) {
        EXPECT_EQ(order("1.2.840.10008.1.2.4." + std::to_string(number)), "explicit little");
    }
    const auto unknown = file_header(with_syntax("1.2.840.10008.1.2.3"));
    ASSERT_TRUE(unknown);
    EXPECT_EQ(unknown->syntax, nullptr);
}

// ---- The data set

DicomHeader data_set(const std::string& text, bool up_to_pixels = true, Written how = Written::kExplicit) {
    const auto bytes = bytes_of(text);
    DicomHeader header;
    header.order = {how != Written::kImplicit, how == Written::kBigEndian};
    read_dicom_data_set(ByteReader(bytes), header, up_to_pixels);
    return header;
}

std::string text(uint32_t tag, const std::string& value) {
    return element(tag, "DS", value);
}

TEST(DicomDataSetTest, NumbersThatTellOfThePicture) {
    for (const Written how : {Written::kExplicit, Written::kImplicit, Written::kBigEndian}) {
        const std::string frames = element(0x00280008, "IS", "12", how);
        const DicomHeader header = data_set(
            words(0x00280002, {3}, how) + element(0x00280004, "CS", "RGB ", how) + words(0x00280006, {1}, how) +
                frames + words(0x00280010, {258}, how) + words(0x00280011, {515}, how) + words(0x00280100, {16}, how) +
                words(0x00280101, {12}, how) + words(0x00280102, {13}, how) + words(0x00280103, {1}, how) +
                element(0x00281050, "DS", "40\\9", how) + element(0x00281051, "DS", "400.5 ", how) +
                element(0x00281052, "DS", "-1024 ", how) + element(0x00281053, "DS", "2.5 ", how),
            true, how);
        EXPECT_EQ(header.samples, 3);
        EXPECT_EQ(header.photometric, "RGB");
        EXPECT_EQ(header.color, DicomColor::kRgb);
        EXPECT_EQ(header.planar, 1);
        EXPECT_EQ(header.frames, 12);
        EXPECT_EQ(header.rows, 258);
        EXPECT_EQ(header.columns, 515);
        EXPECT_EQ(header.allocated, 16);
        EXPECT_EQ(header.stored, 12);
        EXPECT_EQ(header.high_bit, 13);
        EXPECT_TRUE(header.is_signed);
        EXPECT_EQ(header.window_center, 40);
        EXPECT_EQ(header.window_width, 400.5);
        EXPECT_EQ(header.intercept, -1024);
        EXPECT_EQ(header.slope, 2.5);
        EXPECT_FALSE(header.resolution || header.pixels || header.float_pixels || header.goes_on);
    }
}

TEST(DicomDataSetTest, WhatHoldsWhereAFileDoesNotTell) {
    const DicomHeader nothing = data_set("");
    EXPECT_EQ(nothing.samples, 1);
    EXPECT_EQ(nothing.frames, 1);
    EXPECT_EQ(nothing.intercept, 0);
    EXPECT_EQ(nothing.slope, 1);
    EXPECT_FALSE(nothing.color || nothing.window_center || nothing.window_width || nothing.is_signed);
    // The bits that are stored are all that are allocated, and the highest is the last of them.
    const DicomHeader bits = data_set(words(0x00280100, {16}));
    EXPECT_EQ(bits.stored, 16);
    EXPECT_EQ(bits.high_bit, 15);
    const DicomHeader some = data_set(words(0x00280100, {16}) + words(0x00280101, {12}));
    EXPECT_EQ(some.stored, 12);
    EXPECT_EQ(some.high_bit, 11);
    // Samples of one color are gray.
    EXPECT_EQ(data_set(words(0x00280010, {1})).color, DicomColor::kMonochrome2);
    EXPECT_EQ(data_set(words(0x00280002, {1}) + words(0x00280010, {9})).color, DicomColor::kMonochrome2);
    EXPECT_FALSE(data_set(words(0x00280002, {3}) + words(0x00280010, {9})).color);
    EXPECT_FALSE(data_set(words(0x00280002, {1})).color);
    EXPECT_FALSE(data_set(element(0x00280004, "CS", "ARGB") + words(0x00280010, {9})).color);
    // Numbers that are none.
    for (const char* frames : {"0", "-3", "x"}) {
        EXPECT_EQ(data_set(element(0x00280008, "IS", frames)).frames, 1) << frames;
    }
    EXPECT_EQ(data_set(element(0x00280008, "IS", "4000000000")).frames, 4000000000);
    EXPECT_EQ(data_set(text(0x00281052, "x")).intercept, 0);
    EXPECT_EQ(data_set(text(0x00281053, "x")).slope, 1);
    EXPECT_FALSE(data_set(text(0x00281050, "x")).window_center);
    EXPECT_FALSE(data_set(words(0x00280103, {0})).is_signed);
    EXPECT_FALSE(data_set(words(0x00280103, {2})).is_signed);
    // Counts that would not fit.
    for (const auto& [value, expected] :
         {std::pair{1048575U, 1048575}, {1048576U, 1048576}, {1048577U, 1048576}, {4294967295U, 1048576}}) {
        EXPECT_EQ(data_set(element(0x00280010, "UL", number(value, 4))).rows, expected);
    }
}

TEST(DicomDataSetTest, PhotometricInterpretations) {
    const auto color = [](const std::string& name) { return data_set(element(0x00280004, "CS", name)).color; };
    EXPECT_EQ(color("MONOCHROME1 "), DicomColor::kMonochrome1);
    EXPECT_EQ(color("MONOCHROME2 "), DicomColor::kMonochrome2);
    EXPECT_EQ(color("PALETTE COLOR "), DicomColor::kPalette);
    EXPECT_EQ(color("RGB "), DicomColor::kRgb);
    EXPECT_EQ(color("YBR_FULL"), DicomColor::kYbrFull);
    EXPECT_EQ(color("YBR_FULL_422"), DicomColor::kYbrFull422);
    EXPECT_EQ(color("YBR_PARTIAL_422 "), DicomColor::kYbrPartial422);
    EXPECT_EQ(color("YBR_RCT "), DicomColor::kYbrCoded);
    EXPECT_EQ(color("YBR_ICT "), DicomColor::kYbrCoded);
    for (const char* other : {"", "HSV ", "rgb ", "YBR_PARTIAL_420 ", "MONOCHROME"}) {
        EXPECT_FALSE(color(other)) << other;
    }
}

TEST(DicomDataSetTest, DistancesOfPixels) {
    constexpr uint32_t kImager = 0x00181164;
    constexpr uint32_t kNominal = 0x00182010;
    constexpr uint32_t kPixels = 0x00280030;
    // Between rows, and then between columns, in millimeters.
    for (const uint32_t tag : {kImager, kNominal, kPixels}) {
        EXPECT_EQ(data_set(text(tag, "0.5\\0.25")).resolution, (Resolution{25.4 / 0.25, 25.4 / 0.5})) << tag;
        EXPECT_EQ(data_set(text(tag, "0.0001\\0.0001")).resolution, (Resolution{25.4 / 1e-4, 25.4 / 1e-4}));
        for (const char* wrong :
             {"0.5", "x\\0.5", "0.5\\x", "0\\0.5", "0.5\\0", "-1\\1", "1\\-1", "0.00009\\1", "1\\0.00009"}) {
            EXPECT_FALSE(data_set(text(tag, wrong)).resolution) << wrong;
        }
    }
    const Resolution first{25.4 / 2, 25.4 / 2};
    const Resolution second{25.4 / 4, 25.4 / 4};
    EXPECT_EQ(data_set(text(kImager, "2\\2 ") + text(kNominal, "4\\4 ")).resolution, first);
    EXPECT_EQ(data_set(text(kImager, "x\\2 ") + text(kNominal, "4\\4 ")).resolution, second);
    EXPECT_EQ(data_set(text(kImager, "2\\2 ") + text(kPixels, "4\\4 ")).resolution, second);
    EXPECT_EQ(data_set(text(kNominal, "2\\2 ") + text(kPixels, "x\\4 ")).resolution, first);
}

TEST(DicomDataSetTest, TablesOfAPalette) {
    for (const Written how : {Written::kExplicit, Written::kBigEndian}) {
        for (const bool is_signed : {false, true}) {
            for (const uint64_t entries : {0, 1, 65535}) {
                std::string file = words(0x00280103, {is_signed ? 1U : 0U}, how);
                for (uint32_t band = 0; band < 3; band++) {
                    file += words(0x00281101 + band, {entries, 0xFFF0U + band, 8U + band}, how);
                }
                file += element(0x00281201, "OW", "abcd", how) + element(0x00281202, "OW", "efghij", how) +
                        element(0x00281223, "OW", "klmnopqr", how);
                const DicomHeader header = data_set(file, true, how);
                for (size_t band = 0; band < 3; band++) {
                    const DicomLookup& lookup = header.palette[band];
                    EXPECT_EQ(lookup.entries, entries == 0 ? 65536 : entries);
                    EXPECT_EQ(lookup.first, (is_signed ? -16 : 0xFFF0) + static_cast<int32_t>(band));
                    EXPECT_EQ(lookup.bits, 8 + static_cast<int>(band));
                    EXPECT_EQ(lookup.segmented, band == 2);
                    EXPECT_EQ(lookup.data.length, 4 + 2 * band);
                    EXPECT_EQ(file.substr(lookup.data.at, 1), band == 0 ? "a" : band == 1 ? "e" : "k");
                }
            }
        }
    }
    // Descriptors that are cut off say nothing.
    const std::string whole = words(0x00281102, {3, 0, 16});
    EXPECT_EQ(data_set(whole).palette[1].entries, 3U);
    EXPECT_EQ(data_set(whole.substr(0, whole.size() - 1)).palette[1].entries, 0U);
    EXPECT_EQ(data_set(words(0x00281102, {3, 0}) + words(0x00281103, {4, 0, 16})).palette[1].entries, 0U);
    EXPECT_EQ(data_set(element(0x00281102, "OW", "12345") + "6").palette[1].entries, 0U);
    // All nine elements belong to the table of their color.
    for (uint32_t band = 0; band < 3; band++) {
        EXPECT_TRUE(data_set(element(0x00281221 + band, "OW", "ab")).palette[band].segmented);
        EXPECT_FALSE(data_set(element(0x00281201 + band, "OW", "ab")).palette[band].segmented);
        EXPECT_EQ(data_set(element(0x00281201 + band, "OW", "ab")).palette[band].data.length, 2U);
    }
}

TEST(DicomDataSetTest, WhereThingsLie) {
    const std::string profile = element(0x00282000, "OB", "icc!");
    const std::string offsets = element(0x7FE00001, "OV", std::string(16, '\0'));
    const std::string pixels = element(0x7FE00010, "OW", "abcdef");
    const std::string before = words(0x00280010, {5});
    const DicomHeader header = data_set(before + profile + offsets + pixels + words(0x7FE00011, {1}));
    EXPECT_EQ(header.profile.at, before.size() + 12);
    EXPECT_EQ(header.profile.length, 4U);
    EXPECT_EQ(header.offsets.at, before.size() + profile.size() + 12);
    EXPECT_EQ(header.offsets.length, 16U);
    ASSERT_TRUE(header.pixels);
    EXPECT_EQ(header.pixels->at, before.size() + profile.size() + offsets.size() + 12);
    EXPECT_EQ(header.pixels->length, 6U);
    EXPECT_TRUE(header.goes_on);
    for (const auto& [tag, type] : {std::pair{0x7FE00008U, "OF"}, {0x7FE00009U, "OD"}}) {
        EXPECT_TRUE(data_set(element(tag, type, "12345678")).float_pixels);
    }
    EXPECT_FALSE(header.float_pixels);
}

TEST(DicomDataSetTest, HowFarItIsRead) {
    const std::string rows = words(0x00280010, {5});
    const std::string columns = words(0x00280011, {7});
    const std::string pixels = element(0x7FE00010, "OW", "abcdef");
    // What tells of the picture ends with the group 28.
    for (const uint32_t behind : {0x00290000U, 0x00290010U, 0x00300001U, 0x7FE00001U}) {
        const std::string file = rows + words(behind, {1}) + columns + pixels;
        const DicomHeader part = data_set(file, false);
        EXPECT_EQ(part.rows, 5);
        EXPECT_EQ(part.columns, 0) << behind;
        EXPECT_TRUE(part.goes_on);
        EXPECT_FALSE(part.pixels);
        const DicomHeader whole = data_set(file);
        EXPECT_EQ(whole.columns, 7);
        EXPECT_TRUE(whole.goes_on && whole.pixels);
    }
    const DicomHeader last = data_set(rows + words(0x0028FFFF, {1}) + columns, false);
    EXPECT_EQ(last.columns, 7);
    EXPECT_FALSE(last.goes_on);
    // Nothing behind the pixels counts.
    EXPECT_EQ(data_set(rows + pixels + columns).columns, 0);
    // What lies in sequences is not the picture's.
    const std::string inner = element(0x00080001, "SQ", item(columns + pixels + words(0x00290010, {1})));
    const DicomHeader outside = data_set(inner + rows, false);
    EXPECT_EQ(outside.columns, 0);
    EXPECT_EQ(outside.rows, 5);
    EXPECT_FALSE(outside.pixels || outside.goes_on);
}

TEST(DicomDataSetTest, ValuesOfTheFirstOfManyFrames) {
    const auto values = [](const std::string& center, const std::string& width, const std::string& intercept,
                           const std::string& slope, const std::string& spacing) {
        return item(element(0x00289132, "SQ", item(text(0x00281050, center) + text(0x00281051, width))) +
                    element(0x00289145, "SQ", item(text(0x00281052, intercept) + text(0x00281053, slope))) +
                    element(0x00289110, "SQ", item(text(0x00280030, spacing) + words(0x00280010, {99}))));
    };
    const std::string own = values("40", "400 ", "-5", "2 ", "2\\4 ");
    const std::string other = values("50", "500 ", "-6", "3 ", "3\\5 ");
    for (const uint32_t tag : {0x52009229U, 0x52009230U}) {
        const DicomHeader header = data_set(element(tag, "SQ", own + other));
        EXPECT_EQ(header.window_center, 40);
        EXPECT_EQ(header.window_width, 400);
        EXPECT_EQ(header.intercept, -5);
        EXPECT_EQ(header.slope, 2);
        EXPECT_EQ(header.resolution, (Resolution{25.4 / 4, 25.4 / 2}));
        EXPECT_EQ(header.rows, 0);
    }
    for (const uint32_t tag : {0x52009228U, 0x52009231U, 0x00289132U}) {
        const DicomHeader header = data_set(element(tag, "SQ", own));
        EXPECT_FALSE(header.window_center || header.window_width || header.resolution) << tag;
        EXPECT_EQ(header.intercept, 0);
        EXPECT_EQ(header.slope, 1);
    }
    // What the file says for all frames holds where there is one value only.
    const DicomHeader both = data_set(text(0x00280030, "8\\8 ") + text(0x00281050, "60") + text(0x00281051, "600 ") +
                                      element(0x52009230, "SQ", own));
    EXPECT_EQ(both.window_center, 60);
    EXPECT_EQ(both.window_width, 600);
    EXPECT_EQ(both.resolution, (Resolution{25.4 / 8, 25.4 / 8}));
    const DicomHeader none = data_set(element(0x52009230, "SQ", values("x", "x", "x", "x", "x\\1 ") + own));
    EXPECT_EQ(none.window_center, 40);
    EXPECT_EQ(none.window_width, 400);
    EXPECT_EQ(none.resolution, (Resolution{25.4 / 4, 25.4 / 2}));
    EXPECT_EQ(none.intercept, 0);
    EXPECT_EQ(none.slope, 1);
}

// ---- What is made of the numbers

// A header of a picture, with what a test changes.
DicomHeader sound(const std::function<void(DicomHeader&)>& change = [](DicomHeader&) {}) {
    DicomHeader header;
    header.syntax = dicom_syntax("1.2.840.10008.1.2.1");
    header.syntax_uid = header.syntax->uid;
    header.columns = 10;
    header.rows = 6;
    header.allocated = 16;
    header.stored = 12;
    header.high_bit = 11;
    header.photometric = "MONOCHROME2";
    header.color = DicomColor::kMonochrome2;
    for (DicomLookup& lookup : header.palette) {
        lookup.entries = 1;
        lookup.data.length = 2;
    }
    change(header);
    return header;
}

TEST(DicomHeaderTest, PicturesThatAreNotRead) {
    const auto obstacle = [](const std::function<void(DicomHeader&)>& change) { return dicom_obstacle(sound(change)); };
    const auto with = [](const std::string& text) { return "this is a DICOM file with " + text; };
    EXPECT_EQ(obstacle([](DicomHeader&) {}), "");
    const auto unknown = [&](const std::string& uid) {
        return obstacle([&](DicomHeader& header) {
            header.syntax = nullptr;
            header.syntax_uid = uid;
        });
    };
    EXPECT_EQ(unknown("1.2.3"), with("the unknown transfer syntax 1.2.3"));
    EXPECT_EQ(unknown("~ \x1F\x7F\xFF}"), with("the unknown transfer syntax ~ ???}"));
    EXPECT_EQ(unknown(std::string(64, '1')), with("the unknown transfer syntax " + std::string(64, '1')));
    EXPECT_EQ(unknown(std::string(65, '1')), with("the unknown transfer syntax " + std::string(64, '1')));
    const auto syntax = [&](const std::string& uid) {
        return obstacle([&](DicomHeader& header) { header.syntax = dicom_syntax(uid); });
    };
    const std::string video = "1.2.840.10008.1.2.4.";
    EXPECT_EQ(syntax("1.2.840.10008.1.2.1.98"), with("encapsulated uncompressed pixels, which is not read"));
    EXPECT_EQ(syntax("1.2.840.113619.5.2"), with("implicit little endian with big endian pixels, which is not read"));
    EXPECT_EQ(syntax(video + "92"), with("JPEG 2000 multi-component lossless, which is not read"));
    EXPECT_EQ(syntax(video + "93"), with("JPEG 2000 multi-component, which is not read"));
    for (const auto& [first, last, name] : {std::tuple{94, 95, "pixels on a JPIP server"},
                                            {100, 101, "MPEG-2 video"},
                                            {102, 106, "MPEG-4 video"},
                                            {107, 108, "HEVC video"}}) {
        for (int number = first; number <= last; number++) {
            EXPECT_EQ(syntax(video + std::to_string(number)), with(name + ", which is not read"s));
        }
    }
    for (const char* uid :
         {"1.2.840.10008.1.2", "1.2.840.10008.1.2.2", "1.2.840.10008.1.2.1.99", "1.2.840.10008.1.2.5"}) {
        EXPECT_EQ(syntax(uid), "") << uid;
    }
    for (const int number : {50, 51, 53, 55, 57, 70, 80, 81, 90, 91, 201, 202, 203}) {
        EXPECT_EQ(syntax(video + std::to_string(number)), "") << number;
    }
    // A file that says nothing of a picture at all, though what follows is there.
    const auto empty = [&](bool goes_on, int rows, int columns, const std::string& photometric) {
        return obstacle([&](DicomHeader& header) {
            header.goes_on = goes_on;
            header.rows = rows;
            header.columns = columns;
            header.photometric = photometric;
        });
    };
    EXPECT_EQ(empty(true, 0, 0, ""), "this is a DICOM file without a picture");
    EXPECT_EQ(empty(false, 0, 0, ""), "");
    EXPECT_EQ(empty(true, 1, 0, ""), "");
    EXPECT_EQ(empty(true, 0, 1, ""), "");
    EXPECT_EQ(empty(true, 0, 0, "RGB"), "");
    EXPECT_EQ(obstacle([](DicomHeader& header) { header.float_pixels = true; }),
              with("floating-point samples, which are not read"));
    const auto color = [&](const std::string& name) {
        return obstacle([&](DicomHeader& header) {
            header.photometric = name;
            header.color.reset();
        });
    };
    EXPECT_EQ(color("HSV"), with("the photometric interpretation HSV, which is not read"));
    EXPECT_EQ(color("A\nB" + std::string(70, 'x')),
              with("the photometric interpretation A?B" + std::string(61, 'x') + ", which is not read"));
    EXPECT_EQ(color(""), "");
}

TEST(DicomHeaderTest, BitsThatAreNotRead) {
    for (int bits = 0; bits <= 65; bits++) {
        const bool read = bits == 0 || bits == 1 || bits == 8 || bits == 16 || bits == 24 || bits == 32;
        EXPECT_EQ(dicom_obstacle(sound([&](DicomHeader& header) { header.allocated = bits; })),
                  read ? ""
                       : "this is a DICOM file with " + std::to_string(bits) +
                             " bits allocated for a sample, which are not read");
        for (const char* uid : {"1.2.840.10008.1.2.5", "1.2.840.10008.1.2.4.50"}) {
            const auto compressed = [&](DicomHeader& header) {
                header.allocated = bits;
                header.syntax = dicom_syntax(uid);
            };
            if (read) {
                EXPECT_EQ(dicom_obstacle(sound(compressed)),
                          bits == 1 ? "this is a DICOM file with compressed samples of 1 bit, which are not read" : "");
            }
        }
    }
}

TEST(DicomHeaderTest, NumbersThatMakeSense) {
    using Change = std::function<void(DicomHeader&)>;
    const auto field = [](int DicomHeader::*member, int value) -> Change {
        return [=](DicomHeader& header) { header.*member = value; };
    };
    const auto bits = [](int allocated, int stored, int high) -> Change {
        return [=](DicomHeader& header) {
            header.allocated = allocated;
            header.stored = stored;
            header.high_bit = high;
        };
    };
    const auto color = [](DicomColor color, int samples, const char* syntax, int columns) -> Change {
        return [=](DicomHeader& header) {
            header.color = color;
            header.samples = samples;
            header.syntax = syntax == nullptr ? nullptr : dicom_syntax(syntax);
            header.columns = columns;
        };
    };
    constexpr const char* kRaw = "1.2.840.10008.1.2.1";
    constexpr const char* kRle = "1.2.840.10008.1.2.5";
    constexpr const char* kJpeg = "1.2.840.10008.1.2.4.90";
    const std::pair<Change, bool> rows[] = {
        {[](DicomHeader&) {}, true},
        {[](DicomHeader& header) { header.color.reset(); }, false},
        {field(&DicomHeader::rows, 0), false},
        {field(&DicomHeader::rows, 1), true},
        {field(&DicomHeader::rows, 65535), true},
        {field(&DicomHeader::rows, 65536), false},
        {field(&DicomHeader::columns, 0), false},
        {field(&DicomHeader::columns, 1), true},
        {field(&DicomHeader::columns, 65535), true},
        {field(&DicomHeader::columns, 65536), false},
        {field(&DicomHeader::planar, 1), true},
        {field(&DicomHeader::planar, 2), false},
        {bits(0, 0, -1), false},
        {bits(1, 1, 0), true},
        {bits(8, 0, 0), false},
        {bits(8, 8, 7), true},
        {bits(8, 9, 8), false},
        {bits(16, 12, 10), false},
        {bits(16, 12, 11), true},
        {bits(16, 12, 15), true},
        {bits(16, 12, 16), false},
        {bits(32, 32, 31), true},
        {bits(64, 32, 31), true},
        {bits(64, 33, 32), false},
        {color(DicomColor::kMonochrome1, 1, kRaw, 9), true},
        {color(DicomColor::kMonochrome1, 3, kRaw, 9), false},
        {color(DicomColor::kMonochrome2, 3, kRaw, 9), false},
        {color(DicomColor::kPalette, 3, kRaw, 9), false},
        {color(DicomColor::kRgb, 3, kRaw, 9), true},
        {color(DicomColor::kRgb, 1, kRaw, 9), false},
        {color(DicomColor::kRgb, 4, kRaw, 9), false},
        {color(DicomColor::kYbrFull, 3, kRaw, 9), true},
        {color(DicomColor::kYbrCoded, 3, kJpeg, 9), true},
        {color(DicomColor::kYbrCoded, 3, kRaw, 10), false},
        {color(DicomColor::kYbrCoded, 3, kRle, 10), false},
        {color(DicomColor::kYbrFull422, 3, kRaw, 10), true},
        {color(DicomColor::kYbrFull422, 3, kRaw, 9), false},
        {color(DicomColor::kYbrFull422, 3, kJpeg, 9), true},
        {color(DicomColor::kYbrPartial422, 3, kRaw, 10), true},
        {color(DicomColor::kYbrPartial422, 3, kRaw, 9), false},
        {color(DicomColor::kYbrPartial422, 3, kJpeg, 9), true},
    };
    for (size_t i = 0; i < std::size(rows); i++) {
        EXPECT_EQ(is_sound(sound(rows[i].first)), rows[i].second) << "row " << i;
    }
}

TEST(DicomHeaderTest, PalettesThatMakeSense) {
    const auto palette = [](const std::function<void(DicomLookup&)>& change, size_t band) {
        return is_sound(sound([&](DicomHeader& header) {
            header.color = DicomColor::kPalette;
            change(header.palette[band]);
        }));
    };
    for (size_t band = 0; band < 3; band++) {
        EXPECT_TRUE(palette([](DicomLookup&) {}, band));
        EXPECT_TRUE(palette([](DicomLookup& lookup) { lookup.bits = 16; }, band));
        for (const int bits : {0, 7, 9, 15, 17}) {
            EXPECT_FALSE(palette([&](DicomLookup& lookup) { lookup.bits = bits; }, band)) << bits;
        }
        EXPECT_FALSE(palette([](DicomLookup& lookup) { lookup.entries = 0; }, band));
        EXPECT_FALSE(palette([](DicomLookup& lookup) { lookup.data.length = 0; }, band));
        EXPECT_TRUE(palette([](DicomLookup& lookup) { lookup.data.length = 1; }, band));
    }
    const auto stored = [](int bits) {
        return is_sound(sound([&](DicomHeader& header) {
            header.color = DicomColor::kPalette;
            header.allocated = 32;
            header.stored = bits;
            header.high_bit = bits - 1;
        }));
    };
    EXPECT_TRUE(stored(16));
    EXPECT_FALSE(stored(17));
}

TEST(DicomHeaderTest, TheFormOfThePicture) {
    const auto form = [](DicomColor color, int stored, bool is_signed) {
        return dicom_form(sound([&](DicomHeader& header) {
            header.color = color;
            header.samples = color <= DicomColor::kPalette ? 1 : 3;
            header.allocated = 32;
            header.stored = stored;
            header.high_bit = stored - 1;
            header.is_signed = is_signed;
        }));
    };
    const auto expect = [](const PixelForm& found, ColorModel color, SampleType sample, int bits) {
        EXPECT_EQ(found, (PixelForm{color, sample, bits, false}));
    };
    for (int bits = 1; bits <= 32; bits++) {
        SCOPED_TRACE(bits);
        const int size = bits <= 8 ? 8 : bits <= 16 ? 16 : 32;
        const SampleType plain = size == 8    ? SampleType::kUint8
                                 : size == 16 ? SampleType::kUint16
                                              : SampleType::kUint32;
        const SampleType with_sign = size == 8    ? SampleType::kInt8
                                     : size == 16 ? SampleType::kInt16
                                                  : SampleType::kInt32;
        const bool small = bits == 1 || bits == 2 || bits == 4;
        for (const DicomColor gray : {DicomColor::kMonochrome1, DicomColor::kMonochrome2}) {
            expect(form(gray, bits, false), ColorModel::kGray, plain, small ? bits : size);
            expect(form(gray, bits, true), ColorModel::kGray, with_sign, size);
        }
        expect(form(DicomColor::kRgb, bits, false), ColorModel::kRgb, plain, size);
        expect(form(DicomColor::kRgb, bits, true), ColorModel::kRgb, with_sign, size);
        // Differences of colors are counted from their middle in any case.
        expect(form(DicomColor::kYbrFull, bits, true), ColorModel::kRgb, plain, size);
        expect(form(DicomColor::kYbrPartial422, bits, true), ColorModel::kRgb, plain, size);
    }
    const auto of_palette = [](int stored, std::array<int, 3> bits) {
        return dicom_form(sound([&](DicomHeader& header) {
            header.color = DicomColor::kPalette;
            header.stored = stored;
            header.high_bit = stored - 1;
            for (size_t band = 0; band < 3; band++) {
                header.palette[band].bits = bits[band];
            }
        }));
    };
    for (const int bits : {1, 4, 8}) {
        expect(of_palette(bits, {16, 16, 16}), ColorModel::kIndexed, SampleType::kUint8, 8);
    }
    for (const int bits : {9, 16}) {
        expect(of_palette(bits, {8, 8, 8}), ColorModel::kRgb, SampleType::kUint8, 8);
        expect(of_palette(bits, {16, 8, 8}), ColorModel::kRgb, SampleType::kUint16, 16);
        expect(of_palette(bits, {8, 8, 16}), ColorModel::kRgb, SampleType::kUint16, 16);
    }
}

TEST(DicomHeaderTest, BitsOfAFrame) {
    const auto bits = [](DicomColor color, int samples) {
        return sound([&](DicomHeader& header) {
                   header.color = color;
                   header.samples = samples;
               })
            .bits_of_frame();
    };
    EXPECT_EQ(bits(DicomColor::kMonochrome2, 1), 10 * 6 * 16);
    EXPECT_EQ(bits(DicomColor::kRgb, 3), 10 * 6 * 3 * 16);
    EXPECT_EQ(bits(DicomColor::kYbrFull, 3), 10 * 6 * 3 * 16);
    // Each pixel has a luminance, and two pixels share the differences.
    EXPECT_EQ(bits(DicomColor::kYbrFull422, 3), 10 * 6 * 2 * 16);
    EXPECT_EQ(bits(DicomColor::kYbrPartial422, 3), 10 * 6 * 2 * 16);
    EXPECT_EQ(sound([](DicomHeader& header) {
                  header.columns = header.rows = 65535;
                  header.allocated = 32;
              }).bits_of_frame(),
              int64_t{65535} * 65535 * 32);
}

}  // namespace
}  // namespace zelmor::imagework
