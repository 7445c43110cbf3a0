// The settings that a TGA file is written with, which are also all that a file says besides its pixels.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_TGA_TGA_ENCODING_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_TGA_TGA_ENCODING_H

#include <cstdint>
#include <optional>
#include <vector>

#include "runtime/native/formats/tga/tga_extension.h"
#include "runtime/native/imagework/formats.h"
#include "runtime/native/imagework/pixels/pixel_form.h"

namespace zelmor::imagework {

// A color map beside pixels that are colors themselves.
struct TgaUnusedMap {
    uint16_t first = 0;
    uint16_t length = 0;
    uint8_t entry_bits = 0;
    std::vector<uint8_t> bytes = {};
    bool operator==(const TgaUnusedMap&) const = default;
};

// A small copy of the picture. Its pixels are stored as those of the picture, but without runs.
struct TgaStamp {
    uint8_t width = 0;
    uint8_t height = 0;
    std::vector<uint8_t> pixels = {};  // empty: the writer makes them of the picture
    bool operator==(const TgaStamp&) const = default;
};

// An entry of the developer area, where programs keep data of their own.
struct TgaTag {
    uint16_t number = 0;
    std::vector<uint8_t> bytes = {};
    bool operator==(const TgaTag&) const = default;
};

struct TgaEncoding {
    static constexpr Format kFormat = Format::kTga;

    // Of a stored pixel: of colors 15, 16, 24 or 32, of gray 8 or 16 (with alpha, or a byte that means nothing), of
    // indices 8 or 16. 0 for the fewest that hold the form of the picture.
    int bits_per_pixel = 0;
    std::optional<ColorModel> bits_of = {};  // of a file: the pixels that it has with these bits
    bool run_length = false;
    bool from_top = false;  // otherwise the last row comes first, as in most files
    bool from_right = false;
    uint16_t x_origin = 0;  // of the picture's lower left corner on a screen
    uint16_t y_origin = 0;
    std::vector<uint8_t> image_id = {};  // at most 255 bytes
    // Of indices.
    int map_entry_bits = 0;  // 15, 16, 24 or 32; 0 for the fewest that hold the palette's colors
    uint16_t map_first = 0;  // entries of the palette before this one are not in the file unless pixels have them
    // Of colors and gray.
    std::optional<TgaUnusedMap> unused_map = {};
    // The areas behind the pixels. They need the footer, which otherwise only tells the version of the format.
    bool footer = true;
    std::optional<TgaExtension> extension = {};
    // These need an extension area.
    std::vector<uint8_t> correction_table = {};  // 256 times A, R, G, B of 16 bits each; empty for none
    std::optional<TgaStamp> stamp = {};
    bool scan_lines = false;  // a table of the offsets of the rows
    std::vector<TgaTag> developer = {};

    bool operator==(const TgaEncoding&) const = default;
};

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_TGA_TGA_ENCODING_H
