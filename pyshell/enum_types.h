// Enumerations: each managed one becomes a real enum.IntEnum or enum.IntFlag class, made through Python's functional
// interface, and receives the cast family by descriptors, since such a class has no method table.
#ifndef ZELMOR_PYSHELL_ENUM_TYPES_H
#define ZELMOR_PYSHELL_ENUM_TYPES_H

#include <cstddef>
#include <type_traits>

#include "pyshell/class_recipe.h"
#include "pyshell/python.h"

namespace zelmor {

// A member by name and by the bit pattern of its value.
template <class T>
struct EnumMember {
    const char* name;
    T value;
};

constexpr size_t kEnumOperationCount = 8;

// The Python integer of an underlying value, by the managed width.
template <class T>
PyObject* make_enum_integer(T value) {
    if constexpr (std::is_same_v<T, unsigned long>) {
        return PyLong_FromUnsignedLongLong(value);
    } else if constexpr (std::is_same_v<T, long>) {
        return PyLong_FromLongLong(value);
    } else if constexpr (std::is_unsigned_v<T>) {
        return PyLong_FromUnsignedLong(value);
    } else {
        return PyLong_FromLong(value);
    }
}

// The underlying value of a Python integer, truncated to the managed width; false with the interpreter's error.
template <class T>
bool read_enum_integer(PyObject* value, T* out) {
    if constexpr (std::is_same_v<T, unsigned long>) {
        *out = PyLong_AsUnsignedLongLong(value);
        return *out != static_cast<T>(-1) || PyErr_Occurred() == nullptr;
    } else if constexpr (std::is_same_v<T, long>) {
        *out = PyLong_AsLongLong(value);
        return *out != -1 || PyErr_Occurred() == nullptr;
    } else if constexpr (std::is_unsigned_v<T>) {
        const unsigned long wide = PyLong_AsUnsignedLong(value);
        *out = static_cast<T>(wide);
        return wide != static_cast<unsigned long>(-1) || PyErr_Occurred() == nullptr;
    } else {
        const long wide = PyLong_AsLong(value);
        *out = static_cast<T>(wide);
        return wide != -1 || PyErr_Occurred() == nullptr;
    }
}

// Converter of an enumeration parameter: only a member of the right class is accepted, no plain integer.
template <class T>
int convert_enum_argument(PyObject* value, PyTypeObject* type, const char* name, T* out) {
    if (Py_TYPE(value) != type && !PyType_IsSubtype(Py_TYPE(value), type)) {
        return refuse_value(name, value);
    }
    T read;
    if (!read_enum_integer(value, &read)) {
        return 0;
    }
    *out = read;
    return 1;
}

// The member of `type` that has this value, as the enum module finds it.
template <class T>
PyObject* convert_enum_result(T value, PyTypeObject* type) {
    PyObject* integer = make_enum_integer(value);
    if (integer == nullptr) {
        return nullptr;
    }
    // The reference to the integer is kept on purpose: the members' own integers are the interpreter's small ones.
    return PyObject_CallFunctionObjArgs(reinterpret_cast<PyObject*>(type), integer, nullptr);
}

// Makes the class: `members` is the tuple of (name, value) pairs, taken over; `flags` selects IntFlag.
PyObject* make_enum_class(const char* name, bool flags, PyObject* members);

// Marks the class and stores the eight descriptors; on failure reports, releases the class and returns null.
PyObject* equip_enum_class(PyObject* enum_class, PyMethodDef* const (&operations)[kEnumOperationCount]);

// A (name, value) pair; takes over `value`, which may be null.
PyObject* make_enum_pair(const char* name, PyObject* value);

template <class T, size_t N>
PyObject* make_enum_members(const EnumMember<T> (&members)[N]) {
    PyObject* tuple = PyTuple_New(N);
    for (size_t i = 0; tuple != nullptr && i < N; ++i) {
        PyObject* pair = make_enum_pair(members[i].name, make_enum_integer(members[i].value));
        if (pair == nullptr) {
            Py_CLEAR(tuple);
        } else {
            PyTuple_SET_ITEM(tuple, i, pair);
        }
    }
    return tuple;
}

}  // namespace zelmor

#include "pyshell/enum_casts.inl.h"

#endif  // ZELMOR_PYSHELL_ENUM_TYPES_H
