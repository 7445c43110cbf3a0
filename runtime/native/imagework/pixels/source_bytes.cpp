// The window; see source_bytes.h.
#include "runtime/native/imagework/pixels/source_bytes.h"

#include <algorithm>
#include <cassert>

namespace zelmor::imagework {

SourceBytes::SourceBytes(SharedSource source, size_t jump) : m_source(std::move(source)), m_jump(jump) {
    assert(m_source != nullptr && jump > 0 && jump <= kUsualWindow);
    m_size = m_source->size();
    m_all = m_source->in_memory();
}

uint64_t SourceBytes::next_window(uint64_t offset) const {
    const bool goes_on = m_window_size > 0 && offset >= m_window_at && offset <= m_window_at + m_window_size + m_jump;
    return goes_on ? std::clamp(2 * m_window_size, m_jump, kUsualWindow) : m_jump;
}

std::span<const uint8_t> SourceBytes::at(uint64_t offset, uint64_t length) {
    if (offset >= m_size) {
        return {};
    }
    const uint64_t count = std::min(length, m_size - offset);
    if (!m_all.empty()) {
        return m_all.subspan(static_cast<size_t>(offset), static_cast<size_t>(count));
    }
    if (offset < m_window_at || offset + count > m_window_at + m_window_size) {
        const auto wanted = static_cast<size_t>(std::min(std::max(count, next_window(offset)), m_size - offset));
        if (m_window.size() < wanted) {
            m_window.resize(wanted);
        }
        m_window_size = 0;  // until the bytes are read, which may fail
        m_window_at = offset;
        m_window_size = m_source->read_at(offset, std::span(m_window).first(wanted));
    }
    const auto skip = static_cast<size_t>(offset - m_window_at);
    assert(skip <= m_window_size);  // a new window begins at the offset, an older one has all that is asked for
    return std::span<const uint8_t>(m_window).subspan(skip, std::min<uint64_t>(count, m_window_size - skip));
}

size_t SourceBytes::copy(uint64_t offset, std::span<uint8_t> out) {
    const bool in_window = offset >= m_window_at && offset + out.size() <= m_window_at + m_window_size;
    if (m_all.empty() && !in_window && out.size() >= m_jump) {
        return m_source->read_at(offset, out);
    }
    const auto found = at(offset, out.size());
    std::copy(found.begin(), found.end(), out.begin());
    return found.size();
}

}  // namespace zelmor::imagework
