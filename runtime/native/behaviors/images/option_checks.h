// Checks of the settings in an object of options. Their messages name the class and the setting: "PngOptions.BitDepth".
#ifndef ZELMOR_RUNTIME_NATIVE_BEHAVIORS_IMAGES_OPTION_CHECKS_H
#define ZELMOR_RUNTIME_NATIVE_BEHAVIORS_IMAGES_OPTION_CHECKS_H

#include <cstdint>
#include <string>

#include "runtime/native/core/records.h"

namespace zelmor::embed {

std::string member_name(const ManagedObject& options, const char* property);

// The value of a whole number; ArgumentOutOfRangeException outside `least` to `most`.
int64_t ranged(const ManagedObject& options, const char* property, int64_t least, int64_t most);

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_BEHAVIORS_IMAGES_OPTION_CHECKS_H
