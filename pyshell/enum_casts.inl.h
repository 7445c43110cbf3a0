// Cast results of enumerations: an integer of the enumeration's width in place of a handle.
#pragma once

#include "pyshell/casts.h"

namespace zelmor {

template <class T>
PyObject* finish_enum_cast(int status, T value, PyTypeObject* type) {
    if (PyErr_Occurred()) {
        return nullptr;
    }
    if (status == 0) {
        return no_cast();
    }
    return finish_cast_with(status, convert_enum_result(value, type));
}

}  // namespace zelmor
