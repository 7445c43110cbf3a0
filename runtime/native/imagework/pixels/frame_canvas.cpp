// The canvas; see frame_canvas.h.
#include "runtime/native/imagework/pixels/frame_canvas.h"

#include <algorithm>
#include <cassert>

namespace zelmor::imagework {

FrameCanvas::FrameCanvas(int32_t width, int32_t height, std::span<const uint8_t> clear)
    : m_width(width), m_height(height), m_clear(clear.begin(), clear.end()) {
    assert(width > 0 && height > 0 && !clear.empty());
    m_pixels.resize(static_cast<size_t>(width) * static_cast<size_t>(height) * clear.size());
    fill_clear({0, 0, width, height});
}

Rect FrameCanvas::inside(const Rect& area) const {
    const int64_t left = std::clamp<int64_t>(area.x, 0, m_width);
    const int64_t top = std::clamp<int64_t>(area.y, 0, m_height);
    const int64_t right = std::clamp<int64_t>(int64_t{area.x} + area.width, left, m_width);
    const int64_t bottom = std::clamp<int64_t>(int64_t{area.y} + area.height, top, m_height);
    return {static_cast<int32_t>(left), static_cast<int32_t>(top), static_cast<int32_t>(right - left),
            static_cast<int32_t>(bottom - top)};
}

void FrameCanvas::begin(const Rect& area, FrameDisposal disposal) {
    m_area = inside(area);
    m_disposal = disposal;
    m_before.clear();
    if (disposal != FrameDisposal::kRestore) {
        return;
    }
    const size_t size = static_cast<size_t>(m_area.width) * m_clear.size();
    m_before.reserve(size * static_cast<size_t>(m_area.height));
    for (int32_t y = 0; y < m_area.height; y++) {
        const uint8_t* from = row(m_area.y + y, m_area.x);
        m_before.insert(m_before.end(), from, from + size);
    }
}

void FrameCanvas::dispose() {
    if (m_disposal == FrameDisposal::kClear) {
        fill_clear(m_area);
    } else if (m_disposal == FrameDisposal::kRestore) {
        const size_t size = static_cast<size_t>(m_area.width) * m_clear.size();
        for (int32_t y = 0; y < m_area.height; y++) {
            std::copy_n(m_before.data() + size * static_cast<size_t>(y), size, row(m_area.y + y, m_area.x));
        }
    }
    m_disposal = FrameDisposal::kLeave;
    m_before = {};
}

void FrameCanvas::fill_clear(const Rect& area) {
    const Rect inner = inside(area);
    if (std::all_of(m_clear.begin(), m_clear.end(), [&](uint8_t byte) { return byte == m_clear[0]; })) {
        for (int32_t y = 0; y < inner.height; y++) {
            std::fill_n(row(inner.y + y, inner.x), static_cast<size_t>(inner.width) * m_clear.size(), m_clear[0]);
        }
        return;
    }
    for (int32_t y = 0; y < inner.height; y++) {
        uint8_t* at = row(inner.y + y, inner.x);
        for (int32_t x = 0; x < inner.width; x++) {
            at = std::copy(m_clear.begin(), m_clear.end(), at);
        }
    }
}

}  // namespace zelmor::imagework
