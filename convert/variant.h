// Classification of any Python value for a managed parameter of type `object`.
#ifndef ZELMOR_CONVERT_VARIANT_H
#define ZELMOR_CONVERT_VARIANT_H

#include "exchange/wire/records.h"
#include "pyshell/python.h"

// Fills `*out` with a tag of VariantTag and the borrowed object, or with the handle of a wrapped instance. Answers 1,
// or 0 with a Python error set. A failed instance test counts as a match and leaves its error pending, so a caller
// also tests for a pending error.
int fn_conv_py_variant_to_clr_variant(PyObject* object, VariantArg* out);

#endif  // ZELMOR_CONVERT_VARIANT_H
