// The cache; see canvas_cache.h.
#include "runtime/native/imagework/pixels/canvas_cache.h"

#include <algorithm>
#include <iterator>

#include "runtime/native/imagework/limits.h"

namespace zelmor::imagework {

CanvasCache::CanvasCache(size_t frames, size_t canvas_bytes) : m_frames(frames) {
    const uint64_t most = std::max<uint64_t>(1, limits::kCanvasBytes / std::max<size_t>(1, canvas_bytes));
    m_distance = static_cast<size_t>((frames + most - 1) / most);
    m_distance = std::max<size_t>(1, m_distance);
}

const FrameCanvas* CanvasCache::nearest(size_t index, size_t& number) const {
    auto found = m_kept.upper_bound(index);
    if (found == m_kept.begin()) {
        return nullptr;
    }
    found = std::prev(found);
    number = found->first;
    return &found->second;
}

void CanvasCache::offer(size_t number, const FrameCanvas& canvas, bool last) {
    if (!last && number % m_distance != 0) {
        return;
    }
    if (last) {
        if (m_last != number && m_last % m_distance != 0) {
            m_kept.erase(m_last);
        }
        m_last = number;
    }
    m_kept.try_emplace(number, canvas);
}

std::vector<uint8_t> composed_frame(CanvasCache& cache, size_t index, const BlankCanvas& blank,
                                    const std::function<bool(size_t)>& stands_alone,
                                    const std::function<FrameDisposal(size_t)>& disposal_of,
                                    const std::function<void(size_t, FrameCanvas&)>& lay) {
    // What a frame hides comes back behind it if its disposal says so.
    const auto begins = [&](size_t frame) {
        return stands_alone(frame) && (frame == index || disposal_of(frame) != FrameDisposal::kRestore);
    };
    size_t from = index;
    while (from > 0 && !begins(from)) {
        from--;
    }
    size_t kept = 0;
    const FrameCanvas* start = cache.nearest(index, kept);
    const bool continues = start != nullptr && kept > from;
    FrameCanvas canvas = continues ? *start : FrameCanvas(blank.width, blank.height, blank.clear);
    for (size_t i = continues ? kept : from; i < index; i++) {
        lay(i, canvas);
        canvas.dispose();
        cache.offer(i + 1, canvas, false);
    }
    lay(index, canvas);
    std::vector<uint8_t> pixels(canvas.pixels().begin(), canvas.pixels().end());
    const bool has_what_comes_back = from < index || index == 0 || disposal_of(index) != FrameDisposal::kRestore;
    if (index + 1 < cache.frames() && has_what_comes_back) {
        canvas.dispose();
        cache.offer(index + 1, canvas, true);
    }
    return pixels;
}

}  // namespace zelmor::imagework
