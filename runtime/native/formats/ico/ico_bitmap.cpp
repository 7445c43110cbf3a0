// Reading BMP entries; see ico_bitmap.h.
#include "runtime/native/formats/ico/ico_bitmap.h"

#include <algorithm>
#include <array>
#include <cassert>
#include <cstdlib>
#include <iterator>
#include <string>
#include <utility>

#include "runtime/native/formats/bmp/bmp_codec.h"
#include "runtime/native/formats/bmp/bmp_compressions.h"
#include "runtime/native/formats/bmp/bmp_header.h"
#include "runtime/native/formats/ico/ico_piece.h"
#include "runtime/native/imagework/picture_error.h"
#include "runtime/native/imagework/pixels/frame_source.h"
#include "runtime/native/imagework/pixels/samples.h"
#include "runtime/native/imagework/pixels/source_bytes.h"

namespace zelmor::imagework {
namespace {

constexpr uint32_t kFileHeader = 14;
constexpr uint32_t kCoreHeader = 12;
constexpr uint32_t kPlainHeader = 40;
constexpr uint32_t kLongHeader = 108;
constexpr uint32_t kMostHeader = 1024;
constexpr size_t kMostColors = 256;
// Of an entry whose pixels are not all there, so that a few bytes cannot claim endless rows.
constexpr uint64_t kMostRepairedPixels = uint64_t{1} << 24;

[[noreturn]] void damaged(const std::string& text) {
    throw PictureError(Failure::kDamaged, text);
}

void set_u16(std::vector<uint8_t>& out, size_t at, uint32_t value) {
    out[at] = static_cast<uint8_t>(value);
    out[at + 1] = static_cast<uint8_t>(value >> 8);
}

void set_u32(std::vector<uint8_t>& out, size_t at, uint32_t value) {
    set_u16(out, at, value & 0xFFFF);
    set_u16(out, at + 2, value >> 16);
}

// The file header, which the entry lacks, and the information header with the height of the picture alone.
std::vector<uint8_t> headers_of_file(const ByteReader& in, uint32_t header_size, uint32_t colors_end, int64_t height) {
    const auto found = in.piece(0, colors_end);
    if (found.size() != colors_end) {
        damaged("the entry ends before its pixels");
    }
    std::vector<uint8_t> file(kFileHeader + found.size());
    file[0] = 'B';
    file[1] = 'M';
    set_u32(file, 10, kFileHeader + colors_end);
    std::copy(found.begin(), found.end(), file.begin() + kFileHeader);
    if (header_size == kCoreHeader) {
        set_u16(file, kFileHeader + 6, static_cast<uint32_t>(height));
    } else {
        set_u32(file, kFileHeader + 8, static_cast<uint32_t>(height));
    }
    return file;
}

// The same for 32 bits a pixel without bit fields: in an icon, the fourth byte is alpha, which a BMP file tells by a
// mask.
std::vector<uint8_t> headers_with_alpha(const ByteReader& in, int64_t height) {
    static constexpr uint32_t kMasks[] = {0x00FF0000, 0x0000FF00, 0x000000FF, 0xFF000000};
    std::vector<uint8_t> file = headers_of_file(in, kPlainHeader, kPlainHeader, height);
    set_u32(file, 10, kFileHeader + kLongHeader);
    file.resize(kFileHeader + kLongHeader);
    set_u32(file, kFileHeader, kLongHeader);
    set_u32(file, kFileHeader + 16, kBiBitFields);
    set_u32(file, kFileHeader + 32, 0);  // colors of a palette
    for (size_t i = 0; i < std::size(kMasks); i++) {
        set_u32(file, kFileHeader + kPlainHeader + 4 * i, kMasks[i]);
    }
    return file;
}

// The mask of one row: whether a pixel is transparent.
class MaskRows {
 public:
    MaskRows(const SharedSource& entry, const IcoBitmap& bitmap) : m_bitmap(bitmap), m_bytes(entry) {}

    // The bits of a row of the picture, the first in the highest bit; nothing where there is no mask.
    std::span<const uint8_t> row(int32_t y) {
        if (!m_bitmap.has_mask) {
            return {};
        }
        const auto stored = static_cast<uint64_t>(m_bitmap.top_down ? y : m_bitmap.height - 1 - y);
        const uint64_t length = (static_cast<uint64_t>(m_bitmap.width) + 7) / 8;
        const auto found = m_bytes.at(m_bitmap.mask_at + stored * m_bitmap.mask_stride, length);
        if (found.size() != length) {
            damaged("the file cannot be read");
        }
        return found;
    }

 private:
    const IcoBitmap m_bitmap;
    SourceBytes m_bytes;
};

bool is_masked(std::span<const uint8_t> mask, int32_t x) {
    const auto at = static_cast<size_t>(x);
    return !mask.empty() && (mask[at / 8] >> (7 - at % 8) & 1) != 0;
}

// How the transparency becomes part of the rows.
enum class Transparency : uint8_t {
    kOpaque,
    kChannel,     // the rows have it already
    kClearIndex,  // an index stands for it
    kMask,        // it becomes a band
};

// What the pixels show, all of them once.
struct Survey {
    bool masked = false;            // pixels of the mask
    bool opaque_somewhere = false;  // alpha that is not zero
    std::array<bool, kMostColors> used{};
};

Survey survey_of(RowReader& rows, MaskRows& mask) {
    const RowsHeader& header = rows.header();
    const auto bands = static_cast<size_t>(header.form.bands());
    Survey survey;
    std::vector<uint8_t> row(header.form.pixel_size() * static_cast<size_t>(header.width));
    for (int32_t y = 0; y < header.height; y++) {
        rows.read(1, row);
        const auto bits = mask.row(y);
        for (int32_t x = 0; x < header.width; x++) {
            const uint8_t* pixel = &row[bands * static_cast<size_t>(x)];
            const bool masked = is_masked(bits, x);
            survey.masked = survey.masked || masked;
            if (header.form.alpha) {
                survey.opaque_somewhere = survey.opaque_somewhere || pixel[bands - 1] != 0;
            } else if (header.form.color == ColorModel::kIndexed && !masked) {
                survey.used[pixel[0]] = true;
            }
        }
    }
    return survey;
}

class BitmapReader final : public RowReader {
 public:
    BitmapReader(const SharedSource& entry, const IcoBitmap& bitmap, const DecodeOptions& options)
        : m_mask(entry, bitmap) {
        const SharedFrames file = open_bmp(bitmap.pixels, options);
        m_header = file->open(0)->header();
        if (bitmap.has_gaps &&
            uint64_t{static_cast<uint32_t>(m_header.width)} * static_cast<uint32_t>(m_header.height) >
                kMostRepairedPixels) {
            damaged("the entry has few of the pixels that it states");
        }
        const auto rows = file->open(0);
        choose(survey_of(*rows, m_mask), bitmap, options.recovery != Recovery::kNone);
        m_rows = file->open(0);
        m_row.resize(m_rows->header().form.pixel_size() * static_cast<size_t>(m_header.width));
    }

    const RowsHeader& header() const override { return m_header; }

    void read(int32_t count, std::span<uint8_t> rows) override {
        const size_t row_size = m_header.form.pixel_size() * static_cast<size_t>(m_header.width);
        assert(count >= 0 && m_next + count <= m_header.height && rows.size() == row_size * static_cast<size_t>(count));
        if (m_transparency == Transparency::kChannel || m_transparency == Transparency::kOpaque) {
            const bool drops = m_rows->header().form.alpha && !m_header.form.alpha;
            if (!drops) {
                m_rows->read(count, rows);
                m_next += count;
                return;
            }
        }
        for (int32_t i = 0; i < count; i++, m_next++) {
            m_rows->read(1, m_row);
            put(m_mask.row(m_next), rows.data() + row_size * static_cast<size_t>(i));
        }
    }

 private:
    void choose(const Survey& survey, const IcoBitmap& bitmap, bool lenient) {
        if (m_header.form.alpha && survey.opaque_somewhere) {
            m_transparency = Transparency::kChannel;
            return;
        }
        if (!bitmap.has_mask && m_header.form.alpha) {
            m_transparency = Transparency::kChannel;  // all of it is transparent
            return;
        }
        if (!bitmap.has_mask && !lenient) {
            damaged("the mask of the entry is incomplete");
        }
        if (!survey.masked) {
            m_header.form.alpha = false;  // programs that know of no alpha leave zeros
            return;
        }
        if (m_header.form.color == ColorModel::kIndexed && find_clear_index(survey)) {
            m_transparency = Transparency::kClearIndex;
            return;
        }
        m_transparency = Transparency::kMask;
        m_header.form.color = m_header.form.color == ColorModel::kIndexed ? ColorModel::kRgb : m_header.form.color;
        m_header.form.bits = 8;
        m_header.form.alpha = true;
        m_colors = std::exchange(m_header.palette, {});
    }

    // An index that no visible pixel has, or a new one.
    bool find_clear_index(const Survey& survey) {
        std::vector<Argb>& palette = m_header.palette;
        if (palette.size() < kMostColors) {
            m_clear = static_cast<uint8_t>(palette.size());
            palette.push_back(0);
        } else {
            const auto found = std::find(survey.used.begin(), survey.used.end(), false);
            if (found == survey.used.end()) {
                return false;
            }
            m_clear = static_cast<uint8_t>(found - survey.used.begin());
            palette[m_clear] = 0;
        }
        m_header.form.bits = index_bits(palette.size());
        return true;
    }

    // A row with its transparency.
    void put(std::span<const uint8_t> mask, uint8_t* to) const {
        const PixelForm& from_form = m_rows->header().form;
        const auto step = static_cast<size_t>(from_form.bands());
        const auto colors = static_cast<size_t>(m_header.form.color_bands());
        const uint8_t* from = m_row.data();
        for (int32_t x = 0; x < m_header.width; x++, from += step) {
            const bool masked = is_masked(mask, x);
            if (m_transparency == Transparency::kClearIndex) {
                *to++ = masked ? m_clear : from[0];
                continue;
            }
            if (from_form.color == ColorModel::kIndexed) {
                const Argb color = m_colors[from[0]];
                *to++ = static_cast<uint8_t>(color >> 16);
                *to++ = static_cast<uint8_t>(color >> 8);
                *to++ = static_cast<uint8_t>(color);
            } else {
                to = std::copy_n(from, colors, to);
            }
            if (m_header.form.alpha) {
                *to++ = masked ? 0 : 0xFF;
            }
        }
    }

    MaskRows m_mask;
    RowsHeader m_header;
    std::unique_ptr<RowReader> m_rows;
    Transparency m_transparency = Transparency::kOpaque;
    uint8_t m_clear = 0;
    std::vector<Argb> m_colors;  // of indices that become colors
    std::vector<uint8_t> m_row;
    int32_t m_next = 0;
};

}  // namespace

IcoBitmap read_ico_bitmap(const SharedSource& entry, const IcoEntry& directory) {
    SourceBytes bytes(entry, SourceBytes::kHeaderWindow);
    const ByteReader in(bytes);
    const uint32_t size = in.u32(0);
    const bool core = size == kCoreHeader;
    if (!core && (size < kPlainHeader || size > kMostHeader)) {
        damaged("the header length " + std::to_string(size) + " belongs to no kind of BMP");
    }
    const int64_t width = core ? in.u16(4) : in.i32(4);
    int64_t height = core ? in.u16(6) : in.i32(8);
    const int bits = core ? in.u16(10) : in.u16(14);
    const uint32_t storage = core ? uint32_t{kBiRgb} : in.u32(16);
    const uint32_t colors_used = core ? 0 : in.u32(32);
    if (!in.ok()) {
        damaged("the header of the entry is incomplete");
    }
    if (storage == kBiRle8 || storage == kBiRle4) {
        throw PictureError(Failure::kUnsupported, "an icon with run-length coded pixels is not supported");
    }
    IcoBitmap bitmap;
    bitmap.bits = bits;
    bitmap.top_down = height < 0;
    // Some programs state the height of the picture alone.
    const bool alone = width == directory.width && std::abs(height) == directory.height;
    if (!alone) {
        height /= 2;
    }
    uint64_t header_end = size;
    if (size == kPlainHeader && (storage == kBiBitFields || storage == kBiAlphaBitFields)) {
        header_end += storage == kBiBitFields ? 12 : 16;
    }
    uint64_t colors = 0;
    if (bits <= 8) {
        const uint64_t most = uint64_t{1} << std::max(bits, 0);
        colors = colors_used == 0 ? most : colors_used;
    } else if (colors_used <= kMostColors) {
        colors = colors_used;  // a palette beside true colors only tells which suit them
    } else {
        damaged("a palette of " + std::to_string(colors_used) + " colors belongs to no icon");
    }
    const uint64_t colors_end = header_end + colors * (core ? 3 : 4);
    if (colors_end > entry->size()) {
        damaged("the entry ends before its pixels");
    }
    const auto end = static_cast<uint32_t>(colors_end);
    std::vector<uint8_t> headers =
        bits == 32 && storage == kBiRgb ? headers_with_alpha(in, height) : headers_of_file(in, size, end, height);
    const BmpHeader header = read_bmp_header(ByteReader(headers));
    bitmap.width = header.width;
    bitmap.height = header.height;
    const uint64_t pixel_bytes = header.row_stride() * static_cast<uint64_t>(header.height);
    bitmap.mask_at = colors_end + pixel_bytes;
    bitmap.mask_stride = (static_cast<uint64_t>(header.width) + 31) / 32 * 4;
    // The last row may lack its padding.
    const uint64_t mask_bytes =
        static_cast<uint64_t>(header.height - 1) * bitmap.mask_stride + (static_cast<uint64_t>(header.width) + 7) / 8;
    bitmap.has_mask = bitmap.mask_at <= entry->size() && mask_bytes <= entry->size() - bitmap.mask_at;
    bitmap.has_gaps = bitmap.mask_at > entry->size();
    const uint64_t pixels_end = std::min(bitmap.mask_at, entry->size());
    bitmap.pixels = piece_of(entry, colors_end, pixels_end - colors_end, std::move(headers));
    return bitmap;
}

std::unique_ptr<RowReader> open_ico_bitmap(const SharedSource& entry, const IcoBitmap& bitmap,
                                           const DecodeOptions& options) {
    return std::make_unique<BitmapReader>(entry, bitmap, options);
}

}  // namespace zelmor::imagework
