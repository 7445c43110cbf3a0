// The method object: a method entry with its owner and, once bound, the object that it is called on.
//
// Compiled into each module under that module's name. Nothing readies the type; the interpreter does at the first
// attribute lookup, through `tp_getattro`, and reads the other slots straight from the record until then.
#include <bit>

#include "pyshell/descriptors.h"

namespace {

PyShCMethodObject* as_method(PyObject* object) {
    return reinterpret_cast<PyShCMethodObject*>(object);
}

PyCFunctionWithKeywords with_keywords(PyCFunction function) {
    return reinterpret_cast<PyCFunctionWithKeywords>(reinterpret_cast<void (*)()>(function));
}

PyObject* refuse_count(const PyShCMethodObject* method, const char* format, Py_ssize_t given) {
    return PyErr_Format(PyExc_TypeError, format, method->ml->ml_name, given);
}

constexpr const char* kTakesNone = "%.200s() takes no arguments (%zd given)";
constexpr const char* kTakesOne = "%.200s() takes exactly one argument (%zd given)";

bool refuses_keywords(const PyShCMethodObject* method, PyObject* kwargs) {
    if (kwargs == nullptr || PyDict_GET_SIZE(kwargs) == 0) {
        return false;
    }
    PyErr_Format(PyExc_TypeError, "%.200s() takes no keyword arguments", method->ml->ml_name);
    return true;
}

// The first positional argument as the `self` of an unbound call, borrowed; null with TypeError if it cannot be.
PyObject* take_self(const PyShCMethodObject* method, PyObject* args) {
    if (PyTuple_GET_SIZE(args) < 1) {
        PyErr_Format(PyExc_TypeError, "unbound method %.200s() needs a 'self' argument", method->ml->ml_name);
        return nullptr;
    }
    PyObject* first = PyTuple_GET_ITEM(args, 0);
    if (!PyObject_TypeCheck(first, method->owner)) {
        PyErr_Format(PyExc_TypeError, "descriptor '%s' for '%.100s' objects doesn't apply to a '%.100s' object",
                     method->ml->ml_name, method->owner->tp_name, Py_TYPE(first)->tp_name);
        return nullptr;
    }
    return first;
}

// "Linked": the function receives the stored `self`, which is null for a static method.

PyObject* wrpPye_tpsb_cmethod_tp_call_with_args_linked(PyShCMethodObject* method, PyObject* args, PyObject* kwargs) {
    return with_keywords(method->ml->ml_meth)(method->self, args, kwargs);
}

PyObject* wrpPye_tpsb_cmethod_tp_call_o_arg_linked(PyShCMethodObject* method, PyObject* args, PyObject* kwargs) {
    const Py_ssize_t given = PyTuple_GET_SIZE(args);
    if (given != 1) {
        return refuse_count(method, kTakesOne, given);
    }
    if (refuses_keywords(method, kwargs)) {
        return nullptr;
    }
    return method->ml->ml_meth(method->self, PyTuple_GET_ITEM(args, 0));
}

PyObject* wrpPye_tpsb_cmethod_tp_call_no_args_linked(PyShCMethodObject* method, PyObject* args, PyObject* kwargs) {
    if (args != nullptr && PyTuple_GET_SIZE(args) != 0) {
        return refuse_count(method, kTakesNone, PyTuple_GET_SIZE(args));
    }
    if (refuses_keywords(method, kwargs)) {
        return nullptr;
    }
    return with_keywords(method->ml->ml_meth)(method->self, args, kwargs);
}

// "Unbound": the first positional argument of the call is the `self`.

PyObject* wrpPye_tpsb_cmethod_tp_call_with_args_unbound(PyShCMethodObject* method, PyObject* args, PyObject* kwargs) {
    PyObject* self = take_self(method, args);
    if (self == nullptr) {
        return nullptr;
    }
    // The slice ends one element early on purpose: the last positional argument is left out.
    PyObject* rest = PyTuple_GetSlice(args, 1, PyTuple_GET_SIZE(args) - 1);
    if (rest == nullptr) {
        return nullptr;
    }
    PyObject* result = with_keywords(method->ml->ml_meth)(self, rest, kwargs);
    Py_DECREF(rest);
    return result;
}

PyObject* wrpPye_tpsb_cmethod_tp_call_o_arg_unbound(PyShCMethodObject* method, PyObject* args, PyObject* kwargs) {
    PyObject* self = take_self(method, args);
    if (self == nullptr) {
        return nullptr;
    }
    const Py_ssize_t given = PyTuple_GET_SIZE(args);
    if (given != 2) {
        return refuse_count(method, kTakesOne, given - 1);
    }
    if (refuses_keywords(method, kwargs)) {
        return nullptr;
    }
    return method->ml->ml_meth(self, PyTuple_GET_ITEM(args, 1));
}

PyObject* wrpPye_tpsb_cmethod_tp_call_no_args_unbound(PyShCMethodObject* method, PyObject* args, PyObject* kwargs) {
    PyObject* self = take_self(method, args);
    if (self == nullptr) {
        return nullptr;
    }
    const Py_ssize_t given = PyTuple_GET_SIZE(args);
    if (given != 1) {
        return refuse_count(method, kTakesNone, given - 1);
    }
    if (refuses_keywords(method, kwargs)) {
        return nullptr;
    }
    return with_keywords(method->ml->ml_meth)(self, nullptr, kwargs);
}

PyShCMethodCall choose_call(const PyMethodDef* ml, PyObject* self) {
    const bool linked = self != nullptr || (ml->ml_flags & METH_STATIC) != 0;
    if ((ml->ml_flags & METH_NOARGS) != 0) {
        return linked ? wrpPye_tpsb_cmethod_tp_call_no_args_linked : wrpPye_tpsb_cmethod_tp_call_no_args_unbound;
    }
    if ((ml->ml_flags & METH_O) != 0) {
        return linked ? wrpPye_tpsb_cmethod_tp_call_o_arg_linked : wrpPye_tpsb_cmethod_tp_call_o_arg_unbound;
    }
    return linked ? wrpPye_tpsb_cmethod_tp_call_with_args_linked : wrpPye_tpsb_cmethod_tp_call_with_args_unbound;
}

PyObject* wrpPye_tpsb_cmethod_tp_call(PyObject* self, PyObject* args, PyObject* kwargs) {
    return as_method(self)->call(as_method(self), args, kwargs);
}

void method_dealloc(PyObject* self) {
    PyShCMethodObject* method = as_method(self);
    PyObject_GC_UnTrack(self);
    if (method->weakreflist != nullptr) {
        PyObject_ClearWeakRefs(self);
    }
    Py_DECREF(method->owner);
    Py_XDECREF(method->self);
    PyObject_GC_Del(self);
}

int method_traverse(PyObject* self, visitproc visit, void* arg) {
    Py_VISIT(as_method(self)->owner);
    Py_VISIT(as_method(self)->self);
    return 0;
}

// A static or unbound method has no object to name: it is told by its owner.
PyObject* method_repr(PyObject* self) {
    const PyShCMethodObject* method = as_method(self);
    if (method->self == nullptr) {
        return PyUnicode_FromFormat("<extension method %s of %s>", method->ml->ml_name, method->owner->tp_name);
    }
    return PyUnicode_FromFormat("<extension method %s of %s object at %p>", method->ml->ml_name,
                                Py_TYPE(method->self)->tp_name, method->self);
}

// The low bits of an address say little, so they go to the top.
Py_hash_t hash_word(const void* word) {
    const auto hash = static_cast<Py_hash_t>(std::rotr(reinterpret_cast<size_t>(word), 4));
    return hash == -1 ? -2 : hash;
}

Py_hash_t method_hash(PyObject* self) {
    const PyShCMethodObject* method = as_method(self);
    const Py_hash_t hash = hash_word(method->self) ^ hash_word(reinterpret_cast<const void*>(method->ml->ml_meth));
    return hash == -1 ? -2 : hash;
}

PyObject* method_richcompare(PyObject* left, PyObject* right, int operation) {
    if ((operation != Py_EQ && operation != Py_NE) || !Py_IS_TYPE(left, &wrpPye_tyds_FFFFFFFF_MethodObject) ||
        !Py_IS_TYPE(right, &wrpPye_tyds_FFFFFFFF_MethodObject)) {
        Py_RETURN_NOTIMPLEMENTED;
    }
    const bool equal = as_method(left)->self == as_method(right)->self &&
                       as_method(left)->ml->ml_meth == as_method(right)->ml->ml_meth;
    return PyBool_FromLong(equal == (operation == Py_EQ) ? 1 : 0);
}

PyObject* method_get_doc(PyObject* self, void*) {
    const char* doc = as_method(self)->ml->ml_doc;
    return doc != nullptr && *doc != '\0' ? PyUnicode_FromString(doc) : Py_NewRef(Py_None);
}

PyGetSetDef method_getset[] = {
    {"__doc__", method_get_doc, nullptr, nullptr, nullptr},
    {nullptr, nullptr, nullptr, nullptr, nullptr},
};

constexpr PyTypeObject method_type() {
    PyTypeObject type = {};
    type.ob_base = {PyObject_HEAD_INIT(&PyType_Type) 0};
    type.tp_name = ZELMOR_MODULE_NAME "._MethodObjectType";
    type.tp_basicsize = sizeof(PyShCMethodObject);
    type.tp_dealloc = method_dealloc;
    type.tp_repr = method_repr;
    type.tp_hash = method_hash;
    type.tp_call = wrpPye_tpsb_cmethod_tp_call;
    type.tp_getattro = PyObject_GenericGetAttr;
    type.tp_flags = Py_TPFLAGS_HAVE_GC;
    type.tp_traverse = method_traverse;
    type.tp_richcompare = method_richcompare;
    type.tp_weaklistoffset = offsetof(PyShCMethodObject, weakreflist);
    type.tp_getset = method_getset;
    return type;
}

}  // namespace

constinit PyTypeObject wrpPye_tyds_FFFFFFFF_MethodObject = method_type();

PyObject* PyShCMethod_New(PyTypeObject* owner, PyMethodDef* ml, PyObject* self) {
    PyShCMethodObject* method = PyObject_GC_New(PyShCMethodObject, &wrpPye_tyds_FFFFFFFF_MethodObject);
    if (method == nullptr) {
        return nullptr;
    }
    method->ml = ml;
    method->self = Py_XNewRef(self);
    Py_INCREF(owner);
    method->owner = owner;
    method->weakreflist = nullptr;
    method->call = choose_call(ml, self);
    PyObject_GC_Track(method);
    return reinterpret_cast<PyObject*>(method);
}
