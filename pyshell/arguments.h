// How the arguments of a call become C++ values: one converter for each parameter, by position or keyword.
//
// The rules are those of PyArg_ParseTupleAndKeywords for the format "O&O&...", its messages and the order of its side
// effects included. That function still parses whatever has keywords. A positional call, by far the most frequent, runs
// the converters directly, which takes a third of the time.
#ifndef ZELMOR_PYSHELL_ARGUMENTS_H
#define ZELMOR_PYSHELL_ARGUMENTS_H

#include <cassert>
#include <cstddef>
#include <type_traits>
#include <utility>

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

// The arguments of a call, in the form that costs the least.
struct CallArguments {
    PyObject* const* items;  // the positional ones; the caller holds them for as long as the call takes
    Py_ssize_t count;
    PyObject* args;    // where there are keywords: all arguments as the interpreter's parser takes them
    PyObject* kwargs;  // null where there are none

    // Those of a function that gets a tuple, and a dictionary or null.
    static CallArguments of(PyObject* args, PyObject* kwargs) {
        assert(PyTuple_Check(args) && (kwargs == nullptr || PyDict_Check(kwargs)));
        const bool has_keywords = kwargs != nullptr && PyDict_GET_SIZE(kwargs) != 0;
        return {reinterpret_cast<PyTupleObject*>(args)->ob_item, PyTuple_GET_SIZE(args), args,
                has_keywords ? kwargs : nullptr};
    }
    static CallArguments by_position(PyObject* const* items, Py_ssize_t count) {
        return {items, count, nullptr, nullptr};
    }
};

// The most parameters that a parse can have.
inline constexpr Py_ssize_t kMostParameters = 12;

// Fills the slots of `count` readers from a call's arguments. `names` are the keywords, with a null behind the last;
// they are static data. On failure it answers false with an exception set; earlier slots may be filled by then.
bool parse_arguments(const CallArguments& arguments, const char* const* names, const Reader* readers, Py_ssize_t count);

// The same for one overload of several: the value of the exception goes to `refusal`, which is null after a success,
// and none is set. That of a wrong number of positional arguments is a text that was made once.
bool parse_overload(const CallArguments& arguments, const char* const* names, const Reader* readers, Py_ssize_t count,
                    PyObject** refusal);

// The last step of both where the converter at `index` refused: an exception is set, and it is moved to `refusal`.
void complain_about(Py_ssize_t index);
void keep_complaint_about(Py_ssize_t index, PyObject** refusal);

// Runs the converters of a positional call whose count fits, in order, up to the first that refuses. Answers the number
// of those that did not. All converters are known where this is compiled, so that they are called directly.
template <size_t... I>
[[gnu::always_inline]] inline Py_ssize_t convert_in_order(PyObject* const* items, const Reader* readers,
                                                          std::index_sequence<I...>) {
    Py_ssize_t converted = 0;
    (void)((readers[I].convert(items[I], readers[I].slot) != 0 && ++converted != 0) && ...);
    return converted;
}

template <size_t N>
[[gnu::always_inline]] inline bool is_plain_call(const CallArguments& arguments) {
    static_assert(N <= kMostParameters);
    return arguments.kwargs == nullptr && arguments.count == Py_ssize_t{N};
}

// Both for a list of readers that is known where the call is compiled, which takes a short way for plain calls.
template <size_t N>
[[gnu::always_inline]] inline bool parse_arguments(const CallArguments& arguments, const char* const* names,
                                                   const Reader (&readers)[N]) {
    if (!is_plain_call<N>(arguments)) [[unlikely]] {
        return parse_arguments(arguments, names, readers, N);
    }
    const Py_ssize_t converted = convert_in_order(arguments.items, readers, std::make_index_sequence<N>());
    if (converted != Py_ssize_t{N}) [[unlikely]] {
        complain_about(converted);
        return false;
    }
    return true;
}

template <size_t N>
[[gnu::always_inline]] inline bool parse_overload(const CallArguments& arguments, const char* const* names,
                                                  const Reader (&readers)[N], PyObject** refusal) {
    if (!is_plain_call<N>(arguments)) [[unlikely]] {
        return parse_overload(arguments, names, readers, N, refusal);
    }
    const Py_ssize_t converted = convert_in_order(arguments.items, readers, std::make_index_sequence<N>());
    if (converted != Py_ssize_t{N}) [[unlikely]] {
        keep_complaint_about(converted, refusal);
        return false;
    }
    return true;
}

// The same for functions that get a tuple and a dictionary; `kwargs` may be null.
template <size_t N>
[[gnu::always_inline]] inline bool parse_arguments(PyObject* args, PyObject* kwargs, const char* const* names,
                                                   const Reader (&readers)[N]) {
    return parse_arguments(CallArguments::of(args, kwargs), names, readers);
}

template <size_t N>
[[gnu::always_inline]] inline bool parse_overload(PyObject* args, PyObject* kwargs, const char* const* names,
                                                  const Reader (&readers)[N], PyObject** refusal) {
    return parse_overload(CallArguments::of(args, kwargs), names, readers, refusal);
}

// For calls without parameters.
bool parse_no_arguments(const CallArguments& arguments);
bool parse_no_arguments(const CallArguments& arguments, PyObject** refusal);

inline bool parse_no_arguments(PyObject* args, PyObject* kwargs, PyObject** refusal) {
    return parse_no_arguments(CallArguments::of(args, kwargs), refusal);
}

}  // namespace zelmor

#endif  // ZELMOR_PYSHELL_ARGUMENTS_H
