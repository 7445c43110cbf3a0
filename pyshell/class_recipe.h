// The parts of the class recipe that every generated wrapper shares: validity of a type and the slow paths of its
// converters. What differs from type to type is written out by the generator.
#ifndef ZELMOR_PYSHELL_CLASS_RECIPE_H
#define ZELMOR_PYSHELL_CLASS_RECIPE_H

#include <initializer_list>
#include <string>

#include "pyshell/arguments.h"
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

// Whether the type whose state `State` works out was found usable. Never taken back, since a state never changes.
template <const PyHostState& (*State)()>
inline bool type_is_known_usable = false;  // guarded by the interpreter lock

// The guard of the type whose state `State` works out: one load and one branch, once the type was found usable.
template <const PyHostState& (*State)()>
int guard_type() {
    if (type_is_known_usable<State>) [[likely]] {
        return 0;
    }
    const int refused = guard_type(State());
    type_is_known_usable<State> = refused == 0;
    return refused;
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

// `tp_new` behind the guard: an empty wrapper, with a null handle. Arguments are the business of `tp_init`.
inline PyObject* make_empty_wrapper(PyTypeObject* type) {
    return type->tp_alloc(type, 0);
}

// A result that arrives as a ready Python object. A null one without an error is the managed null.
inline PyObject* none_if_null(PyObject* result) {
    return result != nullptr || PyErr_Occurred() != nullptr ? result : Py_NewRef(Py_None);
}

// A call of a wrapper type whose arguments come as an array: what `type.__call__` does with `tp_new` and `tp_init`,
// with neither a tuple nor a look at the slots. Only the type's own record points here: a class that is derived in
// Python has a record of its own, and `type.__call__` runs its `__new__` and `__init__`.
PyObject* construct_by_keyword(PyObject* type, PyObject* const* items, Py_ssize_t count, PyObject* names);

template <int (*Guard)(), int (*Construct)(PyObject* self, const CallArguments& arguments)>
PyObject* construct_by_vectorcall(PyObject* type, PyObject* const* items, size_t flagged_count, PyObject* names) {
    const Py_ssize_t count = PyVectorcall_NARGS(flagged_count);
    if (names != nullptr && PyTuple_GET_SIZE(names) != 0) [[unlikely]] {
        return construct_by_keyword(type, items, count, names);
    }
    // The interpreter counts a call through `tp_call`, and refuses it in these words.
    if (Py_EnterRecursiveCall(" while calling a Python object") != 0) [[unlikely]] {
        return nullptr;
    }
    PyObject* self = Guard() == 0 ? make_empty_wrapper(reinterpret_cast<PyTypeObject*>(type)) : nullptr;
    if (self != nullptr && Construct(self, CallArguments::by_position(items, count)) < 0) {
        Py_CLEAR(self);
    }
    Py_LeaveRecursiveCall();
    return self;
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
