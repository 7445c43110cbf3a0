// Integers, floats, booleans and sizes on their way to managed code.
//
// A converter returns 1, or 0 with a Python error set, as an "O&" converter does. It is strict by contract: a `bool` is
// not taken for a number, and a number is not taken for a `bool`.
#ifndef ZELMOR_CONVERT_SCALARS_H
#define ZELMOR_CONVERT_SCALARS_H

#include "pyshell/python.h"

namespace zelmor {

// PyShLong_Check of an object whose class is a true subclass of `int`.
int check_int_subclass(PyObject* object);

}  // namespace zelmor

// Whether an object counts as an integer: 1, 0, or -1 with a Python error set. `int` itself does, `bool` and plain
// subclasses of `int` do not.
inline int PyShLong_Check(PyObject* object) {
    if (PyLong_CheckExact(object)) {
        return 1;
    }
    if (!PyLong_Check(object) || PyBool_Check(object)) {
        return 0;
    }
    return zelmor::check_int_subclass(object);
}

int fn_conv_py_long_to_clr_int8(PyObject* object, signed char* out);
int fn_conv_py_long_to_clr_int16(PyObject* object, short* out);
int fn_conv_py_long_to_clr_int32(PyObject* object, int* out);
int fn_conv_py_long_to_clr_int64(PyObject* object, long* out);
int fn_conv_py_ulong_to_clr_uint8(PyObject* object, unsigned char* out);
int fn_conv_py_ulong_to_clr_uint16(PyObject* object, unsigned short* out);
int fn_conv_py_ulong_to_clr_uint32(PyObject* object, unsigned int* out);
int fn_conv_py_ulong_to_clr_uint64(PyObject* object, unsigned long* out);

int fn_conv_py_float_to_clr_float(PyObject* object, float* out);
int fn_conv_py_float_to_clr_double(PyObject* object, double* out);

// Exactly `bool`.
int fn_conv_py_bool_to_clr_bool(PyObject* object, bool* out);

// Anything with `__index__`.
int fn_conv_py_obj_to_ssize_t(PyObject* object, long* out);

// Item 0 of an argument tuple; None leaves `*out` unchanged.
int fn_conv_py_optional_to_ssize_t(PyObject* args, long* out);

#endif  // ZELMOR_CONVERT_SCALARS_H
