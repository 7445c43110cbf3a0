// Encoding of BMP: true color, bit fields with alpha, palettes with or without run-length coding.
#include <algorithm>
#include <string>
#include <unordered_map>

#include "runtime/native/imagework/codecs/bmp_codec.h"
#include "runtime/native/imagework/picture_error.h"
#include "runtime/native/imagework/probe/bmp_compressions.h"

namespace zelmor::imagework {
namespace {

class ByteWriter {
 public:
    void u8(unsigned value) { m_bytes.push_back(static_cast<uint8_t>(value)); }
    void u16(unsigned value) {
        u8(value & 0xFF);
        u8(value >> 8 & 0xFF);
    }
    void u32(uint64_t value) {
        u16(value & 0xFFFF);
        u16(value >> 16 & 0xFFFF);
    }
    void pad_to(size_t multiple, size_t start) {
        while ((m_bytes.size() - start) % multiple != 0) {
            u8(0);
        }
    }
    void set_u32(size_t at, uint64_t value) {
        for (size_t i = 0; i < 4; i++) {
            m_bytes[at + i] = static_cast<uint8_t>(value >> 8 * i);
        }
    }
    size_t size() const { return m_bytes.size(); }
    void reserve(size_t size) { m_bytes.reserve(size); }
    std::vector<uint8_t> take() { return std::move(m_bytes); }

 private:
    std::vector<uint8_t> m_bytes;
};

struct Pixels {
    std::span<const uint8_t> bytes;
    int32_t width;
    int32_t height;
    int bands;

    const uint8_t* at(int32_t x, int32_t y) const {
        return bytes.data() + (static_cast<size_t>(y) * static_cast<size_t>(width) + static_cast<size_t>(x)) *
                                  static_cast<size_t>(bands);
    }
    uint32_t rgb(int32_t x, int32_t y) const {
        const uint8_t* p = at(x, y);
        return static_cast<uint32_t>(p[0] << 16 | p[1] << 8 | p[2]);
    }
};

// The colors given, then those of a picture in order of their first appearance, and the index of each.
class Palette {
 public:
    Palette(const Pixels& pixels, size_t most, std::span<const Argb> given) {
        for (const Argb color : given) {
            m_index.try_emplace(color & 0xFFFFFF, m_colors.size());
            m_colors.push_back(color & 0xFFFFFF);
        }
        for (int32_t y = 0; y < pixels.height; y++) {
            for (int32_t x = 0; x < pixels.width; x++) {
                auto [where, added] = m_index.try_emplace(pixels.rgb(x, y), m_colors.size());
                if (added) {
                    m_colors.push_back(where->first);
                }
                if (m_colors.size() > most) {
                    throw PictureError(Failure::kEncoding,
                                       "the picture has more than " + std::to_string(most) + " colors");
                }
            }
        }
    }
    const std::vector<uint32_t>& colors() const { return m_colors; }
    unsigned index(uint32_t rgb) const { return static_cast<unsigned>(m_index.at(rgb)); }

 private:
    std::unordered_map<uint32_t, size_t> m_index;
    std::vector<uint32_t> m_colors;
};

uint32_t per_meter(double dpi) {
    return static_cast<uint32_t>(std::clamp(dpi / 0.0254 + 0.5, 0.0, 2147483647.0));
}

// Masks of the channels R, G, B, A as the header states them.
struct Masks {
    uint32_t red, green, blue, alpha;
};

// The file header and the information header; the longer one where there are bit fields with alpha.
void write_headers(ByteWriter& out, const Pixels& pixels, const BmpEncoding& encoding, BmpStorage storage,
                   const Masks* masks, size_t palette_size, Resolution resolution) {
    uint32_t header_size = masks != nullptr ? 108 : 40;
    out.u8('B');
    out.u8('M');
    out.u32(0);  // the length of the file, known at the end
    out.u32(0);
    out.u32(14 + header_size + 4 * palette_size);
    out.u32(header_size);
    out.u32(static_cast<uint32_t>(pixels.width));
    out.u32(static_cast<uint32_t>(pixels.height));
    out.u16(1);
    out.u16(static_cast<unsigned>(encoding.bits_per_pixel));
    out.u32(storage);
    out.u32(0);  // the length of the pixel data
    out.u32(per_meter(resolution.horizontal));
    out.u32(per_meter(resolution.vertical));
    out.u32(palette_size);
    out.u32(0);
    if (masks != nullptr) {
        out.u32(masks->red);
        out.u32(masks->green);
        out.u32(masks->blue);
        out.u32(masks->alpha);
        out.u32(0x73524742);  // "sRGB"
        for (int i = 0; i < 12; i++) {
            out.u32(0);
        }
    }
}

void write_true_color(ByteWriter& out, const Pixels& pixels, int bits, const Masks* masks) {
    for (int32_t y = pixels.height - 1; y >= 0; y--) {
        size_t start = out.size();
        for (int32_t x = 0; x < pixels.width; x++) {
            const uint8_t* p = pixels.at(x, y);
            if (bits == 16) {
                bool six = masks != nullptr && masks->green == 0x07E0;
                unsigned green = six ? (p[1] * 63U + 127) / 255 << 5 : (p[1] * 31U + 127) / 255 << 5;
                out.u16((p[0] * 31U + 127) / 255 << (six ? 11 : 10) | green | (p[2] * 31U + 127) / 255);
                continue;
            }
            out.u8(p[2]);
            out.u8(p[1]);
            out.u8(p[0]);
            if (bits == 32) {
                out.u8(pixels.bands == 4 ? p[3] : 255);
            }
        }
        out.pad_to(4, start);
    }
}

void write_indices(ByteWriter& out, const Pixels& pixels, const Palette& palette, int bits) {
    int per_byte = 8 / bits;
    for (int32_t y = pixels.height - 1; y >= 0; y--) {
        size_t start = out.size();
        for (int32_t x = 0; x < pixels.width; x += per_byte) {
            unsigned byte = 0;
            for (int i = 0; i < per_byte; i++) {
                unsigned index = x + i < pixels.width ? palette.index(pixels.rgb(x + i, y)) : 0;
                byte = byte << bits | index;
            }
            out.u8(byte);
        }
        out.pad_to(4, start);
    }
}

// Runs of one index only: valid, and where run-length coding pays, nearly as short as with literals.
void write_runs(ByteWriter& out, const Pixels& pixels, const Palette& palette, bool nibbles) {
    for (int32_t y = pixels.height - 1; y >= 0; y--) {
        for (int32_t x = 0; x < pixels.width;) {
            uint32_t color = pixels.rgb(x, y);
            int32_t end = x + 1;
            while (end < pixels.width && end - x < 255 && pixels.rgb(end, y) == color) {
                end++;
            }
            unsigned index = palette.index(color);
            out.u8(static_cast<unsigned>(end - x));
            out.u8(nibbles ? index << 4 | index : index);
            x = end;
        }
        out.u16(y == 0 ? 0x0100 : 0);  // end of the picture, or of the row
    }
}

}  // namespace

void check_bmp_encoding(const BmpEncoding& encoding) {
    int bits = encoding.bits_per_pixel;
    if (bits != 1 && bits != 4 && bits != 8 && bits != 16 && bits != 24 && bits != 32) {
        throw PictureError(Failure::kEncoding, "BMP has no form of " + std::to_string(bits) +
                                                   " bits per pixel; there are 1, 4, 8, 16, 24 and 32");
    }
    bool fits = encoding.compression == BmpCompression::kRgb ||
                (encoding.compression == BmpCompression::kBitFields && (bits == 16 || bits == 32)) ||
                (encoding.compression == BmpCompression::kRle8 && bits == 8) ||
                (encoding.compression == BmpCompression::kRle4 && bits == 4);
    if (!fits) {
        throw PictureError(Failure::kEncoding,
                           "this BMP compression does not go with " + std::to_string(bits) + " bits per pixel");
    }
}

std::vector<uint8_t> encode_bmp(std::span<const uint8_t> bytes, int32_t width, int32_t height, int bands,
                                const BmpEncoding& encoding, Resolution resolution, std::span<const Argb> given) {
    check_bmp_encoding(encoding);
    Pixels pixels{bytes, width, height, bands};
    int bits = encoding.bits_per_pixel;
    bool fields = encoding.compression == BmpCompression::kBitFields;
    bool runs = encoding.compression == BmpCompression::kRle8 || encoding.compression == BmpCompression::kRle4;
    ByteWriter out;
    out.reserve(static_cast<size_t>(height) * ((static_cast<size_t>(width) * static_cast<size_t>(bits) + 31) / 32 * 4) +
                2048);
    size_t data_at = 0;
    if (bits <= 8) {
        Palette palette(pixels, size_t{1} << bits, given);
        const BmpStorage storage = !runs ? kBiRgb : bits == 8 ? kBiRle8 : kBiRle4;
        write_headers(out, pixels, encoding, storage, nullptr, palette.colors().size(), resolution);
        for (uint32_t color : palette.colors()) {
            out.u32(color);
        }
        data_at = out.size();
        if (runs) {
            write_runs(out, pixels, palette, bits == 4);
        } else {
            write_indices(out, pixels, palette, bits);
        }
    } else {
        // Alpha is told apart from an unused byte by its mask alone.
        static constexpr Masks kArgb{0x00FF0000, 0x0000FF00, 0x000000FF, 0xFF000000};
        static constexpr Masks kRgb565{0xF800, 0x07E0, 0x001F, 0};
        const Masks* masks = bits == 32 && (fields || bands == 4) ? &kArgb : fields ? &kRgb565 : nullptr;
        write_headers(out, pixels, encoding, masks != nullptr ? kBiBitFields : kBiRgb, masks, 0, resolution);
        data_at = out.size();
        write_true_color(out, pixels, bits, masks);
    }
    out.set_u32(2, out.size());
    out.set_u32(34, out.size() - data_at);
    return out.take();
}

}  // namespace zelmor::imagework
