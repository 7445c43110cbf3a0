// The operations of a managed collection as a Python sequence, each written once for all kinds and elements.
//
// The elements stay on the managed side: no length, index or element is cached, every operation asks again. An
// operation that makes a new sequence (a slice, `+`, `*`, `copy`) makes a plain Python list. Every function returns
// what the slot or method that it implements returns. After each call to the managed side, a pending error ends the
// operation.
#ifndef ZELMOR_COLLECTIONS_SEQUENCE_H
#define ZELMOR_COLLECTIONS_SEQUENCE_H

#include "collections/sequence_access.h"

namespace zelmor {

// Length: `len(x)`, and the property "length".
Py_ssize_t sequence_length(const SequenceAccess& access, PyObject* self);
PyObject* sequence_length_property(const SequenceAccess& access, PyObject* self);

// Elements by index and slice. A null value deletes.
PyObject* sequence_item(const SequenceAccess& access, PyObject* self, Py_ssize_t index);
int sequence_assign_item(const SequenceAccess& access, PyObject* self, Py_ssize_t index, PyObject* value);
PyObject* sequence_subscript(const SequenceAccess& access, PyObject* self, PyObject* key);
int sequence_assign_subscript(const SequenceAccess& access, PyObject* self, PyObject* key, PyObject* value);

// New lists.
PyObject* sequence_concat(const SequenceAccess& access, PyObject* self, PyObject* other);
PyObject* sequence_repeat(const SequenceAccess& access, PyObject* self, Py_ssize_t count);
PyObject* sequence_copy(const SequenceAccess& access, PyObject* self);

// Growing and shrinking.
PyObject* sequence_inplace_concat(const SequenceAccess& access, PyObject* self, PyObject* other);
PyObject* sequence_inplace_repeat(const SequenceAccess& access, PyObject* self, Py_ssize_t count);
PyObject* sequence_append(const SequenceAccess& access, PyObject* self, PyObject* value);
PyObject* sequence_insert(const SequenceAccess& access, PyObject* self, PyObject* args);
PyObject* sequence_extend(const SequenceAccess& access, PyObject* self, PyObject* other);
PyObject* sequence_remove(const SequenceAccess& access, PyObject* self, PyObject* value);
PyObject* sequence_pop(const SequenceAccess& access, PyObject* self, PyObject* args);
PyObject* sequence_clear(const SequenceAccess& access, PyObject* self);

// Order and search.
PyObject* sequence_index(const SequenceAccess& access, PyObject* self, PyObject* args);
PyObject* sequence_sort(const SequenceAccess& access, PyObject* self, PyObject* args, PyObject* kwargs);
PyObject* sequence_reverse(const SequenceAccess& access, PyObject* self);
PyObject* sequence_count(const SequenceAccess& access, PyObject* self, PyObject* value);
PyObject* sequence_contains(const SequenceAccess& access, PyObject* self, PyObject* value);
int sequence_contains_test(const SequenceAccess& access, PyObject* self, PyObject* value);  // `in`

// `iter(x)`: the managed enumerator in a wrapper of its run-time type, or else of the given type.
PyObject* sequence_iterate(int (*get_enumerator)(void* handle, PyObjectOutArg* out), PyObject* self,
                           PyTypeObject* iterator);

// `next(it)` without an element: sets StopIteration at the end of the enumeration; always null.
PyObject* sequence_no_next(int status);

}  // namespace zelmor

#endif  // ZELMOR_COLLECTIONS_SEQUENCE_H
