// Checks of the settings in an object of options. Their messages name the class and the setting: "PngOptions.BitDepth".
#ifndef ZELMOR_RUNTIME_NATIVE_BEHAVIORS_IMAGES_OPTION_CHECKS_H
#define ZELMOR_RUNTIME_NATIVE_BEHAVIORS_IMAGES_OPTION_CHECKS_H

#include <cstdint>
#include <initializer_list>
#include <string>

#include "runtime/native/core/records.h"

namespace zelmor::embed {

std::string member_name(const ManagedObject& options, const char* property);

// The value of a whole number; ArgumentOutOfRangeException outside `least` to `most`.
int64_t ranged(const ManagedObject& options, const char* property, int64_t least, int64_t most);

// Refuses values of settings that have no effect here: only their absence can be honored. Settings that the options do
// not have pass.
void require_unset(const ManagedObject& options, std::initializer_list<const char*> properties);

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_BEHAVIORS_IMAGES_OPTION_CHECKS_H
