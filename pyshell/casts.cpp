// Results of the cast family.
#include "pyshell/casts.h"

#include "pyshell/result_typing.h"

namespace zelmor {

namespace {

// A reader that refuses a value sets no error; one that failed otherwise has.
int refuse_argument(const char* format, PyObject* argument) {
    if (!PyErr_Occurred()) {
        PyErr_Format(PyExc_TypeError, format, Py_TYPE(argument)->tp_name);
    }
    return 0;
}

}  // namespace

PyObject* finish_type_of(void* type_handle) {
    if (PyErr_Occurred()) {
        return nullptr;
    }
    return wrpPyl_convcaps_clr_to_py_C08ECFAB_Type(type_handle);
}

PyObject* finish_cast_with(int status, PyObject* wrapped) {
    if (wrapped == nullptr) {
        return PyErr_Occurred() ? nullptr : PyShCastOpResult_New(status, nullptr);
    }
    PyObject* result = PyShCastOpResult_New(status, wrapped);  // does not take over the reference
    Py_DECREF(wrapped);
    return result;
}

PyObject* finish_cast(int status, void* out, PyTypeObject* type) {
    if (PyErr_Occurred()) {
        return nullptr;
    }
    if (status == 0) {
        return no_cast();
    }
    return finish_cast_with(status, fn_conv_clr_clsobj_to_py_clsobj(out, type));
}

PyObject* finish_cast_from(int status, void* out) {
    if (PyErr_Occurred()) {
        return nullptr;
    }
    if (status == 0) {
        return no_cast();
    }
    return finish_cast_with(status, wrpPyl_convcaps_clr_to_py_359C4ED8_Object(out));
}

int read_cast_target(PyObject* argument, void** type_handle) {
    if (wrpPyl_trancaps_py_to_clr_C08ECFAB_Type(argument, type_handle)) {
        return 1;
    }
    return refuse_argument("_cast_from() expects a .Net Type argument, got a %.100s object", argument);
}

int read_reinterpreted(PyObject* argument, void** object_handle) {
    if (wrpPyl_trancaps_py_to_clr_359C4ED8_Object(argument, object_handle)) {
        return 1;
    }
    return refuse_argument("_reinterpret_obj() expects a .Net Object argument, got a %.100s object", argument);
}

PyObject* finish_is_assignable(bool assignable) {
    return PyErr_Occurred() ? nullptr : PyBool_FromLong(assignable);
}

PyObject* refuse_reinterpret(PyObject* argument, PyTypeObject* type) {
    // Two blanks behind "from": the text is part of the interface.
    PyErr_Format(PyExc_TypeError, "cannot convert from  '%.100s' to '%.100s'", Py_TYPE(argument)->tp_name,
                 type->tp_name);
    return nullptr;
}

PyObject* cast_stub(PyObject*, PyObject*) {
    return no_cast();
}

PyObject* never_assignable(PyObject*, PyObject*) {
    Py_RETURN_FALSE;
}

}  // namespace zelmor
