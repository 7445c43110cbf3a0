// The typed collections of a module that has none: an empty list of types, and callbacks that refuse.
//
// A module whose catalogue has typed collections defines all of this itself; the linker then does not take this file
// from the library. For that to work, the file holds these definitions and nothing else.
#include "collections/typed_types.h"
#include "exchange/callbacks.h"

namespace {

int refuse() {
    PyErr_SetString(PyExc_TypeError, "this module has no typed collections");
    return -1;
}

int refuse_list(PyObject*, int, void*) {
    return refuse();
}
int refuse_sequence(PyObject*, int, PyObject**, void*) {
    return refuse();
}

int (*const list_callbacks[])(PyObject*, int, void*) = {refuse_list};
int (*const sequence_callbacks[])(PyObject*, int, PyObject**, void*) = {refuse_sequence};

constexpr PyGenericCallbacks refuse_all() {
    PyGenericCallbacks callbacks = {};
    for (size_t i = 0; i < kGenericElementCount; ++i) {
        callbacks.tables[i] = &list_callbacks;
        callbacks.tables[i + kGenericElementCount] = &sequence_callbacks;
    }
    return callbacks;
}

}  // namespace

constinit const PyGenericCallbacks m_all_py_generic_callbacks = refuse_all();

namespace zelmor {

std::span<const TypedType> typed_types() {
    return {};
}

}  // namespace zelmor
