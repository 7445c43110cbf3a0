// Strings and single characters in both directions.
//
// Nothing is copied on the way to managed code: a record points into the storage of the Python string and gives the
// width of a code point. Managed text arrives as UTF-16 code units in little-endian order.
#ifndef ZELMOR_CONVERT_STRINGS_H
#define ZELMOR_CONVERT_STRINGS_H

#include "exchange/callbacks.h"
#include "exchange/wire/records.h"
#include "pyshell/python.h"

// One UTF-16 code unit; a character outside the Basic Multilingual Plane is refused.
int fn_conv_py_string_to_clr_char(PyObject* object, unsigned short* out);
PyObject* fn_conv_clr_char_to_py_string(unsigned short unit);

// None is a null managed string, which has `length` -1.
int fn_conv_py_string_to_clr_string(PyObject* object, PyStringArg* out);
// Without the tests for None and for the type.
int fn_conv_py_string_to_clr_string_value(PyObject* object, PyStringArg* out);
// Also takes `bytes` and path-like objects; a string made for that becomes the record's owner.
int fn_conv_py_strorpath_to_clr_string(PyObject* object, PyEphStrArg* out);

PyObject* fn_conv_clr_string_to_py_string_value(const char* units, long count);

namespace zelmor {

// The `bytes` of a string in UTF-16 behind a byte order mark: a new reference, or null with a Python error set.
// Any object but a `str` is refused with the message of the character converter.
PyObject* encode_utf16(PyObject* object);

}  // namespace zelmor

#endif  // ZELMOR_CONVERT_STRINGS_H
