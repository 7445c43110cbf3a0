// The operations of a managed collection that make a new Python list: `+`, `*` and `copy()`.
//
// The list is made in its final size where that is known, and its slots are filled directly. A kind without an index is
// read by its iterator, which has to yield exactly as many elements as the length says.
#include <cassert>

#include "collections/sequence.h"
#include "collections/sequence_support.h"
#include "pyshell/class_recipe.h"
#include "pyshell/py_ref.h"

namespace zelmor {

namespace {

PyObject* refuse_operand() {
    PyErr_SetString(PyExc_ValueError, "argument must be iterable or sequence");
    return nullptr;
}

// False, with an error set, for a negative length, which the managed side can report and no list can have.
bool check_length(Py_ssize_t length) {
    if (length < 0 && PyErr_Occurred() == nullptr) {
        PyErr_Format(PyExc_ValueError, "the length of the collection is negative: %zd", length);
    }
    return length >= 0;
}

bool read_list_length(const SequenceAccess& access, PyObject* self, Py_ssize_t& length) {
    length = sequence_length(access, self);
    return check_length(length);
}

// Gives the elements of the collection to `place`, in order and as owned references.
template <class Place>
bool read_by_index(const SequenceAccess& access, PyObject* self, Py_ssize_t length, Place place) {
    for (Py_ssize_t i = 0; i < length; ++i) {
        PyObject* element = access.get_item_unchecked(handle_of(self), static_cast<int>(i));
        if (element == nullptr) {
            return false;
        }
        place(i, element);
    }
    return true;
}

template <class Place>
bool read_by_iteration(PyObject* self, Py_ssize_t length, Place place) {
    PyRef iterator = PyRef::steal(PyObject_GetIter(self));
    if (!iterator) {
        if (PyErr_Occurred() == nullptr) {
            PyErr_SetString(PyExc_ValueError, "the collection was modified during the operation");
        }
        return false;
    }
    for (Py_ssize_t i = 0; i < length; ++i) {
        PyObject* element = PyIter_Next(iterator.get());
        if (element == nullptr) {
            if (PyErr_Occurred() == nullptr) {
                refuse_operand();
            }
            return false;
        }
        place(i, element);
    }
    PyRef more = PyRef::steal(PyIter_Next(iterator.get()));
    if (more) {
        refuse_operand();
    }
    return !more && PyErr_Occurred() == nullptr;
}

template <class Place>
bool read_all(const SequenceAccess& access, PyObject* self, Py_ssize_t length, Place place) {
    return access.get_item_unchecked != nullptr ? read_by_index(access, self, length, place)
                                                : read_by_iteration(self, length, place);
}

// A list of `length + more` slots, of which the first hold the elements of the collection.
PyRef own_elements(const SequenceAccess& access, PyObject* self, Py_ssize_t length, Py_ssize_t more) {
    assert(length >= 0 && more >= 0);
    if (more > PY_SSIZE_T_MAX - length) {
        PyErr_NoMemory();
        return {};
    }
    PyRef list = PyRef::steal(PyList_New(length + more));
    if (!list || !read_all(access, self, length,
                           [&](Py_ssize_t i, PyObject* element) { PyList_SET_ITEM(list.get(), i, element); })) {
        return {};
    }
    return list;
}

PyObject* concat_sequence(const SequenceAccess& access, PyObject* self, Py_ssize_t length, PyObject* other,
                          Py_ssize_t size) {
    PyRef list = own_elements(access, self, length, size);
    for (Py_ssize_t i = 0; list && i < size; ++i) {
        PyObject* element = PySequence_GetItem(other, i);
        if (element == nullptr) {
            return nullptr;
        }
        PyList_SET_ITEM(list.get(), length + i, element);
    }
    return list.release();
}

PyObject* concat_iterable(const SequenceAccess& access, PyObject* self, Py_ssize_t length, PyObject* other) {
    PyRef list = own_elements(access, self, length, 0);
    if (!list) {
        return nullptr;
    }
    PyRef iterator = PyRef::steal(PyObject_GetIter(other));
    if (!iterator) {
        if (PyErr_Occurred() == nullptr) {
            PyErr_SetString(PyExc_ValueError, "argument must be iterable");
        }
        return nullptr;
    }
    while (PyRef element = PyRef::steal(PyIter_Next(iterator.get()))) {
        if (PyList_Append(list.get(), element.get()) < 0) {
            return nullptr;
        }
    }
    return PyErr_Occurred() != nullptr ? nullptr : list.release();
}

}  // namespace

PyObject* sequence_concat(const SequenceAccess& access, PyObject* self, PyObject* other) {
    assert(self != nullptr && other != nullptr);
    Py_ssize_t length = 0;
    if (!read_list_length(access, self, length)) {
        return nullptr;
    }
    if (is_list_or_tuple(other)) {
        PyRef items = PyRef::steal(PySequence_Fast(other, "argument must be iterable"));
        return items ? concat_sequence(access, self, length, items.get(), PySequence_Fast_GET_SIZE(items.get()))
                     : nullptr;
    }
    if (is_sized_sequence(other)) {
        const Py_ssize_t size = PySequence_Size(other);
        return !check_length(size) ? nullptr : concat_sequence(access, self, length, other, size);
    }
    if (PyShlObject_HasIter(other)) {
        return concat_iterable(access, self, length, other);
    }
    return refuse_operand();
}

// Each element is read once, and every repeat holds the same object. The elements are read even if there is no repeat.
PyObject* sequence_repeat(const SequenceAccess& access, PyObject* self, Py_ssize_t count) {
    Py_ssize_t length = 0;
    if (!read_list_length(access, self, length)) {
        return nullptr;
    }
    count = std::max<Py_ssize_t>(count, 0);
    if (length > 0 && count > PY_SSIZE_T_MAX / length) {
        return PyErr_NoMemory();
    }
    PyRef list = PyRef::steal(PyList_New(length * count));
    if (!list) {
        return nullptr;
    }
    const auto store_repeats = [&](Py_ssize_t i, PyObject* element) {
        for (Py_ssize_t repeat = 0; repeat < count; ++repeat) {
            PyList_SET_ITEM(list.get(), i + repeat * length, Py_NewRef(element));
        }
        Py_DECREF(element);
    };
    return read_all(access, self, length, store_repeats) ? list.release() : nullptr;
}

PyObject* sequence_copy(const SequenceAccess& access, PyObject* self) {
    Py_ssize_t length = 0;
    if (!read_list_length(access, self, length)) {
        return nullptr;
    }
    return own_elements(access, self, length, 0).release();
}

}  // namespace zelmor
