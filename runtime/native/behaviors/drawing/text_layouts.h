// Fonts and formats as the drawing backend lays text out with them.
#ifndef ZELMOR_RUNTIME_NATIVE_BEHAVIORS_DRAWING_TEXT_LAYOUTS_H
#define ZELMOR_RUNTIME_NATIVE_BEHAVIORS_DRAWING_TEXT_LAYOUTS_H

#include <optional>
#include <string>

#include "runtime/native/core/records.h"
#include "runtime/native/drawwork/canvas.h"

namespace zelmor::embed {

// Text in a frame: the layout, and where its corner is in relation to the frame's.
struct PlacedText {
    drawwork::TextLayout layout;
    drawwork::PointD offset;
    drawwork::TextExtent extent;
    std::optional<RectD> clip;  // in relation to the frame's corner
};

// A width or height of 0 does not limit the text. `font_scale` is the length of a unit of the font's size in world
// units. `exact` is that of the layout. ArgumentNullException for no font, NotSupportedException for vertical text and
// other settings that nothing is done for.
PlacedText place_text(const std::u16string& text, const ManagedObject* font, const ManagedObject* format, double width,
                      double height, double font_scale, bool exact = false);

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_BEHAVIORS_DRAWING_TEXT_LAYOUTS_H
