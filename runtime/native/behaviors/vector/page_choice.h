// The pages of a vector image that a save writes.
#ifndef ZELMOR_RUNTIME_NATIVE_BEHAVIORS_VECTOR_PAGE_CHOICE_H
#define ZELMOR_RUNTIME_NATIVE_BEHAVIORS_VECTOR_PAGE_CHOICE_H

#include <vector>

#include "runtime/native/behaviors/vector/drawn_page.h"
#include "runtime/native/behaviors/vector/vector_image.h"

namespace zelmor::embed {

// The pages that the save options choose, laid out as these say and cut to the areas that they name. Without a choice
// all pages where `several` are written, otherwise the first. `options` and `bounds` may be null.
std::vector<DrawnPage> chosen_pages(VectorImageObject& image, const Record* options, const RectangleValue* bounds,
                                    bool several);

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_BEHAVIORS_VECTOR_PAGE_CHOICE_H
