// A page of a TIFF file as rows; see tiff_reader.h.
#include "runtime/native/imagework/tiff/tiff_reader.h"

#include <cassert>
#include <cstring>
#include <utility>
#include <vector>

#include "runtime/native/imagework/picture_error.h"
#include "runtime/native/imagework/tiff/lost_pixels.h"
#include "runtime/native/imagework/tiff/page_layout.h"
#include "runtime/native/imagework/tiff/piece_sizes.h"
#include "runtime/native/imagework/tiff/row_sources.h"
#include "runtime/native/imagework/tiff/tiff_input.h"

namespace zelmor::imagework {
namespace {

class TiffReader final : public RowReader {
 public:
    TiffReader(const SharedSource& source, uint64_t directory, const DecodeOptions& options)
        : m_input(source, directory),
          m_layout(read_layout(m_input)),
          m_header(header_of(m_input, m_layout)),
          m_fills(options.recovery == Recovery::kMaximal) {
        if (options.recovery == Recovery::kNone) {
            require_enough_bytes(m_input, m_layout);
        }
        if (m_fills) {
            m_background = pixel_of_color(m_header, options.background);
        }
        m_rows = row_source({m_input, m_layout, m_fills, [source, directory] {
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
            read_row(rows.data() + static_cast<size_t>(i) * row_size);
        }
    }

 private:
    void read_row(uint8_t* row) {
        try {
            m_rows->read(m_next, row);
        } catch (const PictureError& error) {
            if (!m_fills || error.kind() != Failure::kDamaged) {
                throw;
            }
            for (uint32_t x = 0; x < m_layout.width; x++, row += m_background.size()) {
                std::memcpy(row, m_background.data(), m_background.size());
            }
            return;
        }
        if (m_layout.colors.differ()) {
            colors_from_file(m_layout.form, m_layout.colors, row, m_layout.width);
        }
    }

    TiffInput m_input;
    PageLayout m_layout;
    RowsHeader m_header;
    bool m_fills;
    std::vector<uint8_t> m_background;
    std::unique_ptr<RowSource> m_rows;
    uint32_t m_next = 0;
};

}  // namespace

std::unique_ptr<RowReader> open_tiff_page(SharedSource source, uint64_t directory, const DecodeOptions& options) {
    assert(source != nullptr);
    return std::make_unique<TiffReader>(source, directory, options);
}

}  // namespace zelmor::imagework
