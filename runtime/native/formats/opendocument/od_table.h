// Drawing the tables of OpenDocument pages.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_OPENDOCUMENT_OD_TABLE_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_OPENDOCUMENT_OD_TABLE_H

#include <cstddef>

#include "runtime/native/drawwork/geometry.h"
#include "runtime/native/formats/opendocument/od_document.h"
#include "runtime/native/formats/opendocument/od_drawing.h"
#include "runtime/native/formats/opendocument/od_painter.h"

namespace zelmor::embed {

// Draws a table:table in its frame: the insides of the cells, their texts, their borders. `map` goes from the frame's
// place to the canvas. PictureError where it has too many cells.
void draw_od_table(OdCanvas& target, const OdNode& table, OdScope scope, const OdShapePlace& place,
                   const drawwork::Affine& map, size_t page_number);

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_OPENDOCUMENT_OD_TABLE_H
