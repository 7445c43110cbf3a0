// Rows in memory; see whole_rows.h.
#include "runtime/native/imagework/pixels/whole_rows.h"

#include <algorithm>
#include <cassert>

namespace zelmor::imagework {
namespace {

class WholeRows final : public RowReader {
 public:
    WholeRows(RowsHeader header, std::vector<uint8_t> rows, MemoryShare share)
        : m_header(std::move(header)), m_rows(std::move(rows)), m_share(std::move(share)) {
        assert(m_rows.size() == row_size() * static_cast<size_t>(m_header.height));
    }

    const RowsHeader& header() const override { return m_header; }

    void read([[maybe_unused]] int32_t count, std::span<uint8_t> rows) override {
        assert(rows.size() == row_size() * static_cast<size_t>(count) && rows.size() <= m_rows.size() - m_at);
        std::copy_n(m_rows.begin() + static_cast<std::ptrdiff_t>(m_at), rows.size(), rows.begin());
        m_at += rows.size();
    }

 private:
    size_t row_size() const { return m_header.form.pixel_size() * static_cast<size_t>(m_header.width); }

    RowsHeader m_header;
    std::vector<uint8_t> m_rows;
    MemoryShare m_share;
    size_t m_at = 0;
};

}  // namespace

std::unique_ptr<RowReader> whole_rows(RowsHeader header, std::vector<uint8_t> rows, MemoryShare share) {
    return std::make_unique<WholeRows>(std::move(header), std::move(rows), std::move(share));
}

}  // namespace zelmor::imagework
