// The bodies of the pending callbacks: each says that it is not available.
#include "exchange/pending_callbacks.h"

#include "pyshell/python.h"

namespace {

void refuse(const char* callback) {
    PyErr_Format(PyExc_NotImplementedError, "the callback %s is not available in this version", callback);
}

}  // namespace

#define ZELMOR_DEFINE_PENDING_ELEMENT(element)                                  \
    int fn_clbk_pylist_##element##_get_item(PyObject*, int, void*) {            \
        refuse("fn_clbk_pylist_" #element "_get_item");                         \
        return -1;                                                              \
    }                                                                           \
    int fn_clbk_pyseq_##element##_get_item(PyObject*, int, PyObject**, void*) { \
        refuse("fn_clbk_pyseq_" #element "_get_item");                          \
        return -1;                                                              \
    }
ZELMOR_PENDING_ELEMENTS(ZELMOR_DEFINE_PENDING_ELEMENT)
#undef ZELMOR_DEFINE_PENDING_ELEMENT
