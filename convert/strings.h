// Strings and single characters in both directions.
//
// Towards managed code nothing is copied: a record points into the string's own storage and says how wide a code
// point is. Towards Python, managed text comes as UTF-16 code units in little-endian order.
#ifndef ZELMOR_CONVERT_STRINGS_H
#define ZELMOR_CONVERT_STRINGS_H

#include "exchange/callbacks.h"
#include "exchange/wire/records.h"
#include "pyshell/python.h"

// One UTF-16 code unit; a character outside the Basic Multilingual Plane is refused.
int fn_conv_py_string_to_clr_char(PyObject* object, unsigned short* out);
PyObject* fn_conv_clr_char_to_py_string(unsigned short unit);

// None is a null managed string, told by `length` -1.
int fn_conv_py_string_to_clr_string(PyObject* object, PyStringArg* out);
// Without the tests for None and for the type.
int fn_conv_py_string_to_clr_string_value(PyObject* object, PyStringArg* out);
// Also takes `bytes` and path-like objects; a string made for that becomes the record's owner.
int fn_conv_py_strorpath_to_clr_string(PyObject* object, PyEphStrArg* out);

PyObject* fn_conv_clr_string_to_py_string_value(const char* units, long count);

namespace zelmor {

// The `bytes` of a string in UTF-16 behind a byte order mark: a new reference, or null with a Python error set.
// Anything but a `str` is refused in the words of the character converter.
PyObject* encode_utf16(PyObject* object);

}  // namespace zelmor

#endif  // ZELMOR_CONVERT_STRINGS_H
