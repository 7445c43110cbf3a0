// Decoding of BMP: headers of Windows and OS/2, palettes, bit fields, both run-length codings.
#include <algorithm>
#include <array>
#include <bit>
#include <string>

#include "runtime/native/imagework/codecs/bmp_codec.h"
#include "runtime/native/imagework/picture_error.h"
#include "runtime/native/imagework/probe/bmp_compressions.h"
#include "runtime/native/imagework/probe/byte_reader.h"

namespace zelmor::imagework {
namespace {

[[noreturn]] void damaged(const std::string& text) {
    throw PictureError(Failure::kDamaged, text);
}

// One channel of a pixel of bit fields, brought to 8 bits.
class ChannelMask {
 public:
    ChannelMask() = default;
    explicit ChannelMask(uint32_t mask) : m_mask(mask) {
        if (mask == 0) {
            return;
        }
        m_shift = std::countr_zero(mask);
        m_top = mask >> m_shift;
    }
    bool present() const { return m_mask != 0; }
    uint8_t get(uint32_t pixel) const {
        if (m_top == 0) {
            return 0;
        }
        uint64_t value = (pixel & m_mask) >> m_shift;
        return static_cast<uint8_t>((value * 255 + m_top / 2) / m_top);
    }

 private:
    uint32_t m_mask = 0;
    int m_shift = 0;
    uint64_t m_top = 0;
};

struct Header {
    int32_t width = 0;
    int32_t height = 0;
    bool top_down = false;
    int bits = 0;
    uint32_t compression = kBiRgb;
    uint64_t pixels_at = 0;
    std::array<ChannelMask, 4> masks;  // R, G, B, A
    std::vector<std::array<uint8_t, 3>> palette;
    std::optional<Resolution> resolution;
};

std::array<uint32_t, 4> channel_masks(const ByteReader& in, const Header& header, uint32_t header_size) {
    if (header.compression == kBiBitFields || header.compression == kBiAlphaBitFields) {
        // The masks follow the 40 bytes of the plain header, whether a longer header counts them as its own or not.
        bool alpha = header.compression == kBiAlphaBitFields || header_size >= 56;
        return {in.u32(54), in.u32(58), in.u32(62), alpha ? in.u32(66) : 0};
    }
    if (header.bits == 16) {
        return {0x7C00, 0x03E0, 0x001F, 0};
    }
    return {0x00FF0000, 0x0000FF00, 0x000000FF, 0};
}

void read_palette(const ByteReader& in, Header& header, uint32_t header_size, uint32_t colors_used) {
    uint64_t at = 14 + static_cast<uint64_t>(header_size);
    if (header_size == 40 && header.compression == kBiBitFields) {
        at += 12;
    }
    if (header_size == 40 && header.compression == kBiAlphaBitFields) {
        at += 16;
    }
    uint64_t entry = header_size == 12 ? 3 : 4;
    uint64_t most = 1ULL << header.bits;
    uint64_t count = colors_used == 0 ? most : std::min<uint64_t>(colors_used, most);
    if (header.pixels_at > at) {
        count = std::min(count, (header.pixels_at - at) / entry);
    }
    header.palette.resize(most, {0, 0, 0});  // an index beyond the palette is black
    for (uint64_t i = 0; i < count && in.has(at + i * entry, 3); i++) {
        header.palette[i] = {in.u8(at + i * entry + 2), in.u8(at + i * entry + 1), in.u8(at + i * entry)};
    }
}

Header read_header(const ByteReader& in) {
    Header header;
    uint32_t size = in.u32(14);
    header.pixels_at = in.u32(10);
    int64_t width = 0;
    int64_t height = 0;
    uint32_t colors_used = 0;
    if (size == 12) {
        width = in.u16(18);
        height = in.u16(20);
        header.bits = in.u16(24);
    } else if (size >= 16 && size <= 1024) {
        width = in.i32(18);
        height = in.i32(22);
        header.bits = in.u16(28);
        if (size >= 40) {
            header.compression = in.u32(30);
            colors_used = in.u32(46);
            double per_inch = 0.0254;
            if (in.i32(38) > 0 && in.i32(42) > 0) {
                header.resolution = Resolution{in.i32(38) * per_inch, in.i32(42) * per_inch};
            }
        }
    } else {
        damaged("the header length " + std::to_string(size) + " belongs to no kind of BMP");
    }
    if (!in.ok()) {
        damaged("the header is incomplete");
    }
    header.top_down = height < 0;
    if (height < 0) {
        height = -height;
    }
    if (width <= 0 || height <= 0) {
        damaged("the size " + std::to_string(width) + " by " + std::to_string(height) + " is not one of a picture");
    }
    check_picture_size(width, height, 4);
    header.width = static_cast<int32_t>(width);
    header.height = static_cast<int32_t>(height);
    static constexpr int kBits[] = {1, 2, 4, 8, 16, 24, 32};
    if (std::find(std::begin(kBits), std::end(kBits), header.bits) == std::end(kBits)) {
        damaged("there is no BMP of " + std::to_string(header.bits) + " bits per pixel");
    }
    bool fields = header.compression == kBiBitFields || header.compression == kBiAlphaBitFields;
    bool known = header.compression == kBiRgb || (header.compression == kBiRle8 && header.bits == 8) ||
                 (header.compression == kBiRle4 && header.bits == 4) ||
                 (fields && (header.bits == 16 || header.bits == 32));
    if (!known) {
        throw PictureError(Failure::kUnsupported, "compression " + std::to_string(header.compression) + " with " +
                                                      std::to_string(header.bits) + " bits per pixel is not supported");
    }
    if (header.bits <= 8) {
        read_palette(in, header, size, colors_used);
    } else if (header.bits != 24) {
        auto masks = channel_masks(in, header, size);
        for (size_t i = 0; i < masks.size(); i++) {
            header.masks[i] = ChannelMask(masks[i]);
        }
    }
    return header;
}

// Where decoded pixels go; knows that rows mostly run from the bottom to the top.
class Canvas {
 public:
    Canvas(const Header& header, int bands, Argb background) : m_header(header) {
        m_raster.width = header.width;
        m_raster.height = header.height;
        m_raster.bands = bands;
        m_raster.resolution = header.resolution;
        size_t count = static_cast<size_t>(header.width) * static_cast<size_t>(header.height);
        m_raster.pixels.resize(count * static_cast<size_t>(bands));
        if (background == 0) {
            return;
        }
        std::array<uint8_t, 4> fill = {static_cast<uint8_t>(background >> 16), static_cast<uint8_t>(background >> 8),
                                       static_cast<uint8_t>(background), static_cast<uint8_t>(background >> 24)};
        size_t stride = static_cast<size_t>(header.width) * static_cast<size_t>(bands);
        for (size_t i = 0; i < stride; i++) {
            m_raster.pixels[i] = fill[i % static_cast<size_t>(bands)];
        }
        for (size_t at = stride; at < m_raster.pixels.size(); at += stride) {
            std::copy_n(m_raster.pixels.begin(), stride, m_raster.pixels.begin() + static_cast<std::ptrdiff_t>(at));
        }
    }

    uint8_t* row(int32_t stored_row) {
        int32_t y = m_header.top_down ? stored_row : m_header.height - 1 - stored_row;
        return m_raster.pixels.data() +
               static_cast<size_t>(y) * static_cast<size_t>(m_header.width) * static_cast<size_t>(m_raster.bands);
    }
    void put_index(int32_t x, int32_t stored_row, size_t index) {
        const auto& color = m_header.palette[std::min(index, m_header.palette.size() - 1)];
        std::copy(color.begin(), color.begin() + std::min(m_raster.bands, 3),
                  row(stored_row) + static_cast<size_t>(x) * static_cast<size_t>(m_raster.bands));
    }
    Raster take() { return std::move(m_raster); }

 private:
    const Header& m_header;
    Raster m_raster;
};

void decode_row(const Header& header, const uint8_t* in, int bands, Canvas& canvas, int32_t stored_row) {
    uint8_t* out = canvas.row(stored_row);
    if (header.bits <= 8) {
        int per_byte = 8 / header.bits;
        unsigned mask = (1U << header.bits) - 1;
        for (int32_t x = 0; x < header.width; x++) {
            int shift = (per_byte - 1 - x % per_byte) * header.bits;
            canvas.put_index(x, stored_row, in[x / per_byte] >> shift & mask);
        }
        return;
    }
    if (header.bits == 24) {
        for (int32_t x = 0; x < header.width; x++, in += 3, out += 3) {
            out[0] = in[2];
            out[1] = in[1];
            out[2] = in[0];
        }
        return;
    }
    for (int32_t x = 0; x < header.width; x++, in += header.bits / 8, out += bands) {
        uint32_t pixel = static_cast<uint32_t>(in[0] | in[1] << 8);
        if (header.bits == 32) {
            pixel |= static_cast<uint32_t>(in[2]) << 16 | static_cast<uint32_t>(in[3]) << 24;
        }
        for (int i = 0; i < bands; i++) {
            out[i] = header.masks[static_cast<size_t>(i)].get(pixel);
        }
    }
}

uint64_t row_stride(const Header& header) {
    return (static_cast<uint64_t>(header.width) * static_cast<uint64_t>(header.bits) + 31) / 32 * 4;
}

// The number of rows that the data holds; the last one may lack its padding.
int32_t complete_rows(std::span<const uint8_t> data, const Header& header) {
    uint64_t needed = (static_cast<uint64_t>(header.width) * static_cast<uint64_t>(header.bits) + 7) / 8;
    if (header.pixels_at > data.size() || needed > data.size() - header.pixels_at) {
        return 0;
    }
    uint64_t rows = (data.size() - header.pixels_at - needed) / row_stride(header) + 1;
    return static_cast<int32_t>(std::min<uint64_t>(rows, static_cast<uint64_t>(header.height)));
}

// Runs and literals of indices; an escape ends a row or the picture, or moves on.
void decode_runs(std::span<const uint8_t> data, const Header& header, bool tolerant, Canvas& canvas) {
    bool nibbles = header.compression == kBiRle4;
    uint64_t at = header.pixels_at;
    int32_t x = 0;
    int32_t row = 0;
    auto truncated = [&] {
        if (!tolerant) {
            damaged("the run-length data ends in row " + std::to_string(row) + " of " + std::to_string(header.height));
        }
    };
    auto put = [&](size_t index) {
        if (x < header.width) {
            canvas.put_index(x++, row, index);
        }
    };
    while (row < header.height) {
        if (data.size() < 2 || at > data.size() - 2) {
            return truncated();
        }
        unsigned count = data[at];
        unsigned value = data[at + 1];
        at += 2;
        if (count > 0) {
            for (unsigned i = 0; i < count; i++) {
                put(nibbles ? (i % 2 == 0 ? value >> 4 : value & 15) : value);
            }
        } else if (value == 0) {
            x = 0;
            row++;
        } else if (value == 1) {
            return;
        } else if (value == 2) {
            if (at > data.size() - 2) {
                return truncated();
            }
            x = static_cast<int32_t>(std::min<int64_t>(header.width, int64_t{x} + data[at]));
            row += data[at + 1];
            at += 2;
        } else {
            uint64_t bytes = nibbles ? (value + 1) / 2 : value;
            if (bytes > data.size() - at) {
                return truncated();
            }
            for (unsigned i = 0; i < value; i++) {
                unsigned byte = data[at + (nibbles ? i / 2 : i)];
                put(nibbles ? (i % 2 == 0 ? byte >> 4 : byte & 15) : byte);
            }
            at += bytes + (bytes & 1);
        }
    }
}

bool is_gray(const std::vector<std::array<uint8_t, 3>>& palette) {
    return std::all_of(palette.begin(), palette.end(), [](const auto& c) { return c[0] == c[1] && c[1] == c[2]; });
}

}  // namespace

Raster decode_bmp(std::span<const uint8_t> data, const DecodeOptions& options) {
    Header header = read_header(ByteReader(data));
    bool tolerant = options.recovery != Recovery::kNone;
    bool runs = header.compression == kBiRle8 || header.compression == kBiRle4;
    int32_t rows = runs ? header.height : complete_rows(data, header);
    if (rows == 0 || (rows < header.height && !tolerant)) {  // before memory is taken for what is not there
        damaged("the data ends in row " + std::to_string(rows) + " of " + std::to_string(header.height));
    }
    int bands = header.bits <= 8 ? (is_gray(header.palette) ? 1 : 3) : header.masks[3].present() ? 4 : 3;
    check_memory(options, header.width, header.height, bands);
    Argb fill = options.background;
    if (runs) {  // what run-length data skips shows the first palette entry
        const auto& first = header.palette[0];
        fill = kBlack | static_cast<Argb>(first[0] << 16 | first[1] << 8 | first[2]);
    }
    Canvas canvas(header, bands, rows < header.height || runs ? fill : 0);
    if (runs) {
        decode_runs(data, header, tolerant, canvas);
    } else {
        uint64_t at = header.pixels_at;
        for (int32_t row = 0; row < rows; row++, at += row_stride(header)) {
            decode_row(header, data.data() + at, bands, canvas, row);
        }
    }
    return canvas.take();
}

}  // namespace zelmor::imagework
