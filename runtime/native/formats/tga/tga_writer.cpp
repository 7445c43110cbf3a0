// Writing TGA; see tga_codec.h.
#include <algorithm>
#include <cassert>
#include <string>
#include <utility>

#include "runtime/native/formats/tga/tga_areas.h"
#include "runtime/native/formats/tga/tga_codec.h"
#include "runtime/native/formats/tga/tga_header.h"
#include "runtime/native/formats/tga/tga_rows.h"
#include "runtime/native/formats/tga/tga_runs.h"
#include "runtime/native/imagework/picture_error.h"

namespace zelmor::imagework {
namespace {

constexpr int32_t kMostSide = 0xFFFF;
constexpr size_t kMostIdBytes = 0xFF;
constexpr size_t kMostTags = 0xFFFF;

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

bool is_color_depth(int bits) {
    return bits == 15 || bits == 16 || bits == 24 || bits == 32;
}

size_t bytes_of_bits(int bits) {
    return static_cast<size_t>(bits + 7) / 8;
}

bool has_alpha(const RowsHeader& header) {
    return header.form.color == ColorModel::kIndexed ? std::any_of(header.palette.begin(), header.palette.end(),
                                                                   [](Argb color) { return color >> 24 != 0xFF; })
                                                     : header.form.alpha;
}

// The bits of a stored pixel.
int depth_of(const TgaEncoding& encoding, const PixelForm& form) {
    if (encoding.bits_per_pixel != 0) {
        return encoding.bits_per_pixel;
    }
    switch (form.color) {
        case ColorModel::kGray:
            return form.alpha ? 16 : 8;
        case ColorModel::kIndexed:
            return 8;
        default:
            return form.alpha ? 32 : 24;
    }
}

int map_bits_of(const TgaEncoding& encoding, const RowsHeader& header) {
    return encoding.map_entry_bits != 0 ? encoding.map_entry_bits : has_alpha(header) ? 32 : 24;
}

// Whether stored pixels of so many bits hold a picture of the form.
bool fits_depth(int bits, const PixelForm& form) {
    if (form.color == ColorModel::kRgb) {
        return is_color_depth(bits) && (!form.alpha || bits == 16 || bits == 32);
    }
    return bits == 16 || (bits == 8 && !form.alpha);
}

bool fits_map(const TgaEncoding& encoding, const RowsHeader& header) {
    const int bits = map_bits_of(encoding, header);
    return is_color_depth(bits) && (!has_alpha(header) || bits == 16 || bits == 32) &&
           encoding.map_first < header.palette.size();
}

bool fits_form(const PixelForm& form) {
    return form.sample == SampleType::kUint8 &&
           (form.color == ColorModel::kGray || form.color == ColorModel::kRgb || form.color == ColorModel::kIndexed);
}

size_t stamp_bytes(const TgaStamp& stamp, int depth) {
    return size_t{stamp.width} * stamp.height * bytes_of_bits(depth);
}

class TgaWriter final : public RowWriter {
 public:
    TgaWriter(const RowsHeader& header, const TgaEncoding& encoding, std::vector<uint8_t>& out)
        : m_header(header), m_encoding(encoding), m_out(out) {
        check();
        m_depth = depth_of(encoding, header.form);
        m_step = bytes_of_bits(m_depth);
        m_alpha = has_alpha(header) ? TgaAlpha::kStraight : TgaAlpha::kNone;
        const bool premultiplied =
            encoding.extension && encoding.extension->attributes() == TgaAttributes::kPremultiplied;
        if (m_alpha != TgaAlpha::kNone && premultiplied) {
            m_alpha = TgaAlpha::kPremultiplied;
        }
        m_stored.resize(static_cast<size_t>(header.width) * m_step);
        m_out.clear();
        put_header();
        m_pixels_at = m_out.size();
        if (!encoding.run_length) {
            m_out.resize(m_pixels_at + m_stored.size() * static_cast<size_t>(header.height));
        }
        if (m_encoding.stamp && m_encoding.stamp->pixels.empty()) {
            m_stamp_rows.resize(m_encoding.stamp->height);
        }
    }

    void write(int32_t count, std::span<const uint8_t> rows) override {
        const size_t row_size = m_header.form.pixel_size() * static_cast<size_t>(m_header.width);
        assert(count >= 0 && m_next + count <= m_header.height && rows.size() == row_size * static_cast<size_t>(count));
        for (int32_t i = 0; i < count; i++, m_next++) {
            store(rows.data() + row_size * static_cast<size_t>(i));
            take_stamp_row();
            if (m_encoding.run_length) {
                m_row_starts.push_back(m_coded.size());
                put_tga_runs(m_stored, m_step, m_coded);
                continue;
            }
            const int32_t at = m_encoding.from_top ? m_next : m_header.height - 1 - m_next;
            std::copy(
                m_stored.begin(), m_stored.end(),
                m_out.begin() + static_cast<std::ptrdiff_t>(m_pixels_at + m_stored.size() * static_cast<size_t>(at)));
        }
    }

    void finish() override {
        assert(m_next == m_header.height);
        if (m_uses_earlier_entries) {
            put_earlier_entries();
        }
        if (m_encoding.run_length) {
            put_coded();
        }
        if (m_encoding.footer || m_encoding.extension || !m_encoding.developer.empty()) {
            put_areas();
        }
    }

 private:
    void check() const {
        const PixelForm& form = m_header.form;
        if (!fits_form(form)) {
            refuse("TGA has 8 bits a channel of gray or RGB, or indices; the picture has another form");
        }
        if (m_header.width > kMostSide || m_header.height > kMostSide) {
            refuse("a TGA file has at most 65535 pixels to a side; the picture has " + std::to_string(m_header.width) +
                   " by " + std::to_string(m_header.height));
        }
        const int bits = depth_of(m_encoding, form);
        if (!fits_depth(bits, form)) {
            refuse("TGA of " + std::to_string(bits) + " bits per pixel does not hold such pixels");
        }
        if (form.color == ColorModel::kIndexed && !fits_map(m_encoding, m_header)) {
            refuse("a color map of " + std::to_string(map_bits_of(m_encoding, m_header)) +
                   " bits per entry from the entry " + std::to_string(m_encoding.map_first) +
                   " on does not hold the palette");
        }
        if (m_encoding.image_id.size() > kMostIdBytes) {
            refuse("the identification of a TGA file has at most 255 bytes, not " +
                   std::to_string(m_encoding.image_id.size()));
        }
        if (m_encoding.developer.size() > kMostTags) {
            refuse("the developer area of a TGA file has at most 65535 entries");
        }
        const bool tables = m_encoding.stamp || m_encoding.scan_lines || !m_encoding.correction_table.empty();
        if (tables && !m_encoding.extension) {
            refuse("tables of a TGA file need an extension area");
        }
        if (!m_encoding.correction_table.empty() && m_encoding.correction_table.size() != kTgaCorrectionBytes) {
            refuse("the color correction table of a TGA file has 2048 bytes, not " +
                   std::to_string(m_encoding.correction_table.size()));
        }
        if (m_encoding.stamp) {
            const TgaStamp& stamp = *m_encoding.stamp;
            if (stamp.width == 0 || stamp.height == 0 ||
                (!stamp.pixels.empty() && stamp.pixels.size() != stamp_bytes(stamp, bits))) {
                refuse("the postage stamp of the TGA file is not one of " + std::to_string(bits) + " bits per pixel");
            }
        }
        const auto& map = m_encoding.unused_map;
        if (map && map->bytes.size() != map->length * bytes_of_bits(map->entry_bits)) {
            refuse("the color map beside the colors has not the length that it states");
        }
    }

    void put_header() {
        const bool indexed = m_header.form.color == ColorModel::kIndexed;
        const bool unused_map = !indexed && m_encoding.unused_map;
        const int image_type = (indexed                                    ? kTgaIndexed
                                : m_header.form.color == ColorModel::kGray ? kTgaGray
                                                                           : kTgaColor) +
                               (m_encoding.run_length ? kTgaIndexedRuns - kTgaIndexed : 0);
        const int map_bits = indexed ? map_bits_of(m_encoding, m_header) : 0;
        m_out.push_back(static_cast<uint8_t>(m_encoding.image_id.size()));
        m_out.push_back(indexed || unused_map ? 1 : 0);
        m_out.push_back(static_cast<uint8_t>(image_type));
        if (unused_map) {
            put_u16(m_out, m_encoding.unused_map->first);
            put_u16(m_out, m_encoding.unused_map->length);
            m_out.push_back(m_encoding.unused_map->entry_bits);
        } else {
            put_u16(m_out, indexed ? m_encoding.map_first : 0);
            put_u16(m_out, indexed ? m_header.palette.size() - m_encoding.map_first : 0);
            m_out.push_back(static_cast<uint8_t>(map_bits));
        }
        put_u16(m_out, m_encoding.x_origin);
        put_u16(m_out, m_encoding.y_origin);
        put_u16(m_out, static_cast<size_t>(m_header.width));
        put_u16(m_out, static_cast<size_t>(m_header.height));
        m_out.push_back(static_cast<uint8_t>(m_depth));
        const int color_bits = indexed ? map_bits : m_depth;
        const int attribute_bits = !writes_attributes() ? 0 : is_gray() || color_bits == 32 ? 8 : 1;
        m_out.push_back(static_cast<uint8_t>(attribute_bits | (m_encoding.from_right ? 0x10 : 0) |
                                             (m_encoding.from_top ? 0x20 : 0)));
        m_out.insert(m_out.end(), m_encoding.image_id.begin(), m_encoding.image_id.end());
        if (unused_map) {
            m_out.insert(m_out.end(), m_encoding.unused_map->bytes.begin(), m_encoding.unused_map->bytes.end());
        }
        if (indexed) {
            append(map_entries(m_encoding.map_first, m_header.palette.size()));
        }
    }

    std::vector<uint8_t> map_entries(size_t first, size_t end) const {
        std::vector<uint8_t> entries;
        for (size_t i = first; i < end; i++) {
            uint8_t entry[4];
            const size_t size = put_tga_color(m_header.palette[i], map_bits_of(m_encoding, m_header), m_alpha, entry);
            entries.insert(entries.end(), entry, entry + size);
        }
        return entries;
    }

    // A picture that was changed may have colors of the palette that were not in its file.
    void put_earlier_entries() {
        const auto entries = map_entries(0, m_encoding.map_first);
        const size_t map_at = TgaHeader::kSize + m_encoding.image_id.size();
        m_out[3] = m_out[4] = 0;
        m_out[5] = static_cast<uint8_t>(m_header.palette.size());
        m_out[6] = static_cast<uint8_t>(m_header.palette.size() >> 8);
        m_out.insert(m_out.begin() + static_cast<std::ptrdiff_t>(map_at), entries.begin(), entries.end());
        m_pixels_at += entries.size();
    }

    bool is_gray() const { return m_header.form.color == ColorModel::kGray; }

    // Whether the bits that are there for alpha count as such: they do as well where the extension area says that there
    // are bits without a meaning.
    bool writes_attributes() const { return m_alpha != TgaAlpha::kNone || attributes() == TgaAttributes::kIgnored; }

    // What the extension area is to say of alpha.
    TgaAttributes attributes() const {
        if (!m_encoding.extension) {
            return TgaAttributes::kNone;
        }
        const TgaAttributes said = m_encoding.extension->attributes();
        if (m_alpha != TgaAlpha::kNone) {
            return said == TgaAttributes::kNone || said == TgaAttributes::kIgnored ? TgaAttributes::kAlpha : said;
        }
        if (said > TgaAttributes::kPremultiplied) {
            return said;  // the format does not define it, so that the header counts
        }
        const bool bits = is_gray()                                     ? m_depth == 16
                          : m_header.form.color == ColorModel::kIndexed ? map_bits_of(m_encoding, m_header) % 16 == 0
                                                                        : m_depth % 16 == 0;
        return said == TgaAttributes::kIgnored && bits ? said : TgaAttributes::kNone;
    }

    void store(const uint8_t* row) {
        if (m_header.form.color != ColorModel::kIndexed) {
            samples_to_tga_pixels(row, is_gray(), m_depth, m_alpha, m_stored);
        } else {
            uint8_t* to = m_stored.data();
            for (int32_t x = 0; x < m_header.width; x++) {
                m_uses_earlier_entries = m_uses_earlier_entries || row[x] < m_encoding.map_first;
                *to++ = row[x];
                if (m_step == 2) {
                    *to++ = 0;
                }
            }
        }
        if (m_encoding.from_right) {
            mirror_pixels(m_stored, m_step);
        }
    }

    // The nearest pixel for each of the stamp's: those in the middle of the areas that it stands for.
    void take_stamp_row() {
        if (m_stamp_rows.empty()) {
            return;
        }
        const TgaStamp& stamp = *m_encoding.stamp;
        const auto middle = [](size_t at, size_t count, int32_t length) {
            return (2 * at + 1) * static_cast<size_t>(length) / (2 * count);
        };
        for (size_t y = 0; y < stamp.height; y++) {
            if (middle(y, stamp.height, m_header.height) != static_cast<size_t>(m_next)) {
                continue;
            }
            for (size_t x = 0; x < stamp.width; x++) {
                const auto from =
                    m_stored.begin() + static_cast<std::ptrdiff_t>(middle(x, stamp.width, m_header.width) * m_step);
                m_stamp_rows[y].insert(m_stamp_rows[y].end(), from, from + static_cast<std::ptrdiff_t>(m_step));
            }
        }
    }

    // Coded rows in the order of the file; m_row_starts becomes their offsets in it.
    void put_coded() {
        const size_t rows = m_row_starts.size();
        const auto end_of = [&](size_t row) { return row + 1 < rows ? m_row_starts[row + 1] : m_coded.size(); };
        std::vector<size_t> places;
        for (size_t i = 0; i < rows; i++) {
            const size_t row = m_encoding.from_top ? i : rows - 1 - i;
            places.push_back(m_out.size());
            m_out.insert(m_out.end(), m_coded.begin() + static_cast<std::ptrdiff_t>(m_row_starts[row]),
                         m_coded.begin() + static_cast<std::ptrdiff_t>(end_of(row)));
        }
        m_row_starts = std::move(places);
    }

    uint32_t place() const {
        if (m_out.size() > 0xFFFFFFFF) {
            refuse("the file would be larger than TGA files with areas behind the pixels can be");
        }
        return static_cast<uint32_t>(m_out.size());
    }

    void append(const std::vector<uint8_t>& bytes) { m_out.insert(m_out.end(), bytes.begin(), bytes.end()); }

    void put_areas() {
        uint32_t developer = 0;
        if (!m_encoding.developer.empty()) {
            std::vector<uint8_t> directory;
            put_u16(directory, m_encoding.developer.size());
            for (const TgaTag& tag : m_encoding.developer) {
                put_u16(directory, tag.number);
                put_u32(directory, place());
                put_u32(directory, tag.bytes.size());
                append(tag.bytes);
            }
            developer = place();
            append(directory);
        }
        uint32_t extension = 0;
        if (m_encoding.extension) {
            TgaExtension area = *m_encoding.extension;
            area.set_attributes(attributes());
            const uint32_t correction = put_table(m_encoding.correction_table);
            const uint32_t stamp = put_table(stamp_table());
            area.set_places(correction, stamp, put_table(scan_line_table()));
            extension = place();
            append(area.bytes());
        }
        place();
        put_u32(m_out, extension);
        put_u32(m_out, developer);
        m_out.insert(m_out.end(), kTgaSignature, kTgaSignature + sizeof kTgaSignature);
    }

    // Where it begins; 0 for none.
    uint32_t put_table(const std::vector<uint8_t>& bytes) {
        const uint32_t at = bytes.empty() ? 0 : place();
        append(bytes);
        return at;
    }

    std::vector<uint8_t> stamp_table() const {
        std::vector<uint8_t> table;
        if (m_encoding.stamp) {
            const TgaStamp& stamp = *m_encoding.stamp;
            table = {stamp.width, stamp.height};
            table.insert(table.end(), stamp.pixels.begin(), stamp.pixels.end());
            for (size_t i = 0; i < m_stamp_rows.size(); i++) {
                const auto& row = m_stamp_rows[m_encoding.from_top ? i : m_stamp_rows.size() - 1 - i];
                table.insert(table.end(), row.begin(), row.end());
            }
        }
        return table;
    }

    std::vector<uint8_t> scan_line_table() const {
        std::vector<uint8_t> table;
        if (m_encoding.scan_lines) {
            place();
            for (size_t i = 0; i < static_cast<size_t>(m_header.height); i++) {
                put_u32(table, m_encoding.run_length ? m_row_starts[i] : m_pixels_at + i * m_stored.size());
            }
        }
        return table;
    }

    RowsHeader m_header;
    TgaEncoding m_encoding;
    std::vector<uint8_t>& m_out;
    int m_depth = 0;
    size_t m_step = 0;  // bytes of a stored pixel
    TgaAlpha m_alpha = TgaAlpha::kNone;
    size_t m_pixels_at = 0;
    bool m_uses_earlier_entries = false;  // of the palette, before the first of the color map
    int32_t m_next = 0;
    std::vector<uint8_t> m_stored;  // one row
    std::vector<uint8_t> m_coded;   // packets of all rows, the first row first
    std::vector<size_t> m_row_starts;
    std::vector<std::vector<uint8_t>> m_stamp_rows;
};

}  // namespace

TgaEncoding fitting_tga(const TgaEncoding& settings, const RowsHeader& header) {
    TgaEncoding fitting = settings;
    const PixelForm& form = header.form;
    const bool indexed = form.color == ColorModel::kIndexed;
    if (!fits_form(form)) {
        return fitting;  // the writer refuses it
    }
    const bool other = settings.bits_of && *settings.bits_of != form.color;
    if (other || (settings.bits_per_pixel != 0 && !fits_depth(settings.bits_per_pixel, form))) {
        fitting.bits_per_pixel = 0;
    }
    fitting.bits_of = form.color;
    if (indexed && !fits_map(settings, header)) {
        fitting.map_entry_bits = 0;
        fitting.map_first = 0;
    }
    if (!indexed) {
        fitting.map_entry_bits = 0;
        fitting.map_first = 0;
    } else {
        fitting.unused_map.reset();
    }
    if (fitting.stamp && !fitting.stamp->pixels.empty() &&
        fitting.stamp->pixels.size() != stamp_bytes(*fitting.stamp, depth_of(fitting, form))) {
        fitting.stamp->pixels.clear();
    }
    return fitting;
}

std::unique_ptr<RowWriter> make_tga_writer(const RowsHeader& header, const TgaEncoding& encoding,
                                           std::vector<uint8_t>& out) {
    return std::make_unique<TgaWriter>(header, encoding, out);
}

}  // namespace zelmor::imagework
