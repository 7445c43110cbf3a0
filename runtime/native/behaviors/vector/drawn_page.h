// A page as formats of lines and text write it: a drawing with its place on the page.
//
// A page of pixels is a drawing too, which shows one texture; a format that holds pictures takes the picture itself.
#ifndef ZELMOR_RUNTIME_NATIVE_BEHAVIORS_VECTOR_DRAWN_PAGE_H
#define ZELMOR_RUNTIME_NATIVE_BEHAVIORS_VECTOR_DRAWN_PAGE_H

#include <memory>

#include "runtime/native/behaviors/vector/drawing.h"
#include "runtime/native/imagework/backend.h"

namespace zelmor::embed {

struct DrawnPage {
    std::shared_ptr<Drawing> drawing;  // never null
    drawwork::Affine placing;          // maps the drawing's own space to the page
    double width = 0, height = 0;      // of the page, in pixels
    drawwork::Argb background = 0;     // behind the drawing; transparent for none
    DrawSettings settings;
    // The image that the page shows. A format of vector images finds its own drawing there, to write parts of a file
    // again as they were.
    Ref<ImageBase> source;
    const imagework::Picture* picture = nullptr;                       // of a page of pixels
    imagework::Resolution resolution = imagework::kDefaultResolution;  // pixels per inch

    // Draws the background and the drawing, cut to the page. `to_canvas` maps the page to the canvas.
    void draw(drawwork::Canvas& canvas, const drawwork::Affine& to_canvas = {}) const;
    // Whether the drawing is to be seen at its own size and in its own place, as it was loaded.
    bool is_unchanged() const;
};

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_BEHAVIORS_VECTOR_DRAWN_PAGE_H
