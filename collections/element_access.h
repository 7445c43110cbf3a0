// Steps that the element callbacks share: the code of a failure, an element as a variant, and safe use of an element of
// a list.
#ifndef ZELMOR_COLLECTIONS_ELEMENT_ACCESS_H
#define ZELMOR_COLLECTIONS_ELEMENT_ACCESS_H

#include <cassert>

#include "convert/variant.h"
#include "pyshell/py_ref.h"
#include "pyshell/python.h"

namespace zelmor {

// The code of a failed access: -2 for an index out of range, -1 for anything else.
inline int failed_access() {
    return PyErr_Occurred() != nullptr && PyErr_ExceptionMatches(PyExc_IndexError) ? -2 : -1;
}

// A classification can give a tag and still leave an error pending: that counts as a failure.
inline bool read_variant_element(PyObject* element, VariantArg* out) {
    assert(element != nullptr && out != nullptr);
    return fn_conv_py_variant_to_clr_variant(element, out) == 1 && PyErr_Occurred() == nullptr;
}

// Whether a list still has the element that was at the index; RuntimeError if not.
bool require_listed(PyObject* list, int index, PyObject* element);

// Reads an element of a list: `convert` fills the record that the managed side gets. The record borrows from the
// element, and after this call only the list holds the element. `convert` may run Python code, so the element is held
// while it runs; if that code removed the element from the list, the read fails, and `give_up` undoes `convert`.
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
