// Byte data: buffers lent to managed code, managed arrays copied to Python, and foreign memory shown to Python.
#ifndef ZELMOR_CONVERT_BYTES_H
#define ZELMOR_CONVERT_BYTES_H

#include "exchange/callbacks.h"
#include "exchange/records.h"
#include "pyshell/python.h"

// None is a null managed array, which has `length` -1. The buffer stays locked until the builder is destroyed.
int fn_conv_py_bytes_to_clr_bytes(PyObject* object, PyBytesArgBuilder* out);
int fn_conv_py_bytes_to_clr_bytes_value(PyObject* object, Py_buffer* view, PyBytesArg* out);

// The same for memory that the call writes to: a buffer that cannot be changed is a BufferError, "buffer is read-only".
int fn_conv_py_bytes_to_clr_out_bytes(PyObject* object, PyBytesArgBuilder* out);

// Takes the buffer without testing for None or for the buffer interface. When the answer is 0 but `acquired` is set,
// the view must still be released.
int fn_read_py_buffer(PyObject* object, Py_buffer* view, PyBytesArg* out);

// Shows `size` bytes at `data` through the buffer protocol, without owning them: a new `_ShlBufferView`.
PyObject* fn_create_shlbuffer_view(void* data, long size, int readonly);

#endif  // ZELMOR_CONVERT_BYTES_H
