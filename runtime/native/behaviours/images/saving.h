// Saving with options, shared by save() and the exporters.
#pragma once

#include "runtime/native/behaviours/images/image_object.h"

namespace zelmor::embed {

// All frames that the options ask for, or `bounds` of each.
void save_to_stream(ImageObject& image, ManagedStream& stream, const Record& options, const RectangleValue* bounds);

}  // namespace zelmor::embed
