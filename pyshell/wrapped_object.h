// The wrapper of a managed instance: one Python object, one opaque handle, and the slots that all wrapper types share.
//
// A wrapper owns its handle and gives it back once. No table maps handles to wrappers: each crossing of the same
// managed object makes a new wrapper with a new handle, so that `is` says nothing about managed identity.
#ifndef ZELMOR_PYSHELL_WRAPPED_OBJECT_H
#define ZELMOR_PYSHELL_WRAPPED_OBJECT_H

#include <cstddef>

#include "exchange/wire/records.h"
#include "pyshell/python.h"

// No dictionary, no weak references, no collector support: a temporary costs one small allocation and one release.
struct PyClrObject {
    PyObject ob_base;
    void* handle;  // null while empty: before `tp_init`, and after it failed
};
static_assert(sizeof(PyClrObject) == 24 && offsetof(PyClrObject, handle) == 16);

namespace zelmor {

// Gives back a handle that found no wrapper. The error that is pending stands.
void free_unwrapped_handle(void* handle);

}  // namespace zelmor

// Wraps `handle`, which passes over to the new object, without running `tp_init`. If the type's `tp_new` refuses, the
// handle is given back as an object handle, whatever it is, and null is returned with the error of `tp_new`.
inline PyObject* fn_py_clr_type_generic_new(void* handle, PyTypeObject* type) {
    PyObject* self = type->tp_new(type, nullptr, nullptr);
    if (self == nullptr) [[unlikely]] {
        zelmor::free_unwrapped_handle(handle);
        return nullptr;
    }
    reinterpret_cast<PyClrObject*>(self)->handle = handle;
    return self;
}

void wrapClrObject_tp_dealloc(PyClrObject* self);
void wrapClrStruct_tp_dealloc(PyClrObject* self);

PyObject* wrapClrObject_str(PyClrObject* self);
PyObject* wrapClrStruct_str(PyClrObject* self);

Py_hash_t wrapClrObject_hash(PyClrObject* self);
Py_hash_t wrapClrStruct_hash(PyClrObject* self);

PyObject* wrapClrObject_tp_richcompare(PyObject* left, PyObject* right, int operation);
PyObject* wrapClrStruct_tp_richcompare(PyObject* left, PyObject* right, int operation);

// The method "get_type" (METH_NOARGS): the run-time managed type of the instance.
PyObject* wrapClrObject_get_type(PyClrObject* self, PyObject* ignored);
PyObject* wrapClrStruct_get_type(PyClrObject* self, PyObject* ignored);

// `tp_init` of a type whose managed type has no public constructor.
int wrapClrObject_tp_init_fault(PyObject* self, PyObject* args, PyObject* kwargs);

// The handle readers: 1 and the target filled, or 0 with no error set. "Not null" speaks of None; a wrapper whose
// handle is null passes all three.
//
// Class wrappers only.
int fn_conv_py_obj_to_clr_refobj_not_null_handle(PyObject* object, void** out);
// Class wrappers with tag 0 and struct wrappers with tag 1.
int fn_conv_py_obj_to_clr_gen_not_null_handle(PyObject* object, VariantArg* out);
// The same, and None as a null value; the tag is then not written, so the record has to come zeroed.
int fn_conv_py_obj_to_clr_gen_handle(PyObject* object, VariantArg* out);

#endif  // ZELMOR_PYSHELL_WRAPPED_OBJECT_H
