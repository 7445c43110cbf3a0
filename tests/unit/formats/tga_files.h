// TGA files by hand, byte by byte, for the tests of the codec.
#ifndef ZELMOR_TESTS_UNIT_FORMATS_TGA_FILES_H
#define ZELMOR_TESTS_UNIT_FORMATS_TGA_FILES_H

#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "runtime/native/formats/tga/tga_codec.h"
#include "tests/unit/imagecodecs/codec_files.h"

namespace zelmor::imagework {

using Bytes = std::vector<uint8_t>;

inline void put(Bytes& out, uint64_t value, int bytes) {
    for (int i = 0; i < bytes; i++) {
        out.push_back(static_cast<uint8_t>(value >> 8 * i));
    }
}
inline void put(Bytes& out, const Bytes& bytes) {
    out.insert(out.end(), bytes.begin(), bytes.end());
}

// The header and the pixels of a file. `pixels` are stored numbers in the order of the picture, from the upper left.
struct TgaMade {
    int image_type = 2;
    int width = 5;
    int height = 4;
    int depth = 24;
    int attribute_bits = 0;
    int origin = 0;  // bit 0: from the right; bit 1: from the top
    int interleave = 0;
    int map_type = 0;
    int map_first = 0;
    int map_bits = 0;
    std::vector<uint32_t> map = {};
    Bytes id = {};
    std::vector<uint32_t> pixels = {};
    int packet = 3;  // of run-length coded data: pixels of the longest packet; the rows do not matter to it

    bool runs() const { return image_type >= 9; }
    int pixel_bytes() const { return (depth + 7) / 8; }

    Bytes header() const {
        Bytes out;
        put(out, id.size(), 1);
        put(out, static_cast<unsigned>(map_type), 1);
        put(out, static_cast<unsigned>(image_type), 1);
        put(out, static_cast<unsigned>(map_first), 2);
        put(out, map.size(), 2);
        put(out, static_cast<unsigned>(map_bits), 1);
        put(out, 7, 2);
        put(out, 9, 2);
        put(out, static_cast<unsigned>(width), 2);
        put(out, static_cast<unsigned>(height), 2);
        put(out, static_cast<unsigned>(depth), 1);
        put(out, static_cast<unsigned>(attribute_bits | origin << 4 | interleave << 6), 1);
        put(out, id);
        for (const uint32_t entry : map) {
            put(out, entry, (map_bits + 7) / 8);
        }
        return out;
    }

    // The pixels in the order of the file.
    std::vector<uint32_t> stored() const {
        std::vector<int> rows;
        const int step = 1 << interleave;
        for (int pass = 0; pass < step; pass++) {
            for (int y = pass; y < height; y += step) {
                rows.push_back((origin & 2) != 0 ? y : height - 1 - y);
            }
        }
        std::vector<uint32_t> all;
        for (const int y : rows) {
            for (int x = 0; x < width; x++) {
                const int from = (origin & 1) != 0 ? width - 1 - x : x;
                all.push_back(pixels[static_cast<size_t>(y * width + from)]);
            }
        }
        return all;
    }

    Bytes file() const {
        Bytes out = header();
        const std::vector<uint32_t> all = stored();
        if (!runs()) {
            for (const uint32_t pixel : all) {
                put(out, pixel, pixel_bytes());
            }
            return out;
        }
        for (size_t at = 0; at < all.size();) {
            size_t run = 1;
            while (at + run < all.size() && run < static_cast<size_t>(packet) && all[at + run] == all[at]) {
                run++;
            }
            const bool repeats = run > 1;
            const size_t count = repeats ? run : std::min<size_t>(static_cast<size_t>(packet), all.size() - at);
            put(out, (repeats ? 0x80U : 0U) | (count - 1), 1);
            for (size_t i = 0; i < (repeats ? 1 : count); i++) {
                put(out, all[at + i], pixel_bytes());
            }
            at += count;
        }
        return out;
    }
};

inline Bytes with_footer(Bytes file, uint32_t extension = 0, uint32_t developer = 0) {
    put(file, extension, 4);
    put(file, developer, 4);
    for (const char letter : std::string("TRUEVISION-XFILE.")) {
        file.push_back(static_cast<uint8_t>(letter));
    }
    file.push_back(0);
    return file;
}

inline std::shared_ptr<const TgaFrames> opened_tga(const Bytes& file, Recovery recovery = Recovery::kNone,
                                                   Argb background = kWhite) {
    DecodeOptions options;
    options.recovery = recovery;
    options.background = background;
    return open_tga(memory_source(file), options);
}

// The picture as colors, by the form and the palette that it has.
inline std::vector<Argb> colors_of(RowReader& reader, int32_t step = 2) {
    const RowsHeader header = reader.header();
    const auto rows = all_rows(reader, step);
    std::vector<Argb> colors;
    const auto bands = static_cast<size_t>(header.form.bands());
    for (size_t at = 0; at < rows.size(); at += bands) {
        const Argb alpha = header.form.alpha ? rows[at + bands - 1] : 0xFFU;
        switch (header.form.color) {
            case ColorModel::kIndexed:
                colors.push_back(header.palette.at(rows[at]));
                break;
            case ColorModel::kGray:
                colors.push_back(alpha << 24 | rows[at] * 0x010101U);
                break;
            default:
                colors.push_back(alpha << 24 | static_cast<Argb>(rows[at]) << 16 |
                                 static_cast<Argb>(rows[at + 1]) << 8 | rows[at + 2]);
        }
    }
    return colors;
}

inline Bytes written_tga(const RowsHeader& header, const Bytes& rows, const TgaEncoding& encoding, int32_t step = 3) {
    Bytes out;
    const auto writer = make_tga_writer(header, encoding, out);
    write_all(*writer, header, rows, step);
    return out;
}

}  // namespace zelmor::imagework

#endif  // ZELMOR_TESTS_UNIT_FORMATS_TGA_FILES_H
