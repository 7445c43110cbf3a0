// The operations that change a managed collection in place: appending, inserting, removing, ordering.
//
// An operation that adds several elements stops at the first that fails; the elements before it stay in the collection.
#include <cassert>

#include "collections/sequence.h"
#include "collections/sequence_support.h"
#include "convert/scalars.h"
#include "pyshell/arg_count.h"
#include "pyshell/class_recipe.h"
#include "pyshell/py_ref.h"

namespace zelmor {

namespace {

PyObject* none_unless_error() {
    if (PyErr_Occurred() != nullptr) {
        return nullptr;
    }
    Py_RETURN_NONE;
}

void make_room(const SequenceAccess& access, PyObject* self, Py_ssize_t count) {
    if (access.ensure_capacity != nullptr) {
        access.ensure_capacity(handle_of(self), to_wire_index(count));
    }
}

bool append_sequence(const SequenceAccess& access, PyObject* self, PyObject* items, Py_ssize_t size) {
    make_room(access, self, size);
    if (PyErr_Occurred() != nullptr) {
        return false;
    }
    for (Py_ssize_t i = 0; i < size; ++i) {
        PyRef item = PyRef::steal(PySequence_GetItem(items, i));
        if (!item || !access.add(handle_of(self), item.get())) {
            return false;
        }
    }
    return true;
}

bool append_iterable(const SequenceAccess& access, PyObject* self, PyObject* iterable) {
    PyRef iterator = PyRef::steal(PyObject_GetIter(iterable));
    if (!iterator) {
        if (PyErr_Occurred() == nullptr) {
            PyErr_SetString(PyExc_ValueError, "argument must be iterable");
        }
        return false;
    }
    while (PyRef item = PyRef::steal(PyIter_Next(iterator.get()))) {
        if (!access.add(handle_of(self), item.get())) {
            return false;
        }
    }
    return PyErr_Occurred() == nullptr;
}

// The managed side appends a managed source itself, so that no element crosses the boundary, unless it declines.
bool extend(const SequenceAccess& access, PyObject* self, PyObject* other) {
    VariantArg source = {};
    if (read_managed(other, &source)) {
        const int answer = access.inplace_concat(handle_of(self), &source);
        if (PyErr_Occurred() != nullptr) {
            return false;
        }
        if (answer == kBulkDone) {
            return true;
        }
    }
    if (is_list_or_tuple(other)) {
        PyRef items = PyRef::steal(PySequence_Fast(other, "argument must be iterable"));
        return items && append_sequence(access, self, items.get(), PySequence_Fast_GET_SIZE(items.get()));
    }
    if (is_sized_sequence(other)) {
        const Py_ssize_t size = PySequence_Size(other);
        if (size < 0) {
            return PyErr_Occurred() == nullptr;
        }
        return append_sequence(access, self, other, size);
    }
    if (PyShlObject_HasIter(other)) {
        return append_iterable(access, self, other);
    }
    PyErr_SetString(PyExc_ValueError, "argument must be iterable or sequence");
    return false;
}

}  // namespace

PyObject* sequence_append(const SequenceAccess& access, PyObject* self, PyObject* value) {
    assert(access.add != nullptr);
    if (!access.add(handle_of(self), value)) {
        return nullptr;
    }
    Py_RETURN_NONE;
}

PyObject* sequence_insert(const SequenceAccess& access, PyObject* self, PyObject* args) {
    assert(access.insert != nullptr);
    if (!access.insert(handle_of(self), args)) {
        return nullptr;
    }
    Py_RETURN_NONE;
}

PyObject* sequence_extend(const SequenceAccess& access, PyObject* self, PyObject* other) {
    assert(access.add != nullptr && access.inplace_concat != nullptr);
    if (!extend(access, self, other)) {
        return nullptr;
    }
    Py_RETURN_NONE;
}

PyObject* sequence_inplace_concat(const SequenceAccess& access, PyObject* self, PyObject* other) {
    assert(access.add != nullptr && access.inplace_concat != nullptr);
    return extend(access, self, other) ? Py_NewRef(self) : nullptr;
}

PyObject* sequence_inplace_repeat(const SequenceAccess& access, PyObject* self, Py_ssize_t count) {
    assert(access.inplace_repeat != nullptr);
    access.inplace_repeat(handle_of(self), static_cast<int>(count));  // cut to the width of the wire
    return PyErr_Occurred() != nullptr ? nullptr : Py_NewRef(self);
}

PyObject* sequence_remove(const SequenceAccess& access, PyObject* self, PyObject* value) {
    assert(access.remove != nullptr);
    int found = 0;
    if (!access.remove(handle_of(self), value, &found)) {
        return nullptr;
    }
    if (found == 0) {
        PyErr_SetString(PyExc_ValueError, "list.remove(x): x not in list");
        return nullptr;
    }
    Py_RETURN_NONE;
}

// None is no index, but it counts as an argument: the managed side gets an index, and it is 0.
PyObject* sequence_pop(const SequenceAccess& access, PyObject* self, PyObject* args) {
    assert(access.pop != nullptr && PyTuple_Check(args));
    const Py_ssize_t given = PyTuple_GET_SIZE(args);
    if (fn_check_args_count_out_of_range(given, "pop", 0, 1)) {
        return nullptr;
    }
    long index = 0;
    if (given == 1 && !fn_conv_py_optional_to_ssize_t(args, &index)) {
        return nullptr;
    }
    PyObject* popped = nullptr;
    const int status = access.pop(handle_of(self), static_cast<int>(given), to_wire_index(index), &popped);
    if (PyErr_Occurred() != nullptr) {
        return nullptr;
    }
    if (status == kOutOfRange || status == kPopEmpty) {
        PyErr_SetString(PyExc_IndexError, status == kPopEmpty ? "pop from empty list" : "pop index out of range");
        return nullptr;
    }
    return popped;
}

PyObject* sequence_clear(const SequenceAccess& access, PyObject* self) {
    assert(access.clear != nullptr);
    access.clear(handle_of(self));
    return none_unless_error();
}

PyObject* sequence_reverse(const SequenceAccess& access, PyObject* self) {
    assert(access.reverse != nullptr);
    access.reverse(handle_of(self));
    return none_unless_error();
}

// The managed side compares the elements; it takes no key.
PyObject* sequence_sort(const SequenceAccess& access, PyObject* self, PyObject* args, PyObject* kwargs) {
    assert(access.sort != nullptr);
    static const char* const kKeywords[] = {"key", "reverse", nullptr};
    PyObject* key = nullptr;
    int descending = 0;
    if (!PyArg_ParseTupleAndKeywords(args, kwargs, "|Op", const_cast<char**>(kKeywords), &key, &descending)) {
        return nullptr;
    }
    if (key != nullptr && key != Py_None) {
        PyErr_SetString(PyExc_ValueError, "custom sorting key is not supported");
        return nullptr;
    }
    access.sort(handle_of(self), descending);
    return none_unless_error();
}

}  // namespace zelmor
