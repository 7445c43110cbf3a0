// The flat SVG that the drawing library writes, read back and drawn on a canvas.
//
// The drawing library can write what is drawn on one of its surfaces as an SVG file. Such a file is simple: groups,
// paths with absolute coordinates, gradients, clips, pictures in data URIs, and references among these. So it takes a
// drawing apart for canvases that are none of the library's own.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_SVG_FLAT_SVG_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_SVG_FLAT_SVG_H

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "runtime/native/drawwork/canvas.h"

namespace zelmor::imagework {

// Pixels, and the area of the page that they show.
struct FlatPixels {
    std::vector<drawwork::Argb> pixels;
    int32_t width = 0, height = 0;
    drawwork::RectD area;
};

// Draws as pixels what has no place on a canvas, such as masks.
struct FlatRenderer {
    // An area of a document of the kind above.
    std::function<FlatPixels(const std::string& document, const drawwork::RectD& area)> element;
    // The whole page, from the document that the flat one was made of.
    std::function<FlatPixels()> page;
};

// A color of the drawing library, whose parts are multiplied by its alpha, without that.
drawwork::Argb straight_color(drawwork::Argb color);

// Draws the document, whose page has the size given, on the canvas. PictureError(kInternal) for a document of another
// kind.
void draw_flat_svg(std::string_view document, drawwork::Canvas& canvas, const drawwork::Affine& placing, double width,
                   double height, bool smooth, const FlatRenderer& render);

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_SVG_FLAT_SVG_H
