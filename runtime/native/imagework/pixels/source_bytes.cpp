// The window; see source_bytes.h.
#include "runtime/native/imagework/pixels/source_bytes.h"

#include <algorithm>
#include <cassert>

namespace zelmor::imagework {
namespace {

constexpr size_t kUsualWindow = size_t{64} << 10;

}  // namespace

SourceBytes::SourceBytes(SharedSource source) : m_source(std::move(source)) {
    assert(m_source != nullptr);
    m_size = m_source->size();
    m_all = m_source->in_memory();
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
        const auto wanted = static_cast<size_t>(std::min(std::max<uint64_t>(count, kUsualWindow), m_size - offset));
        if (m_window.size() < wanted) {
            m_window.resize(wanted);
        }
        m_window_size = 0;
        m_window_at = offset;
        m_window_size = m_source->read_at(offset, std::span(m_window).first(wanted));
    }
    const auto skip = static_cast<size_t>(offset - m_window_at);
    const size_t found = m_window_size > skip ? m_window_size - skip : 0;
    return std::span<const uint8_t>(m_window).subspan(skip, std::min<uint64_t>(count, found));
}

size_t SourceBytes::copy(uint64_t offset, std::span<uint8_t> out) {
    const auto found = at(offset, out.size());
    std::copy(found.begin(), found.end(), out.begin());
    return found.size();
}

}  // namespace zelmor::imagework
