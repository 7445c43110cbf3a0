// Callbacks on a Python list with variant elements.
//
// The callback takes over the reference to an element that is to be stored or searched for, whether it succeeds or
// fails. The operations that call a method by name use the overrides of a subclass; the direct ones do not.
#include <cassert>

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
    assert(list != nullptr && value != nullptr);
    if (PyList_SetItem(list, index, value) < 0 && PyErr_Occurred() != nullptr) {
        // PyList_SetItem has released one reference, and this releases another: the managed side passes two references,
        // and a store that fails has to release both.
        const int code = zelmor::failed_access();
        Py_DECREF(value);
        return code;
    }
    return 0;
}

long fn_clbk_olist_add(PyObject* list, PyObject* value) {
    assert(list != nullptr && value != nullptr);
    PyRef element = PyRef::steal(value);
    if (PyList_Append(list, value) < 0 && PyErr_Occurred() != nullptr) {
        return -1;
    }
    return PyList_Size(list);
}

int fn_clbk_olist_insert(PyObject* list, int index, PyObject* value) {
    assert(list != nullptr && value != nullptr);
    PyRef element = PyRef::steal(value);
    if (PyList_Insert(list, index, value) < 0 && PyErr_Occurred() != nullptr) {
        return zelmor::failed_access();
    }
    return 0;
}

// A missing element is a failure here, with its ValueError pending. The two searches below report it by their result.
int fn_clbk_olist_remove(PyObject* list, PyObject* value) {
    assert(list != nullptr && value != nullptr);
    PyRef element = PyRef::steal(value);
    PyRef result = PyRef::steal(PyObject_CallMethodOneArg(list, PyWrpIdList_Remove, value));
    return !result && PyErr_Occurred() != nullptr ? -1 : 0;
}

int fn_clbk_olist_contains(PyObject* list, PyObject* value) {
    assert(list != nullptr && value != nullptr);
    PyRef element = PyRef::steal(value);
    PyRef position = PyRef::steal(PyObject_CallMethodOneArg(list, PyWrpIdList_Index, value));
    if (position || PyErr_Occurred() == nullptr) {
        return 1;
    }
    if (!PyErr_ExceptionMatches(PyExc_ValueError)) {
        return -1;
    }
    PyErr_Clear();
    return 0;
}

int fn_clbk_olist_index_of(PyObject* list, PyObject* value) {
    assert(list != nullptr && value != nullptr);
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
    assert(items != nullptr && index >= 0);
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
