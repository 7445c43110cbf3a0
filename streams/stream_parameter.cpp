// The converter of stream parameters: a managed stream is passed as its handle, a Python file as a reference, which the
// managed side uses through the stream callbacks.
//
// Text files are not taken, and neither is an object that merely has a `read` method.
#include <cassert>

#include "collections/hosts.h"
#include "collections/interop.h"
#include "exchange/wire/tags.h"
#include "pyshell/class_recipe.h"
#include "pyshell/identifiers.h"
#include "pyshell/imports.h"
#include "pyshell/py_ref.h"
#include "pyshell/refusals.h"

using zelmor::PyRef;

namespace {

// Whether `object` is an instance of a file class: 1, 0, or -1 with a Python error set.
int is_file(PyObject* object, const char* module, PyObject* class_name) {
    assert(object != nullptr && module != nullptr && class_name != nullptr);
    PyRef type = PyRef::steal(PyShImport_ImportType(module, class_name));
    return type ? PyObject_IsInstance(object, type.get()) : -1;
}

int convert_file(PyObject* object, VariantArg* out) {
    const struct {
        const char* module;
        PyObject* class_name;
    } classes[] = {
        {"io", PyWrpIdTypeName_RawIOBase},
        {"io", PyWrpIdTypeName_BufferedIOBase},
        {"zelmor.pycore", PyWrpIdTypeName_BytesAsStream},
    };
    for (const auto& candidate : classes) {
        const int match = is_file(object, candidate.module, candidate.class_name);
        if (match < 0) {
            return 0;
        }
        if (match > 0) {
            *out = {kHandlePyObject, object};
            return 1;
        }
    }
    return zelmor::refuse_kind("Stream", object);
}

}  // namespace

int wrpPye_conv_py_to_clr_stream(PyObject* object, VariantArg* out) {
    assert(object != nullptr && out != nullptr);
    if (object == Py_None) {
        *out = {kHandleObject, nullptr};
        return 1;
    }
    if (PyObject_TypeCheck(object, &wrpPye_tyds_FFFFFFFF_StreamWrapper)) {
        *out = {kHandleObject, zelmor::handle_of(object)};
        return 1;
    }
    void* handle = nullptr;
    if (!fn_conv_py_obj_to_clr_refobj_not_null_handle(object, &handle)) {
        return convert_file(object, out);
    }
    if (wrpPye_uafn_stream_invalidate() != 0) {
        return 0;
    }
    const bool assignable = PyHost_ph_Stream::get_instance().casts().is_assignable(handle) != 0;
    if (PyErr_Occurred() != nullptr) {
        return 0;
    }
    if (!assignable) {
        return zelmor::refuse_kind("Stream", object);
    }
    *out = {kHandleObject, handle};
    return 1;
}
