// Search in a managed collection, and its iteration.
//
// A value that does not convert raises the conversion's error: it does not simply count as absent.
#include "collections/sequence.h"
#include "pyshell/class_recipe.h"
#include "pyshell/result_typing.h"

namespace zelmor {

PyObject* sequence_index(const SequenceAccess& access, PyObject* self, PyObject* args) {
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
    int count = 0;
    return access.count_of(handle_of(self), value, &count) ? PyLong_FromLong(count) : nullptr;
}

PyObject* sequence_contains(const SequenceAccess& access, PyObject* self, PyObject* value) {
    int found = 0;
    return access.contains(handle_of(self), value, &found) ? PyBool_FromLong(found) : nullptr;
}

int sequence_contains_test(const SequenceAccess& access, PyObject* self, PyObject* value) {
    int found = 0;
    return access.contains(handle_of(self), value, &found) ? found != 0 : -1;
}

PyObject* sequence_iterate(int (*get_enumerator)(void*, PyObjectOutArg*), PyObject* self, PyTypeObject* iterator) {
    PyObjectOutArg out = {};
    const int status = get_enumerator(handle_of(self), &out);
    if (status < 0 || PyErr_Occurred()) {
        return nullptr;
    }
    return fn_conv_clr_ifcimpl_to_py_ifcimpl(out, iterator);
}

PyObject* sequence_no_next(int status) {
    if (status == 1 && !PyErr_Occurred()) {
        PyErr_SetNone(PyExc_StopIteration);
    }
    return nullptr;
}

}  // namespace zelmor
