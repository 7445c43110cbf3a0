// Callbacks on any Python sequence and on a Python iterator, with variant elements.
#include <cassert>

#include "collections/element_access.h"
#include "convert/range_tests.h"
#include "exchange/callbacks.h"
#include "pyshell/py_ref.h"

using zelmor::PyRef;

namespace {

PyRef element_at(PyObject* sequence, Py_ssize_t index) {
    PyRef element = PyRef::steal(PySequence_GetItem(sequence, index));
    if (!element && PyErr_Occurred() == nullptr) {
        PyErr_SetString(PyExc_IndexError, "item is null");
    }
    return element;
}

// A comparison that raises counts as equal, with its error pending.
bool counts_as_equal(PyObject* element, PyObject* value) {
    return PyObject_RichCompareBool(element, value, Py_EQ) != 0;
}

}  // namespace

int fn_clbk_oseq_get_item(PyObject* sequence, int index, VariantArg* out) {
    assert(sequence != nullptr && out != nullptr);
    PyRef element = PyRef::steal(PySequence_GetItem(sequence, index));
    if (!element) {
        return zelmor::failed_access();
    }
    if (!zelmor::read_variant_element(element.get(), out)) {
        return -1;
    }
    // The variant borrows the element, and this may be the only reference to it: it is never released.
    (void)element.release();
    return 0;
}

// The size is read before every step: the search ends early if the sequence shrinks, and goes on if it grows.
int fn_clbk_oseq_contains(PyObject* sequence, PyObject* value) {
    assert(sequence != nullptr && value != nullptr);
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

// The size is read once, unlike in the search above.
int fn_clbk_oseq_index_of(PyObject* sequence, PyObject* value) {
    assert(sequence != nullptr && value != nullptr);
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

// The codes differ from those of the others: 0 element, 1 end, 2 failure.
int fn_clbk_iter_next(PyObject* iterator, PyObject** owner, VariantArg* out) {
    assert(PyIter_Check(iterator));
    assert(owner != nullptr && out != nullptr);
    PyRef element = PyRef::steal(PyIter_Next(iterator));
    if (!element) {
        return PyErr_Occurred() != nullptr ? 2 : 1;
    }
    if (!zelmor::read_variant_element(element.get(), out)) {
        return 2;
    }
    *owner = element.release();
    return 0;
}
