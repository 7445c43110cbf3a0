// Templates of handles.h.
#ifndef ZELMOR_RUNTIME_NATIVE_CORE_HANDLES_INL_H
#define ZELMOR_RUNTIME_NATIVE_CORE_HANDLES_INL_H

#include <type_traits>
#include <typeinfo>

#include "runtime/native/core/handles.h"
#include "runtime/native/core/managed_exception.h"

namespace zelmor::embed {

// What a C++ class is called in a message when an object of another kind was met: T::kManagedName where it has one.
template <class T>
constexpr const char* managed_name_of() {
    if constexpr (requires { T::kManagedName; }) {
        return T::kManagedName;
    } else {
        return "the expected type";
    }
}

template <class T>
T& cast_object(ManagedObject& object) {
    if constexpr (std::is_same_v<T, ManagedObject>) {
        return object;
    } else if constexpr (std::is_final_v<T>) {
        // Nothing derives from it: comparing types will do, at a fraction of the cost.
        if (typeid(object) == typeid(T)) {
            return static_cast<T&>(object);
        }
        throw_invalid_cast(object.type().full_name, managed_name_of<T>());
    } else {
        if (T* cast = dynamic_cast<T*>(&object)) {
            return *cast;
        }
        throw_invalid_cast(object.type().full_name, managed_name_of<T>());
    }
}

template <class T>
T& target(Handle handle) {
    return cast_object<T>(require_object(handle));
}

template <class T>
T* target_or_null(Handle handle) {
    ManagedObject* object = object_of(handle);
    return object != nullptr ? &cast_object<T>(*object) : nullptr;
}

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_CORE_HANDLES_INL_H
