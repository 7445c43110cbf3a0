// The header of a TGA file: where its fields stand, which files it makes plausible, and what is said of the others.
#include <string>

#include "runtime/native/formats/tga/tga_header.h"
#include "tests/unit/formats/tga_files.h"

namespace zelmor::imagework {
namespace {

TEST(TgaHeaderTest, TheFieldsStandWhereTheFormatHasThem) {
    const std::vector<uint8_t> bytes{0x11, 0x22, 0x33, 0x44, 0x55, 0x66, 0x77, 0x88, 0x99,
                                     0xAA, 0xBB, 0xCC, 0xDD, 0xEE, 0xFF, 0x12, 0x13, 0x14};
    const TgaHeader header = read_tga_header(ByteReader(bytes, true));
    EXPECT_EQ(header.id_length, 0x11);
    EXPECT_EQ(header.map_type, 0x22);
    EXPECT_EQ(header.image_type, 0x33);
    EXPECT_EQ(header.map_first, 0x5544);
    EXPECT_EQ(header.map_length, 0x7766);
    EXPECT_EQ(header.map_entry_bits, 0x88);
    EXPECT_EQ(header.x_origin, 0xAA99);
    EXPECT_EQ(header.y_origin, 0xCCBB);
    EXPECT_EQ(header.width, 0xEEDD);
    EXPECT_EQ(header.height, 0x12FF);
    EXPECT_EQ(header.depth, 0x13);
    EXPECT_EQ(header.descriptor, 0x14);
}

TgaHeader colors() {
    TgaHeader header;
    header.image_type = kTgaColor;
    header.width = 5;
    header.height = 3;
    header.depth = 24;
    return header;
}
TgaHeader indexed(uint8_t type = kTgaIndexed) {
    TgaHeader header = colors();
    header.image_type = type;
    header.depth = 8;
    header.map_type = 1;
    header.map_length = 7;
    header.map_entry_bits = 24;
    return header;
}

TEST(TgaHeaderTest, WhatFollowsFromTheFields) {
    for (int value = 0; value < 256; value++) {
        TgaHeader header = indexed();
        header.descriptor = static_cast<uint8_t>(value);
        EXPECT_EQ(header.attribute_bits(), value % 16);
        EXPECT_EQ(header.from_right(), value / 16 % 2 == 1);
        EXPECT_EQ(header.from_top(), value / 32 % 2 == 1);
        EXPECT_EQ(header.interleave(), 1 << value / 64);
        header.image_type = static_cast<uint8_t>(value);
        EXPECT_EQ(header.has_runs(), value >= 9 && value <= 11);
        EXPECT_EQ(header.has_indices(), value == 1 || value == 9);
        EXPECT_EQ(header.is_gray(), value == 3 || value == 11);
        EXPECT_EQ(header.color_bits(), value == 1 || value == 9 ? 24 : 8);
    }
    for (const auto& [bits, bytes] : {std::pair{8, 1U}, {15, 2U}, {16, 2U}, {24, 3U}, {32, 4U}, {1, 1U}, {9, 2U}}) {
        TgaHeader header = indexed();
        header.depth = header.map_entry_bits = static_cast<uint8_t>(bits);
        header.id_length = 200;
        EXPECT_EQ(header.pixel_bytes(), bytes);
        EXPECT_EQ(header.row_bytes(), 5 * bytes);
        EXPECT_EQ(header.map_entry_bytes(), bytes);
        EXPECT_EQ(header.map_at(), 218U);
        EXPECT_EQ(header.map_bytes(), 7 * bytes);
        EXPECT_EQ(header.pixels_at(), 218 + 7 * bytes);
        header.map_type = 0;
        EXPECT_EQ(header.pixels_at(), 218U);
    }
}

TEST(TgaHeaderTest, EveryTypeWithEveryDepth) {
    for (int type = 0; type < 256; type++) {
        for (int depth = 0; depth < 256; depth++) {
            const bool is_indexed = type == 1 || type == 9;
            TgaHeader header = is_indexed ? indexed() : colors();
            header.image_type = static_cast<uint8_t>(type);
            header.depth = static_cast<uint8_t>(depth);
            const bool narrow = is_indexed || type == 3 || type == 11;
            const bool known = narrow || type == 2 || type == 10;
            const bool fits =
                narrow ? depth == 8 || depth == 16 : depth == 15 || depth == 16 || depth == 24 || depth == 32;
            std::string text;
            if (type == 0) {
                text = "this is a TGA file without a picture (image type 0)";
            } else if (type == 32 || type == 33) {
                text = "this is a TGA file with Huffman-coded data (image type " + std::to_string(type) +
                       "), which are not supported";
            } else if (!known) {
                text = "this is a TGA file of the image type " + std::to_string(type) +
                       ", which the format does not define";
            } else if (!fits) {
                text = "this is a TGA file of " + std::to_string(depth) + " bits per pixel with the image type " +
                       std::to_string(type) + ", which do not go together";
            }
            ASSERT_EQ(tga_refusal(header), text);
            ASSERT_EQ(is_plausible_tga(header), text.empty()) << type << " " << depth;
            // With a map, a file without a picture and one of the other codings are plausible, and not read.
            TgaHeader map = indexed(static_cast<uint8_t>(type));
            map.depth = static_cast<uint8_t>(depth);
            ASSERT_EQ(is_plausible_tga(map), type == 0 ? true : type == 32 || type == 33 ? depth == 8 : known && fits);
        }
    }
}

TEST(TgaHeaderTest, FieldsThatMakeAFileImplausible) {
    const auto plausible = [](TgaHeader header, auto TgaHeader::*field, int value) {
        header.*field = static_cast<std::remove_reference_t<decltype(header.*field)>>(value);
        return is_plausible_tga(header);
    };
    for (int value = 0; value < 256; value++) {
        const bool entry = value == 15 || value == 16 || value == 24 || value == 32;
        EXPECT_EQ(plausible(colors(), &TgaHeader::map_type, value), value == 0);
        EXPECT_EQ(plausible(indexed(), &TgaHeader::map_type, value), value == 1);
        EXPECT_EQ(plausible(colors(), &TgaHeader::map_entry_bits, value), value == 0 || entry);
        EXPECT_EQ(plausible(indexed(), &TgaHeader::map_entry_bits, value), entry);
        EXPECT_EQ(plausible(colors(), &TgaHeader::descriptor, value), value % 16 <= 8 && value / 64 != 3) << value;
        EXPECT_TRUE(plausible(colors(), &TgaHeader::id_length, value));
        EXPECT_TRUE(plausible(colors(), &TgaHeader::x_origin, value));
        EXPECT_TRUE(plausible(indexed(), &TgaHeader::map_first, value));
        EXPECT_EQ(plausible(colors(), &TgaHeader::map_first, value), value == 0);
        EXPECT_EQ(plausible(colors(), &TgaHeader::map_length, value), value == 0);
        EXPECT_EQ(plausible(indexed(), &TgaHeader::map_length, value), value != 0);
        for (const TgaHeader& header : {colors(), indexed(), indexed(kTgaIndexedHuffman)}) {
            EXPECT_EQ(plausible(header, &TgaHeader::width, value), value != 0);
            EXPECT_EQ(plausible(header, &TgaHeader::height, value), value != 0);
        }
    }
}

TEST(TgaHeaderTest, WhatIsDamage) {
    const auto damage = [](TgaHeader header, auto TgaHeader::*field, int value) {
        header.*field = static_cast<std::remove_reference_t<decltype(header.*field)>>(value);
        return tga_damage(header);
    };
    for (const TgaHeader& header : {colors(), indexed(), indexed(kTgaIndexedRuns)}) {
        EXPECT_EQ(tga_damage(header), "");
        EXPECT_EQ(damage(header, &TgaHeader::width, 0), "the size 0 by 3 is not one of a picture");
        EXPECT_EQ(damage(header, &TgaHeader::height, 0), "the size 5 by 0 is not one of a picture");
        EXPECT_EQ(damage(header, &TgaHeader::map_type, 2), "there is no color map of the type 2");
        const bool needs = header.has_indices();
        const std::string none = needs ? "the pixels are indices, and there is no color map" : "";
        EXPECT_EQ(damage(header, &TgaHeader::map_type, 0), none);
        EXPECT_EQ(damage(header, &TgaHeader::map_length, 0), none);
        for (const int bits : {0, 8, 14, 17, 23, 25, 31, 33, 255}) {
            EXPECT_EQ(damage(header, &TgaHeader::map_entry_bits, bits),
                      needs ? "there is no color map of " + std::to_string(bits) + " bits per entry" : "");
        }
        for (const int bits : {15, 16, 24, 32}) {
            EXPECT_EQ(damage(header, &TgaHeader::map_entry_bits, bits), "");
        }
    }
    TgaHeader rows = colors();
    rows.descriptor = 0xC0;
    EXPECT_EQ(tga_refusal(rows),
              "this is a TGA file whose rows are stored in an order that the format does not define");
}

TEST(TgaHeaderTest, WhatTheAttributeBitsMean) {
    for (const int depth : {8, 15, 16, 24, 32}) {
        for (uint8_t bits = 0; bits < 9; bits++) {
            TgaHeader header = colors();
            header.depth = static_cast<uint8_t>(depth);
            header.descriptor = bits;
            const bool has = depth == 16 || depth == 32;
            const TgaAlpha straight = has ? TgaAlpha::kStraight : TgaAlpha::kNone;
            EXPECT_EQ(tga_alpha(header, std::nullopt), bits != 0 ? straight : TgaAlpha::kNone);
            for (uint8_t value = 0; value < 7; value++) {
                TgaExtension extension;
                extension.set_attributes(TgaAttributes{value});
                const TgaAlpha expected = !has         ? TgaAlpha::kNone
                                          : value < 2  ? TgaAlpha::kNone
                                          : value < 4  ? TgaAlpha::kStraight
                                          : value == 4 ? TgaAlpha::kPremultiplied
                                          : bits != 0  ? TgaAlpha::kStraight
                                                       : TgaAlpha::kNone;
                EXPECT_EQ(tga_alpha(header, extension), expected) << depth << " " << int{bits} << " " << int{value};
                TgaHeader map = indexed();
                map.map_entry_bits = static_cast<uint8_t>(depth);
                map.descriptor = bits;
                EXPECT_EQ(tga_alpha(map, extension), expected);
            }
        }
    }
}

// Old files have every second or fourth row first: those of the first pass, then those behind them.
TEST(TgaHeaderTest, TheOrderOfRows) {
    for (const int step : {1, 2, 4}) {
        for (const bool top : {false, true}) {
            for (uint16_t height = 1; height < 14; height++) {
                TgaHeader header = colors();
                header.height = height;
                header.descriptor = static_cast<uint8_t>((step == 1 ? 0 : step == 2 ? 0x40 : 0x80) | (top ? 0x20 : 0));
                std::vector<int> order;  // the row, from the edge where the file begins, of each stored one
                for (int pass = 0; pass < step; pass++) {
                    for (int row = pass; row < height; row += step) {
                        order.push_back(row);
                    }
                }
                for (int stored = 0; stored < height; stored++) {
                    const int from_edge = order[static_cast<size_t>(stored)];
                    const int row = top ? from_edge : height - 1 - from_edge;
                    EXPECT_EQ(stored_tga_row(header, row), stored) << step << " " << height;
                }
            }
        }
    }
}

}  // namespace
}  // namespace zelmor::imagework
