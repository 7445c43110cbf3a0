// Making options that say how a vector image becomes pixels.
#ifndef ZELMOR_RUNTIME_NATIVE_BEHAVIORS_VECTOR_RASTERIZATION_OPTIONS_H
#define ZELMOR_RUNTIME_NATIVE_BEHAVIORS_VECTOR_RASTERIZATION_OPTIONS_H

#include "runtime/native/behaviors/vector/vector_image.h"
#include "runtime/native/collections/collection.h"

namespace zelmor::embed {

// Options of the class that belongs to the image, with the image's size and background. `arguments` may be null; they
// are a background color and the width and the height of the page, of which the last ones may be left out.
Ref<ManagedObject> rasterization_options(VectorImageObject& image, const ManagedList* arguments);

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_BEHAVIORS_VECTOR_RASTERIZATION_OPTIONS_H
