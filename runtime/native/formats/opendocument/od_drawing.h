// Drawing the pages of an OpenDocument file on a canvas.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_OPENDOCUMENT_OD_DRAWING_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_OPENDOCUMENT_OD_DRAWING_H

#include <cstddef>
#include <string>

#include "runtime/native/drawwork/canvas.h"
#include "runtime/native/drawwork/geometry.h"
#include "runtime/native/formats/opendocument/od_document.h"
#include "runtime/native/formats/opendocument/od_painter.h"

namespace zelmor::embed {

// The size of a page in pixels of 96 to the inch.
drawwork::PointD od_page_size(const OdDocument& document, size_t index);

// Draws the background, the shapes of the master page, and those of the page. `placing` maps the page to the canvas.
void draw_od_page(OdCanvas& target, size_t index, const drawwork::Affine& placing);

// The place of a shape: its size, and the map from (0, 0, width, height) to the page or group.
struct OdShapePlace {
    double width = 0, height = 0;
    drawwork::Affine placing;
};
OdShapePlace od_shape_place(const OdNode& shape);

// The outlines of simple shapes, in the space of the shape's place.
drawwork::Outline od_rectangle(const OdNode& shape, const OdShapePlace& place);
drawwork::Outline od_ellipse(const OdNode& shape, const OdShapePlace& place);

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_OPENDOCUMENT_OD_DRAWING_H
