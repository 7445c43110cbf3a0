// The canvas of an animation: frames are laid on it one after the other, and taken off as their disposal says.
#ifndef ZELMOR_RUNTIME_NATIVE_IMAGEWORK_PIXELS_FRAME_CANVAS_H
#define ZELMOR_RUNTIME_NATIVE_IMAGEWORK_PIXELS_FRAME_CANVAS_H

#include <cstdint>
#include <span>
#include <vector>

#include "runtime/native/imagework/formats.h"
#include "runtime/native/imagework/pixels/frame_source.h"
#include "runtime/native/imagework/pixels/pixel_form.h"

namespace zelmor::imagework {

class FrameCanvas {
 public:
    // Of clear pixels; `clear` has the size of one.
    FrameCanvas(int32_t width, int32_t height, std::span<const uint8_t> clear);

    std::span<const uint8_t> pixels() const { return m_pixels; }
    // A row from the pixel at `x` on.
    uint8_t* row(int32_t y, int32_t x = 0) { return m_pixels.data() + offset(x, y); }

    // Before a frame is laid on the area: keeps what its disposal brings back. The area is cut at the canvas.
    void begin(const Rect& area, FrameDisposal disposal);
    // When its time is over.
    void dispose();
    void fill_clear(const Rect& area);

    // The part of an area that is on the canvas.
    Rect inside(const Rect& area) const;

 private:
    size_t offset(int32_t x, int32_t y) const {
        return (static_cast<size_t>(y) * static_cast<size_t>(m_width) + static_cast<size_t>(x)) * m_clear.size();
    }

    int32_t m_width;
    int32_t m_height;
    std::vector<uint8_t> m_clear;
    std::vector<uint8_t> m_pixels;
    Rect m_area{};
    FrameDisposal m_disposal = FrameDisposal::kLeave;
    std::vector<uint8_t> m_before;  // the pixels of the area
};

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_IMAGEWORK_PIXELS_FRAME_CANVAS_H
