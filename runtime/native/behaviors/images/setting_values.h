// Reading and setting single properties of save options, for the members parts of the formats.
#ifndef ZELMOR_RUNTIME_NATIVE_BEHAVIORS_IMAGES_SETTING_VALUES_H
#define ZELMOR_RUNTIME_NATIVE_BEHAVIORS_IMAGES_SETTING_VALUES_H

#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "runtime/native/behaviors/images/counterparts.h"
#include "runtime/native/core/enumeration_properties.h"
#include "runtime/native/core/records.h"

namespace zelmor::embed {

// A number whose range was checked when it was set.
int setting(const ManagedObject& options, const char* property);

// NotSupportedException: the value of a setting is none that can be written.
[[noreturn]] void throw_value_not_supported(const ManagedObject& options, const char* property, int64_t value);

// The runtime's value for a setting whose type is an enumeration.
template <class Api, class Backend, size_t N>
Backend supported(const ManagedObject& options, const char* property, const Counterpart<Api, Backend> (&table)[N]) {
    const auto value = property_enum<Api>(options, property);
    if (const auto known = backend_value(table, value)) {
        return *known;
    }
    throw_value_not_supported(options, property, number_of(value));
}

// Sets a number, or a member of an enumeration.
void put_setting(ManagedObject& options, const char* property, int64_t value);
template <class E>
    requires std::is_enum_v<E>
void put_setting(ManagedObject& options, const char* property, E value) {
    set_property(options, property, value);
}

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_BEHAVIORS_IMAGES_SETTING_VALUES_H
