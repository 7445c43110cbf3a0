// The small value kinds: Guid, System.Version, Nullable<T>, and by-reference parameters.
#ifndef ZELMOR_CONVERT_SMALL_VALUES_H
#define ZELMOR_CONVERT_SMALL_VALUES_H

#include "exchange/callbacks.h"
#include "exchange/records.h"
#include "pyshell/python.h"

// A Guid is 16 bytes in managed memory order, which is that of `bytes_le` of Python's UUID.
int fn_conv_py_uuid_to_clr_guid(PyObject* object, unsigned char* guid);
int fn_conv_py_uuid_to_clr_guid_value(PyObject* object, unsigned char* guid);
PyObject* fn_conv_clr_guid_to_py_uuid(const void* guid);

// A version is a tuple of 2 to 4 integers, or None.
int fn_conv_py_tuple_to_clr_version(PyObject* object, PySysVersionArg* out);
PyObject* fn_conv_clr_version_to_py_tuple(const PySysVersionArg& version);

// None, or a value that the converter of the record takes.
int fn_conv_py_nullable_to_clr_nullable(PyObject* object, PyNullableArg* out);

// A list, empty or with the incoming value in its first slot.
int fn_conv_py_parbyref_to_clr_parbyref(PyObject* object, PyParamByRef* out);
// Puts an out value into the list's first slot. Takes over the reference to `value`, also when it fails with -1.
int fn_push_parbyref_outvalue(PyObject* list, PyObject* value);

// A new reference to None.
PyObject* fn_py_return_none();

#endif  // ZELMOR_CONVERT_SMALL_VALUES_H
