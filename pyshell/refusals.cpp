// The refusals of converters.
#include "pyshell/refusals.h"

#include <cassert>

#include "pyshell/remembered_texts.h"

namespace zelmor {
namespace {

struct RefusalKey {
    const char* format;
    const char* target;
    const char* type_name;
    bool operator==(const RefusalKey&) const = default;
};

RememberedTexts<RefusalKey, 256> texts;  // guarded by the interpreter lock

// `format` takes the target, then the name of the value's type. Format and target are static data.
int refuse(const char* format, const char* target, PyObject* value) {
    assert(target != nullptr && value != nullptr);
    const PyTypeObject* type = Py_TYPE(value);
    if (PyType_HasFeature(Py_TYPE(value), Py_TPFLAGS_HEAPTYPE) != 0) {
        // The name of a class can change, and its address can become that of another.
        PyErr_Format(PyExc_TypeError, format, target, type->tp_name);
        return 0;
    }
    PyObject* text =
        texts.get({format, target, type->tp_name}, hash_of_address(target) * 7 + hash_of_address(type->tp_name),
                  [&] { return PyUnicode_FromFormat(format, target, type->tp_name); });
    if (text != nullptr) {
        PyErr_SetObject(PyExc_TypeError, text);
    }
    return 0;
}

}  // namespace

int refuse_kind(const char* target, PyObject* value) {
    return refuse("can't build %s from '%s'", target, value);
}

int refuse_number(const char* target, PyObject* value) {
    return refuse("can't build '%s' from '%s'", target, value);
}

int refuse_value(const char* target, PyObject* value) {
    return refuse("can't build %s value from '%s'", target, value);
}

}  // namespace zelmor
