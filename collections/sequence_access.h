// The table of one collection type, which the collection algorithms work with: its calls to the managed side, with
// Python objects as elements, and the few points in which the kinds differ.
//
// The algorithms (sequence.h) are ordinary functions over this table, so that all typed collections share them; only
// the calls in the table depend on the element. A call that takes a Python value converts it first. If that fails, it
// returns the same as for a failure of the managed side.
#ifndef ZELMOR_COLLECTIONS_SEQUENCE_ACCESS_H
#define ZELMOR_COLLECTIONS_SEQUENCE_ACCESS_H

#include "exchange/wire/records.h"
#include "pyshell/python.h"

namespace zelmor {

// The result codes of element access.
enum AccessStatus : int { kDelivered = 0, kAccessFailed = 1, kOutOfRange = 2 };
// `pop` has a code of its own for a list without elements.
constexpr int kPopEmpty = 1;
// The managed side did a bulk operation; after any other answer the caller does it element by element.
constexpr int kBulkDone = 1;

struct SequenceAccess {
    int (*length)(void* handle);

    // Elements by index. Null in a kind without an index, which is read by its iterator.
    int (*get_item)(void* handle, int index, PyObject** out);
    PyObject* (*get_item_unchecked)(void* handle, int index);
    int (*set_item)(void* handle, int index, PyObject* value);
    bool (*set_item_unchecked)(void* handle, int index, PyObject* value);
    int (*set_run)(void* handle, const VariantArg* source, int start, int count, int step);
    void (*reverse)(void* handle);
    void (*sort)(void* handle, int descending);
    bool (*index_by)(void* handle, PyObject* args, int* out);

    bool (*contains)(void* handle, PyObject* value, int* out);
    bool (*count_of)(void* handle, PyObject* value, int* out);

    // Change of length. Null in a kind of fixed size, whose elements cannot be deleted.
    bool (*add)(void* handle, PyObject* value);
    bool (*insert)(void* handle, PyObject* args);
    bool (*remove)(void* handle, PyObject* value, int* found);
    int (*remove_at)(void* handle, int index);
    int (*pop)(void* handle, int has_index, int index, PyObject** out);
    void (*clear)(void* handle);
    int (*inplace_concat)(void* handle, const VariantArg* source);
    void (*inplace_repeat)(void* handle, int count);
    void (*remove_run)(void* handle, int start, int count, int step);

    // Null in a kind whose capacity cannot be set.
    void (*ensure_capacity)(void* handle, int count);

    // A deleted run of neighbors is named by its lowest index. The other kinds name the highest one, where the
    // managed side begins to walk downward.
    bool neighbors_from_lowest;
};

}  // namespace zelmor

#endif  // ZELMOR_COLLECTIONS_SEQUENCE_ACCESS_H
