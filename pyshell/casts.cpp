// The operations of the cast family.
#include "pyshell/casts.h"

#include "pyshell/result_typing.h"
#include "pyshell/wrapped_object.h"

namespace zelmor {

namespace {

// A reader that refuses a value sets no error; one that failed otherwise has.
int refuse_argument(const char* format, PyObject* argument) {
    if (PyErr_Occurred() == nullptr) {
        PyErr_Format(PyExc_TypeError, format, Py_TYPE(argument)->tp_name);
    }
    return 0;
}

}  // namespace

PyObject* finish_type_of(void* type_handle) {
    if (PyErr_Occurred() != nullptr) {
        return nullptr;
    }
    return wrpPyl_convcaps_clr_to_py_C08ECFAB_Type(type_handle);
}

PyObject* finish_cast_with(int status, PyObject* wrapped) {
    if (wrapped == nullptr) {
        return PyErr_Occurred() != nullptr ? nullptr : PyShCastOpResult_New(status, nullptr);
    }
    PyObject* result = PyShCastOpResult_New(status, wrapped);  // does not take over the reference
    Py_DECREF(wrapped);
    return result;
}

PyObject* finish_cast_from(int status, void* out) {
    if (PyErr_Occurred() != nullptr) {
        return nullptr;
    }
    if (status == 0) {
        return no_cast();
    }
    return finish_cast_with(status, wrpPyl_convcaps_clr_to_py_359C4ED8_Object(out));
}

int read_cast_target(PyObject* argument, void** type_handle) {
    if (wrpPyl_trancaps_py_to_clr_C08ECFAB_Type(argument, type_handle)) {
        return 1;
    }
    return refuse_argument("_cast_from() expects a .Net Type argument, got a %.100s object", argument);
}

int read_reinterpreted(PyObject* argument, void** object_handle) {
    if (wrpPyl_trancaps_py_to_clr_359C4ED8_Object(argument, object_handle)) {
        return 1;
    }
    return refuse_argument("_reinterpret_obj() expects a .Net Object argument, got a %.100s object", argument);
}

PyObject* finish_is_assignable(bool assignable) {
    return PyErr_Occurred() != nullptr ? nullptr : PyBool_FromLong(assignable ? 1 : 0);
}

bool CastSource::read(CastArgument kind, PyObject* argument) {
    switch (kind) {
        case CastArgument::kNothing:
            return false;
        case CastArgument::kClass:
            if (fn_conv_py_obj_to_clr_refobj_not_null_handle(argument, &m_handle) == 0) {
                return false;
            }
            m_passed = m_handle;
            return true;
        case CastArgument::kAny:
            m_passed = &m_value;
            return fn_conv_py_obj_to_clr_gen_not_null_handle(argument, &m_value) != 0;
        case CastArgument::kAnyOrNone:
            m_passed = &m_value;
            return fn_conv_py_obj_to_clr_gen_handle(argument, &m_value) != 0;
    }
    return false;
}

PyObject* cast_type_of(const CastFamily& of) {
    if (of.guard() != 0) {
        return nullptr;
    }
    void* type_handle = nullptr;
    of.services().type_of(&type_handle);
    return finish_type_of(type_handle);
}

namespace {

using Cast = int (*)(const void* from, void* out);

PyObject* run_cast(const CastFamily& of, CastArgument kind, Cast CastServices::*service, PyObject* argument) {
    if (of.guard() != 0) {
        return nullptr;
    }
    CastSource source;
    if (!source.read(kind, argument)) {
        return no_cast();
    }
    void* out = nullptr;
    const CastServices services = of.services();
    const int status = (services.*service)(source.passed(), &out);
    if (PyErr_Occurred() != nullptr) {
        return nullptr;
    }
    if (status == 0) {
        return no_cast();
    }
    return finish_cast_with(status, fn_conv_clr_clsobj_to_py_clsobj(out, of.type));
}

}  // namespace

PyObject* cast_to(const CastFamily& of, PyObject* argument) {
    return run_cast(of, of.shape.cast_to, &CastServices::cast_to, argument);
}

PyObject* cast_as(const CastFamily& of, PyObject* argument) {
    return run_cast(of, of.shape.cast_as, &CastServices::cast_as, argument);
}

PyObject* cast_is_assignable(const CastFamily& of, PyObject* argument) {
    if (of.shape.is_assignable == CastArgument::kNothing) {
        Py_RETURN_FALSE;
    }
    if (of.guard() != 0) {
        return nullptr;
    }
    CastSource source;
    if (!source.read(of.shape.is_assignable, argument)) {
        Py_RETURN_FALSE;
    }
    return finish_is_assignable(of.services().is_assignable(source.passed()) != 0);
}

PyObject* cast_reinterpret_obj(const CastFamily& of, PyObject* argument) {
    if (!of.shape.reinterprets) {
        // Two blanks behind "from": the text is part of the interface.
        PyErr_Format(PyExc_TypeError, "cannot convert from  '%.100s' to '%.100s'", Py_TYPE(argument)->tp_name,
                     of.type->tp_name);
        return nullptr;
    }
    void* object = nullptr;
    if (of.guard() != 0 || !read_reinterpreted(argument, &object)) {
        return nullptr;
    }
    void* out = nullptr;
    of.services().reinterpret_obj(object, &out);
    if (PyErr_Occurred() != nullptr) {
        return nullptr;
    }
    return fn_conv_clr_clsobj_to_py_clsobj(out, of.type);
}

PyObject* cast_stub(PyObject*, PyObject*) {
    return no_cast();
}

}  // namespace zelmor
