// Properties that hold a list of whole numbers, whatever kind of list they were given.
#ifndef ZELMOR_RUNTIME_NATIVE_BEHAVIORS_IMAGES_NUMBER_LISTS_H
#define ZELMOR_RUNTIME_NATIVE_BEHAVIORS_IMAGES_NUMBER_LISTS_H

#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

#include "runtime/native/core/records.h"

namespace zelmor::embed {

// The numbers of a property that holds an array or a list of them; nothing for null.
std::optional<std::vector<int64_t>> numbers_of(const ManagedObject& object, std::string_view property);

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_BEHAVIORS_IMAGES_NUMBER_LISTS_H
