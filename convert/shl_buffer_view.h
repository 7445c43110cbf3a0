// The Python object that shows foreign memory through the buffer protocol without owning it.
#ifndef ZELMOR_CONVERT_SHL_BUFFER_VIEW_H
#define ZELMOR_CONVERT_SHL_BUFFER_VIEW_H

#include "pyshell/python.h"

struct PyShlBufferView {
    PyObject_HEAD void* data;  // valid for the length of one call into Python
    long size;                 // in bytes
    int readonly;
};

// Carries the module's name, and so stands with the other interop types.
extern PyTypeObject wrpPye_tyds_FFFFFFFF_ShlBufferView;

// The one slot of the type: a writable request on a read-only view is refused.
int wrpPye_blpt_shl_buffer_getbuffer(PyObject* self, Py_buffer* view, int flags);

#endif  // ZELMOR_CONVERT_SHL_BUFFER_VIEW_H
