// Length, elements by index, and slices of a managed collection.
//
// Reading a slice makes a plain list. Assigning to a slice needs a value of the same length, whatever the step: unlike
// a Python list, a managed collection never grows or shrinks by an assignment.
#include <cassert>

#include "collections/sequence.h"
#include "collections/sequence_support.h"
#include "pyshell/class_recipe.h"
#include "pyshell/py_ref.h"

namespace zelmor {

namespace {

struct Slice {
    Py_ssize_t start = 0;
    Py_ssize_t count = 0;
    Py_ssize_t step = 0;

    // Never overflows for an element of the slice.
    int at(Py_ssize_t i) const { return to_wire_index(start + i * step); }
};

// A negative length counts as a failure only with an error pending.
bool read_length(const SequenceAccess& access, PyObject* self, Py_ssize_t& length) {
    length = sequence_length(access, self);
    return length >= 0 || PyErr_Occurred() == nullptr;
}

bool read_slice(PyObject* key, Py_ssize_t length, Slice& slice) {
    Py_ssize_t stop = 0;
    if (PySlice_Unpack(key, &slice.start, &stop, &slice.step) < 0) {
        return false;
    }
    // A negative length means no elements; PySlice_AdjustIndices must not get it.
    slice.count = PySlice_AdjustIndices(std::max<Py_ssize_t>(length, 0), &slice.start, &stop, slice.step);
    return true;
}

// An index as a key; a negative one counts from the end. The managed side checks whether it is in range.
bool read_index(PyObject* key, Py_ssize_t length, Py_ssize_t& index) {
    index = PyNumber_AsSsize_t(key, PyExc_IndexError);
    if (index == -1 && PyErr_Occurred() != nullptr) {
        return false;
    }
    if (index < 0 && (length >= 0 || index >= PY_SSIZE_T_MIN - length)) {
        index += length;
    }
    return true;
}

void refuse_key(PyObject* key) {
    PyErr_Format(PyExc_TypeError, "list indices must be integers or slices, not %.200s", Py_TYPE(key)->tp_name);
}

// False, with an error set, if the access failed.
bool check_status(int status) {
    if (PyErr_Occurred() != nullptr) {
        return false;
    }
    if (status == kOutOfRange) {
        PyErr_SetString(PyExc_IndexError, "list index out of range");
    }
    return status == kDelivered;
}

PyObject* read_run(const SequenceAccess& access, PyObject* self, const Slice& slice) {
    assert(access.get_item_unchecked != nullptr);
    PyRef list = PyRef::steal(PyList_New(std::max<Py_ssize_t>(slice.count, 0)));
    for (Py_ssize_t i = 0; list && i < slice.count; ++i) {
        PyObject* element = access.get_item_unchecked(handle_of(self), slice.at(i));
        if (element == nullptr) {
            return nullptr;
        }
        PyList_SET_ITEM(list.get(), i, element);
    }
    return list.release();
}

int refuse_delete() {
    PyErr_SetString(PyExc_ValueError, "elements removing not supported");
    return -1;
}

// The managed side deletes from the highest index down, so that a deletion does not move the elements still to delete.
int delete_run(const SequenceAccess& access, PyObject* self, Slice slice) {
    assert(access.remove_run != nullptr && slice.step != 0);
    if (slice.step > 0) {
        slice.start += (slice.count - 1) * slice.step;
        slice.step = -slice.step;
    }
    if (access.neighbors_from_lowest && slice.step == -1) {
        slice.start = slice.start - slice.count + 1;
    }
    slice.start = std::max<Py_ssize_t>(slice.start, 0);
    access.remove_run(handle_of(self), to_wire_index(slice.start), to_wire_index(slice.count),
                      to_wire_index(slice.step));
    return PyErr_Occurred() != nullptr ? -1 : 0;
}

bool check_size(Py_ssize_t size, Py_ssize_t count) {
    if (size == count) {
        return true;
    }
    PyErr_Format(PyExc_ValueError, "attempt to assign sequence of size %zd to extended slice of size %zd", size, count);
    return false;
}

// Stores the elements one by one; `item_at` returns an owned reference. After a failure, those stored before stay
// stored.
template <class ItemAt>
int assign_each(const SequenceAccess& access, PyObject* self, const Slice& slice, ItemAt item_at) {
    for (Py_ssize_t i = 0; i < slice.count; ++i) {
        PyRef item = PyRef::steal(item_at(i));
        if (!item || !access.set_item_unchecked(handle_of(self), slice.at(i), item.get())) {
            return -1;
        }
    }
    return 0;
}

int assign_run(const SequenceAccess& access, PyObject* self, const Slice& slice, PyObject* value) {
    assert(access.set_run != nullptr && access.set_item_unchecked != nullptr && value != nullptr);
    if (is_list_or_tuple(value)) {
        PyRef items = PyRef::steal(PySequence_Fast(value, "must assign iterable to extended slice"));
        if (!items || !check_size(PySequence_Fast_GET_SIZE(items.get()), slice.count)) {
            return -1;
        }
        // The size is asked each time: a conversion may run code that shortens the list.
        return assign_each(access, self, slice, [&](Py_ssize_t i) {
            return i < PySequence_Fast_GET_SIZE(items.get()) ? Py_NewRef(PySequence_Fast_GET_ITEM(items.get(), i))
                                                             : PySequence_GetItem(items.get(), i);
        });
    }
    if (!is_sized_sequence(value)) {
        PyErr_SetString(PyExc_TypeError, "must assign iterable to extended slice");
        return -1;
    }
    const Py_ssize_t size = PySequence_Size(value);
    if ((size < 0 && PyErr_Occurred() != nullptr) || !check_size(size, slice.count)) {
        return -1;
    }
    VariantArg source = {};
    if (read_managed(value, &source)) {
        const int answer = access.set_run(handle_of(self), &source, to_wire_index(slice.start),
                                          to_wire_index(slice.count), to_wire_index(slice.step));
        if (PyErr_Occurred() != nullptr) {
            return -1;
        }
        if (answer == kBulkDone) {
            return 0;
        }
    }
    return assign_each(access, self, slice, [&](Py_ssize_t i) { return PySequence_GetItem(value, i); });
}

}  // namespace

Py_ssize_t sequence_length(const SequenceAccess& access, PyObject* self) {
    assert(access.length != nullptr);
    const int length = access.length(handle_of(self));
    return PyErr_Occurred() != nullptr ? -1 : length;
}

PyObject* sequence_length_property(const SequenceAccess& access, PyObject* self) {
    const Py_ssize_t length = sequence_length(access, self);
    return length < 0 && PyErr_Occurred() != nullptr ? nullptr : PyLong_FromSsize_t(length);
}

PyObject* sequence_item(const SequenceAccess& access, PyObject* self, Py_ssize_t index) {
    assert(access.get_item != nullptr);
    PyObject* element = nullptr;
    const int status =
        fits_wire_index(index) ? access.get_item(handle_of(self), static_cast<int>(index), &element) : kOutOfRange;
    return check_status(status) ? element : nullptr;
}

int sequence_assign_item(const SequenceAccess& access, PyObject* self, Py_ssize_t index, PyObject* value) {
    assert(access.set_item != nullptr);
    if (value == nullptr && access.remove_at == nullptr) {
        return refuse_delete();
    }
    int status = kOutOfRange;
    if (fits_wire_index(index)) {
        const int at = static_cast<int>(index);
        status = value == nullptr ? access.remove_at(handle_of(self), at) : access.set_item(handle_of(self), at, value);
    }
    return check_status(status) ? 0 : -1;
}

PyObject* sequence_subscript(const SequenceAccess& access, PyObject* self, PyObject* key) {
    assert(self != nullptr && key != nullptr);
    Py_ssize_t length = 0;
    if (!read_length(access, self, length)) {
        return nullptr;
    }
    if (PyIndex_Check(key)) {
        Py_ssize_t index = 0;
        return read_index(key, length, index) ? sequence_item(access, self, index) : nullptr;
    }
    if (!PySlice_Check(key)) {
        refuse_key(key);
        return nullptr;
    }
    Slice slice;
    return read_slice(key, length, slice) ? read_run(access, self, slice) : nullptr;
}

int sequence_assign_subscript(const SequenceAccess& access, PyObject* self, PyObject* key, PyObject* value) {
    assert(self != nullptr && key != nullptr);
    if (value == nullptr && access.remove_at == nullptr) {
        return refuse_delete();
    }
    Py_ssize_t length = 0;
    if (!read_length(access, self, length)) {
        return -1;
    }
    if (PyIndex_Check(key)) {
        Py_ssize_t index = 0;
        return read_index(key, length, index) ? sequence_assign_item(access, self, index, value) : -1;
    }
    if (!PySlice_Check(key)) {
        refuse_key(key);
        return -1;
    }
    Slice slice;
    if (!read_slice(key, length, slice)) {
        return -1;
    }
    return value == nullptr ? delete_run(access, self, slice) : assign_run(access, self, slice, value);
}

}  // namespace zelmor
