// The element operations of the interop wrappers, as functions of their slots and method tables.
//
// They have external linkage because generated classes that are collections themselves use them too. A
// `CollectionBase` has those of "ilist", a `ReadOnlyCollectionBase` those of "icol".
#ifndef ZELMOR_COLLECTIONS_INTEROP_OPERATIONS_H
#define ZELMOR_COLLECTIONS_INTEROP_OPERATIONS_H

#include "pyshell/python.h"

// Counted, searched and walked.
#define ZELMOR_DECLARE_COLLECTION_OPERATIONS(kind)                              \
    Py_ssize_t wrpPye_bltp_##kind##_sq_length(PyObject* self);                  \
    PyObject* wrpPye_bltp_##kind##_sq_concat(PyObject* self, PyObject* other);  \
    PyObject* wrpPye_bltp_##kind##_sq_repeat(PyObject* self, Py_ssize_t count); \
    int wrpPye_bltp_##kind##_sq_contains(PyObject* self, PyObject* value);      \
    PyObject* wrpPye_bltp_##kind##_count(PyObject* self, PyObject* value);      \
    PyObject* wrpPye_bltp_##kind##_contains(PyObject* self, PyObject* value);   \
    PyObject* wrpPye_bltp_##kind##_copy(PyObject* self, PyObject* ignored);     \
    PyObject* wrpPye_bltp_##kind##_get_length(PyObject* self, void* closure);
// By index and slice.
#define ZELMOR_DECLARE_ARRAY_OPERATIONS(kind)                                               \
    ZELMOR_DECLARE_COLLECTION_OPERATIONS(kind)                                              \
    PyObject* wrpPye_bltp_##kind##_sq_item(PyObject* self, Py_ssize_t index);               \
    int wrpPye_bltp_##kind##_sq_ssitem(PyObject* self, Py_ssize_t index, PyObject* value);  \
    PyObject* wrpPye_bltp_##kind##_mp_subscript(PyObject* self, PyObject* key);             \
    int wrpPye_bltp_##kind##_mp_ssubscript(PyObject* self, PyObject* key, PyObject* value); \
    PyObject* wrpPye_bltp_##kind##_index(PyObject* self, PyObject* args);                   \
    PyObject* wrpPye_bltp_##kind##_sort(PyObject* self, PyObject* args, PyObject* kwargs);  \
    PyObject* wrpPye_bltp_##kind##_reverse(PyObject* self, PyObject* ignored);
// Growing and shrinking.
#define ZELMOR_DECLARE_LIST_OPERATIONS(kind)                                            \
    ZELMOR_DECLARE_ARRAY_OPERATIONS(kind)                                               \
    PyObject* wrpPye_bltp_##kind##_sq_inplace_concat(PyObject* self, PyObject* other);  \
    PyObject* wrpPye_bltp_##kind##_sq_inplace_repeat(PyObject* self, Py_ssize_t count); \
    PyObject* wrpPye_bltp_##kind##_append(PyObject* self, PyObject* value);             \
    PyObject* wrpPye_bltp_##kind##_insert(PyObject* self, PyObject* args);              \
    PyObject* wrpPye_bltp_##kind##_extend(PyObject* self, PyObject* other);             \
    PyObject* wrpPye_bltp_##kind##_remove(PyObject* self, PyObject* value);             \
    PyObject* wrpPye_bltp_##kind##_pop(PyObject* self, PyObject* args);                 \
    PyObject* wrpPye_bltp_##kind##_clear(PyObject* self, PyObject* ignored);

ZELMOR_DECLARE_COLLECTION_OPERATIONS(icol)
ZELMOR_DECLARE_LIST_OPERATIONS(ilist)
ZELMOR_DECLARE_ARRAY_OPERATIONS(array)
ZELMOR_DECLARE_LIST_OPERATIONS(arrlist)

#undef ZELMOR_DECLARE_LIST_OPERATIONS
#undef ZELMOR_DECLARE_ARRAY_OPERATIONS
#undef ZELMOR_DECLARE_COLLECTION_OPERATIONS

// `iter(x)` of everything enumerable, and an enumerator's own two.
PyObject* wrpPye_bltp_iterable_iter(PyObject* self);
PyObject* wrpPye_bltp_iter_iter(PyObject* self);
PyObject* wrpPye_bltp_iter_iternext(PyObject* self);

#endif  // ZELMOR_COLLECTIONS_INTEROP_OPERATIONS_H
