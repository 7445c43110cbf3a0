// The parts of typed element access that do not depend on the element.
#include "collections/typed_callbacks.h"

#include <cassert>

namespace zelmor {

namespace {

// Releases the buffer of an element that cannot be used: the managed side releases nothing after a failure.
void give_buffer_back(PyBytesArg* out, Py_buffer* state) {
    assert(out != nullptr && state != nullptr);
    if (out->acquired != 0) {
        PyBuffer_Release(state);
        out->acquired = 0;
    }
}

bool read_bytes(PyObject* element, PyBytesArg* out, Py_buffer* state) {
    if (fn_conv_py_bytes_to_clr_bytes_value(element, state, out)) {
        return true;
    }
    give_buffer_back(out, state);
    return false;
}

}  // namespace

bool require_listed(PyObject* list, int index, PyObject* element) {
    assert(PyList_Check(list) && element != nullptr);
    const Py_ssize_t size = PyList_GET_SIZE(list);
    if (index < size && PyList_GET_ITEM(list, index) == element) [[likely]] {
        return true;
    }
    for (Py_ssize_t i = 0; i < size; ++i) {
        if (PyList_GET_ITEM(list, i) == element) {
            return true;
        }
    }
    PyErr_SetString(PyExc_RuntimeError, "the list lost the element while it was read");
    return false;
}

int keep_sequence_element(bool converted, PyObject* element, PyObject** owner) {
    assert(element != nullptr && owner != nullptr);
    if (!converted) {
        Py_DECREF(element);
        return -1;
    }
    *owner = element;
    return 0;
}

int list_get_bytes(PyObject* list, int index, PyBytesArg* out, Py_buffer* state) {
    assert(list != nullptr && out != nullptr && state != nullptr);
    return read_list_element(
        list, index, [&](PyObject* element) { return read_bytes(element, out, state); },
        [&] { give_buffer_back(out, state); });
}

int sequence_get_bytes(PyObject* sequence, int index, PyObject** owner, PyBytesArg* out, Py_buffer* state) {
    assert(sequence != nullptr && owner != nullptr);
    assert(out != nullptr && state != nullptr);
    PyObject* element = PySequence_GetItem(sequence, index);
    if (element == nullptr) {
        return failed_access();
    }
    return keep_sequence_element(read_bytes(element, out, state), element, owner);
}

}  // namespace zelmor
