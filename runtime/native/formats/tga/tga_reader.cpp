// Reading TGA; see tga_codec.h.
#include <algorithm>
#include <cassert>
#include <utility>

#include "runtime/native/formats/tga/tga_areas.h"
#include "runtime/native/formats/tga/tga_codec.h"
#include "runtime/native/formats/tga/tga_header.h"
#include "runtime/native/formats/tga/tga_rows.h"
#include "runtime/native/formats/tga/tga_runs.h"
#include "runtime/native/imagework/picture_error.h"
#include "runtime/native/imagework/pixels/memory_budget.h"
#include "runtime/native/imagework/pixels/samples.h"

namespace zelmor::imagework {
namespace {

// Of a file that is not in memory so much is read at a time, or one row.
constexpr uint64_t kBlock = 256 * 1024;
constexpr size_t kMostColors = 256;

[[noreturn]] void damaged(const std::string& text) {
    throw PictureError(Failure::kDamaged, text);
}

std::string row_text(int32_t rows, const TgaHeader& header) {
    return "the data ends in row " + std::to_string(rows) + " of " + std::to_string(header.height);
}

// What is known of a file before its pixels are read.
struct TgaFile {
    TgaHeader header;
    TgaAlpha alpha = TgaAlpha::kNone;
    std::vector<Argb> colors;  // of the map, by index; black below the first entry
    PixelForm form;
    int32_t stored_rows = 0;  // that the data hold, as far as that is known
    bool lenient = false;
    Argb background = kWhite;
};

// The rows as they are stored, by their number in the file.
class StoredTgaRows {
 public:
    StoredTgaRows(const SharedSource& source, const TgaHeader& header, SharedBudget budget)
        : m_header(header), m_budget(std::move(budget)), m_bytes(source) {
        m_place.at = header.pixels_at();
    }

    // They stay until the next call. PictureError(kDamaged) where the data end before.
    std::span<const uint8_t> row(int32_t stored) { return m_header.has_runs() ? unpacked(stored) : plain(stored); }

    // How many rows there are, of rows without runs at no cost.
    int32_t count() {
        if (m_header.has_runs()) {
            find_rows();
            return static_cast<int32_t>(m_places.size());
        }
        const uint64_t size = m_bytes.size();
        const uint64_t at = m_header.pixels_at();
        const uint64_t rows = at < size ? (size - at) / m_header.row_bytes() : 0;
        return static_cast<int32_t>(std::min<uint64_t>(rows, m_header.height));
    }

 private:
    std::span<const uint8_t> plain(int32_t stored) {
        const uint64_t size = m_header.row_bytes();
        if (stored < m_block_first || stored >= m_block_first + m_block_count) {
            // The rows that are asked for next lie behind the row in one order of the file, and before it in the other.
            const auto room = static_cast<int32_t>(std::clamp<uint64_t>(kBlock / size, 1, m_header.height));
            const int32_t first = m_header.from_top() ? stored : std::max(0, stored - room + 1);
            const int32_t count = std::min(room, m_header.height - first);
            m_block_count = 0;
            m_block = m_bytes.at(m_header.pixels_at() + static_cast<uint64_t>(first) * size,
                                 static_cast<uint64_t>(count) * size);
            m_block_first = first;
            m_block_count = static_cast<int32_t>(m_block.size() / size);
            if (stored >= m_block_first + m_block_count) {
                m_block_count = 0;
                damaged("the file cannot be read");
            }
        }
        return m_block.subspan(static_cast<size_t>(size) * static_cast<size_t>(stored - m_block_first),
                               static_cast<size_t>(size));
    }

    std::span<const uint8_t> unpacked(int32_t stored) {
        m_row.resize(static_cast<size_t>(m_header.row_bytes()));
        if (stored != m_next) {
            find_rows();
            if (static_cast<size_t>(stored) >= m_places.size()) {
                damaged(row_text(static_cast<int32_t>(m_places.size()), m_header));
            }
            m_place = m_places[static_cast<size_t>(stored)];
            look_back(stored);
        }
        m_next = -1;
        if (!read_tga_runs(m_bytes, m_place, m_header.width, static_cast<size_t>(m_header.pixel_bytes()),
                           m_row.data())) {
            damaged(row_text(stored, m_header));
        }
        m_next = stored + 1;
        return m_row;
    }

    // Brings the packets of a row and those before it into the window of the bytes: the rows before are next.
    void look_back(int32_t stored) {
        const auto next = static_cast<size_t>(stored) + 1;
        const uint64_t row_end =
            next < m_places.size() ? m_places[next].at + m_header.pixel_bytes() : m_place.at + 2 * m_header.row_bytes();
        if (m_place.at < m_looked_from || row_end > m_looked_to) {
            m_looked_to = row_end;
            m_looked_from = std::min(m_place.at, std::max(m_header.pixels_at(), row_end - std::min(row_end, kBlock)));
            m_bytes.at(m_looked_from, m_looked_to - m_looked_from);
        }
    }

    // Walks over all packets once, so that the rows can be read in any order.
    void find_rows() {
        if (m_found) {
            return;
        }
        m_share = MemoryShare(m_budget, m_header.height * sizeof(TgaRunPlace));
        m_places.reserve(m_header.height);
        TgaRunPlace place{m_header.pixels_at()};
        const auto pixel_bytes = static_cast<size_t>(m_header.pixel_bytes());
        for (int32_t row = 0; row < m_header.height; row++) {
            const TgaRunPlace begin = place;
            if (!read_tga_runs(m_bytes, place, m_header.width, pixel_bytes, nullptr)) {
                break;
            }
            m_places.push_back(begin);
        }
        m_found = true;
    }

    const TgaHeader m_header;
    SharedBudget m_budget;
    SourceBytes m_bytes;
    std::span<const uint8_t> m_block;  // rows without runs
    int32_t m_block_first = 0;
    int32_t m_block_count = 0;
    std::vector<uint8_t> m_row;  // one row of those with runs
    TgaRunPlace m_place;
    int32_t m_next = 0;  // the row that begins there; -1: none
    uint64_t m_looked_from = 0;
    uint64_t m_looked_to = 0;
    bool m_found = false;
    std::vector<TgaRunPlace> m_places;
    MemoryShare m_share;  // for these
};

class TgaReader final : public RowReader {
 public:
    TgaReader(const SharedSource& source, const TgaFile& file, SharedBudget budget)
        : m_file(file), m_stored(source, file.header, std::move(budget)) {
        m_header.width = file.header.width;
        m_header.height = file.header.height;
        m_header.form = file.form;
        if (file.form.color == ColorModel::kIndexed) {
            m_header.palette = file.colors;
        }
    }

    const RowsHeader& header() const override { return m_header; }

    void read(int32_t count, std::span<uint8_t> rows) override {
        const size_t row_size = m_header.form.pixel_size() * static_cast<size_t>(m_header.width);
        assert(count >= 0 && m_next + count <= m_header.height && rows.size() == row_size * static_cast<size_t>(count));
        for (int32_t i = 0; i < count; i++) {
            const auto to = rows.subspan(row_size * static_cast<size_t>(i), row_size);
            const int32_t stored = stored_tga_row(m_file.header, m_next + i);
            if (stored >= m_file.stored_rows) {
                put_background(to);
                continue;
            }
            const auto from = m_stored.row(stored);
            if (m_file.header.has_indices()) {
                put_indices(from, to);
            } else {
                tga_pixels_to_samples(from, m_file.header.is_gray(), m_file.header.depth, m_file.alpha, to.data());
                to_form(to);
            }
            if (m_file.header.from_right()) {
                mirror_pixels(to, m_header.form.pixel_size());
            }
        }
        m_next += count;
    }

 private:
    void put_indices(std::span<const uint8_t> from, std::span<uint8_t> to) const {
        const auto step = static_cast<size_t>(m_file.header.pixel_bytes());
        const size_t first = m_file.header.map_first;
        const bool indexed = m_header.form.color == ColorModel::kIndexed;
        uint8_t* out = to.data();
        for (size_t at = 0; at < from.size(); at += step) {
            size_t index = from[at] | (step == 2 ? static_cast<size_t>(from[at + 1]) << 8 : 0);
            if (index < first || index >= m_file.colors.size()) {
                if (!m_file.lenient) {
                    damaged("a pixel has the index " + std::to_string(index) + ", which the color map does not have");
                }
                index = first;
            }
            if (indexed) {
                *out++ = static_cast<uint8_t>(index);
            } else {
                out = put_color(m_file.colors[index], out);
            }
        }
    }

    uint8_t* put_color(Argb color, uint8_t* to) const {
        *to++ = static_cast<uint8_t>(color >> 16);
        if (m_header.form.color == ColorModel::kRgb) {
            *to++ = static_cast<uint8_t>(color >> 8);
            *to++ = static_cast<uint8_t>(color);
        }
        if (m_header.form.alpha) {
            *to++ = static_cast<uint8_t>(color >> 24);
        }
        return to;
    }

    // Gray rows of a picture that has a background with color.
    void to_form(std::span<uint8_t> row) const {
        if (!m_file.header.is_gray() || m_header.form.color == ColorModel::kGray) {
            return;
        }
        const size_t alpha = m_header.form.alpha ? 1 : 0;
        for (auto x = static_cast<size_t>(m_header.width); x-- > 0;) {
            const uint8_t gray = row[x * (1 + alpha)];
            const uint8_t opacity = row[x * (1 + alpha) + alpha];
            uint8_t* to = &row[x * (3 + alpha)];
            to[0] = to[1] = to[2] = gray;
            if (alpha != 0) {
                to[3] = opacity;
            }
        }
    }

    void put_background(std::span<uint8_t> row) const {
        if (m_header.form.color == ColorModel::kIndexed) {
            const auto found = std::find(m_file.colors.begin(), m_file.colors.end(), m_file.background);
            assert(found != m_file.colors.end());
            std::fill(row.begin(), row.end(), static_cast<uint8_t>(found - m_file.colors.begin()));
            return;
        }
        uint8_t* to = row.data();
        for (int32_t x = 0; x < m_header.width; x++) {
            to = put_color(m_file.background, to);
        }
    }

    const TgaFile m_file;
    StoredTgaRows m_stored;
    RowsHeader m_header;
    int32_t m_next = 0;
};

class TgaFileFrames final : public TgaFrames {
 public:
    TgaFileFrames(const SharedSource& source, const DecodeOptions& options)
        : m_source(source), m_budget(options.memory) {
        SourceBytes bytes(source, SourceBytes::kHeaderWindow);
        const ByteReader in(bytes);
        if (!in.has(0, TgaHeader::kSize)) {
            damaged("the header is incomplete");
        }
        m_file.header = read_tga_header(in);
        const TgaHeader& header = m_file.header;
        if (const std::string reason = tga_refusal(header); !reason.empty()) {
            throw PictureError(Failure::kUnsupported, reason);
        }
        if (const std::string reason = tga_damage(header); !reason.empty()) {
            damaged(reason);
        }
        if (!bytes.has(0, header.pixels_at())) {
            damaged("the data ends before the pixels");
        }
        read_settings(bytes);
        m_file.alpha = tga_alpha(header, m_settings.extension);
        m_file.lenient = options.recovery != Recovery::kNone;
        m_file.background = options.background;
        read_map(bytes);
        count_rows();
        choose_form();
        fill_facts();
    }

    size_t count() const override { return 1; }

    FrameHeader header([[maybe_unused]] size_t index) const override {
        assert(index == 0);
        FrameHeader header;
        header.facts = m_facts;
        header.area = {0, 0, m_file.header.width, m_file.header.height};
        return header;
    }

    std::unique_ptr<RowReader> open([[maybe_unused]] size_t index) const override {
        assert(index == 0);
        return std::make_unique<TgaReader>(m_source, m_file, m_budget);
    }

    const TgaEncoding& settings() const override { return m_settings; }
    bool has_color_map() const override { return m_file.header.map_type == 1; }

 private:
    void read_settings(SourceBytes& bytes) {
        const TgaHeader& header = m_file.header;
        m_settings.bits_per_pixel = header.depth;
        m_settings.bits_of = header.has_indices() ? ColorModel::kIndexed
                             : header.is_gray()   ? ColorModel::kGray
                                                  : ColorModel::kRgb;
        m_settings.run_length = header.has_runs();
        m_settings.from_top = header.from_top();
        m_settings.from_right = header.from_right();
        m_settings.x_origin = header.x_origin;
        m_settings.y_origin = header.y_origin;
        const auto id = bytes.at(TgaHeader::kSize, header.id_length);
        m_settings.image_id.assign(id.begin(), id.end());
        if (header.has_indices()) {
            m_settings.map_entry_bits = header.map_entry_bits;
            m_settings.map_first = header.map_first;
        } else if (header.map_type == 1) {
            const auto map = bytes.at(header.map_at(), header.map_bytes());
            m_settings.unused_map =
                TgaUnusedMap{header.map_first, header.map_length, header.map_entry_bits, {map.begin(), map.end()}};
        }
        read_tga_areas(bytes, header, m_settings);
    }

    void read_map(SourceBytes& bytes) {
        const TgaHeader& header = m_file.header;
        if (!header.has_indices()) {
            return;
        }
        const auto map = bytes.at(header.map_at(), header.map_bytes());
        const auto step = static_cast<size_t>(header.map_entry_bytes());
        m_file.colors.resize(header.map_first, kBlack);
        for (size_t at = 0; at < map.size(); at += step) {
            m_file.colors.push_back(tga_color(map.data() + at, header.map_entry_bits, m_file.alpha));
        }
        if (header.depth == 8 && m_file.colors.size() > kMostColors) {
            m_file.colors.resize(kMostColors);  // no index reaches the others
        }
        if (m_file.colors.size() <= header.map_first) {
            damaged("no index reaches the color map");
        }
    }

    void count_rows() {
        const TgaHeader& header = m_file.header;
        m_file.stored_rows = header.height;
        if (header.has_runs() && !m_file.lenient) {
            return;  // the rows show it
        }
        m_file.stored_rows = StoredTgaRows(m_source, header, m_budget).count();
        if (m_file.stored_rows == 0 || (m_file.stored_rows < header.height && !m_file.lenient)) {
            damaged(row_text(m_file.stored_rows, header));
        }
    }

    void choose_form() {
        const TgaHeader& header = m_file.header;
        const bool lost = m_file.stored_rows < header.height;
        PixelForm& form = m_file.form;
        if (header.has_indices()) {
            const std::vector<Argb>& colors = m_file.colors;
            const bool fits = colors.size() <= kMostColors &&
                              (!lost || std::find(colors.begin(), colors.end(), m_file.background) != colors.end());
            if (fits) {
                form.color = ColorModel::kIndexed;
                return;
            }
            form.alpha = std::any_of(colors.begin(), colors.end(), [](Argb color) { return color >> 24 != 0xFF; });
            if (colors.size() > kMostColors) {
                // Written again, the picture has the colors themselves.
                m_settings.bits_per_pixel = header.map_entry_bits;
                m_settings.bits_of = ColorModel::kRgb;
                m_settings.map_entry_bits = 0;
                m_settings.map_first = 0;
            }
            return;
        }
        form.alpha = m_file.alpha != TgaAlpha::kNone;
        if (header.is_gray() && (!lost || is_gray_color(m_file.background))) {
            form.color = ColorModel::kGray;
        }
    }

    void fill_facts() {
        m_facts.format = Format::kTga;
        m_facts.encoding = m_settings;
        m_facts.readable = true;
        m_facts.width = m_file.header.width;
        m_facts.height = m_file.header.height;
        m_facts.bits_per_pixel = m_file.header.depth;
        m_facts.has_alpha = m_file.alpha != TgaAlpha::kNone;
        if (m_file.form.color == ColorModel::kIndexed) {
            m_facts.palette = m_file.colors;
        }
    }

    SharedSource m_source;
    SharedBudget m_budget;
    FileFacts m_facts;
    TgaFile m_file;
    TgaEncoding m_settings;
};

}  // namespace

std::shared_ptr<const TgaFrames> open_tga(const SharedSource& source, const DecodeOptions& options) {
    assert(source != nullptr);
    return std::make_shared<const TgaFileFrames>(source, options);
}

}  // namespace zelmor::imagework
