// Callbacks on any Python sequence and on a Python iterator, with variant elements.
#include "collections/element_access.h"
#include "convert/range_tests.h"
#include "exchange/callbacks.h"
#include "pyshell/py_ref.h"

using zelmor::PyRef;

namespace {

PyRef element_at(PyObject* sequence, Py_ssize_t index) {
    PyRef element = PyRef::steal(PySequence_GetItem(sequence, index));
    if (!element && !PyErr_Occurred()) {
        PyErr_SetString(PyExc_IndexError, "item is null");
    }
    return element;
}

// A comparison that raised counts as equal, with its error pending.
bool counts_as_equal(PyObject* element, PyObject* value) {
    return PyObject_RichCompareBool(element, value, Py_EQ) != 0;
}

}  // namespace

int fn_clbk_oseq_get_item(PyObject* sequence, int index, VariantArg* out) {
    PyRef element = PyRef::steal(PySequence_GetItem(sequence, index));
    if (!element) {
        return zelmor::failed_access();
    }
    if (!zelmor::read_variant_element(element.get(), out)) {
        return -1;
    }
    // The variant borrows the element, which nothing else may hold: the reference stays with it.
    (void)element.release();
    return 0;
}

// The size is asked for before every step: a sequence that shrinks meanwhile ends the walk, one that grows goes on.
int fn_clbk_oseq_contains(PyObject* sequence, PyObject* value) {
    PyRef sought = PyRef::steal(value);
    for (Py_ssize_t i = 0; i < PySequence_Size(sequence); ++i) {
        PyRef element = element_at(sequence, i);
        if (!element) {
            return -1;
        }
        if (counts_as_equal(element.get(), value)) {
            return 1;
        }
    }
    return 0;
}

// The size is read once, in contrast to the above.
int fn_clbk_oseq_index_of(PyObject* sequence, PyObject* value) {
    PyRef sought = PyRef::steal(value);
    const Py_ssize_t size = PySequence_Size(sequence);
    for (Py_ssize_t i = 0; i < size; ++i) {
        PyRef element = element_at(sequence, i);
        if (!element) {
            return -2;
        }
        if (counts_as_equal(element.get(), value)) {
            return is_clong_value_out_of_clr_range<IndexSubjTrait, int>(i, PyExc_IndexError) ? -2 : static_cast<int>(i);
        }
    }
    return -1;
}

// Codes of its own: 0 element, 1 end, 2 failure.
int fn_clbk_iter_next(PyObject* iterator, PyObject** owner, VariantArg* out) {
    PyRef element = PyRef::steal(PyIter_Next(iterator));
    if (!element) {
        return PyErr_Occurred() ? 2 : 1;
    }
    if (!zelmor::read_variant_element(element.get(), out)) {
        return 2;
    }
    *owner = element.release();
    return 0;
}
