// Cold paths of the class recipe.
#include "pyshell/class_recipe.h"

#include <cassert>

#include "pyshell/errors.h"
#include "pyshell/py_ref.h"
#include "pyshell/remembered_texts.h"

namespace zelmor {

PyHostState aggregate_host_state(bool own_is_not_valid, const std::string& own_message,
                                 std::initializer_list<ValidityProbe> referenced) {
    PyHostState state;
    if (own_is_not_valid) {
        state.invalid = true;
        state.message = own_message;
        return state;
    }
    for (const ValidityProbe is_not_valid : referenced) {
        if (is_not_valid(state.message)) {
            state.invalid = true;
            state.referenced_invalid = true;
            break;
        }
    }
    return state;
}

int raise_invalid_state(const PyHostState& state) {
    PyErr_SetString(PyExc_TypeError, state.message.c_str());
    if (state.referenced_invalid) {
        PyShlErr_ChainFormat(PyExc_TypeError, "one or more refereced type is not initialized");
    }
    return 1;
}

int accept_assignable(bool assignable, const char* what, PyObject* value) {
    if (PyErr_Occurred() != nullptr) {
        return 0;
    }
    return assignable ? 1 : refuse_value(what, value);
}

PyObject* construct_by_keyword(PyObject* type, PyObject* const* items, Py_ssize_t count, PyObject* names) {
    assert(PyType_Check(type) && names != nullptr);
    const PyRef args = PyRef::steal(PyTuple_New(count));
    const PyRef kwargs = PyRef::steal(PyDict_New());
    if (!args || !kwargs) {
        return nullptr;
    }
    for (Py_ssize_t i = 0; i < count; ++i) {
        PyTuple_SET_ITEM(args.get(), i, Py_NewRef(items[i]));
    }
    for (Py_ssize_t i = 0; i < PyTuple_GET_SIZE(names); ++i) {
        if (PyDict_SetItem(kwargs.get(), PyTuple_GET_ITEM(names, i), items[count + i]) != 0) {
            return nullptr;
        }
    }
    if (Py_EnterRecursiveCall(" while calling a Python object") != 0) {
        return nullptr;
    }
    auto* record = reinterpret_cast<PyTypeObject*>(type);
    PyObject* self = record->tp_new(record, args.get(), kwargs.get());
    if (self != nullptr && record->tp_init(self, args.get(), kwargs.get()) < 0) {
        Py_CLEAR(self);
    }
    Py_LeaveRecursiveCall();
    return self;
}

int refuse_delete(const char* property) {
    PyErr_Format(PyExc_AttributeError, "can't delete attribute '%s'", property);
    return -1;
}

}  // namespace zelmor
