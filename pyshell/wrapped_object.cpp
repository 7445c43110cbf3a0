// The slots that all wrapper types share.
//
// Each comes in two forms that differ only in the service of the managed side which they call: one for object handles,
// one for struct handles.
#include "pyshell/wrapped_object.h"

#include "exchange/exchange_host.h"
#include "exchange/object_host.h"
#include "exchange/wire/tags.h"
#include "pyshell/casts.h"
#include "pyshell/identifiers.h"
#include "pyshell/markers.h"
#include "pyshell/pending_error.h"

namespace {

PyClrObject* as_wrapper(PyObject* object) {
    return reinterpret_cast<PyClrObject*>(object);
}

// `to_string(handle, &text)` answers kToStringDelivered when it delivered.
template <class ToString>
PyObject* managed_text(PyClrObject* self, ToString to_string) {
    // A repr can be wanted while an exception is on its way, by a traceback or a log line.
    zelmor::PendingError pending = zelmor::PendingError::take();

    PyObject* result = nullptr;
    void* text = nullptr;
    if (to_string(self->handle, &text) == kToStringDelivered) {
        result = static_cast<PyObject*>(text);
    }
    if (PyErr_Occurred() != nullptr) {
        Py_CLEAR(result);
    } else if (result == nullptr) {
        result = PyUnicode_FromFormat("<%s object at %p>", Py_TYPE(self)->tp_name, self);
    }

    if (pending) {
        if (PyErr_Occurred() != nullptr) {
            PyErr_WriteUnraisable(PyWrpIdTraceBack_FormatExceptionWarning);
        }
        pending.restore();
    }
    return result;
}

template <class GetHash>
Py_hash_t managed_hash(PyClrObject* self, GetHash get_hash) {
    const int hash = get_hash(self->handle);
    if (PyErr_Occurred() != nullptr) {
        return -1;
    }
    return hash == -1 ? -2 : hash;
}

template <class Equals>
PyObject* compare_managed(PyObject* left, PyObject* right, int operation, Equals equals) {
    if (operation != Py_EQ && operation != Py_NE) {
        Py_RETURN_NOTIMPLEMENTED;
    }
    if (left == right) {
        return PyBool_FromLong(operation == Py_EQ ? 1 : 0);
    }
    VariantArg other = {};
    if (fn_conv_py_obj_to_clr_gen_handle(right, &other) == 0) {
        Py_RETURN_NOTIMPLEMENTED;
    }
    // The managed side answers a byte; the rest of the register is not its own.
    const bool equal = static_cast<unsigned char>(equals(as_wrapper(left)->handle, &other)) != 0;
    if (PyErr_Occurred() != nullptr) {
        return nullptr;
    }
    return PyBool_FromLong(equal == (operation == Py_EQ) ? 1 : 0);
}

template <class GetType>
PyObject* managed_type(PyClrObject* self, GetType get_type) {
    void* type_handle = nullptr;
    get_type(self->handle, &type_handle);
    return zelmor::finish_type_of(type_handle);
}

// A Python class can carry the host marker too, since it is an ordinary attribute there. Only a static record that
// begins as a wrapper does has a handle to read.
bool has_wrapper_layout(PyTypeObject* type) {
    return PyType_HasFeature(type, Py_TPFLAGS_HEAPTYPE) == 0 && type->tp_basicsize >= Py_ssize_t{sizeof(PyClrObject)};
}

}  // namespace

namespace zelmor {

void free_unwrapped_handle(void* handle) {
    ExchangeHost::get_instance().free_instance(handle);
}

}  // namespace zelmor

void wrapClrObject_tp_dealloc(PyClrObject* self) {
    if (self->handle != nullptr) {
        ExchangeHost::get_instance().free_instance(self->handle);
        self->handle = nullptr;
    }
    Py_TYPE(self)->tp_free(self);
}

void wrapClrStruct_tp_dealloc(PyClrObject* self) {
    if (self->handle != nullptr) {
        ExchangeHost::get_instance().free_struct(self->handle);
        self->handle = nullptr;
    }
    Py_TYPE(self)->tp_free(self);
}

PyObject* wrapClrObject_str(PyClrObject* self) {
    return managed_text(
        self, [](void* handle, void** text) { return ObjectHost::get_instance().to_string_of_obj(handle, text); });
}

PyObject* wrapClrStruct_str(PyClrObject* self) {
    return managed_text(
        self, [](void* handle, void** text) { return ObjectHost::get_instance().to_string_of_stc(handle, text); });
}

Py_hash_t wrapClrObject_hash(PyClrObject* self) {
    return managed_hash(self, [](void* handle) { return ObjectHost::get_instance().get_hash_code_of_obj(handle); });
}

Py_hash_t wrapClrStruct_hash(PyClrObject* self) {
    return managed_hash(self, [](void* handle) { return ObjectHost::get_instance().get_hash_code_of_stc(handle); });
}

PyObject* wrapClrObject_tp_richcompare(PyObject* left, PyObject* right, int operation) {
    return compare_managed(left, right, operation, [](void* handle, VariantArg* other) {
        return ObjectHost::get_instance().equals_of_obj(handle, other);
    });
}

PyObject* wrapClrStruct_tp_richcompare(PyObject* left, PyObject* right, int operation) {
    return compare_managed(left, right, operation, [](void* handle, VariantArg* other) {
        return ObjectHost::get_instance().equals_of_stc(handle, other);
    });
}

PyObject* wrapClrObject_get_type(PyClrObject* self, PyObject*) {
    return managed_type(
        self, [](void* handle, void** type) { return ObjectHost::get_instance().get_obj_type(handle, type); });
}

PyObject* wrapClrStruct_get_type(PyClrObject* self, PyObject*) {
    return managed_type(
        self, [](void* handle, void** type) { return ObjectHost::get_instance().get_stc_type(handle, type); });
}

int wrapClrObject_tp_init_fault(PyObject*, PyObject*, PyObject*) {
    PyErr_SetString(PyExc_TypeError, "type has no available constructor");
    return -1;
}

int fn_conv_py_obj_to_clr_refobj_not_null_handle(PyObject* object, void** out) {
    if (!fn_is_refobj_has_host_markattr(object) || !has_wrapper_layout(Py_TYPE(object))) {
        return 0;
    }
    *out = as_wrapper(object)->handle;
    return 1;
}

int fn_conv_py_obj_to_clr_gen_not_null_handle(PyObject* object, VariantArg* out) {
    int kind = 0;
    if (!fn_is_instance_has_host_markattr(object, &kind) || !has_wrapper_layout(Py_TYPE(object))) {
        return 0;
    }
    out->tag = kind;
    out->value = as_wrapper(object)->handle;
    return 1;
}

int fn_conv_py_obj_to_clr_gen_handle(PyObject* object, VariantArg* out) {
    if (object == Py_None) {
        out->value = nullptr;
        return 1;
    }
    return fn_conv_py_obj_to_clr_gen_not_null_handle(object, out);
}
