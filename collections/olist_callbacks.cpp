// Callbacks on a Python list with variant elements.
//
// An element that comes in to be stored or looked for belongs to the callback, whatever the outcome. The four
// operations that go by method name honor a subclass's overrides, the direct ones do not.
#include "collections/element_access.h"
#include "collections/interop.h"
#include "convert/range_tests.h"
#include "convert/scalars.h"
#include "exchange/callbacks.h"
#include "pyshell/identifiers.h"
#include "pyshell/py_ref.h"
#include "pyshell/wrapped_object.h"

using zelmor::PyRef;

int fn_clbk_olist_get_item(PyObject* list, int index, VariantArg* out) {
    return zelmor::read_list_element(list, index,
                                     [&](PyObject* element) { return zelmor::read_variant_element(element, out); });
}

int fn_clbk_olist_set_item(PyObject* list, int index, PyObject* value) {
    if (PyList_SetItem(list, index, value) < 0 && PyErr_Occurred()) {
        // Released once by PyList_SetItem and once more here: the managed side hands in two references to be lost
        // by a store that fails.
        const int code = zelmor::failed_access();
        Py_DECREF(value);
        return code;
    }
    return 0;
}

long fn_clbk_olist_add(PyObject* list, PyObject* value) {
    PyRef element = PyRef::steal(value);
    if (PyList_Append(list, value) < 0 && PyErr_Occurred()) {
        return -1;
    }
    return PyList_Size(list);
}

int fn_clbk_olist_insert(PyObject* list, int index, PyObject* value) {
    PyRef element = PyRef::steal(value);
    if (PyList_Insert(list, index, value) < 0 && PyErr_Occurred()) {
        return zelmor::failed_access();
    }
    return 0;
}

// A missing element is a failure here, with its ValueError pending, unlike in the two searches below.
int fn_clbk_olist_remove(PyObject* list, PyObject* value) {
    PyRef element = PyRef::steal(value);
    PyRef result = PyRef::steal(PyObject_CallMethodOneArg(list, PyWrpIdList_Remove, value));
    return !result && PyErr_Occurred() ? -1 : 0;
}

int fn_clbk_olist_contains(PyObject* list, PyObject* value) {
    PyRef element = PyRef::steal(value);
    PyRef position = PyRef::steal(PyObject_CallMethodOneArg(list, PyWrpIdList_Index, value));
    if (position || !PyErr_Occurred()) {
        return 1;
    }
    if (!PyErr_ExceptionMatches(PyExc_ValueError)) {
        return -1;
    }
    PyErr_Clear();
    return 0;
}

int fn_clbk_olist_index_of(PyObject* list, PyObject* value) {
    PyRef element = PyRef::steal(value);
    PyRef position = PyRef::steal(PyObject_CallMethodOneArg(list, PyWrpIdList_Index, value));
    if (!position) {
        if (!PyErr_ExceptionMatches(PyExc_ValueError)) {
            return -2;
        }
        PyErr_Clear();
        return -1;
    }
    long index = 0;
    if (!fn_conv_py_obj_to_ssize_t(position.get(), &index) ||
        is_clong_value_out_of_clr_range<IndexSubjTrait, int>(index, PyExc_IndexError)) {
        return -2;
    }
    return static_cast<int>(index);
}

void fn_clbk_olist_set_fast_item(PyObject** items, int index, PyObject* value) {
    items[index] = value;
}

PyObject* fn_clbk_olist_write_clr_ilist(void* handle) {
    return fn_py_clr_type_generic_new(handle, &wrpPye_tyds_FFFFFFFF_IListWrapper);
}

PyObject* fn_clbk_olist_write_clr_arrlist(void* handle) {
    return fn_py_clr_type_generic_new(handle, &wrpPye_tyds_FFFFFFFF_ArrListWrapper);
}

PyObject* fn_clbk_olist_write_clr_array(void* handle) {
    return fn_py_clr_type_generic_new(handle, &wrpPye_tyds_FFFFFFFF_ArrayWrapper);
}
