// The cast result: true if the cast was made; it unpacks to the pair `ok, value`.
#include "siblings/pygc/cast_result.h"

#include <cassert>
#include <cstddef>

#include "exchange/wire/tags.h"
#include "siblings/common/static_type.h"

namespace {

struct CastResult {
    PyObject ob_base;
    int status;
    PyObject* value;  // never null once built
};

CastResult* as_result(PyObject* self) {
    return reinterpret_cast<CastResult*>(self);
}

bool is_made(const CastResult* result) {
    assert(result != nullptr);
    return result->status != kCastImpossible && result->status != kCastFailed;
}

int result_traverse(PyObject* self, visitproc visit, void* arg) {
    Py_VISIT(as_result(self)->value);
    return 0;
}

int result_clear(PyObject* self) {
    // A cycle is broken by None and not by a null pointer: a finalizer can still read the value.
    PyObject* value = as_result(self)->value;
    as_result(self)->value = Py_NewRef(Py_None);
    Py_XDECREF(value);
    return 0;
}

// A result can hold a result: the trashcan deletes a long chain of them without deep recursion.
void result_dealloc(PyObject* self) {
    PyObject_GC_UnTrack(self);
    Py_TRASHCAN_BEGIN(self, result_dealloc) Py_CLEAR(as_result(self)->value);
    Py_TYPE(self)->tp_free(self);
    Py_TRASHCAN_END
}

PyObject* result_repr(PyObject* self) {
    const int depth = Py_ReprEnter(self);
    if (depth != 0) {
        return depth > 0 ? PyUnicode_FromString("CastResult(...)") : nullptr;
    }
    const CastResult* result = as_result(self);
    PyObject* text = PyUnicode_FromFormat("CastResult(status=%d, value=%R)", result->status, result->value);
    Py_ReprLeave(self);
    return text;
}

Py_hash_t result_hash(PyObject* self) {
    const CastResult* result = as_result(self);
    PyObject* pair = Py_BuildValue("(iO)", result->status, result->value);
    if (pair == nullptr) {
        return -1;
    }
    const Py_hash_t hash = PyObject_Hash(pair);
    Py_DECREF(pair);
    return hash;
}

PyObject* result_richcompare(PyObject* self, PyObject* other, int op) {
    if ((op != Py_EQ && op != Py_NE) || !Py_IS_TYPE(other, &zelmor::siblings::cast_result_type)) {
        Py_RETURN_NOTIMPLEMENTED;
    }
    const CastResult* left = as_result(self);
    const CastResult* right = as_result(other);
    if (left->status != right->status) {
        return PyBool_FromLong(op == Py_NE ? 1 : 0);
    }
    const int equal = PyObject_RichCompareBool(left->value, right->value, Py_EQ);
    if (equal < 0) {
        return nullptr;
    }
    return PyBool_FromLong((equal != 0) == (op == Py_EQ) ? 1 : 0);
}

int result_bool(PyObject* self) {
    return is_made(as_result(self)) ? 1 : 0;
}

Py_ssize_t result_length(PyObject*) {
    return 2;
}

// The pair `ok, value`. The interpreter unpacks it with its sequence iterator.
PyObject* result_item(PyObject* self, Py_ssize_t index) {
    switch (index) {
        case 0:
            return PyBool_FromLong(is_made(as_result(self)) ? 1 : 0);
        case 1:
            return Py_NewRef(as_result(self)->value);
        default:
            PyErr_SetString(PyExc_IndexError, "cast result index out of range");
            return nullptr;
    }
}

PyObject* get_status(PyObject* self, void*) {
    return PyLong_FromLong(as_result(self)->status);
}

PyObject* get_value(PyObject* self, void*) {
    return Py_NewRef(as_result(self)->value);
}

constinit PyNumberMethods result_as_number = [] {
    PyNumberMethods methods{};
    methods.nb_bool = result_bool;
    return methods;
}();

constinit PySequenceMethods result_as_sequence = [] {
    PySequenceMethods methods{};
    methods.sq_length = result_length;
    methods.sq_item = result_item;
    return methods;
}();

PyGetSetDef result_getset[] = {
    {"status", get_status, nullptr,
     PyDoc_STR("0 if there is no such cast, -1 if the attempt failed, any other value if the cast was made."), nullptr},
    {"value", get_value, nullptr, PyDoc_STR("The converted object, or None."), nullptr},
    {nullptr, nullptr, nullptr, nullptr, nullptr},
};

}  // namespace

constinit PyTypeObject zelmor::siblings::cast_result_type = [] {
    PyTypeObject type = static_type("zelmor.pygc.CastResult", sizeof(CastResult),
                                    Py_TPFLAGS_HAVE_GC | Py_TPFLAGS_DISALLOW_INSTANTIATION);
    type.tp_dealloc = result_dealloc;
    type.tp_repr = result_repr;
    type.tp_as_number = &result_as_number;
    type.tp_as_sequence = &result_as_sequence;
    type.tp_hash = result_hash;
    type.tp_doc = PyDoc_STR("The outcome of a cast: true if it was made, the pair (ok, value) when it is unpacked.");
    type.tp_traverse = result_traverse;
    type.tp_clear = result_clear;
    type.tp_richcompare = result_richcompare;
    type.tp_getset = result_getset;
    return type;
}();

PyObject* zelmor::siblings::cast_result_new(int status, PyObject* value) {
    assert(PyGILState_Check());
    CastResult* result = PyObject_GC_New(CastResult, &cast_result_type);
    if (result == nullptr) {
        return nullptr;
    }
    result->status = status;
    result->value = Py_NewRef(value != nullptr ? value : Py_None);
    PyObject* self = reinterpret_cast<PyObject*>(result);
    PyObject_GC_Track(self);
    return self;
}
