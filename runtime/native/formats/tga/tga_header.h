// The header of a TGA file: the 18 bytes at its beginning.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_TGA_TGA_HEADER_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_TGA_TGA_HEADER_H

#include <cstdint>
#include <optional>
#include <string>

#include "runtime/native/formats/tga/tga_extension.h"
#include "runtime/native/imagework/probe/byte_reader.h"

namespace zelmor::imagework {

// The image types of the format.
enum TgaImageType : uint8_t {
    kTgaEmpty = 0,
    kTgaIndexed = 1,
    kTgaColor = 2,
    kTgaGray = 3,
    kTgaIndexedRuns = 9,
    kTgaColorRuns = 10,
    kTgaGrayRuns = 11,
    kTgaIndexedHuffman = 32,
    kTgaIndexedHuffmanQuads = 33,
};

struct TgaHeader {
    static constexpr uint64_t kSize = 18;

    uint8_t id_length = 0;
    uint8_t map_type = 0;  // 0: there is no color map; 1: there is one
    uint8_t image_type = 0;
    uint16_t map_first = 0;
    uint16_t map_length = 0;
    uint8_t map_entry_bits = 0;
    uint16_t x_origin = 0;
    uint16_t y_origin = 0;
    uint16_t width = 0;
    uint16_t height = 0;
    uint8_t depth = 0;
    uint8_t descriptor = 0;

    bool has_runs() const { return image_type >= kTgaIndexedRuns && image_type <= kTgaGrayRuns; }
    bool has_indices() const { return image_type == kTgaIndexed || image_type == kTgaIndexedRuns; }
    bool is_gray() const { return image_type == kTgaGray || image_type == kTgaGrayRuns; }
    int attribute_bits() const { return descriptor & 0xF; }
    bool from_right() const { return (descriptor & 0x10) != 0; }
    bool from_top() const { return (descriptor & 0x20) != 0; }
    // Rows between two that follow each other in the file: 1, 2 or 4. Old files have every second or fourth row first.
    int interleave() const { return 1 << (descriptor >> 6); }

    uint64_t pixel_bytes() const { return (depth + 7U) / 8; }
    uint64_t row_bytes() const { return width * pixel_bytes(); }
    uint64_t map_entry_bytes() const { return (map_entry_bits + 7U) / 8; }
    uint64_t map_at() const { return kSize + id_length; }
    uint64_t map_bytes() const { return map_type == 1 ? map_length * map_entry_bytes() : 0; }
    uint64_t pixels_at() const { return map_at() + map_bytes(); }
    // The color of an index, or of a pixel that has no index.
    int color_bits() const { return has_indices() ? map_entry_bits : depth; }
};

// The file has so many bytes.
TgaHeader read_tga_header(const ByteReader& in);

// Whether each field has a value that a TGA file may have, and those together make sense. Nothing else tells a file
// without a footer.
bool is_plausible_tga(const TgaHeader& header);

// Why the picture of a file cannot be read though the file is a TGA; empty where it can.
std::string tga_refusal(const TgaHeader& header);

// The same for a header that makes no sense; empty where it does.
std::string tga_damage(const TgaHeader& header);

enum class TgaAlpha : uint8_t { kNone, kStraight, kPremultiplied };

// What the attribute bits of a file's colors mean. The extension area decides; without one the header does, which
// states how many such bits there are.
TgaAlpha tga_alpha(const TgaHeader& header, const std::optional<TgaExtension>& extension);

// The stored row that holds a row of the picture, and the other way round.
int32_t stored_tga_row(const TgaHeader& header, int32_t row);

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_TGA_TGA_HEADER_H
