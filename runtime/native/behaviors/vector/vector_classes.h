// What the API has for each class of vector images: the format, and the options that say how it becomes pixels.
#ifndef ZELMOR_RUNTIME_NATIVE_BEHAVIORS_VECTOR_VECTOR_CLASSES_H
#define ZELMOR_RUNTIME_NATIVE_BEHAVIORS_VECTOR_VECTOR_CLASSES_H

#include "runtime/native/behaviors/images/image_base.h"
#include "runtime/native/catalogue/names.h"

namespace zelmor::embed {

// kUndefined for a class that stands for no format.
FileFormat vector_format_of(const TypeInfo& image);
// The class that derives from VectorRasterizationOptions.
const TypeName& rasterization_options_of(FileFormat format);

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_BEHAVIORS_VECTOR_VECTOR_CLASSES_H
