// Strings and single characters in both directions.
#include "convert/strings.h"

#include <cassert>
#include <cstring>

#include "pyshell/identifiers.h"
#include "pyshell/py_ref.h"
#include "pyshell/refusals.h"

using zelmor::PyRef;

namespace {

bool make_ready(PyObject* text) {
    assert(PyUnicode_Check(text));
    if (PyUnicode_READY(text) == 0) {
        return true;
    }
    PyErr_SetString(PyExc_TypeError, "unicode object is not ready");
    return false;
}

// The error handler has an empty name, which is not that of the default handler: code units that cannot be decoded
// raise Python's own LookupError.
PyObject* decode_utf16(const char* units, Py_ssize_t size) {
    int little_endian = -1;
    return PyUnicode_DecodeUTF16(units, size, "", &little_endian);
}

}  // namespace

namespace zelmor {

PyObject* encode_utf16(PyObject* object) {
    assert(object != nullptr);
    if (!PyUnicode_Check(object)) {
        refuse_kind("Char", object);
        return nullptr;
    }
    if (!make_ready(object)) {
        return nullptr;
    }
    PyRef encoded = PyRef::steal(PyUnicode_AsUTF16String(object));
    if (!encoded) {
        if (PyErr_Occurred() == nullptr) {
            PyErr_SetString(PyExc_TypeError, "cannot convert unicode object to byte string");
        }
        return nullptr;
    }
    if (!PyBytes_Check(encoded.get())) {
        PyErr_Format(PyExc_TypeError, "converted string must be bytes-like object, not '%s'",
                     Py_TYPE(encoded.get())->tp_name);
        return nullptr;
    }
    return encoded.release();
}

}  // namespace zelmor

int fn_conv_py_string_to_clr_char(PyObject* object, unsigned short* out) {
    assert(object != nullptr && out != nullptr);
    PyRef encoded = PyRef::steal(zelmor::encode_utf16(object));
    if (!encoded) {
        return 0;
    }
    constexpr Py_ssize_t kOrderMarkSize = 2;
    if (PyBytes_GET_SIZE(encoded.get()) != kOrderMarkSize + Py_ssize_t{sizeof *out}) {
        PyErr_SetString(PyExc_TypeError, "string must contain one UTF-16 code unit");
        return 0;
    }
    std::memcpy(out, PyBytes_AS_STRING(encoded.get()) + kOrderMarkSize, sizeof *out);
    return 1;
}

PyObject* fn_conv_clr_char_to_py_string(unsigned short unit) {
    return decode_utf16(reinterpret_cast<const char*>(&unit), sizeof unit);
}

int fn_conv_py_string_to_clr_string(PyObject* object, PyStringArg* out) {
    assert(object != nullptr && out != nullptr);
    if (PyUnicode_Check(object)) [[likely]] {
        return fn_conv_py_string_to_clr_string_value(object, out);
    }
    if (object == Py_None) {
        out->length = -1;
        return 1;
    }
    return zelmor::refuse_kind("String", object);
}

int fn_conv_py_string_to_clr_string_value(PyObject* object, PyStringArg* out) {
    assert(PyUnicode_Check(object) && out != nullptr);
    if (!PyUnicode_IS_READY(object) && !make_ready(object)) {
        return 0;
    }
    const int kind = PyUnicode_KIND(object);
    if (kind != PyUnicode_1BYTE_KIND && kind != PyUnicode_2BYTE_KIND && kind != PyUnicode_4BYTE_KIND) {
        PyErr_Format(PyExc_TypeError, "unknown unicode encoding '%i'", kind);
        return 0;
    }
    out->data = PyUnicode_DATA(object);
    out->length = static_cast<int32_t>(PyUnicode_GET_LENGTH(object));
    out->char_size = kind;
    return 1;
}

int fn_conv_py_strorpath_to_clr_string(PyObject* object, PyEphStrArg* out) {
    assert(object != nullptr && out != nullptr);
    if (object == Py_None) {
        out->owner = nullptr;
        out->text.length = -1;
        return 1;
    }
    if (PyUnicode_Check(object)) {
        out->owner = nullptr;
        return fn_conv_py_string_to_clr_string_value(object, &out->text);
    }
    PyObject* decoded = nullptr;
    if (!PyUnicode_FSDecoder(object, &decoded)) {
        return 0;
    }
    PyRef owner = PyRef::steal(decoded);
    if (!fn_conv_py_string_to_clr_string_value(decoded, &out->text)) {
        return 0;
    }
    out->owner = owner.release();
    return 1;
}

PyObject* fn_conv_clr_string_to_py_string_value(const char* units, long count) {
    return decode_utf16(units, count * Py_ssize_t{sizeof(char16_t)});
}

PyObject* fn_conv_clr_string_to_py_string(const char16_t* units, int count) {
    return fn_conv_clr_string_to_py_string_value(reinterpret_cast<const char*>(units), count);
}

PyObject* fn_conv_clr_string_to_py_unraisable(const char16_t* units, int count) {
    PyObject* text = fn_conv_clr_string_to_py_string(units, count);
    if (text == nullptr && PyErr_Occurred() != nullptr) {
        PyErr_WriteUnraisable(PyWrpIdTraceBack_FormatExceptionWarning);
    }
    return text;
}

// Callbacks.

int fn_read_py_string(PyObject* object, PyStringArg* out) {
    return fn_conv_py_string_to_clr_string_value(object, out);
}

PyObject* fn_write_py_char(int unit) {
    return fn_conv_clr_char_to_py_string(static_cast<unsigned short>(unit));
}

int fn_clbk_ucol_get_unicode_bytes(PyObject* object, PyObject** owner, unsigned int* length, void** data) {
    assert(owner != nullptr && length != nullptr && data != nullptr);
    PyRef encoded = PyRef::steal(zelmor::encode_utf16(object));
    if (!encoded) {
        return 0;
    }
    // The length counts all units behind the byte order mark, while the data starts one unit later. The managed side
    // expects this combination.
    *length = static_cast<unsigned int>((PyBytes_GET_SIZE(encoded.get()) - 2) / 2);
    *data = PyBytes_AS_STRING(encoded.get()) + 4;
    *owner = encoded.release();
    return 1;
}
