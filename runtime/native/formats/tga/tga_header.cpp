// Reading and judging the header; see tga_header.h.
#include "runtime/native/formats/tga/tga_header.h"

#include <cassert>

namespace zelmor::imagework {
namespace {

constexpr int kReservedInterleave = 8;

bool is_huffman(uint8_t image_type) {
    return image_type == kTgaIndexedHuffman || image_type == kTgaIndexedHuffmanQuads;
}

bool is_known(uint8_t image_type) {
    return image_type <= kTgaGray || (image_type >= kTgaIndexedRuns && image_type <= kTgaGrayRuns) ||
           is_huffman(image_type);
}

bool is_color_depth(int bits) {
    return bits == 15 || bits == 16 || bits == 24 || bits == 32;
}

bool has_fitting_depth(const TgaHeader& header) {
    if (header.has_indices() || header.is_gray()) {
        return header.depth == 8 || header.depth == 16;
    }
    return is_color_depth(header.depth);
}

}  // namespace

TgaHeader read_tga_header(const ByteReader& file) {
    assert(file.has(0, TgaHeader::kSize));
    const ByteReader in = file.in_order(false);
    TgaHeader header;
    header.id_length = in.u8(0);
    header.map_type = in.u8(1);
    header.image_type = in.u8(2);
    header.map_first = in.u16(3);
    header.map_length = in.u16(5);
    header.map_entry_bits = in.u8(7);
    header.x_origin = in.u16(8);
    header.y_origin = in.u16(10);
    header.width = in.u16(12);
    header.height = in.u16(14);
    header.depth = in.u8(16);
    header.descriptor = in.u8(17);
    return header;
}

bool is_plausible_tga(const TgaHeader& header) {
    if (!is_known(header.image_type) || header.map_type > 1 || header.attribute_bits() > 8) {
        return false;
    }
    const bool map = header.map_type == 1;
    if (map ? !is_color_depth(header.map_entry_bits) || header.map_length == 0
            : header.map_first != 0 || header.map_length != 0 ||
                  (header.map_entry_bits != 0 && !is_color_depth(header.map_entry_bits))) {
        return false;
    }
    if (header.image_type == kTgaEmpty) {
        return map;  // otherwise any zeros would be such a file
    }
    if (is_huffman(header.image_type)) {
        return map && header.width > 0 && header.height > 0 && header.depth == 8;
    }
    return tga_damage(header).empty() && tga_refusal(header).empty();
}

std::string tga_refusal(const TgaHeader& header) {
    if (header.image_type == kTgaEmpty) {
        return "this is a TGA file without a picture (image type 0)";
    }
    if (is_huffman(header.image_type)) {
        return "this is a TGA file with Huffman-coded data (image type " + std::to_string(header.image_type) +
               "), which are not supported";
    }
    if (!is_known(header.image_type)) {
        return "this is a TGA file of the image type " + std::to_string(header.image_type) +
               ", which the format does not define";
    }
    if (!has_fitting_depth(header)) {
        return "this is a TGA file of " + std::to_string(header.depth) + " bits per pixel with the image type " +
               std::to_string(header.image_type) + ", which do not go together";
    }
    if (header.interleave() == kReservedInterleave) {
        return "this is a TGA file whose rows are stored in an order that the format does not define";
    }
    return {};
}

std::string tga_damage(const TgaHeader& header) {
    if (header.width == 0 || header.height == 0) {
        return "the size " + std::to_string(header.width) + " by " + std::to_string(header.height) +
               " is not one of a picture";
    }
    if (header.map_type > 1) {
        return "there is no color map of the type " + std::to_string(header.map_type);
    }
    if (header.has_indices() && (header.map_type == 0 || header.map_length == 0)) {
        return "the pixels are indices, and there is no color map";
    }
    if (header.has_indices() && !is_color_depth(header.map_entry_bits)) {
        return "there is no color map of " + std::to_string(header.map_entry_bits) + " bits per entry";
    }
    return {};
}

TgaAlpha tga_alpha(const TgaHeader& header, const std::optional<TgaExtension>& extension) {
    const int bits = header.color_bits();
    if (bits != 16 && bits != 32) {
        return TgaAlpha::kNone;
    }
    if (extension) {
        switch (extension->attributes()) {
            case TgaAttributes::kNone:
            case TgaAttributes::kIgnored:
                return TgaAlpha::kNone;
            case TgaAttributes::kRetained:
            case TgaAttributes::kAlpha:
                return TgaAlpha::kStraight;
            case TgaAttributes::kPremultiplied:
                return TgaAlpha::kPremultiplied;
        }
    }
    return header.attribute_bits() != 0 ? TgaAlpha::kStraight : TgaAlpha::kNone;
}

int32_t stored_tga_row(const TgaHeader& header, int32_t row) {
    assert(row >= 0 && row < header.height);
    const int32_t at = header.from_top() ? row : header.height - 1 - row;
    const int32_t step = header.interleave();
    int32_t before = 0;  // rows of the passes before
    for (int32_t pass = 0; pass < at % step; pass++) {
        before += (header.height - pass + step - 1) / step;
    }
    return before + at / step;
}

}  // namespace zelmor::imagework
