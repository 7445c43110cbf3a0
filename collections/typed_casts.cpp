// The cast family of the typed collections.
#include "collections/typed_casts.h"

#include "pyshell/casts.h"
#include "pyshell/result_typing.h"
#include "pyshell/wrapped_object.h"

namespace zelmor {

namespace {

template <class Target>
PyObject* type_of(const Target& of) {
    if (of.guard() != 0) {
        return nullptr;
    }
    void* type_handle = nullptr;
    of.services().type_of(&type_handle);
    return finish_type_of(type_handle);
}

template <class Target>
PyObject* cast_to(const Target& of, PyObject* argument) {
    if (of.guard() != 0) {
        return nullptr;
    }
    VariantArg value = {};
    if (!fn_conv_py_obj_to_clr_gen_handle(argument, &value)) {
        return no_cast();
    }
    void* out = nullptr;
    const int status = of.services().cast_to(&value, &out);
    return finish_cast(status, out, of.type);
}

}  // namespace

PyObject* class_type_of(const TypedClass& of) {
    return type_of(of);
}

PyObject* class_cast_to(const TypedClass& of, PyObject* argument) {
    return cast_to(of, argument);
}

PyObject* class_cast_as(const TypedClass& of, PyObject* argument) {
    if (of.guard() != 0) {
        return nullptr;
    }
    void* handle = nullptr;
    if (!fn_conv_py_obj_to_clr_refobj_not_null_handle(argument, &handle)) {
        return no_cast();
    }
    void* out = nullptr;
    const int status = of.services().cast_as(handle, &out);
    return finish_cast(status, out, of.type);
}

PyObject* class_is_assignable(const TypedClass& of, PyObject* argument) {
    if (of.guard() != 0) {
        return nullptr;
    }
    void* handle = nullptr;
    if (!fn_conv_py_obj_to_clr_refobj_not_null_handle(argument, &handle)) {
        Py_RETURN_FALSE;
    }
    return finish_is_assignable(of.services().is_assignable(handle));
}

PyObject* class_reinterpret_obj(const TypedClass& of, PyObject* argument) {
    void* object = nullptr;
    if (of.guard() != 0 || !read_reinterpreted(argument, &object)) {
        return nullptr;
    }
    void* out = nullptr;
    of.services().reinterpret_obj(object, &out);
    if (PyErr_Occurred()) {
        return nullptr;
    }
    return fn_conv_clr_clsobj_to_py_clsobj(out, of.type);
}

PyObject* interface_type_of(const TypedInterface& of) {
    return type_of(of);
}

PyObject* interface_cast_to(const TypedInterface& of, PyObject* argument) {
    return cast_to(of, argument);
}

PyObject* interface_cast_as(const TypedInterface& of, PyObject* argument) {
    if (of.guard() != 0) {
        return nullptr;
    }
    VariantArg value = {};
    if (!fn_conv_py_obj_to_clr_gen_not_null_handle(argument, &value)) {
        return no_cast();
    }
    void* out = nullptr;
    const int status = of.services().cast_as(&value, &out);
    return finish_cast(status, out, of.type);
}

PyObject* interface_is_assignable(const TypedInterface& of, PyObject* argument) {
    if (of.guard() != 0) {
        return nullptr;
    }
    VariantArg value = {};
    if (!fn_conv_py_obj_to_clr_gen_not_null_handle(argument, &value)) {
        Py_RETURN_FALSE;
    }
    return finish_is_assignable(of.services().is_assignable(&value));
}

PyObject* interface_reinterpret_obj(const TypedInterface& of, PyObject* argument) {
    return refuse_reinterpret(argument, of.type);
}

}  // namespace zelmor
