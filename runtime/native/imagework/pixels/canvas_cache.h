// Canvases of an animation that are kept, so that a frame costs the frames since the nearest of them and not all
// before.
#ifndef ZELMOR_RUNTIME_NATIVE_IMAGEWORK_PIXELS_CANVAS_CACHE_H
#define ZELMOR_RUNTIME_NATIVE_IMAGEWORK_PIXELS_CANVAS_CACHE_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <span>
#include <vector>

#include "runtime/native/imagework/pixels/frame_canvas.h"

namespace zelmor::imagework {

// Frames are mostly shown in their order, and sometimes in the reverse one: canvases are kept at equal distances, as
// many as memory is spent for, and the one of the last call besides. Each is as it is before the frame of its number.
class CanvasCache {
 public:
    CanvasCache(size_t frames, size_t canvas_bytes);

    size_t frames() const { return m_frames; }
    // The kept canvas of the greatest number up to `index`, and that number; null where there is none.
    const FrameCanvas* nearest(size_t index, size_t& number) const;
    // The canvas before the frame of that number; `last` where the call ends with it.
    void offer(size_t number, const FrameCanvas& canvas, bool last);

 private:
    size_t m_frames;
    size_t m_distance;
    std::map<size_t, FrameCanvas> m_kept;
    size_t m_last = 0;  // the number of the last call's
};

// An empty canvas: its size, and the bytes of a clear pixel.
struct BlankCanvas {
    int32_t width;
    int32_t height;
    std::span<const uint8_t> clear;
};

// The pixels of the canvas while a frame is shown. `stands_alone` tells whether a frame hides all that was shown before
// it, even where it is damaged, `disposal_of` what becomes of it then, and `lay` draws one: it calls begin() of the
// canvas first.
std::vector<uint8_t> composed_frame(CanvasCache& cache, size_t index, const BlankCanvas& blank,
                                    const std::function<bool(size_t)>& stands_alone,
                                    const std::function<FrameDisposal(size_t)>& disposal_of,
                                    const std::function<void(size_t, FrameCanvas&)>& lay);

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_IMAGEWORK_PIXELS_CANVAS_CACHE_H
