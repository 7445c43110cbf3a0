// Overload dispatch: the overloads of a group are tried one after the other, and the first whose arguments parse is
// the one called. There is no scoring and no look at the argument count beforehand.
#ifndef ZELMOR_PYSHELL_OVERLOAD_H
#define ZELMOR_PYSHELL_OVERLOAD_H

#include <cstddef>

#include "pyshell/arguments.h"
#include "pyshell/python.h"

namespace zelmor {

// One overload of a method group. On a parse failure it moves the exception into `*error_slot` and returns null; on
// success it leaves the slot null and returns the call's result, which may be null with a managed exception pending. A
// parse that ended by what is no `Exception`, such as an interrupt, leaves the slot null too, with that pending: no
// other overload is tried.
using Overload = PyObject* (*)(PyObject* self, PyObject* args, PyObject* kwargs, PyObject** error_slot);

// The same for a constructor, with the status of `tp_init`.
using ConstructorOverload = int (*)(PyObject* self, const CallArguments& arguments, PyObject** error_slot);

// Moves the pending exception of a failed parse into the overload's error slot, usually still as the raw message. What
// is no `Exception` stays pending, and the slot empty.
void keep_parse_error(PyObject** error_slot);

inline void drop_parse_errors(PyObject** errors, size_t count) {
    for (size_t i = 0; i < count; ++i) {
        Py_DECREF(errors[i]);
    }
}

// Raises TypeError whose value is the list of the messages, one per overload in trial order; releases the errors. A
// reason whose text cannot be had reads "<unprintable ValueError object>". If an attempt failed for want of memory, its
// MemoryError is the cause of the TypeError.
void raise_no_overload(PyObject** errors, size_t count);

// Runs `attempt` for one overload after the other until one leaves its error slot empty, and answers what that one
// gave; `failure`, with an exception set, if none did.
template <class Result, class Attempt, class... Overloads>
[[gnu::always_inline]] inline Result dispatch_to(Result failure, Attempt attempt, Overloads... overloads) {
    PyObject* errors[sizeof...(Overloads)];
    Result result = failure;
    size_t tried = 0;
    const auto settles = [&](auto overload) __attribute__((always_inline)) {
        PyObject*& error = errors[tried];
        error = nullptr;
        result = attempt(overload, &error);
        if (error == nullptr) {
            return true;
        }
        ++tried;
        return false;
    };
    if ((settles(overloads) || ...)) {
        drop_parse_errors(errors, tried);
        return result;
    }
    raise_no_overload(errors, tried);
    return failure;
}

template <Overload... Overloads>
PyObject* dispatch(PyObject* self, PyObject* args, PyObject* kwargs) {
    return dispatch_to<PyObject*>(
        nullptr, [=](Overload overload, PyObject** error_slot) { return overload(self, args, kwargs, error_slot); },
        Overloads...);
}

template <ConstructorOverload... Overloads>
int dispatch(PyObject* self, const CallArguments& arguments) {
    return dispatch_to<int>(
        -1, [&](ConstructorOverload overload, PyObject** error_slot) { return overload(self, arguments, error_slot); },
        Overloads...);
}

}  // namespace zelmor

#endif  // ZELMOR_PYSHELL_OVERLOAD_H
