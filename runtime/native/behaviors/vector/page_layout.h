// Where a vector image is drawn: the size of the page, the place of the drawing on it, and what is behind it.
#ifndef ZELMOR_RUNTIME_NATIVE_BEHAVIORS_VECTOR_PAGE_LAYOUT_H
#define ZELMOR_RUNTIME_NATIVE_BEHAVIORS_VECTOR_PAGE_LAYOUT_H

#include "runtime/native/behaviors/vector/drawn_page.h"
#include "runtime/native/behaviors/vector/vector_image.h"

namespace zelmor::embed {

// The page as VectorRasterizationOptions want it. Without options it is as large as the image, and nothing is behind
// the drawing unless the image has a background color. NotSupportedException and ArgumentOutOfRangeException name the
// option.
DrawnPage laid_out(VectorImageObject& page, const ManagedObject* options);

// The part of the page that the rectangle covers, as a page.
DrawnPage cut_to(DrawnPage page, const RectangleValue& area);

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_BEHAVIORS_VECTOR_PAGE_LAYOUT_H
