// How the arguments of a call become C++ values: one converter for each parameter, by position or keyword.
//
// The rules are those of PyArg_ParseTupleAndKeywords for the format "O&O&...", its messages and the order of its side
// effects included. That function still parses whatever has keywords. A positional call, by far the most frequent, runs
// the converters directly, which takes a third of the time.
#ifndef ZELMOR_PYSHELL_ARGUMENTS_H
#define ZELMOR_PYSHELL_ARGUMENTS_H

#include <cstddef>
#include <type_traits>

#include "pyshell/python.h"

namespace zelmor {

// A converter and the slot that it fills. A converter answers 0, with an exception set, if it refuses the value.
struct Reader {
    int (*convert)(PyObject* value, void* slot);
    void* slot;
};

template <class Slot>
Reader reader(int (*convert)(PyObject*, Slot*), Slot* slot) {
    return {reinterpret_cast<int (*)(PyObject*, void*)>(convert), slot};
}

// For converters that take any slot.
template <class Slot>
    requires(!std::is_void_v<Slot>)
Reader reader(int (*convert)(PyObject*, void*), Slot* slot) {
    return {convert, slot};
}

// The most parameters that a parse can have.
inline constexpr Py_ssize_t kMostParameters = 12;

// Fills the slots of `count` readers from a call's arguments. `names` are the keywords, with a null behind the last;
// they are static data. On failure it answers false with an exception set; earlier slots may be filled by then.
// `kwargs` may be null.
bool parse_arguments(PyObject* args, PyObject* kwargs, const char* const* names, const Reader* readers,
                     Py_ssize_t count);

// The same for one overload of several: the value of the exception goes to `refusal`, which is null after a success,
// and none is set. That of a wrong number of positional arguments is a text that was made once.
bool parse_overload(PyObject* args, PyObject* kwargs, const char* const* names, const Reader* readers, Py_ssize_t count,
                    PyObject** refusal);

template <size_t N>
bool parse_arguments(PyObject* args, PyObject* kwargs, const char* const* names, const Reader (&readers)[N]) {
    static_assert(N <= kMostParameters);
    return parse_arguments(args, kwargs, names, readers, N);
}

template <size_t N>
bool parse_overload(PyObject* args, PyObject* kwargs, const char* const* names, const Reader (&readers)[N],
                    PyObject** refusal) {
    static_assert(N <= kMostParameters);
    return parse_overload(args, kwargs, names, readers, N, refusal);
}

// For calls without parameters.
bool parse_no_arguments(PyObject* args, PyObject* kwargs);
bool parse_no_arguments(PyObject* args, PyObject* kwargs, PyObject** refusal);

}  // namespace zelmor

#endif  // ZELMOR_PYSHELL_ARGUMENTS_H
