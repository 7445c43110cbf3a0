// Classification of a Python value that is passed for a managed parameter of type `object`.
//
// A value of several kinds counts as the one that is tested first: `bool` before `int`, DecimalTuple before `tuple`,
// `datetime` before `date`.
#include "convert/variant.h"

#include <cassert>

#include <datetime.h>

#include "convert/scalars.h"
#include "exchange/wire/tags.h"
#include "pyshell/identifiers.h"
#include "pyshell/imports.h"
#include "pyshell/markers.h"
#include "pyshell/py_ref.h"
#include "pyshell/wrapped_object.h"

using zelmor::PyRef;

namespace {

constexpr int kNoMatch = -1;
constexpr int kFailed = -2;

// Whether `object` is an instance of a class of the standard library: 1, 0, or kFailed if the class cannot be imported.
// A failed test counts as a match.
int is_instance_of(PyObject* object, const char* module, PyObject* class_name) {
    PyRef type = PyRef::steal(PyShImport_ImportType(module, class_name));
    if (!type) {
        return kFailed;
    }
    return PyObject_IsInstance(object, type.get()) != 0 ? 1 : 0;
}

int classify_library_value(PyObject* object) {
    struct LibraryClass {
        const char* module;
        PyObject* name;
        int tag;
    };
    const LibraryClass classes[] = {
        {"decimal", PyWrpIdTypeName_DecimalTuple, kVariantDecimalTuple},
        {"decimal", PyWrpIdTypeName_Decimal, kVariantDecimal},
        {"uuid", PyWrpIdTypeName_Uuid, kVariantUuid},
    };
    for (const LibraryClass& candidate : classes) {
        const int match = is_instance_of(object, candidate.module, candidate.name);
        if (match != 0) {
            return match == kFailed ? kFailed : candidate.tag;
        }
    }
    return kNoMatch;
}

int classify_date_value(PyObject* object) {
    PyDateTime_IMPORT;  // on each use, like every import of the standard library here
    if (PyDateTimeAPI == nullptr) {
        return kFailed;
    }
    if (PyDelta_Check(object)) {
        return kVariantTimeDelta;
    }
    if (PyDateTime_Check(object)) {
        return kVariantDateTime;
    }
    if (PyDate_Check(object)) {
        return kVariantDate;
    }
    return PyTime_Check(object) ? kVariantTime : kNoMatch;
}

int classify_text_or_buffer(PyObject* object) {
    if (PyUnicode_Check(object)) {
        return kVariantString;
    }
    // Other exporters, such as arrays, are no buffers here.
    if ((PyBytes_Check(object) || PyByteArray_Check(object) || PyMemoryView_Check(object)) &&
        PyObject_CheckBuffer(object)) {
        return kVariantBuffer;
    }
    return kNoMatch;
}

// Exact types only: a subclass can give its items another meaning.
int classify_sequence(PyObject* object) {
    if (PyList_CheckExact(object)) {
        return kVariantList;
    }
    return PyTuple_CheckExact(object) ? kVariantTuple : kNoMatch;
}

int convert_wrapper(PyObject* object, VariantArg* out) {
    int kind = 0;
    if (fn_is_this_module_clr_instance(object, &kind) || fn_is_instance_has_host_markattr(object, &kind)) {
        void* handle = reinterpret_cast<PyClrObject*>(object)->handle;
        if (handle != nullptr) {
            out->tag = kind + 1;
            out->value = handle;
            return 1;
        }
    }
    PyErr_SetString(PyExc_TypeError, "unknown variant type");
    return 0;
}

}  // namespace

int fn_conv_py_variant_to_clr_variant(PyObject* object, VariantArg* out) {
    assert(object != nullptr && out != nullptr);
    out->value = object;
    if (object == Py_None) {
        out->tag = kVariantNull;
        return 1;
    }
    if (PyBool_Check(object)) {
        out->tag = kVariantBool;
        return 1;
    }
    if (PyShLong_Check(object) != 0) {
        out->tag = kVariantInt;
        return 1;
    }
    if (PyFloat_Check(object)) {
        out->tag = kVariantFloat;
        return 1;
    }
    for (const auto classify :
         {classify_library_value, classify_date_value, classify_text_or_buffer, classify_sequence}) {
        const int tag = classify(object);
        if (tag == kFailed) {
            return 0;
        }
        if (tag != kNoMatch) {
            out->tag = tag;
            return 1;
        }
    }
    return convert_wrapper(object, out);
}
