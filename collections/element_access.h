// What the element callbacks have in common: judging a failure, an element as a variant, and a list's element in use.
#ifndef ZELMOR_COLLECTIONS_ELEMENT_ACCESS_H
#define ZELMOR_COLLECTIONS_ELEMENT_ACCESS_H

#include "convert/variant.h"
#include "pyshell/py_ref.h"
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

// Whether a list still has the element that was at the index; RuntimeError if not.
bool require_listed(PyObject* list, int index, PyObject* element);

// Reads an element of a list: `convert` fills what the managed side gets. That borrows from the element, which only the
// list holds once this returns. Converting may run Python code, so the element is held meanwhile; if that code took it
// out of the list, the read fails, and `give_up` takes back what was filled.
template <class Convert, class GiveUp>
int read_list_element(PyObject* list, int index, Convert convert, GiveUp give_up) {
    PyRef element = PyRef::borrow(PyList_GetItem(list, index));
    if (!element) {
        return failed_access();
    }
    if (!convert(element.get())) {
        return -1;
    }
    if (require_listed(list, index, element.get())) [[likely]] {
        return 0;
    }
    give_up();
    return -1;
}

template <class Convert>
int read_list_element(PyObject* list, int index, Convert convert) {
    return read_list_element(list, index, convert, [] {});
}

}  // namespace zelmor

#endif  // ZELMOR_COLLECTIONS_ELEMENT_ACCESS_H
