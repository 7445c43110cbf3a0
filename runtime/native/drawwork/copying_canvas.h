// Canvases on which drawing can replace pixels instead of being laid over them: those over pixels.
#ifndef ZELMOR_RUNTIME_NATIVE_DRAWWORK_COPYING_CANVAS_H
#define ZELMOR_RUNTIME_NATIVE_DRAWWORK_COPYING_CANVAS_H

#include "runtime/native/drawwork/canvas.h"

namespace zelmor::drawwork {

// What a canvas with pixels can do besides; other canvases are none.
class CopyingCanvas {
 public:
    virtual ~CopyingCanvas() = default;
    // Whether fills and strokes from now on replace the pixels that they cover, their opacity too.
    virtual void set_copying(bool copies) = 0;
};

// While it lives, fills and strokes replace what is there, if `copies` says so and the canvas can do it.
class Copying {
 public:
    Copying(Canvas& canvas, bool copies) : m_canvas(copies ? dynamic_cast<CopyingCanvas*>(&canvas) : nullptr) {
        set(true);
    }
    Copying(const Copying&) = delete;
    Copying& operator=(const Copying&) = delete;
    ~Copying() { set(false); }

 private:
    void set(bool copies) {
        if (m_canvas != nullptr) {
            m_canvas->set_copying(copies);
        }
    }
    CopyingCanvas* m_canvas;
};

}  // namespace zelmor::drawwork

#endif  // ZELMOR_RUNTIME_NATIVE_DRAWWORK_COPYING_CANVAS_H
