// Indexing of a class that is a sequence by one of its properties: `result[0]` is `result.layers[0]`.
//
// The class itself is no collection on the managed side, so that there is no host to ask; the property's value, which
// is one, answers length, index and slice with its own errors.
#ifndef ZELMOR_COLLECTIONS_CLASS_ITEMS_H
#define ZELMOR_COLLECTIONS_CLASS_ITEMS_H

#include "pyshell/py_ref.h"

namespace zelmor {

// Each asks the getter anew, as every other operation on managed elements does.
inline Py_ssize_t items_length(PyObject* self, getter items) {
    PyRef value = PyRef::steal(items(self, nullptr));
    return value ? PyObject_Size(value.get()) : -1;
}

inline PyObject* items_item(PyObject* self, getter items, Py_ssize_t index) {
    PyRef value = PyRef::steal(items(self, nullptr));
    return value ? PySequence_GetItem(value.get(), index) : nullptr;
}

inline PyObject* items_subscript(PyObject* self, getter items, PyObject* key) {
    PyRef value = PyRef::steal(items(self, nullptr));
    return value ? PyObject_GetItem(value.get(), key) : nullptr;
}

}  // namespace zelmor

#endif  // ZELMOR_COLLECTIONS_CLASS_ITEMS_H
