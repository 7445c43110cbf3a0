// The outlines of text.
#include "runtime/native/behaviours/drawing/shapes.h"
#include "runtime/native/core/managed_exception.h"

namespace zelmor::embed {

Outline text_outline(const FramedShape& shape) {
    if (!shape.has_segments()) return {};
    throw_not_supported("TextShape.Segments");
}

}  // namespace zelmor::embed
