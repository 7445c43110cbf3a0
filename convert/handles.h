// Reads the handle of a wrapper without a test. The readers that test the object are in pyshell/wrapped_object.h.
#ifndef ZELMOR_CONVERT_HANDLES_H
#define ZELMOR_CONVERT_HANDLES_H

#include "pyshell/python.h"

// Copies the handle of an object that is known to be a wrapper; always 1.
int fn_py_unknown_to_clr_unknown(PyObject* object, void** out);

#endif  // ZELMOR_CONVERT_HANDLES_H
