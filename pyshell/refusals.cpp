// The refusals of converters.
#include "pyshell/refusals.h"

#include <cassert>

namespace zelmor {
namespace {

// `format` takes the target, then the name of the value's type.
int refuse(const char* format, const char* target, PyObject* value) {
    assert(target != nullptr && value != nullptr);
    PyErr_Format(PyExc_TypeError, format, target, Py_TYPE(value)->tp_name);
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
