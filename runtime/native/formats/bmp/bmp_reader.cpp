// Reading BMP; see bmp_codec.h.
#include <algorithm>
#include <cassert>
#include <cstring>
#include <optional>

#include "runtime/native/formats/bmp/bmp_codec.h"
#include "runtime/native/formats/bmp/bmp_header.h"
#include "runtime/native/formats/bmp/bmp_runs.h"
#include "runtime/native/imagework/picture_error.h"
#include "runtime/native/imagework/pixels/memory_budget.h"
#include "runtime/native/imagework/pixels/samples.h"
#include "runtime/native/imagework/pixels/source_bytes.h"

namespace zelmor::imagework {
namespace {

// Of a file that is not in memory so much is read at a time, or one row.
constexpr uint64_t kBlock = 256 * 1024;

std::array<uint8_t, 4> bytes_of(Argb color) {
    return {static_cast<uint8_t>(color >> 16), static_cast<uint8_t>(color >> 8), static_cast<uint8_t>(color),
            static_cast<uint8_t>(color >> 24)};
}

int index_of(const std::vector<Argb>& palette, Argb color) {
    const auto found = std::find(palette.begin(), palette.end(), color | kBlack);
    return found == palette.end() ? -1 : static_cast<int>(found - palette.begin());
}

// What is known of a file before its pixels are read.
struct BmpFile {
    BmpHeader header;
    std::vector<Argb> palette;  // of up to 8 bits a pixel: the colors that the file has, all opaque
    int32_t stored_rows = 0;    // that the data holds; of run-length data all
    bool lenient = false;
    Argb background = kWhite;
};

// The rows of a file as they are stored, one index or pixel after the other.
class StoredRows {
 public:
    StoredRows(SharedSource source, const BmpFile& file) : m_source(std::move(source)), m_file(file) {}

    // So many stored rows from the first on, `row_stride()` bytes after each other. They stay until the next call.
    std::span<const uint8_t> rows(int32_t first, int32_t count) {
        const uint64_t stride = m_file.header.row_stride();
        const uint64_t at = m_file.header.pixels_at + static_cast<uint64_t>(first) * stride;
        // The last row may lack its padding.
        const uint64_t needed = static_cast<uint64_t>(count - 1) * stride + m_file.header.row_bytes();
        if (const auto all = m_source->in_memory(); !all.empty()) {
            return all.subspan(static_cast<size_t>(at), static_cast<size_t>(needed));
        }
        m_block.resize(static_cast<size_t>(needed));
        if (m_source->read_at(at, m_block) != needed) {
            bmp_damaged("the file cannot be read");
        }
        return m_block;
    }

    // As many as are worth one call.
    int32_t rows_in_block() const {
        return static_cast<int32_t>(std::clamp<uint64_t>(kBlock / m_file.header.row_stride(), 1, 0x7FFFFFFF));
    }

 private:
    SharedSource m_source;
    const BmpFile& m_file;
    std::vector<uint8_t> m_block;
};

void unpack_indices(const uint8_t* from, int bits, int32_t width, uint8_t* to) {
    if (bits == 8) {
        std::copy_n(from, width, to);
        return;
    }
    const int per_byte = 8 / bits;
    const unsigned mask = (1U << bits) - 1;
    for (int32_t x = 0; x < width; x++) {
        const int shift = (per_byte - 1 - x % per_byte) * bits;
        to[x] = static_cast<uint8_t>(from[x / per_byte] >> shift & mask);
    }
}

void unpack_rgb(const uint8_t* from, int32_t width, uint8_t* to) {
    for (int32_t x = 0; x < width; x++, from += 3, to += 3) {
        to[0] = from[2];
        to[1] = from[1];
        to[2] = from[0];
    }
}

class FieldReader {
 public:
    FieldReader(const BmpHeader& header, int bands) : m_header(header), m_bands(static_cast<size_t>(bands)) {
        m_bytes_alone = header.bits == 32;
        for (size_t i = 0; i < m_bands; i++) {
            const auto byte = header.masks[i].byte();
            m_bytes_alone = m_bytes_alone && byte;
            m_byte[i] = static_cast<size_t>(byte.value_or(0));
        }
    }

    void unpack(const uint8_t* from, uint8_t* to) const {
        const auto step = static_cast<size_t>(m_header.bits / 8);
        for (int32_t x = 0; x < m_header.width; x++, from += step, to += m_bands) {
            if (m_bytes_alone) {
                for (size_t i = 0; i < m_bands; i++) {
                    to[i] = from[m_byte[i]];
                }
                continue;
            }
            auto pixel = static_cast<uint32_t>(from[0] | from[1] << 8);
            if (step == 4) {
                pixel |= static_cast<uint32_t>(from[2]) << 16 | static_cast<uint32_t>(from[3]) << 24;
            }
            for (size_t i = 0; i < m_bands; i++) {
                to[i] = m_header.masks[i].get(pixel);
            }
        }
    }

 private:
    const BmpHeader& m_header;
    size_t m_bands;
    bool m_bytes_alone;
    std::array<size_t, 4> m_byte{};
};

// How indices become the samples of the picture. Most files have the color of every index that is used; an index beyond
// the palette is black, and rows that are lost have the background. Where the palette lacks such a color, the picture
// has colors instead of indices.
struct IndexForm {
    bool indexed = true;
    int beyond = -1;      // the index that stands for those beyond the palette; -1: there are none
    int background = -1;  // of lost rows, the same
};

class BmpReader final : public RowReader {
 public:
    BmpReader(const SharedSource& source, const BmpFile& file, SharedBudget budget)
        : m_file(file), m_source(source), m_budget(std::move(budget)), m_stored(source, m_file) {
        const BmpHeader& bmp = m_file.header;
        m_header.width = bmp.width;
        m_header.height = bmp.height;
        m_header.resolution = bmp.resolution;
        if (bmp.bits <= 8) {
            choose_form();
        } else {
            m_header.form.alpha = bmp.masks[3].present();
        }
        if (bmp.bits == 16 || bmp.bits == 32) {
            m_fields.emplace(m_file.header, m_header.form.bands());
        }
    }

    const RowsHeader& header() const override { return m_header; }

    void read(int32_t count, std::span<uint8_t> rows) override {
        const size_t row_size = m_header.form.pixel_size() * static_cast<size_t>(m_header.width);
        assert(count >= 0 && m_next + count <= m_header.height && rows.size() == row_size * static_cast<size_t>(count));
        for (int32_t y = m_next; y < m_next + count; y++) {
            uint8_t* to = rows.data() + row_size * static_cast<size_t>(y - m_next);
            const int32_t stored = stored_row(y);
            if (stored >= m_file.stored_rows) {
                put_background(to);
                continue;
            }
            if (m_file.header.bits <= 8) {
                put_indices(indices(stored), to);
            } else if (m_file.header.bits == 24) {
                unpack_rgb(packed(stored), m_header.width, to);
            } else {
                m_fields->unpack(packed(stored), to);
            }
        }
        m_next += count;
    }

 private:
    int32_t stored_row(int32_t y) const { return m_file.header.top_down ? y : m_header.height - 1 - y; }

    void choose_form() {
        const size_t most = size_t{1} << m_file.header.bits;
        const std::vector<Argb>& palette = m_file.palette;
        m_form.indexed = !palette.empty();
        if (palette.size() < most) {
            m_form.beyond = index_of(palette, kBlack);
            if (m_form.indexed && m_form.beyond < 0 && uses_more_than(palette.size())) {
                m_form.indexed = false;
            }
        }
        if (m_file.stored_rows < m_file.header.height) {
            m_form.background = index_of(palette, m_file.background);
            m_form.indexed = m_form.indexed && m_form.background >= 0;
        }
        PixelForm& form = m_header.form;
        if (m_form.indexed) {
            form.color = ColorModel::kIndexed;
            form.bits = index_bits(palette.size());
            m_header.palette = palette;
            return;
        }
        const bool gray = std::all_of(palette.begin(), palette.end(), is_gray_color) &&
                          (m_file.stored_rows == m_file.header.height || is_gray_color(m_file.background));
        form.color = gray ? ColorModel::kGray : ColorModel::kRgb;
        if (gray && palette.empty()) {
            form.bits = m_file.header.bits;  // all of it is black
        }
    }

    // Whether a pixel has an index that so many colors do not reach. All pixels are read for that.
    bool uses_more_than(size_t colors) {
        for (int32_t y = 0; y < m_header.height; y++) {
            if (stored_row(y) >= m_file.stored_rows) {
                continue;
            }
            const auto found = indices(stored_row(y));
            if (*std::max_element(found.begin(), found.end()) >= colors) {
                return true;
            }
        }
        return false;
    }

    // A stored row of packed indices or pixels.
    const uint8_t* packed(int32_t stored) {
        if (stored < m_block_first || stored >= m_block_first + m_block_count) {
            // The rows that are asked for next lie behind the row in one order of the file, and before it in the other.
            const int32_t size = m_stored.rows_in_block();
            const int32_t first = m_file.header.top_down ? stored : std::max(0, stored - size + 1);
            const int32_t end =
                m_file.header.top_down ? std::min<int32_t>(m_file.stored_rows - stored, size) + stored : stored + 1;
            m_block_count = 0;
            m_block = m_stored.rows(first, end - first);
            m_block_first = first;
            m_block_count = end - first;
        }
        return m_block.data() + m_file.header.row_stride() * static_cast<uint64_t>(stored - m_block_first);
    }

    std::span<const uint8_t> indices(int32_t stored) {
        const auto width = static_cast<size_t>(m_header.width);
        if (!m_file.header.has_runs()) {
            m_indices.resize(width);
            unpack_indices(packed(stored), m_file.header.bits, m_header.width, m_indices.data());
            return m_indices;
        }
        if (m_runs.empty()) {
            const uint64_t size = width * static_cast<uint64_t>(m_header.height);
            check_picture_size(m_header.width, m_header.height, 1);
            m_share = MemoryShare(m_budget, size);
            SourceBytes bytes(m_source, SourceBytes::kHeaderWindow);
            m_runs = decode_bmp_runs(bytes, m_file.header, m_file.lenient);
        }
        return std::span(m_runs).subspan(width * static_cast<size_t>(stored), width);
    }

    void put_indices(std::span<const uint8_t> found, uint8_t* to) const {
        const size_t colors = m_file.palette.size();
        const auto bands = static_cast<size_t>(m_header.form.bands());
        if (m_form.indexed) {
            const auto beyond = static_cast<uint8_t>(std::max(0, m_form.beyond));
            std::transform(found.begin(), found.end(), to,
                           [&](uint8_t index) { return index < colors ? index : beyond; });
            return;
        }
        for (const uint8_t index : found) {
            const auto color = bytes_of(index < colors ? m_file.palette[index] : kBlack);
            to = std::copy_n(color.begin(), bands, to);
        }
    }

    void put_background(uint8_t* to) const {
        const auto width = static_cast<size_t>(m_header.width);
        if (m_form.indexed && m_header.form.color == ColorModel::kIndexed) {
            std::fill_n(to, width, static_cast<uint8_t>(m_form.background));
            return;
        }
        const auto color = bytes_of(m_file.background);
        for (size_t x = 0; x < width; x++) {
            to = std::copy_n(color.begin(), m_header.form.bands(), to);
        }
    }

    const BmpFile m_file;
    SharedSource m_source;
    SharedBudget m_budget;
    StoredRows m_stored;
    RowsHeader m_header;
    IndexForm m_form;
    std::optional<FieldReader> m_fields;
    int32_t m_next = 0;
    std::span<const uint8_t> m_block;
    int32_t m_block_first = 0;
    int32_t m_block_count = 0;
    std::vector<uint8_t> m_indices;  // of one row
    std::vector<uint8_t> m_runs;     // of all stored rows
    MemoryShare m_share;
};

class BmpFrames final : public FrameSource {
 public:
    BmpFrames(const SharedSource& source, const DecodeOptions& options) : m_source(source), m_budget(options.memory) {
        SourceBytes bytes(source, SourceBytes::kHeaderWindow);
        m_facts = probe(bytes);
        m_file.header = read_bmp_header(ByteReader(bytes));
        m_file.lenient = options.recovery != Recovery::kNone;
        m_file.background = options.background;
        m_file.stored_rows = m_file.header.has_runs() ? m_file.header.height : complete_rows(source->size());
        if (m_file.stored_rows == 0 || (m_file.stored_rows < m_file.header.height && !m_file.lenient)) {
            bmp_damaged("the data ends in row " + std::to_string(m_file.stored_rows) + " of " +
                        std::to_string(m_file.header.height));
        }
        if (m_file.header.bits <= 8) {
            m_file.palette = m_facts.palette;
        }
    }

    size_t count() const override { return 1; }

    FrameHeader header([[maybe_unused]] size_t index) const override {
        assert(index == 0);
        return {m_facts, 0, {0, 0, m_file.header.width, m_file.header.height}};
    }

    std::unique_ptr<RowReader> open([[maybe_unused]] size_t index) const override {
        assert(index == 0);
        return std::make_unique<BmpReader>(m_source, m_file, m_budget);
    }

 private:
    int32_t complete_rows(uint64_t size) const {
        const BmpHeader& header = m_file.header;
        if (header.pixels_at > size || header.row_bytes() > size - header.pixels_at) {
            return 0;
        }
        const uint64_t rows = (size - header.pixels_at - header.row_bytes()) / header.row_stride() + 1;
        return static_cast<int32_t>(std::min<uint64_t>(rows, static_cast<uint64_t>(header.height)));
    }

    SharedSource m_source;
    SharedBudget m_budget;
    FileFacts m_facts;
    BmpFile m_file;
};

}  // namespace

SharedFrames open_bmp(const SharedSource& source, const DecodeOptions& options) {
    assert(source != nullptr);
    return std::make_shared<const BmpFrames>(source, options);
}

}  // namespace zelmor::imagework
