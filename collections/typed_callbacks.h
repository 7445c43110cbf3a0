// Typed element access for the managed side: an element of a Python list or sequence in the element's own form.
//
// Codes: 0 success, -1 failure, -2 index failure, with a Python error pending. The record of a list's element borrows
// from the list. The element of another sequence comes with a reference in the owner slot, which the managed side
// releases.
#ifndef ZELMOR_COLLECTIONS_TYPED_CALLBACKS_H
#define ZELMOR_COLLECTIONS_TYPED_CALLBACKS_H

#include "collections/element_access.h"
#include "collections/element_policies.h"
#include "exchange/wire/records.h"

namespace zelmor {

// Puts the reference to the element into the owner slot, or drops it if the element was not converted.
int keep_sequence_element(bool converted, PyObject* element, PyObject** owner);

template <class Element>
int list_get_item(PyObject* list, int index, typename Element::Slot* out) {
    return read_list_element(list, index, [out](PyObject* element) { return Element::read(element, *out); });
}

template <class Element>
int sequence_get_item(PyObject* sequence, int index, PyObject** owner, typename Element::Slot* out) {
    PyObject* element = PySequence_GetItem(sequence, index);
    if (element == nullptr) {
        return failed_access();
    }
    return keep_sequence_element(Element::read(element, *out), element, owner);
}

// Byte arrays: the managed side provides the view (`state`) that keeps the buffer locked, and releases it.
int list_get_bytes(PyObject* list, int index, PyBytesArg* out, Py_buffer* state);
int sequence_get_bytes(PyObject* sequence, int index, PyObject** owner, PyBytesArg* out, Py_buffer* state);

}  // namespace zelmor

#endif  // ZELMOR_COLLECTIONS_TYPED_CALLBACKS_H
