// Saving with options, shared by save() and the exporters.
#ifndef ZELMOR_RUNTIME_NATIVE_BEHAVIORS_IMAGES_SAVING_H
#define ZELMOR_RUNTIME_NATIVE_BEHAVIORS_IMAGES_SAVING_H

#include "runtime/native/behaviors/images/image_object.h"

namespace zelmor::embed {

// All frames that the options ask for, or `bounds` of each.
void save_to_stream(ImageObject& image, ManagedStream& stream, const Record& options, const RectangleValue* bounds);

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_BEHAVIORS_IMAGES_SAVING_H
