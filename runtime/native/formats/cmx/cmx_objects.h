// The commands of a CMX file as the objects of the API.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_CMX_CMX_OBJECTS_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_CMX_CMX_OBJECTS_H

#include <cstdint>
#include <span>
#include <vector>

#include "runtime/native/core/records.h"

namespace zelmor::embed {

// A CmxDocument with its pages, layers, groups, and the ellipses, rectangles and curves in them. Lengths are inches,
// angles degrees. PictureError.
Ref<ManagedObject> cmx_document(std::span<const uint8_t> file);

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_CMX_CMX_OBJECTS_H
