// What the element callbacks have in common: judging a failure, and an element as a variant.
#pragma once

#include "convert/variant.h"
#include "pyshell/python.h"

namespace zelmor {

// The code of a failed access: -2 for an index out of range, -1 for anything else.
inline int failed_access() {
    return PyErr_Occurred() && PyErr_ExceptionMatches(PyExc_IndexError) ? -2 : -1;
}

// A classification can leave an error pending with the tag that it settled on.
inline bool read_variant_element(PyObject* element, VariantArg* out) {
    return fn_conv_py_variant_to_clr_variant(element, out) == 1 && !PyErr_Occurred();
}

}  // namespace zelmor
