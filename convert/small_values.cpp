// Guid, System.Version, Nullable<T> and by-reference parameters, with their callbacks.
#include "convert/small_values.h"

#include <cassert>
#include <cstring>

#include "pyshell/identifiers.h"
#include "pyshell/imports.h"
#include "pyshell/py_ref.h"
#include "pyshell/refusals.h"

using zelmor::PyRef;

namespace {

constexpr Py_ssize_t kGuidSize = 16;
constexpr Py_ssize_t kMinVersionParts = 2;
constexpr Py_ssize_t kMaxVersionParts = 4;

int refuse_by_ref(PyObject* object) {
    PyErr_Format(PyExc_TypeError, "argument should be empty list or list contains default value, not '%.200s'",
                 Py_TYPE(object)->tp_name);
    return 0;
}

// One component of a version, 0 or above.
bool read_version_part(PyObject* element, int32_t& part) {
    if (!PyLong_Check(element)) {
        PyErr_Format(PyExc_ValueError, "an element of a version number tuple must be integer, not %.200s",
                     Py_TYPE(element)->tp_name);
        return false;
    }
    const long value = PyLong_AsLong(element);
    if (value == -1 && PyErr_Occurred() != nullptr) {
        return false;
    }
    if (value < 0) {
        PyErr_Format(PyExc_ValueError, "an element of a version number tuple must be greater or equal zero, not %zd",
                     static_cast<Py_ssize_t>(value));
        return false;
    }
    part = static_cast<int32_t>(value);
    return true;
}

}  // namespace

int fn_conv_py_uuid_to_clr_guid(PyObject* object, unsigned char* guid) {
    assert(object != nullptr && guid != nullptr);
    PyRef type = PyRef::steal(PyShImport_ImportType("uuid", PyWrpIdTypeName_Uuid));
    if (!type) {
        return 0;
    }
    const int match = PyObject_IsInstance(object, type.get());
    if (match < 0) {
        return 0;
    }
    if (match == 0) {
        return zelmor::refuse_kind("Guid", object);
    }
    return fn_conv_py_uuid_to_clr_guid_value(object, guid);
}

int fn_conv_py_uuid_to_clr_guid_value(PyObject* object, unsigned char* guid) {
    assert(object != nullptr && guid != nullptr);
    PyRef bytes = PyRef::steal(PyObject_GetAttr(object, PyWrpIdUuid_BytesLe));
    char* data = nullptr;
    Py_ssize_t size = 0;
    if (!bytes || PyBytes_AsStringAndSize(bytes.get(), &data, &size) != 0) {
        return 0;
    }
    if (size < kGuidSize) {
        // A subclass can override the attribute. A real UUID has 16 bytes; of a longer value the first 16 are taken.
        return zelmor::refuse_kind("Guid", object);
    }
    std::memcpy(guid, data, kGuidSize);
    return 1;
}

PyObject* fn_conv_clr_guid_to_py_uuid(const void* guid) {
    assert(guid != nullptr);
    PyRef type = PyRef::steal(PyShImport_ImportType("uuid", PyWrpIdTypeName_Uuid));
    if (!type) {
        return nullptr;
    }
    PyRef bytes = PyRef::steal(PyBytes_FromStringAndSize(static_cast<const char*>(guid), kGuidSize));
    PyRef args = PyRef::steal(PyTuple_New(0));
    PyRef kwargs = PyRef::steal(PyDict_New());
    if (!bytes || !args || !kwargs || PyDict_SetItem(kwargs.get(), PyWrpIdUuid_BytesLe, bytes.get()) != 0) {
        return nullptr;
    }
    return PyObject_Call(type.get(), args.get(), kwargs.get());
}

int fn_conv_py_tuple_to_clr_version(PyObject* object, PySysVersionArg* out) {
    assert(object != nullptr && out != nullptr);
    if (object == Py_None) {
        out->count = -1;
        return 1;
    }
    if (!PyTuple_Check(object)) {
        PyErr_Format(PyExc_TypeError, "a tuple or None is required, not '%.200s'", Py_TYPE(object)->tp_name);
        return 0;
    }
    const Py_ssize_t size = PyTuple_GET_SIZE(object);
    if (size < kMinVersionParts || size > kMaxVersionParts) {
        PyErr_Format(PyExc_ValueError,
                     "a version number tuple must contains at least 2 and at most %zd elements (%zd given)",
                     kMaxVersionParts, size);
        return 0;
    }
    out->count = static_cast<int32_t>(size);
    for (Py_ssize_t i = 0; i < size; ++i) {
        if (!read_version_part(PyTuple_GET_ITEM(object, i), out->components[i])) {
            return 0;
        }
    }
    return 1;
}

PyObject* fn_conv_clr_version_to_py_tuple(const PySysVersionArg& version) {
    if (version.count == -1) {
        return fn_py_return_none();
    }
    PyRef tuple = PyRef::steal(PyTuple_New(version.count));
    if (!tuple) {
        return nullptr;
    }
    for (int32_t i = 0; i < version.count; ++i) {
        PyObject* part = PyLong_FromLong(version.components[i]);
        if (part == nullptr) {
            return nullptr;
        }
        PyTuple_SET_ITEM(tuple.get(), i, part);
    }
    return tuple.release();
}

int fn_conv_py_nullable_to_clr_nullable(PyObject* object, PyNullableArg* out) {
    assert(object != nullptr && out != nullptr);
    assert(out->converter != nullptr && out->target != nullptr);
    if (object == Py_None) {
        return 1;
    }
    if (out->converter(object, out->target) != 1) {
        return 0;
    }
    out->has_value = 1;
    return 1;
}

int fn_conv_py_parbyref_to_clr_parbyref(PyObject* object, PyParamByRef* out) {
    assert(object != nullptr && out != nullptr);
    assert(out->converter != nullptr && out->target != nullptr);
    if (!PyList_CheckExact(object)) {
        return refuse_by_ref(object);
    }
    out->list = object;
    if (PyList_GET_SIZE(object) == 0) {
        return 1;
    }
    // The converter may run Python code that empties the list.
    PyRef item = PyRef::steal(PySequence_GetItem(object, 0));
    if (!item) {
        return refuse_by_ref(object);
    }
    if (item.get() == Py_None) {
        return 1;
    }
    return out->converter(item.get(), out->target) == 1 ? 1 : 0;
}

int fn_push_parbyref_outvalue(PyObject* list, PyObject* value) {
    assert(PyList_Check(list) && value != nullptr);
    if (PyList_GET_SIZE(list) > 0) {
        return PyList_SetItem(list, 0, value);
    }
    const int result = PyList_Append(list, value);
    Py_DECREF(value);
    return result;
}

PyObject* fn_py_return_none() {
    return Py_NewRef(Py_None);
}

// Callbacks.

int fn_read_py_guid(PyObject* object, unsigned char* out) {
    return fn_conv_py_uuid_to_clr_guid_value(object, out);
}
PyObject* fn_write_py_guid(const void* guid) {
    return fn_conv_clr_guid_to_py_uuid(guid);
}

PyObject* fn_get_py_none() {
    return fn_py_return_none();
}
void fn_xinc_ref(PyObject* object) {
    Py_XINCREF(object);
}
void fn_xdec_ref(PyObject* object) {
    Py_XDECREF(object);
}
