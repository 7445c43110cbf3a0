// Properties that hold a value of one of the API's enumerations.
#ifndef ZELMOR_RUNTIME_NATIVE_CORE_ENUMERATION_PROPERTIES_H
#define ZELMOR_RUNTIME_NATIVE_CORE_ENUMERATION_PROPERTIES_H

#include <string_view>
#include <type_traits>

#include "runtime/native/core/records.h"

namespace zelmor::embed {

// The number behind an enumerator, as records hold it and as messages show it.
template <class E>
    requires std::is_enum_v<E>
constexpr int64_t number_of(E value) {
    return static_cast<int64_t>(value);
}

template <class E>
    requires std::is_enum_v<E>
E property_enum(const ManagedObject& object, std::string_view name) {
    return static_cast<E>(property_int(object, name));
}

template <class E>
    requires std::is_enum_v<E>
void set_property(ManagedObject& object, std::string_view name, E value) {
    set_property(object, name, Value(number_of(value)));
}

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_CORE_ENUMERATION_PROPERTIES_H
