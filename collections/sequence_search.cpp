// Search in a managed collection, and its iteration.
//
// A value that cannot be converted raises the error of the conversion; it is not treated as absent.
#include <cassert>

#include "collections/sequence.h"
#include "pyshell/class_recipe.h"
#include "pyshell/result_typing.h"

namespace zelmor {

PyObject* sequence_index(const SequenceAccess& access, PyObject* self, PyObject* args) {
    assert(access.index_by != nullptr && PyTuple_Check(args));
    int index = 0;
    if (!access.index_by(handle_of(self), args, &index)) {
        return nullptr;
    }
    if (index < 0) {
        PyErr_SetString(PyExc_ValueError, "value is not in list");
        return nullptr;
    }
    return PyLong_FromLong(index);
}

PyObject* sequence_count(const SequenceAccess& access, PyObject* self, PyObject* value) {
    assert(access.count_of != nullptr);
    int count = 0;
    return access.count_of(handle_of(self), value, &count) ? PyLong_FromLong(count) : nullptr;
}

PyObject* sequence_contains(const SequenceAccess& access, PyObject* self, PyObject* value) {
    assert(access.contains != nullptr);
    int found = 0;
    return access.contains(handle_of(self), value, &found) ? PyBool_FromLong(found) : nullptr;
}

int sequence_contains_test(const SequenceAccess& access, PyObject* self, PyObject* value) {
    assert(access.contains != nullptr);
    int found = 0;
    if (!access.contains(handle_of(self), value, &found)) {
        return -1;
    }
    return found != 0 ? 1 : 0;
}

PyObject* sequence_iterate(int (*get_enumerator)(void*, PyObjectOutArg*), PyObject* self, PyTypeObject* iterator) {
    assert(get_enumerator != nullptr && iterator != nullptr);
    PyObjectOutArg out = {};
    const int status = get_enumerator(handle_of(self), &out);
    if (status < 0 || PyErr_Occurred() != nullptr) {
        return nullptr;
    }
    return fn_conv_clr_ifcimpl_to_py_ifcimpl(out, iterator);
}

PyObject* sequence_no_next(int status) {
    if (status == 1 && PyErr_Occurred() == nullptr) {
        PyErr_SetNone(PyExc_StopIteration);
    }
    return nullptr;
}

}  // namespace zelmor
