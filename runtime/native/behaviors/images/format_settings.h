// The settings of each file format, read from its save options.
#ifndef ZELMOR_RUNTIME_NATIVE_BEHAVIORS_IMAGES_FORMAT_SETTINGS_H
#define ZELMOR_RUNTIME_NATIVE_BEHAVIORS_IMAGES_FORMAT_SETTINGS_H

#include "runtime/native/core/records.h"
#include "runtime/native/imagework/formats.h"

namespace zelmor::embed {

// ArgumentOutOfRangeException for a setting outside its range, NotSupportedException for one that the backend has no
// way to honor, and for options of a format that it cannot write.
imagework::FormatEncoding settings_of_options(const ManagedObject& options);

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_BEHAVIORS_IMAGES_FORMAT_SETTINGS_H
