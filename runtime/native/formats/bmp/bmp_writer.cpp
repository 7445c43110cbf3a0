// Writing BMP; see bmp_codec.h. The last row comes first in the file.
//
// Where a row lies is known at once, but not in run-length data: there it depends on the length of the rows below. So
// runs are written as they come, with the bytes of each row in the opposite order, and when all are there, the order of
// all bytes is turned: the last row is the first then, and each row is right.
#include <algorithm>
#include <bit>
#include <cassert>
#include <cstring>
#include <optional>
#include <string>

#include "runtime/native/formats/bmp/bmp_codec.h"
#include "runtime/native/formats/bmp/bmp_compressions.h"
#include "runtime/native/formats/bmp/bmp_encoding.h"
#include "runtime/native/imagework/picture_error.h"
#include "runtime/native/imagework/units.h"

namespace zelmor::imagework {
namespace {

constexpr size_t kFileHeader = 14;
constexpr size_t kPlainHeader = 40;
constexpr size_t kPiece = size_t{64} << 10;  // of run-length data
constexpr size_t kLongHeader = 108;          // of bit fields: with masks and a color space

// Bits of the channels in a pixel, as the header states them.
struct Masks {
    uint32_t red, green, blue, alpha;
};
// Alpha is told apart from an unused byte by its mask alone.
constexpr Masks kArgbMasks{0x00FF0000, 0x0000FF00, 0x000000FF, 0xFF000000};
constexpr Masks kRgb565Masks{0xF800, 0x07E0, 0x001F, 0};
constexpr Masks kRgb555Masks{0x7C00, 0x03E0, 0x001F, 0};  // where the header says nothing

// The bits of a channel in a pixel of 16 bits.
class Field {
 public:
    explicit Field(uint32_t mask) : m_shift(mask == 0 ? 0 : std::countr_zero(mask)), m_top(mask >> m_shift) {}
    unsigned of(uint8_t value) const { return (value * m_top + 127) / 255 << m_shift; }

 private:
    int m_shift;
    unsigned m_top;
};

void put_u16(std::vector<uint8_t>& out, unsigned value) {
    out.push_back(static_cast<uint8_t>(value));
    out.push_back(static_cast<uint8_t>(value >> 8));
}

void put_u32(std::vector<uint8_t>& out, uint64_t value) {
    put_u16(out, static_cast<unsigned>(value & 0xFFFF));
    put_u16(out, static_cast<unsigned>(value >> 16 & 0xFFFF));
}

uint32_t per_meter(double dots_per_inch) {
    return static_cast<uint32_t>(std::clamp(dots_per_inch / kMetersPerInch + 0.5, 0.0, 2147483647.0));
}

class BmpWriter final : public RowWriter {
 public:
    BmpWriter(const RowsHeader& header, const BmpEncoding& encoding, EditableFile& out)
        : m_header(header), m_bits(encoding.bits_per_pixel), m_out(out) {
        check_bmp_encoding(encoding);
        check_form();
        const bool fields = encoding.compression == BmpCompression::kBitFields;
        m_runs = encoding.compression == BmpCompression::kRle8 || encoding.compression == BmpCompression::kRle4;
        if (m_bits == 32 && (fields || header.form.alpha)) {
            m_masks = kArgbMasks;
        } else if (fields) {
            const auto& own = encoding.masks;
            m_masks = m_bits == 16 && own[0] != 0 ? Masks{own[0], own[1], own[2], own[3]} : kRgb565Masks;
        }
        m_stride = (static_cast<uint64_t>(header.width) * static_cast<uint64_t>(m_bits) + 31) / 32 * 4;
        m_data_at = kFileHeader + (m_masks ? kLongHeader : kPlainHeader) + sizeof(Argb) * header.palette.size();
        const uint64_t size = m_data_at + (m_runs ? 0 : m_stride * static_cast<uint64_t>(header.height));
        require_size(size);
        m_coded_to = m_data_at;
        if (!m_runs) {
            put_headers(size);
        }
    }

    void write(int32_t count, std::span<const uint8_t> rows) override {
        const size_t row_size = m_header.form.pixel_size() * static_cast<size_t>(m_header.width);
        assert(count >= 0 && m_next + count <= m_header.height && rows.size() == row_size * static_cast<size_t>(count));
        m_next += count;
        // The last of these rows comes first.
        m_stored.assign(m_runs ? 0 : static_cast<size_t>(m_stride) * static_cast<size_t>(count), 0);
        for (int32_t i = 0; i < count; i++) {
            const uint8_t* row = rows.data() + row_size * static_cast<size_t>(i);
            if (m_runs) {
                code_runs(row, m_next == count && i == 0);
                continue;
            }
            uint8_t* to = m_stored.data() + m_stride * static_cast<size_t>(count - 1 - i);
            if (m_bits <= 8) {
                put_indices(row, to);
            } else {
                put_colors(row, to);
            }
        }
        if (m_runs) {
            put_runs(kPiece);
        } else {
            m_out.write_at(m_data_at + m_stride * static_cast<uint64_t>(m_header.height - m_next), m_stored);
        }
    }

    void finish() override {
        assert(m_next == m_header.height);
        if (!m_runs) {
            return;
        }
        put_runs(1);
        put_headers(m_coded_to);
        turn_runs();
    }

 private:
    void check_form() const {
        const PixelForm& form = m_header.form;
        const bool bilevel = m_bits == 1 && form.color == ColorModel::kGray && form.bits == 1 && !form.alpha;
        const bool fits =
            form.sample == SampleType::kUint8 &&
            (m_bits <= 8 ? form.color == ColorModel::kIndexed || bilevel : form.color == ColorModel::kRgb);
        if (!fits) {
            throw PictureError(Failure::kEncoding,
                               "BMP of " + std::to_string(m_bits) + " bits per pixel does not hold such pixels");
        }
        if (m_bits <= 8 && m_header.palette.size() > size_t{1} << m_bits) {
            throw PictureError(Failure::kEncoding,
                               "the picture has more than " + std::to_string(1 << m_bits) + " colors");
        }
    }

    static void require_size(uint64_t size) {
        constexpr uint64_t kMost = 0xFFFFFFFF;
        if (size > kMost) {
            throw PictureError(Failure::kEncoding, "the file would be larger than BMP files can be");
        }
    }

    // Writes the runs that wait, if there are so many bytes of them.
    void put_runs(size_t least) {
        if (m_coded.size() >= least) {
            require_size(m_coded_to + m_coded.size());
            m_out.write_at(m_coded_to, m_coded);
            m_coded_to += m_coded.size();
            m_coded.clear();
        }
    }

    // Turns the order of all bytes behind the headers.
    void turn_runs() {
        std::vector<uint8_t> low(kPiece), high(kPiece);
        for (uint64_t from = m_data_at, to = m_coded_to; to - from > 1;) {
            const auto size = static_cast<size_t>(std::min<uint64_t>(kPiece, (to - from) / 2));
            low.resize(size);
            high.resize(size);
            m_out.read_at(from, low);
            m_out.read_at(to - size, high);
            std::reverse(low.begin(), low.end());
            std::reverse(high.begin(), high.end());
            m_out.write_at(from, high);
            m_out.write_at(to - size, low);
            from += size;
            to -= size;
        }
    }

    // Of a file of that size.
    void put_headers(uint64_t size) {
        std::vector<uint8_t> out;
        const Resolution resolution = m_header.resolution.value_or(Resolution{0, 0});
        const size_t header_size = m_masks ? kLongHeader : kPlainHeader;
        out.push_back('B');
        out.push_back('M');
        put_u32(out, size);
        put_u32(out, 0);
        put_u32(out, m_data_at);
        put_u32(out, header_size);
        put_u32(out, static_cast<uint32_t>(m_header.width));
        put_u32(out, static_cast<uint32_t>(m_header.height));
        put_u16(out, 1);
        put_u16(out, static_cast<unsigned>(m_bits));
        put_u32(out, m_runs ? (m_bits == 8 ? kBiRle8 : kBiRle4) : m_masks ? kBiBitFields : kBiRgb);
        put_u32(out, size - m_data_at);
        put_u32(out, per_meter(resolution.horizontal));
        put_u32(out, per_meter(resolution.vertical));
        put_u32(out, m_header.palette.size());
        put_u32(out, 0);
        if (m_masks) {
            for (const uint32_t mask : {m_masks->red, m_masks->green, m_masks->blue, m_masks->alpha}) {
                put_u32(out, mask);
            }
            put_u32(out, 0x73524742);  // "sRGB"
            out.resize(kFileHeader + kLongHeader);
        }
        for (const Argb color : m_header.palette) {
            put_u32(out, color & 0xFFFFFF);
        }
        assert(out.size() == m_data_at);
        m_out.write_at(0, out);
    }

    // Of bytes that are 0 or 1, or 0 or 255: the first one becomes the highest bit.
    static uint8_t eight_bits(const uint8_t* row) {
        uint64_t bytes = 0;
        std::memcpy(&bytes, row, sizeof(bytes));
        return static_cast<uint8_t>((bytes & 0x0101010101010101) * 0x8040201008040201 >> 56);
    }

    void put_indices(const uint8_t* row, uint8_t* to) const {
        const int32_t width = m_header.width;
        int32_t x = 0;
        switch (m_bits) {
            case 8:
                std::copy_n(row, width, to);
                return;
            case 4:
                for (; x + 2 <= width; x += 2) {
                    *to++ = static_cast<uint8_t>(row[x] << 4 | row[x + 1]);
                }
                if (x < width) {
                    *to = static_cast<uint8_t>(row[x] << 4);
                }
                return;
            default:
                for (; x + 8 <= width; x += 8) {
                    *to++ = eight_bits(row + x);
                }
                if (x < width) {
                    uint8_t rest[8]{};
                    std::copy_n(row + x, width - x, rest);
                    *to = eight_bits(rest);
                }
        }
    }

    void put_colors(const uint8_t* row, uint8_t* to) const {
        const bool alpha = m_header.form.alpha;
        switch (m_bits) {
            case 16:
                return put_words(row, to, alpha);
            case 24:
                return alpha ? put_bytes<4, 3>(row, to, m_header.width) : put_bytes<3, 3>(row, to, m_header.width);
            default:
                return alpha ? put_bytes<4, 4>(row, to, m_header.width) : put_bytes<3, 4>(row, to, m_header.width);
        }
    }

    // Bytes of a pixel in the picture and in the file.
    template <int from, int into>
    static void put_bytes(const uint8_t* row, uint8_t* to, int32_t width) {
        for (int32_t x = 0; x < width; x++, row += from, to += into) {
            to[0] = row[2];
            to[1] = row[1];
            to[2] = row[0];
            if constexpr (into == 4) {
                to[3] = from == 4 ? row[3] : 0xFF;
            }
        }
    }

    void put_words(const uint8_t* row, uint8_t* to, bool alpha) const {
        const size_t step = alpha ? 4 : 3;
        const Masks masks = m_masks.value_or(kRgb555Masks);
        const Field red(masks.red), green(masks.green), blue(masks.blue), opacity(masks.alpha);
        for (int32_t x = 0; x < m_header.width; x++, row += step, to += 2) {
            const unsigned pixel =
                red.of(row[0]) | green.of(row[1]) | blue.of(row[2]) | opacity.of(alpha ? row[3] : 0xFF);
            to[0] = static_cast<uint8_t>(pixel);
            to[1] = static_cast<uint8_t>(pixel >> 8);
        }
    }

    // Runs of one index only: valid, and where run-length coding pays, nearly as short as with literals.
    // The bytes come in the opposite order.
    void code_runs(const uint8_t* row, bool last_of_file) {
        constexpr int32_t kLongest = 255;
        const size_t start = m_coded.size();
        for (int32_t x = 0; x < m_header.width;) {
            int32_t end = x + 1;
            while (end < m_header.width && end - x < kLongest && row[end] == row[x]) {
                end++;
            }
            m_coded.push_back(static_cast<uint8_t>(end - x));
            m_coded.push_back(m_bits == 4 ? static_cast<uint8_t>(row[x] << 4 | row[x]) : row[x]);
            x = end;
        }
        put_u16(m_coded, last_of_file ? 0x0100 : 0);  // the end of the picture, or of the row
        std::reverse(m_coded.begin() + static_cast<std::ptrdiff_t>(start), m_coded.end());
    }

    RowsHeader m_header;
    int m_bits;
    EditableFile& m_out;
    bool m_runs = false;
    std::optional<Masks> m_masks;
    uint64_t m_stride = 0;
    size_t m_data_at = 0;
    int32_t m_next = 0;
    std::vector<uint8_t> m_stored;  // rows as the file has them
    std::vector<uint8_t> m_coded;   // runs that wait to be written
    uint64_t m_coded_to = 0;        // where they go
};

}  // namespace

void check_bmp_encoding(const BmpEncoding& encoding) {
    const int bits = encoding.bits_per_pixel;
    if (bits != 1 && bits != 4 && bits != 8 && bits != 16 && bits != 24 && bits != 32) {
        throw PictureError(Failure::kEncoding, "BMP has no form of " + std::to_string(bits) +
                                                   " bits per pixel; there are 1, 4, 8, 16, 24 and 32");
    }
    const bool fits = encoding.compression == BmpCompression::kRgb ||
                      (encoding.compression == BmpCompression::kBitFields && (bits == 16 || bits == 32)) ||
                      (encoding.compression == BmpCompression::kRle8 && bits == 8) ||
                      (encoding.compression == BmpCompression::kRle4 && bits == 4);
    if (!fits) {
        throw PictureError(Failure::kEncoding,
                           "this BMP compression does not go with " + std::to_string(bits) + " bits per pixel");
    }
}

std::unique_ptr<RowWriter> make_bmp_writer(const RowsHeader& header, const BmpEncoding& encoding, EditableFile& out) {
    return std::make_unique<BmpWriter>(header, encoding, out);
}

}  // namespace zelmor::imagework
