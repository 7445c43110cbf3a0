// Typed element access for the managed side: an element of a Python list or sequence in the element's own form.
//
// Codes: 0 success, -1 failure, -2 index failure, with a Python error pending. A list's element is borrowed; a
// sequence's comes with a reference in the owner slot, which the managed side gives back.
#pragma once

#include "collections/element_policies.h"
#include "exchange/wire/records.h"

namespace zelmor {

// The list's element, borrowed, or null.
PyObject* list_element(PyObject* list, int index);
// The code of a read that found no element.
int no_element();
// Puts the element's reference into the owner slot, or drops it where it did not convert.
int keep_sequence_element(bool converted, PyObject* element, PyObject** owner);

template <class Element>
int list_get_item(PyObject* list, int index, typename Element::Slot* out) {
    PyObject* element = list_element(list, index);
    if (element == nullptr) {
        return no_element();
    }
    return Element::read(element, *out) ? 0 : -1;
}

template <class Element>
int sequence_get_item(PyObject* sequence, int index, PyObject** owner, typename Element::Slot* out) {
    PyObject* element = PySequence_GetItem(sequence, index);
    if (element == nullptr) {
        return no_element();
    }
    return keep_sequence_element(Element::read(element, *out), element, owner);
}

// Byte arrays: the managed side lends the view (`state`) that keeps the buffer locked, and releases it.
int list_get_bytes(PyObject* list, int index, PyBytesArg* out, Py_buffer* state);
int sequence_get_bytes(PyObject* sequence, int index, PyObject** owner, PyBytesArg* out, Py_buffer* state);

}  // namespace zelmor
