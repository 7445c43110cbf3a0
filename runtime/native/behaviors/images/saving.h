// Saving with options, shared by save() and the exporters.
#ifndef ZELMOR_RUNTIME_NATIVE_BEHAVIORS_IMAGES_SAVING_H
#define ZELMOR_RUNTIME_NATIVE_BEHAVIORS_IMAGES_SAVING_H

#include "runtime/native/behaviors/images/image_base.h"

namespace zelmor::embed {

// All frames or pages that the options ask for, or `bounds` of each.
void save_to_stream(ImageBase& image, ManagedStream& stream, const Record& options, const RectangleValue* bounds);
// All frames into one file. NotSupportedException where the format of the options holds one picture and there are more,
// unless the options choose one.
void save_all(ImageObject& image, const std::optional<std::u16string>& file_path, Record* options);

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_BEHAVIORS_IMAGES_SAVING_H
