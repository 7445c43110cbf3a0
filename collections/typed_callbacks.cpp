// The parts of typed element access that do not depend on the element.
#include "collections/typed_callbacks.h"

#include "collections/element_access.h"

namespace zelmor {

namespace {

// A buffer that was taken but will not do goes back at once: after a failure the managed side has nothing to release.
bool read_bytes(PyObject* element, PyBytesArg* out, Py_buffer* state) {
    if (fn_conv_py_bytes_to_clr_bytes_value(element, state, out)) {
        return true;
    }
    if (out->acquired != 0) {
        PyBuffer_Release(state);
        out->acquired = 0;
    }
    return false;
}

}  // namespace

PyObject* list_element(PyObject* list, int index) {
    return PyList_GetItem(list, index);
}

int no_element() {
    return failed_access();
}

int keep_sequence_element(bool converted, PyObject* element, PyObject** owner) {
    if (!converted) {
        Py_DECREF(element);
        return -1;
    }
    *owner = element;
    return 0;
}

int list_get_bytes(PyObject* list, int index, PyBytesArg* out, Py_buffer* state) {
    PyObject* element = list_element(list, index);
    if (element == nullptr) {
        return no_element();
    }
    return read_bytes(element, out, state) ? 0 : -1;
}

int sequence_get_bytes(PyObject* sequence, int index, PyObject** owner, PyBytesArg* out, Py_buffer* state) {
    PyObject* element = PySequence_GetItem(sequence, index);
    if (element == nullptr) {
        return no_element();
    }
    return keep_sequence_element(read_bytes(element, out, state), element, owner);
}

}  // namespace zelmor
