// Integers, floats, booleans and sizes, with the callbacks that read and write them for the managed side.
//
// The exact types `int`, `bool` and `float` are by far the most frequent and are tested first; every refusal is out
// of line.
#include "convert/scalars.h"

#include <cassert>
#include <cstdint>
#include <limits>

#include "convert/range_tests.h"
#include "exchange/callbacks.h"
#include "exchange/wire/tags.h"
#include "pyshell/identifiers.h"
#include "pyshell/imports.h"
#include "pyshell/py_ref.h"
#include "pyshell/refusals.h"

// The interpreter's `long` is the managed 64-bit integer, and narrowing beyond the range of Single gives infinity.
static_assert(sizeof(long) == 8 && sizeof(long long) == 8 && std::numeric_limits<float>::is_iec559);

namespace zelmor {

int check_int_subclass(PyObject* object) {
    assert(PyLong_Check(object));
    // The metaclass, not `Enum`: members of an enumeration have their own converters and are refused here.
    PyRef enum_type = PyRef::steal(PyShImport_ImportType("enum", PyWrpIdTypeName_EnumType));
    return enum_type ? PyObject_IsInstance(object, enum_type.get()) : -1;
}

}  // namespace zelmor

namespace {

// True if `object` is an integer; otherwise an error is set.
template <class Target>
inline bool require_integer(PyObject* object) {
    if (PyLong_CheckExact(object)) [[likely]] {
        return true;
    }
    const int check = PyShLong_Check(object);
    if (check == 0) {
        zelmor::refuse_number(clr_int_type_name<Target>::name, object);
    }
    return check > 0;
}

// Reads a signed number; the caller narrows it. A managed 64-bit integer is read by another call, whose message for a
// number out of range names no C type.
template <class Target>
inline bool read_signed(PyObject* object, long& value) {
    if constexpr (sizeof(Target) == sizeof(long long)) {
        value = PyLong_AsLongLong(object);
    } else {
        value = PyLong_AsLong(object);
    }
    return value != -1 || PyErr_Occurred() == nullptr;
}

template <class Target>
inline bool read_unsigned(PyObject* object, unsigned long& value) {
    if constexpr (sizeof(Target) == sizeof(unsigned long long)) {
        value = PyLong_AsUnsignedLongLong(object);
    } else {
        value = PyLong_AsUnsignedLong(object);
    }
    return value != std::numeric_limits<unsigned long>::max() || PyErr_Occurred() == nullptr;
}

template <class Target>
inline int convert_signed(PyObject* object, Target* out) {
    assert(object != nullptr && out != nullptr);
    long value;
    if (!require_integer<Target>(object) || !read_signed<Target>(object, value)) {
        return 0;
    }
    // A 32-bit target takes the lower half of the number without a test, by contract; narrower targets are tested.
    if constexpr (sizeof(Target) < sizeof(int)) {
        if (is_clong_value_out_of_clr_range<ValueSubjTrait, Target>(value, PyExc_OverflowError)) {
            return 0;
        }
    }
    *out = static_cast<Target>(value);
    return 1;
}

template <class Target>
inline int convert_unsigned(PyObject* object, Target* out) {
    assert(object != nullptr && out != nullptr);
    unsigned long value;
    if (!require_integer<Target>(object) || !read_unsigned<Target>(object, value)) {
        return 0;
    }
    if constexpr (sizeof(Target) < sizeof(int)) {
        if (is_uclong_value_out_of_clr_range<ValueSubjTrait, Target>(value, PyExc_OverflowError)) {
            return 0;
        }
    }
    *out = static_cast<Target>(value);
    return 1;
}

// An integer of up to 64 bits, rounded once to the target. Values from 2^63 on are read as unsigned.
template <class Target>
int convert_integer_to_float(PyObject* object, Target* out, const char* name) {
    const int check = PyShLong_Check(object);
    if (check <= 0) {
        return check == 0 ? zelmor::refuse_number(name, object) : 0;
    }
    const long long value = PyLong_AsLongLong(object);
    if (value != -1 || PyErr_Occurred() == nullptr) {
        *out = static_cast<Target>(value);
        return 1;
    }
    PyErr_Clear();
    const unsigned long long wide = PyLong_AsUnsignedLongLong(object);
    if (PyErr_Occurred() != nullptr) {
        return 0;
    }
    *out = static_cast<Target>(wide);
    return 1;
}

template <class Target>
inline int convert_float(PyObject* object, Target* out, const char* name) {
    assert(object != nullptr && out != nullptr);
    if (!PyFloat_Check(object)) {
        return convert_integer_to_float(object, out, name);
    }
    const double value = PyFloat_AS_DOUBLE(object);
    *out = static_cast<Target>(value);
    return 1;
}

}  // namespace

int fn_conv_py_long_to_clr_int8(PyObject* object, signed char* out) {
    return convert_signed(object, out);
}
int fn_conv_py_long_to_clr_int16(PyObject* object, short* out) {
    return convert_signed(object, out);
}
int fn_conv_py_long_to_clr_int32(PyObject* object, int* out) {
    return convert_signed(object, out);
}
int fn_conv_py_long_to_clr_int64(PyObject* object, long* out) {
    return convert_signed(object, out);
}
int fn_conv_py_ulong_to_clr_uint8(PyObject* object, unsigned char* out) {
    return convert_unsigned(object, out);
}
int fn_conv_py_ulong_to_clr_uint16(PyObject* object, unsigned short* out) {
    return convert_unsigned(object, out);
}
int fn_conv_py_ulong_to_clr_uint32(PyObject* object, unsigned int* out) {
    return convert_unsigned(object, out);
}
int fn_conv_py_ulong_to_clr_uint64(PyObject* object, unsigned long* out) {
    return convert_unsigned(object, out);
}

int fn_conv_py_float_to_clr_float(PyObject* object, float* out) {
    return convert_float(object, out, "Single");
}
int fn_conv_py_float_to_clr_double(PyObject* object, double* out) {
    return convert_float(object, out, "Double");
}

int fn_conv_py_bool_to_clr_bool(PyObject* object, bool* out) {
    assert(object != nullptr && out != nullptr);
    if (!PyBool_Check(object)) [[unlikely]] {
        return zelmor::refuse_kind("bool", object);
    }
    *out = object == Py_True;
    return 1;
}

int fn_conv_py_obj_to_ssize_t(PyObject* object, long* out) {
    assert(object != nullptr && out != nullptr);
    if (!PyIndex_Check(object)) {
        PyErr_Format(PyExc_TypeError, "argument should be integer or None, not '%.200s'", Py_TYPE(object)->tp_name);
        return 0;
    }
    const Py_ssize_t value = PyNumber_AsSsize_t(object, PyExc_OverflowError);
    if (value == -1 && PyErr_Occurred() != nullptr) {
        return 0;
    }
    *out = value;
    return 1;
}

int fn_conv_py_optional_to_ssize_t(PyObject* args, long* out) {
    assert(PyTuple_Check(args) && PyTuple_GET_SIZE(args) >= 1);
    PyObject* argument = PyTuple_GET_ITEM(args, 0);
    return argument == Py_None ? 1 : fn_conv_py_obj_to_ssize_t(argument, out);
}

// Callbacks.

bool fn_read_py_bool(PyObject* object) {
    // A failed test returns -1 and counts as true, with its error pending.
    return PyObject_IsTrue(object) != 0;
}

int fn_read_py_double(PyObject* object, double* out) {
    const double value = PyFloat_AsDouble(object);
    if (value == -1.0 && PyErr_Occurred() != nullptr) {
        return 0;
    }
    *out = value;
    return 1;
}

int fn_read_py_vers_long(PyObject* object, void* out) {
    assert(object != nullptr && out != nullptr);
    // The slot is 64 bits wide, whatever the width class.
    auto* slot = static_cast<int64_t*>(out);
    const long value = PyLong_AsLong(object);
    if (value == -1 ? PyErr_Occurred() == nullptr
                    : value >= std::numeric_limits<int>::min() && value <= std::numeric_limits<int>::max()) {
        *slot = value;
        return kInteger32;
    }
    PyErr_Clear();
    const long long wide = PyLong_AsLongLong(object);
    if (wide != -1 || PyErr_Occurred() == nullptr) {
        *slot = wide;
        return kInteger64;
    }
    PyErr_Clear();
    const unsigned long long unsigned_wide = PyLong_AsUnsignedLongLong(object);
    if (unsigned_wide != std::numeric_limits<unsigned long long>::max() || PyErr_Occurred() == nullptr) {
        *slot = static_cast<int64_t>(unsigned_wide);
        return kIntegerUnsigned64;
    }
    PyErr_Clear();
    zelmor::refuse_value("integer", object);
    return kIntegerFailed;
}

PyObject* fn_write_py_bool(int value) {
    // A managed boolean is one byte; the bits above it are undefined.
    return PyBool_FromLong(value & 0xFF);
}

PyObject* fn_write_py_long(int value) {
    return PyLong_FromLong(value);
}
PyObject* fn_write_py_ulong(unsigned int value) {
    return PyLong_FromUnsignedLong(value);
}
PyObject* fn_write_py_longlong(long value) {
    return PyLong_FromLongLong(value);
}
PyObject* fn_write_py_ulonglong(unsigned long value) {
    return PyLong_FromUnsignedLongLong(value);
}
PyObject* fn_write_py_double(double value) {
    return PyFloat_FromDouble(value);
}
