// The parts of the class recipe that every generated wrapper shares: validity of a type and the slow paths of its
// converters. What differs from type to type is written out by the generator.
#ifndef ZELMOR_PYSHELL_CLASS_RECIPE_H
#define ZELMOR_PYSHELL_CLASS_RECIPE_H

#include <initializer_list>
#include <string>

#include "pyshell/python.h"
#include "pyshell/refusals.h"
#include "pyshell/wrapped_object.h"

// Whether a wrapper type can be used, worked out once per process.
struct PyHostState {
    bool invalid = false;             // the type cannot be used
    bool referenced_invalid = false;  // the reason lies in a type that it refers to
    std::string message;              // the text to raise
};

namespace zelmor {

// Answers another type's question: true if unusable, with the reason in `message`.
using ValidityProbe = bool (*)(std::string& message);

// The state of a type from its own host and, if that is valid, from the types that it refers to, in order.
PyHostState aggregate_host_state(bool own_is_not_valid, const std::string& own_message,
                                 std::initializer_list<ValidityProbe> referenced);

// Raises the reason of an invalid state and returns 1.
int raise_invalid_state(const PyHostState& state);

// The guard at the head of everything that can be reached without an instance: 0 if the type is usable.
inline int guard_type(const PyHostState& state) {
    if (!state.invalid) [[likely]] {
        return 0;
    }
    return raise_invalid_state(state);
}

inline bool report_validity(const PyHostState& state, std::string& message) {
    if (state.invalid) {
        message = state.message;
    }
    return state.invalid;
}

// What a converter answers once the managed side was asked whether `value` can be assigned: 1, or 0 with an error, be
// it the managed side's own or the refusal of `value`.
int accept_assignable(bool assignable, const char* what, PyObject* value);

// A setter's answer to `del`: raises AttributeError and returns -1. No managed property can be taken away.
int refuse_delete(const char* property);

// `tp_new` behind the guard: an empty wrapper. Arguments are the business of `tp_init`.
inline PyObject* make_empty_wrapper(PyTypeObject* type, PyObject* args, PyObject* kwargs) {
    return PyType_GenericNew(type, args, kwargs);  // zeroes the handle
}

// A result that arrives as a ready Python object. A null one without an error is the managed null.
inline PyObject* none_if_null(PyObject* result) {
    return result != nullptr || PyErr_Occurred() != nullptr ? result : Py_NewRef(Py_None);
}

inline void* handle_of(PyObject* wrapper) {
    return reinterpret_cast<PyClrObject*>(wrapper)->handle;
}
inline void set_handle(PyObject* wrapper, void* handle) {
    reinterpret_cast<PyClrObject*>(wrapper)->handle = handle;
}

}  // namespace zelmor

// A function in the form that a table entry wants. Macros, since only a bare cast is a constant: through an inline
// function the tables would be filled by code at load time.
#define ZELMOR_KEYWORD_METHOD(function) reinterpret_cast<PyCFunction>(reinterpret_cast<void (*)()>(function))
#define ZELMOR_SELF_METHOD(function) reinterpret_cast<PyCFunction>(function)

#endif  // ZELMOR_PYSHELL_CLASS_RECIPE_H
