// Refusals of converters.
#include "pyshell/remembered_texts.h"

#include <cassert>

namespace zelmor {
namespace {

struct RefusalKey {
    const char* format;
    const char* target;
    const char* type_name;
    bool operator==(const RefusalKey&) const = default;
};

RememberedTexts<RefusalKey, 256> refusals;

}  // namespace

int refuse_conversion(const char* format, const char* target, PyObject* value) {
    assert(format != nullptr && target != nullptr && value != nullptr);
    const PyTypeObject* type = Py_TYPE(value);
    if (PyType_HasFeature(Py_TYPE(value), Py_TPFLAGS_HEAPTYPE) != 0) {
        // The name of a class can change, and its address can become that of another.
        PyErr_Format(PyExc_TypeError, format, target, type->tp_name);
        return 0;
    }
    PyObject* text =
        refusals.get({format, target, type->tp_name}, hash_of_address(target) * 7 + hash_of_address(type->tp_name),
                     [&] { return PyUnicode_FromFormat(format, target, type->tp_name); });
    if (text != nullptr) {
        PyErr_SetObject(PyExc_TypeError, text);
    }
    return 0;
}

}  // namespace zelmor
