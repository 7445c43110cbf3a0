// A pen as the drawing needs it, read from the properties of its object.
#ifndef ZELMOR_RUNTIME_NATIVE_BEHAVIORS_DRAWING_PENS_H
#define ZELMOR_RUNTIME_NATIVE_BEHAVIORS_DRAWING_PENS_H

#include <vector>

#include "generated/runtime/Zelmor.Imaging.h"
#include "runtime/native/behaviors/drawing/outlines.h"
#include "runtime/native/core/records.h"
#include "runtime/native/drawwork/canvas.h"

namespace zelmor::embed {

using api::LineCap;

// The cap within the line's width; flat for an anchor, which is drawn over the end.
EndCap end_cap_of(LineCap line_cap);
Join join_of(api::LineJoin join);
// The part of a pen that widens outlines. Anchors and dashes are not in it.
PenShape pen_shape(const ManagedObject& pen);
// How the lines in the stroked path of a CustomLineCap are drawn: with the width 1.
PenShape stroke_shape_of(const ManagedObject& custom_cap);
// What metafiles say of these lines beside the properties. `cap` is a CustomLineCap.
void set_stroke(ManagedObject& cap, LineCap start, LineCap end, double miter_limit);
// The lengths of dashes and gaps in units of the pen's width; empty for an unbroken line.
std::vector<double> dashes_of(const ManagedObject& pen);

// Draws outlines that are on the canvas already with a pen of the API, whose units `map` leads to the canvas. No line
// is thinner than so many pixels; that of a pen without a width is one pixel wide.
void draw_with_pen(drawwork::Canvas& canvas, const ManagedObject& pen, const Affine& map, const Outline& outline,
                   const drawwork::Paint& paint, bool smooth, double thinnest = 1);

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_BEHAVIORS_DRAWING_PENS_H
