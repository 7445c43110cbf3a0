// The walk over the elements of DICOM files: every way to write their headers, sequences, and what ends the walk; and
// the values of elements as texts and as numbers.
#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include "runtime/native/formats/dicom/dicom_elements.h"
#include "runtime/native/formats/dicom/dicom_names.h"
#include "tests/unit/formats/dicom_bytes.h"

namespace zelmor::imagework {
namespace {

using namespace dicom_bytes;

constexpr DicomOrder kExplicit{true, false};
constexpr DicomOrder kImplicit{false, false};
constexpr DicomOrder kBigEndian{true, true};

DicomOrder order_of(Written how) {
    return how == Written::kImplicit ? kImplicit : how == Written::kBigEndian ? kBigEndian : kExplicit;
}

struct Walked {
    std::vector<DicomElement> elements;
    uint64_t position;
};
Walked walked(const std::string& text, DicomOrder order = kExplicit, uint64_t at = 0) {
    const std::vector<uint8_t> file = bytes_of(text);
    DicomWalk walk(ByteReader(file), at, order);
    std::vector<DicomElement> found;
    while (const auto element = walk.next()) {
        found.push_back(*element);
    }
    EXPECT_FALSE(walk.next());
    return {found, walk.position()};
}

// The tags with the depths that they lie in: "00100010", ">00080100".
std::string tags(const std::string& text, DicomOrder order = kExplicit) {
    std::string found;
    for (const DicomElement& element : walked(text, order).elements) {
        char tag[16];
        std::snprintf(tag, sizeof tag, "%08X ", element.tag);
        found += std::string(static_cast<size_t>(element.depth), '>') + tag;
    }
    return found;
}

TEST(DicomWalkTest, HeadersOfEveryType) {
    for (const char* type :
         {"AE", "AS", "AT", "CS", "DA", "DS", "DT", "FD", "FL", "IS", "LO", "LT", "OB", "OD", "OF", "OL", "OV",
          "OW", "PN", "SH", "SL", "SS", "ST", "SV", "TM", "UC", "UI", "UL", "UN", "UR", "US", "UT", "UV"}) {
        const bool is_long = std::string_view("OB OD OF OL OV OW SV UC UN UR UT UV").find(type) != std::string::npos;
        const auto code = static_cast<DicomType>(type[0] << 8 | type[1]);
        EXPECT_EQ(has_long_length(code), is_long) << type;
        for (const Written how : {Written::kExplicit, Written::kBigEndian}) {
            const std::string before = "begin";
            const auto found = walked(
                before + element(0x00091002, type, std::string(258, 'x'), how) + element(0x0010ABCD, type, "", how),
                order_of(how), before.size());
            ASSERT_EQ(found.elements.size(), 2U) << type;
            const DicomElement& first = found.elements[0];
            const uint64_t header_size = is_long ? 12 : 8;
            EXPECT_EQ(first.tag, 0x00091002U);
            EXPECT_EQ(first.type, code);
            EXPECT_EQ(first.depth, 0);
            EXPECT_EQ(first.header_at, 5U);
            EXPECT_EQ(first.at, 5 + header_size);
            EXPECT_EQ(first.length, 258U);
            EXPECT_TRUE(first.order.explicit_types);
            EXPECT_EQ(first.order.big_endian, how == Written::kBigEndian);
            EXPECT_EQ(found.elements[1].tag, 0x0010ABCDU);
            EXPECT_EQ(found.elements[1].at, 5 + 2 * header_size + 258);
            EXPECT_EQ(found.position, 5 + 2 * header_size + 258);
        }
    }
    EXPECT_TRUE(has_long_length(dicom_type("SQ")));
}

TEST(DicomWalkTest, HeadersWithoutTypes) {
    const auto found = walked(element(0x00100010, "", "A^B ", Written::kImplicit) +
                                  element(0x00091002, "", std::string(70000, 'x'), Written::kImplicit),
                              kImplicit)
                           .elements;
    ASSERT_EQ(found.size(), 2U);
    EXPECT_EQ(found[0].type, dicom_type("PN"));
    EXPECT_EQ(found[0].at, 8U);
    EXPECT_EQ(found[0].length, 4U);
    EXPECT_FALSE(found[0].order.explicit_types);
    EXPECT_EQ(found[1].type, 0);
    EXPECT_EQ(found[1].header_at, 12U);
    EXPECT_EQ(found[1].at, 20U);
    EXPECT_EQ(found[1].length, 70000U);
}

TEST(DicomWalkTest, SequencesOfEveryForm) {
    for (const Written how : {Written::kExplicit, Written::kImplicit, Written::kBigEndian}) {
        const DicomOrder order = order_of(how);
        const std::string inner = element(0x00080100, "SH", "AB", how);
        const std::string other = element(0x00080102, "SH", "CD", how);
        const std::string end_of_item = delimiter(0xFFFEE00D, 0, how);
        const std::string end = delimiter(0xFFFEE0DD, 0, how);
        const std::string behind = element(0x00100010, "PN", "A^B ", how);
        const std::string open_item = delimiter(0xFFFEE000, kDicomUndefined, how);
        const std::string open = header(0x00081140, "SQ", kDicomUndefined, how);
        const auto sequence = [&](const std::string& content) { return element(0x00081140, "SQ", content, how); };
        const std::string one = "00081140 >00080100 00100010 ";
        EXPECT_EQ(tags(sequence(item(inner, how)) + behind, order), one);
        EXPECT_EQ(tags(sequence(open_item + inner + end_of_item) + behind, order), one);
        EXPECT_EQ(tags(open + item(inner, how) + end + behind, order), one);
        EXPECT_EQ(tags(open + open_item + inner + end_of_item + end + behind, order), one);
        // Nothing in them, several items, and a sequence in an item.
        EXPECT_EQ(tags(sequence("") + behind, order), "00081140 00100010 ");
        EXPECT_EQ(tags(open + end + behind, order), "00081140 00100010 ");
        EXPECT_EQ(tags(sequence(item("", how)) + behind, order), "00081140 00100010 ");
        EXPECT_EQ(tags(sequence(item(inner, how) + item(inner + other, how)) + behind, order),
                  "00081140 >00080100 >00080100 >00080102 00100010 ");
        EXPECT_EQ(tags(sequence(item(inner + sequence(item(other, how)) + inner, how)) + behind, order),
                  "00081140 >00080100 >00081140 >>00080102 >00080100 00100010 ");
        EXPECT_EQ(
            tags(open + open_item + open + open_item + other + end_of_item + end + inner + end_of_item + end + behind,
                 order),
            "00081140 >00081140 >>00080102 >00080100 00100010 ");
    }
}

TEST(DicomWalkTest, SequencesOfATypeThatTheWriterDidNotKnow) {
    // As in files without types, in any file.
    const std::string inside = item(element(0x00100020, "", "AB", Written::kImplicit), Written::kImplicit) +
                               delimiter(0xFFFEE0DD, 0, Written::kImplicit);
    const std::string file = header(0x00091002, "UN", kDicomUndefined) + inside + element(0x00100010, "PN", "A^B ");
    const auto found = walked(file).elements;
    ASSERT_EQ(found.size(), 3U);
    EXPECT_TRUE(found[0].order.explicit_types);
    EXPECT_FALSE(found[1].order.explicit_types);
    EXPECT_EQ(found[1].type, dicom_type("LO"));
    EXPECT_EQ(found[1].depth, 1);
    EXPECT_TRUE(found[2].order.explicit_types);
    EXPECT_EQ(found[2].depth, 0);
    // One whose length is told is a value like others.
    EXPECT_EQ(tags(element(0x00091002, "UN", inside) + element(0x00100010, "PN", "A^B ")), "00091002 00100010 ");
    // In the order of bytes of a file without types.
    const std::string big = header(0x00091002, "UN", kDicomUndefined, Written::kBigEndian) + inside +
                            element(0x00100010, "PN", "A^B ", Written::kBigEndian);
    EXPECT_EQ(tags(big, kBigEndian), "00091002 >00100020 00100010 ");
}

TEST(DicomWalkTest, PixelsInPieces) {
    const std::string pieces = item("1234") + item("56");
    const std::string end = delimiter(0xFFFEE0DD, 0);
    const std::string behind = element(0x00100010, "PN", "A^B ");
    const std::string pixels = header(0x7FE00010, "OB", kDicomUndefined);
    // Outside of all sequences they end the walk; the position is that of the first piece.
    const auto found = walked(pixels + pieces + end + behind);
    ASSERT_EQ(found.elements.size(), 1U);
    EXPECT_EQ(found.elements[0].length, kDicomUndefined);
    EXPECT_EQ(found.position, 12U);
    EXPECT_EQ(tags(pixels + behind), "7FE00010 ");
    // Within an item, as a small picture has them, they are passed over.
    EXPECT_EQ(tags(element(0x00880200, "SQ", item(pixels + pieces + end + behind)) + behind),
              "00880200 >7FE00010 >00100010 00100010 ");
    EXPECT_EQ(tags(element(0x00880200, "SQ", item(pixels + delimiter(0xFFFEE000, kDicomUndefined) + end)) + behind),
              "00880200 >7FE00010 ");
    // Pixels whose length is told are a value like others.
    EXPECT_EQ(tags(element(0x7FE00010, "OW", "1234") + behind), "7FE00010 00100010 ");
}

TEST(DicomWalkTest, WhatHasNoPlaceEndsTheWalk) {
    const std::string inner = element(0x00080100, "SH", "AB");
    const std::string before = element(0x00080102, "SH", "CD");
    const std::string open = header(0x00081140, "SQ", kDicomUndefined);
    const std::string open_item = delimiter(0xFFFEE000, kDicomUndefined);
    const std::string begun = "00080102 ";
    for (const uint32_t tag : {0xFFFEE000U, 0xFFFEE00DU, 0xFFFEE0DDU}) {
        EXPECT_EQ(tags(before + delimiter(tag, 0) + inner), begun) << tag;
    }
    const std::string in_sequence = begun + "00081140 ";
    EXPECT_EQ(tags(before + open + inner), in_sequence);
    EXPECT_EQ(tags(before + open + delimiter(0xFFFEE00D, 0) + inner), in_sequence);
    EXPECT_EQ(tags(before + open + open_item + delimiter(0xFFFEE0DD, 0) + inner), in_sequence);
    EXPECT_EQ(tags(before + open + open_item + item(inner)), in_sequence);
    EXPECT_EQ(tags(before + open + delimiter(0xFFFEE001, 0) + inner), in_sequence);
    // A header that is cut off.
    const std::string longer = element(0x00091002, "OB", "");
    for (const std::string& last : {inner.substr(0, 8), longer}) {
        for (size_t size = 0; size < last.size(); size++) {
            EXPECT_EQ(tags(before + last.substr(0, size)), begun) << size;
        }
    }
    EXPECT_EQ(tags(before + inner.substr(0, 8)), begun + "00080100 ");
    EXPECT_EQ(tags(before + longer), begun + "00091002 ");
    for (size_t size = 0; size < 8; size++) {
        EXPECT_EQ(tags(before + open + open_item.substr(0, size)), in_sequence) << size;
    }
    // Letters of a type.
    for (const char* type : {"@A", "A@", "[A", "A[", "a ", "\0A", "A\0"}) {
        EXPECT_EQ(tags(before + element(0x00100010, std::string(type, 2), "AB")), begun) << type;
    }
    for (const char* type : {"AZ", "ZA"}) {
        EXPECT_EQ(tags(before + element(0x00100010, type, "AB") + inner), begun + "00100010 00080100 ") << type;
    }
}

TEST(DicomWalkTest, TheDepthOfSequencesIsBounded) {
    // Each sequence and each item is a level, and there are 64.
    const auto nested = [](int levels, bool with_last_item = true) {
        std::string file;
        for (int i = 0; i < levels; i++) {
            file += header(0x00081140, "SQ", kDicomUndefined);
            file += with_last_item || i + 1 < levels ? delimiter(0xFFFEE000, kDicomUndefined) : "";
        }
        return walked(file + element(0x00080100, "SH", "AB")).elements;
    };
    ASSERT_EQ(nested(32).size(), 33U);
    EXPECT_EQ(nested(32).back().depth, 32);
    EXPECT_EQ(nested(33).size(), 33U);
    EXPECT_EQ(nested(33).back().depth, 32);
    EXPECT_EQ(nested(33, false).size(), 33U);
}

TEST(DicomNameTest, ElementsThatNoFileOfAPictureHasToTellOf) {
    const std::tuple<DicomTag, DicomType, const char*> rows[] = {
        {0x00020000, dicom_type("UL"), "File Meta Information Group Length"},
        {0x00020016, dicom_type("AE"), "Source Application Entity Title"},
        {0x00320000, dicom_type("UL"), "Study Group Length"},
        {0x7FE00008, dicom_type("OF"), "Float Pixel Data"},
        {0x7FE00009, dicom_type("OD"), "Double Float Pixel Data"},
        {0xFFFCFFFC, dicom_type("OB"), "Data Set Trailing Padding"},
    };
    for (const auto& [tag, type, name] : rows) {
        const DicomName* found = dicom_name(tag);
        ASSERT_NE(found, nullptr) << name;
        EXPECT_EQ(found->type, type) << name;
        EXPECT_STREQ(found->name, name);
    }
    for (const DicomTag tag : {0U, 0x0001FFFFU, 0x00020099U, 0x7FE00011U, 0xFFFCFFFDU, 0xFFFFFFFFU}) {
        EXPECT_EQ(dicom_name(tag), nullptr) << tag;
    }
}

// ---- Values

DicomElement element_of(DicomType type, uint64_t at, size_t length, bool big_endian = false) {
    DicomElement element;
    element.type = type;
    element.at = at;
    element.length = static_cast<uint32_t>(length);
    element.order.big_endian = big_endian;
    return element;
}

std::string text_of(const std::string& value, uint64_t most = kMostDicomText) {
    const auto file = bytes_of("##" + value + "##");
    return dicom_text(ByteReader(file), element_of(dicom_type("LO"), 2, value.size()), most);
}

TEST(DicomElementTest, TextsWithoutTheirPadding) {
    using namespace std::string_literals;
    EXPECT_EQ(text_of("A^B"), "A^B");
    EXPECT_EQ(text_of(" \0 A B\0C \0"s), "A B\0C"s);
    EXPECT_EQ(text_of(" \0"s), "");
    EXPECT_EQ(text_of(""), "");
    EXPECT_EQ(text_of("abcdef", 4), "abcd");
    EXPECT_EQ(text_of("abc  f", 4), "abc");
    EXPECT_EQ(text_of(std::string(1025, 'x')), std::string(1024, 'x'));
    const auto file = bytes_of("abcdef");
    EXPECT_EQ(dicom_text(ByteReader(file), element_of(dicom_type("LO"), 2, 100)), "cdef");
    EXPECT_EQ(dicom_text(ByteReader(file), element_of(dicom_type("LO"), 2, kDicomUndefined)), "");
}

TEST(DicomElementTest, NumbersOfEveryTypeInBothOrders) {
    struct Row {
        const char (&type)[3];
        size_t size;
        std::vector<std::pair<uint64_t, double>> values;  // the bits, and the number that they are
    };
    const Row rows[] = {
        {"US", 2, {{0, 0}, {1, 1}, {0x1234, 4660}, {0xFFFF, 65535}}},
        {"SS", 2, {{0, 0}, {0x7FFF, 32767}, {0x8000, -32768}, {0xFFFF, -1}}},
        {"UL", 4, {{0, 0}, {0x01020304, 16909060}, {0xFFFFFFFF, 4294967295.0}}},
        {"SL", 4, {{0, 0}, {0x7FFFFFFF, 2147483647.0}, {0x80000000, -2147483648.0}}},
        {"FL", 4, {{std::bit_cast<uint32_t>(0.5F), 0.5}, {std::bit_cast<uint32_t>(-1024.25F), -1024.25}}},
        {"FD", 8, {{std::bit_cast<uint64_t>(0.1), 0.1}, {std::bit_cast<uint64_t>(-1e300), -1e300}}},
    };
    for (const Row& row : rows) {
        for (const Written how : {Written::kExplicit, Written::kBigEndian}) {
            std::string value;
            for (const auto& [bits, _] : row.values) {
                value += number(bits, row.size, how);
            }
            const auto file = bytes_of("##" + value);
            const ByteReader in(file);
            const bool big = how == Written::kBigEndian;
            const DicomElement element = element_of(dicom_type(row.type), 2, value.size(), big);
            for (size_t i = 0; i < row.values.size(); i++) {
                EXPECT_EQ(dicom_number(in, element, i), row.values[i].second) << row.type << i;
            }
            EXPECT_EQ(dicom_number(in, element, row.values.size()), std::nullopt) << row.type;
            // A value that is cut off: by its length, by a length that is not told, and by the end of the file.
            const DicomElement shorter = element_of(dicom_type(row.type), 2, row.size - 1, big);
            EXPECT_EQ(dicom_number(in, shorter), std::nullopt) << row.type;
            const DicomElement open = element_of(dicom_type(row.type), 2, kDicomUndefined, big);
            EXPECT_EQ(dicom_number(in, open), std::nullopt) << row.type;
            const DicomElement beyond = element_of(dicom_type(row.type), 2 + value.size(), row.size, big);
            EXPECT_EQ(dicom_number(in, beyond), std::nullopt) << row.type;
        }
    }
}

TEST(DicomElementTest, NumbersInTexts) {
    const auto file = bytes_of("\\40\\ +2.5\\x\\-1e3 \\\\+ 7\\inf\\1e999\\9x\\   ");
    const DicomElement element = element_of(dicom_type("DS"), 0, file.size());
    const std::vector<std::optional<double>> expected = {{}, 40.0, 2.5, {}, -1000.0, {}, 7.0, {}, {}, 9.0, {}, {}};
    for (size_t i = 0; i < expected.size(); i++) {
        EXPECT_EQ(dicom_number(ByteReader(file), element, i), expected[i]) << i;
    }
}

TEST(DicomElementTest, CountsThatFit) {
    const auto file = bytes_of("4294967295\\4294967296\\-1\\0\\-0.5\\7.9\\x");
    const DicomElement element = element_of(dicom_type("IS"), 0, file.size());
    const std::vector<uint32_t> expected = {4294967295U, 0, 0, 0, 0, 7, 0, 0};
    for (size_t i = 0; i < expected.size(); i++) {
        EXPECT_EQ(dicom_count(ByteReader(file), element, i), expected[i]) << i;
    }
}

}  // namespace
}  // namespace zelmor::imagework
