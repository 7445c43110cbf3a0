// Cold paths of the class recipe.
#include "pyshell/class_recipe.h"

#include "pyshell/errors.h"

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

int refuse_delete(const char* property) {
    PyErr_Format(PyExc_AttributeError, "can't delete attribute '%s'", property);
    return -1;
}

}  // namespace zelmor
