// Callbacks on Python collections that do not depend on the element.
//
// Codes: 0 success, -1 failure, -2 index failure, each failure with a Python error pending.
#include <cassert>

#include "exchange/callbacks.h"
#include "pyshell/identifiers.h"
#include "pyshell/py_ref.h"
#include "pyshell/python.h"

using zelmor::PyRef;

// The 32-bit forms truncate the length.
int fn_clbk_ucol_list_length(PyObject* list) {
    return static_cast<int>(PyList_Size(list));
}
long fn_clbk_ucol_list_longlength(PyObject* list) {
    return PyList_Size(list);
}
int fn_clbk_ucol_sequence_length(PyObject* sequence) {
    return static_cast<int>(PySequence_Size(sequence));
}
long fn_clbk_ucol_sequence_longlength(PyObject* sequence) {
    return PySequence_Size(sequence);
}
int fn_clbk_ucol_object_length(PyObject* object) {
    return static_cast<int>(PyObject_Size(object));
}

// Calls the method, so that an override of a subclass runs and a negative index counts from the end.
int fn_clbk_ucol_remove_at(PyObject* list, int index) {
    assert(list != nullptr);
    PyRef position = PyRef::steal(PyLong_FromLong(index));
    if (!position) {
        return -1;
    }
    PyRef removed = PyRef::steal(PyObject_CallMethodOneArg(list, PyWrpIdList_Pop, position.get()));
    if (!removed && PyErr_Occurred() != nullptr) {
        return PyErr_ExceptionMatches(PyExc_IndexError) ? -2 : -1;
    }
    return 0;
}

int fn_clbk_ucol_clear(PyObject* object) {
    assert(object != nullptr);
    PyRef result = PyRef::steal(PyObject_CallMethodNoArgs(object, PyWrpIdList_Clear));
    return !result && PyErr_Occurred() != nullptr ? -1 : 0;
}

PyObject* fn_clbk_ucol_get_enumerator(PyObject* object) {
    assert(object != nullptr);
    // The slot is called directly, so that its result is checked here and refused with our own message.
    const getiterfunc get_iterator = Py_TYPE(object)->tp_iter;
    PyRef iterator = PyRef::steal(get_iterator != nullptr ? get_iterator(object) : PyObject_GetIter(object));
    if (!iterator && PyErr_Occurred() != nullptr) {
        return nullptr;
    }
    if (!iterator || !PyIter_Check(iterator.get())) {
        PyErr_Format(PyExc_TypeError, "No iterator in '%s'", Py_TYPE(object)->tp_name);
        return nullptr;
    }
    return iterator.release();
}

// A list of empty slots, which the managed side fills before the list reaches Python.
PyObject** fn_clbk_ucol_create_fast_longlist(long count, PyObject** list) {
    assert(list != nullptr);
    *list = PyList_New(count);
    return *list == nullptr ? nullptr : reinterpret_cast<PyListObject*>(*list)->ob_item;
}

PyObject** fn_clbk_ucol_create_fast_list(int count, PyObject** list) {
    return fn_clbk_ucol_create_fast_longlist(count, list);
}
