// Writing ICO and CUR; see ico_codec.h.
#include <algorithm>
#include <cassert>
#include <iterator>
#include <string>
#include <utility>

#include "runtime/native/formats/bmp/bmp_codec.h"
#include "runtime/native/formats/ico/ico_codec.h"
#include "runtime/native/formats/png/png_codec.h"
#include "runtime/native/imagework/picture_error.h"
#include "runtime/native/imagework/pixels/byte_sink.h"

namespace zelmor::imagework {
namespace {

constexpr int32_t kMostSide = 256;
constexpr size_t kMostEntries = 0xFFFF;
constexpr size_t kBitmapHeader = 40;
constexpr uint8_t kOpaqueFrom = 128;  // of alpha, where the mask alone holds it

[[noreturn]] void refuse(const std::string& text) {
    throw PictureError(Failure::kEncoding, text);
}

void put_u16(std::vector<uint8_t>& out, size_t value) {
    out.push_back(static_cast<uint8_t>(value));
    out.push_back(static_cast<uint8_t>(value >> 8));
}

void put_u32(std::vector<uint8_t>& out, size_t value) {
    put_u16(out, value & 0xFFFF);
    put_u16(out, value >> 16 & 0xFFFF);
}

int bits_of_form(const PixelForm& form) {
    return form.bands() * form.bits;
}

class PngEntryWriter final : public RowWriter {
 public:
    PngEntryWriter(IcoWriter& icons, const RowsHeader& header, IcoHotSpot hot_spot)
        : m_icons(icons), m_header(header), m_hot_spot(hot_spot), m_rows(make_png_writer(header, {}, m_file)) {}

    void write(int32_t count, std::span<const uint8_t> rows) override { m_rows->write(count, rows); }

    void finish() override {
        m_rows->finish();
        const EncodedBytes file = m_file.take();
        const auto bytes = file.bytes();
        m_icons.put(m_header.width, m_header.height, bits_of_form(m_header.form), m_header.palette.size(), m_hot_spot,
                    {bytes.begin(), bytes.end()});
    }

 private:
    IcoWriter& m_icons;
    RowsHeader m_header;
    IcoHotSpot m_hot_spot;
    MemorySink m_file;
    std::unique_ptr<RowWriter> m_rows;
};

// The pixels are those of a BMP file, and the mask follows them.
class BitmapEntryWriter final : public RowWriter {
 public:
    BitmapEntryWriter(IcoWriter& icons, const RowsHeader& header, int bits, IcoHotSpot hot_spot)
        : m_icons(icons), m_header(header), m_bits(bits), m_hot_spot(hot_spot), m_file_header(header) {
        const PixelForm& form = header.form;
        const bool fits = form.sample == SampleType::kUint8 &&
                          (bits <= 8 ? form.color == ColorModel::kIndexed : form.color == ColorModel::kRgb);
        if (!fits) {
            refuse("a BMP entry of " + std::to_string(bits) + " bits per pixel does not hold such pixels");
        }
        // The program that shows an icon combines its pixels with the screen, so that those below the mask are black.
        m_file_header.form.alpha = form.alpha && bits == 32;
        for (Argb& color : m_file_header.palette) {
            color = is_clear(color) ? kBlack : color;
        }
        m_mask_stride = (static_cast<size_t>(header.width) + 31) / 32 * 4;
        m_mask.resize(m_mask_stride * static_cast<size_t>(header.height));
        m_rows = make_bmp_writer(m_file_header, {bits}, m_file);
    }

    void write(int32_t count, std::span<const uint8_t> rows) override {
        const size_t row_size = m_header.form.pixel_size() * static_cast<size_t>(m_header.width);
        assert(count >= 0 && m_next + count <= m_header.height && rows.size() == row_size * static_cast<size_t>(count));
        for (int32_t i = 0; i < count; i++, m_next++) {
            const auto row = rows.subspan(row_size * static_cast<size_t>(i), row_size);
            put_mask(row);
            const bool drops = m_header.form.alpha && !m_file_header.form.alpha;
            m_rows->write(1, drops ? without_alpha(row) : row);
        }
    }

    void finish() override {
        m_rows->finish();
        const EncodedBytes file = m_file.take();
        const auto bytes = file.bytes();
        const size_t pixels_at = bytes[10] | static_cast<size_t>(bytes[11]) << 8;
        const auto pixels = bytes.subspan(pixels_at);
        std::vector<uint8_t> entry;
        put_u32(entry, kBitmapHeader);
        put_u32(entry, static_cast<size_t>(m_header.width));
        put_u32(entry, 2 * static_cast<size_t>(m_header.height));
        put_u16(entry, 1);
        put_u16(entry, static_cast<size_t>(m_bits));
        put_u32(entry, 0);
        put_u32(entry, pixels.size() + m_mask.size());
        entry.resize(kBitmapHeader);
        if (m_bits <= 8) {
            // All colors that the indices tell apart: some programs do not look at their number.
            for (const Argb color : m_file_header.palette) {
                put_u32(entry, color & 0xFFFFFF);
            }
            entry.resize(kBitmapHeader + (size_t{4} << m_bits));
        }
        entry.insert(entry.end(), pixels.begin(), pixels.end());
        entry.insert(entry.end(), m_mask.begin(), m_mask.end());
        m_icons.put(m_header.width, m_header.height, m_bits, size_t{1} << std::min(m_bits, 8), m_hot_spot,
                    std::move(entry));
    }

 private:
    static bool is_clear(Argb color) { return color >> 24 < kOpaqueFrom; }

    bool is_masked(const uint8_t* pixel) const {
        if (m_header.form.color == ColorModel::kIndexed) {
            return pixel[0] < m_header.palette.size() && is_clear(m_header.palette[pixel[0]]);
        }
        // With an alpha channel, the mask is for programs that know of none.
        return m_header.form.alpha && (m_bits == 32 ? pixel[3] == 0 : pixel[3] < kOpaqueFrom);
    }

    void put_mask(std::span<const uint8_t> row) {
        const auto stored = static_cast<size_t>(m_header.height - 1 - m_next);
        const auto step = m_header.form.pixel_size();
        for (size_t x = 0; x < static_cast<size_t>(m_header.width); x++) {
            if (is_masked(row.data() + x * step)) {
                m_mask[stored * m_mask_stride + x / 8] |= static_cast<uint8_t>(0x80 >> x % 8);
            }
        }
    }

    std::span<const uint8_t> without_alpha(std::span<const uint8_t> row) {
        m_row.clear();
        for (size_t at = 0; at < row.size(); at += 4) {
            const bool masked = is_masked(&row[at]);
            for (size_t i = 0; i < 3; i++) {
                m_row.push_back(masked ? 0 : row[at + i]);
            }
        }
        return m_row;
    }

    IcoWriter& m_icons;
    RowsHeader m_header;
    int m_bits;
    IcoHotSpot m_hot_spot;
    RowsHeader m_file_header;  // of the BMP file
    MemorySink m_file;
    std::unique_ptr<RowWriter> m_rows;
    size_t m_mask_stride = 0;
    std::vector<uint8_t> m_mask;
    std::vector<uint8_t> m_row;
    int32_t m_next = 0;
};

}  // namespace

void check_ico_encoding(const IcoEntryEncoding& encoding) {
    static constexpr int kBmpBits[] = {1, 4, 8, 16, 24, 32};
    static constexpr int kPngBits[] = {1, 2, 4, 8, 16, 24, 32, 48, 64};
    const bool bmp = encoding.format == IcoEntryFormat::kBmp;
    const bool fits =
        bmp ? std::find(std::begin(kBmpBits), std::end(kBmpBits), encoding.bits_per_pixel) != std::end(kBmpBits)
            : std::find(std::begin(kPngBits), std::end(kPngBits), encoding.bits_per_pixel) != std::end(kPngBits);
    if (!fits) {
        const std::string entry = bmp ? "a BMP entry" : "a PNG entry";
        refuse(entry + " of an icon has no form of " + std::to_string(encoding.bits_per_pixel) + " bits per pixel");
    }
}

PixelForm form_of_ico_entry(const IcoEntryEncoding& encoding, bool alpha) {
    check_ico_encoding(encoding);
    const bool bmp = encoding.format == IcoEntryFormat::kBmp;
    switch (encoding.bits_per_pixel) {
        case 16:
            return bmp ? PixelForm{ColorModel::kRgb, SampleType::kUint8, 8, alpha}
                       : PixelForm{ColorModel::kGray, SampleType::kUint8, 8, true};
        case 24:
            return {ColorModel::kRgb, SampleType::kUint8, 8, bmp && alpha};
        case 32:
            return {ColorModel::kRgb, SampleType::kUint8, 8, true};
        case 48:
            return {ColorModel::kRgb, SampleType::kUint16, 16, false};
        case 64:
            return {ColorModel::kRgb, SampleType::kUint16, 16, true};
        default:
            return {ColorModel::kIndexed, SampleType::kUint8, encoding.bits_per_pixel, false};
    }
}

std::unique_ptr<RowWriter> IcoWriter::start(const RowsHeader& header, const IcoEntryEncoding& encoding,
                                            IcoHotSpot hot_spot) {
    check_ico_encoding(encoding);
    if (header.width > kMostSide || header.height > kMostSide) {
        refuse("an icon has at most 256 pixels to a side; the picture has " + std::to_string(header.width) + " by " +
               std::to_string(header.height));
    }
    if (encoding.format == IcoEntryFormat::kBmp) {
        return std::make_unique<BitmapEntryWriter>(*this, header, encoding.bits_per_pixel, hot_spot);
    }
    if (bits_of_form(header.form) != encoding.bits_per_pixel) {
        refuse("a PNG entry of " + std::to_string(encoding.bits_per_pixel) +
               " bits per pixel does not hold such pixels");
    }
    return std::make_unique<PngEntryWriter>(*this, header, hot_spot);
}

void IcoWriter::copy(const IcoFrames& frames, size_t index) {
    const IcoEntry& entry = frames.entry(index);
    const int bits = frames.encoding(index).bits_per_pixel;
    put(entry.width, entry.height, bits, size_t{1} << std::min(bits, 8), entry.hot_spot, frames.bytes(index));
}

void IcoWriter::put(int32_t width, int32_t height, int bits_per_pixel, size_t colors, IcoHotSpot hot_spot,
                    std::vector<uint8_t> bytes) {
    if (m_entries.size() == kMostEntries) {
        refuse("a file of icons has at most 65535 entries");
    }
    assert(width > 0 && width <= kMostSide && height > 0 && height <= kMostSide);
    m_entries.push_back({width, height, bits_per_pixel, colors, hot_spot, std::move(bytes)});
}

void IcoWriter::finish() {
    if (m_entries.empty()) {
        refuse("a file of icons has at least one");
    }
    m_out.clear();
    put_u16(m_out, 0);
    put_u16(m_out, static_cast<size_t>(m_kind));
    put_u16(m_out, m_entries.size());
    uint64_t at = IcoDirectory::kHeaderSize + m_entries.size() * IcoDirectory::kEntrySize;
    for (const Entry& entry : m_entries) {
        if (at + entry.bytes.size() > 0xFFFFFFFF) {
            refuse("the file would be larger than files of icons can be");
        }
        m_out.push_back(static_cast<uint8_t>(entry.width));  // 256 becomes 0
        m_out.push_back(static_cast<uint8_t>(entry.height));
        m_out.push_back(static_cast<uint8_t>(entry.bits_per_pixel < 8 ? entry.colors : 0));
        m_out.push_back(0);
        put_u16(m_out, m_kind == IcoKind::kCursor ? entry.hot_spot.x : 1);
        put_u16(m_out, m_kind == IcoKind::kCursor ? entry.hot_spot.y : static_cast<size_t>(entry.bits_per_pixel));
        put_u32(m_out, entry.bytes.size());
        put_u32(m_out, static_cast<size_t>(at));
        at += entry.bytes.size();
    }
    for (const Entry& entry : m_entries) {
        m_out.insert(m_out.end(), entry.bytes.begin(), entry.bytes.end());
    }
    m_entries.clear();
}

}  // namespace zelmor::imagework
