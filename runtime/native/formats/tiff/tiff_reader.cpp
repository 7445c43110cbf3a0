// A page of a TIFF file as rows; see tiff_reader.h.
#include "runtime/native/formats/tiff/tiff_reader.h"

#include <algorithm>
#include <cassert>
#include <utility>
#include <vector>

#include "runtime/native/formats/tiff/page_layout.h"
#include "runtime/native/formats/tiff/piece_sizes.h"
#include "runtime/native/formats/tiff/row_sources.h"
#include "runtime/native/formats/tiff/tiff_input.h"
#include "runtime/native/imagework/picture_error.h"

namespace zelmor::imagework {
namespace {

class TiffReader final : public RowReader {
 public:
    TiffReader(const SharedSource& source, uint64_t directory, const DecodeOptions& options)
        : m_input(source, directory),
          m_layout(read_layout(m_input)),
          m_header(header_of(m_input, m_layout)),
          m_goes_on(options.recovery == Recovery::kMaximal) {
        if (options.recovery == Recovery::kNone) {
            require_enough_bytes(m_input, m_layout);
        }
        m_rows = row_source({m_input, m_layout, m_goes_on, [source, directory] {
                                 auto again = std::make_unique<TiffInput>(source, directory);
                                 read_layout(*again);
                                 return again;
                             }});
    }

    const RowsHeader& header() const override { return m_header; }

    void read(int32_t count, std::span<uint8_t> rows) override {
        const size_t row_size = m_layout.width * m_layout.pixel_size();
        assert(count >= 0 && rows.size() == row_size * static_cast<size_t>(count));
        assert(m_next + static_cast<uint32_t>(count) <= m_layout.height);
        for (int32_t i = 0; i < count; i++, m_next++) {
            read_row(rows.subspan(static_cast<size_t>(i) * row_size, row_size));
        }
    }

    std::vector<Rect> lost() const override { return m_lost; }

 private:
    void read_row(std::span<uint8_t> row) {
        try {
            m_rows->read(m_next, row.data());
        } catch (const PictureError& error) {
            if (!m_goes_on || error.kind() != Failure::kDamaged) {
                throw;
            }
            std::fill(row.begin(), row.end(), uint8_t{0});
            add_lost_row(static_cast<int32_t>(m_next));
            return;
        }
        if (m_layout.colors.differ()) {
            colors_from_file(m_layout.form, m_layout.colors, row.data(), m_layout.width);
        }
    }

    void add_lost_row(int32_t y) {
        if (!m_lost.empty() && m_lost.back().y + m_lost.back().height == y) {
            m_lost.back().height++;
        } else {
            m_lost.push_back({0, y, m_header.width, 1});
        }
    }

    TiffInput m_input;
    PageLayout m_layout;
    RowsHeader m_header;
    bool m_goes_on;  // behind rows that are lost
    std::vector<Rect> m_lost;
    std::unique_ptr<RowSource> m_rows;
    uint32_t m_next = 0;
};

}  // namespace

std::unique_ptr<RowReader> open_tiff_page(SharedSource source, uint64_t directory, const DecodeOptions& options) {
    assert(source != nullptr);
    return std::make_unique<TiffReader>(source, directory, options);
}

}  // namespace zelmor::imagework
