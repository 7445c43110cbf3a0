// Indexing of a class that is a sequence by one of its properties: `result[0]` is `result.layers[0]`.
//
// The class itself is no collection on the managed side. The value of the property is one: it answers length, index and
// slice, with its own errors.
#ifndef ZELMOR_COLLECTIONS_CLASS_ITEMS_H
#define ZELMOR_COLLECTIONS_CLASS_ITEMS_H

#include <cassert>

#include "pyshell/py_ref.h"

namespace zelmor {

// Each calls the getter anew: no operation on managed elements keeps a value.
inline Py_ssize_t items_length(PyObject* self, getter items) {
    assert(self != nullptr && items != nullptr);
    PyRef value = PyRef::steal(items(self, nullptr));
    return value ? PyObject_Size(value.get()) : -1;
}

inline PyObject* items_item(PyObject* self, getter items, Py_ssize_t index) {
    assert(self != nullptr && items != nullptr);
    PyRef value = PyRef::steal(items(self, nullptr));
    return value ? PySequence_GetItem(value.get(), index) : nullptr;
}

inline PyObject* items_subscript(PyObject* self, getter items, PyObject* key) {
    assert(self != nullptr && items != nullptr);
    PyRef value = PyRef::steal(items(self, nullptr));
    return value ? PyObject_GetItem(value.get(), key) : nullptr;
}

}  // namespace zelmor

#endif  // ZELMOR_COLLECTIONS_CLASS_ITEMS_H
