// Properties that hold a list of whole numbers or of texts, whatever kind of list they were given.
#ifndef ZELMOR_RUNTIME_NATIVE_BEHAVIORS_IMAGES_NUMBER_LISTS_H
#define ZELMOR_RUNTIME_NATIVE_BEHAVIORS_IMAGES_NUMBER_LISTS_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "runtime/native/core/records.h"

namespace zelmor::embed {

// The numbers of a property that holds an array or a list of them; nothing for null.
std::optional<std::vector<int64_t>> numbers_of(const ManagedObject& object, std::string_view property);
// The texts of such a property, in UTF-8; none for null.
std::vector<std::string> texts_of(const ManagedObject& object, std::string_view property);
// An array of texts for a property; null where there are none.
Value array_of_texts(const std::vector<std::string>& texts);

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_BEHAVIORS_IMAGES_NUMBER_LISTS_H
