// A source within a source; see ico_piece.h.
#include "runtime/native/formats/ico/ico_piece.h"

#include <algorithm>
#include <cassert>
#include <utility>

namespace zelmor::imagework {
namespace {

class Piece final : public DataSource {
 public:
    Piece(SharedSource source, uint64_t offset, uint64_t size, std::vector<uint8_t> before)
        : m_source(std::move(source)), m_offset(offset), m_size(size), m_before(std::move(before)) {
        assert(m_offset <= m_source->size() && m_size <= m_source->size() - m_offset);
    }

    uint64_t size() const override { return m_before.size() + m_size; }

    size_t read_at(uint64_t offset, std::span<uint8_t> out) const override {
        size_t done = 0;
        if (offset < m_before.size()) {
            done = std::min(out.size(), m_before.size() - static_cast<size_t>(offset));
            std::copy_n(m_before.begin() + static_cast<std::ptrdiff_t>(offset), done, out.begin());
        }
        const uint64_t at = offset + done - m_before.size();  // in the piece
        if (done == out.size() || at >= m_size) {
            return done;
        }
        const auto count = static_cast<size_t>(std::min<uint64_t>(out.size() - done, m_size - at));
        return done + m_source->read_at(m_offset + at, out.subspan(done, count));
    }

    std::span<const uint8_t> in_memory() const override {
        const auto all = m_source->in_memory();
        return m_before.empty() && !all.empty()
                   ? all.subspan(static_cast<size_t>(m_offset), static_cast<size_t>(m_size))
                   : std::span<const uint8_t>();
    }

 private:
    SharedSource m_source;
    uint64_t m_offset;
    uint64_t m_size;
    std::vector<uint8_t> m_before;
};

}  // namespace

SharedSource piece_of(const SharedSource& source, uint64_t offset, uint64_t size, std::vector<uint8_t> before) {
    return std::make_shared<const Piece>(source, offset, size, std::move(before));
}

}  // namespace zelmor::imagework
