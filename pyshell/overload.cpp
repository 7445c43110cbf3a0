// The failure of a dispatch.
#include "pyshell/overload.h"

namespace zelmor {

void raise_no_overload(PyObject** errors, size_t count) {
    // The value of the exception stays a list: callers read the reason of overload i at args[0][i]. As everywhere in
    // this recipe, exhausted memory is not provided for beyond not crashing.
    PyObject* messages = PyList_New(static_cast<Py_ssize_t>(count));
    for (size_t i = 0; i < count; ++i) {
        PyObject* text = PyObject_Str(errors[i]);
        Py_DECREF(errors[i]);
        if (messages != nullptr) {
            PyList_SET_ITEM(messages, static_cast<Py_ssize_t>(i), text);
        } else {
            Py_XDECREF(text);
        }
    }
    if (messages != nullptr) {
        PyErr_SetObject(PyExc_TypeError, messages);
        Py_DECREF(messages);
    }
}

}  // namespace zelmor
