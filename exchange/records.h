// The scoped holders of boundary records, and the scratch records that stay on this side.
//
// A holder is a local variable of the wrapper that makes the call. It starts empty, a converter fills it, and its
// destructor releases whatever the record borrowed. The records themselves, which the managed side reads, are in
// exchange/wire/records.h.
#ifndef ZELMOR_EXCHANGE_RECORDS_H
#define ZELMOR_EXCHANGE_RECORDS_H

#include <cassert>
#include <cstddef>
#include <cstdint>

#include "exchange/wire/records.h"
#include "pyshell/python.h"

// The shape of an "O&" converter: 1 on success, 0 with a Python error set.
using PyArgConverter = int (*)(PyObject* object, void* target);

namespace zelmor {

// The "O&" form of a converter with a typed target, as the scratch records below hold it.
template <class Target>
inline PyArgConverter as_arg_converter(int (*converter)(PyObject*, Target*)) {
    return reinterpret_cast<PyArgConverter>(reinterpret_cast<void (*)()>(converter));
}

}  // namespace zelmor

// A managed Nullable<T> argument: the thunk passes `has_value` and the value at `target`.
struct PyNullableArg {
    int32_t has_value = 0;
    PyArgConverter converter = nullptr;
    void* target = nullptr;  // a zeroed local of the caller
};
static_assert(sizeof(PyNullableArg) == 24 && offsetof(PyNullableArg, converter) == 8 &&
              offsetof(PyNullableArg, target) == 16);

// A managed `ref` or `out` parameter, which Python spells as a one-slot list.
struct PyParamByRef {
    PyObject* list = nullptr;  // borrowed
    PyArgConverter converter = nullptr;
    void* target = nullptr;  // a zeroed local of the caller
};
static_assert(sizeof(PyParamByRef) == 24 && offsetof(PyParamByRef, converter) == 8 &&
              offsetof(PyParamByRef, target) == 16);

// A buffer argument with the view that keeps the exporter locked for the length of the call.
class PyBytesArgBuilder {
 public:
    PyBytesArgBuilder() = default;
    ~PyBytesArgBuilder() { release(); }
    PyBytesArgBuilder(const PyBytesArgBuilder&) = delete;
    PyBytesArgBuilder& operator=(const PyBytesArgBuilder&) = delete;

    PyBytesArg* get_info() { return &m_info; }
    Py_buffer* get_view() { return &m_view; }

    // Back to the empty state, for a further attempt to parse the arguments.
    void reset() {
        release();
        m_info = {0, -1, nullptr};
    }

 private:
    void release() {
        if (m_info.acquired != 0) {
            PyBuffer_Release(&m_view);
        }
    }

    Py_buffer m_view = {};
    PyBytesArg m_info = {0, -1, nullptr};
};
static_assert(sizeof(Py_buffer) == 80 && sizeof(PyBytesArgBuilder) == 96);

// A path argument with the temporary string that it may point into.
class PyEphStrArgBuilder {
 public:
    PyEphStrArgBuilder() = default;
    ~PyEphStrArgBuilder() { Py_XDECREF(m_info.owner); }
    PyEphStrArgBuilder(const PyEphStrArgBuilder&) = delete;
    PyEphStrArgBuilder& operator=(const PyEphStrArgBuilder&) = delete;

    PyEphStrArg* get_info() { return &m_info; }

    // Back to the empty state, for a further attempt to parse the arguments.
    void reset() {
        PyObject* owner = m_info.owner;
        m_info = {};
        Py_XDECREF(owner);
    }

 private:
    PyEphStrArg m_info = {};
};
static_assert(sizeof(PyEphStrArgBuilder) == 24);

// A converted value with the temporary Python object that it came from.
class PyInterimArgBuilder {
 public:
    PyInterimArgBuilder() = default;
    ~PyInterimArgBuilder() { Py_XDECREF(m_owner); }
    PyInterimArgBuilder(const PyInterimArgBuilder&) = delete;
    PyInterimArgBuilder& operator=(const PyInterimArgBuilder&) = delete;

    void*& value() { return m_value; }
    PyObject*& owner() { return m_owner; }

 private:
    void* m_value = nullptr;
    PyObject* m_owner = nullptr;
};
static_assert(sizeof(PyInterimArgBuilder) == 16);

// The Python objects of a call's out values, until each has been put into its list. All slots are filled first.
// `operator++` marks the next object as handed over, if there is one, and the destructor drops the others.
template <size_t N>
class PyTrPyObjStack {
 public:
    PyTrPyObjStack() = default;
    ~PyTrPyObjStack() {
        for (size_t i = m_handed_over; i < N; ++i) {
            Py_XDECREF(m_slots[i]);
        }
    }
    PyTrPyObjStack(const PyTrPyObjStack&) = delete;
    PyTrPyObjStack& operator=(const PyTrPyObjStack&) = delete;

    PyObject*& operator[](size_t index) {
        assert(index < N);
        return m_slots[index];
    }
    PyTrPyObjStack& operator++() {
        ++m_handed_over;
        return *this;
    }
    PyObject** get_buffer() { return m_slots; }

 private:
    PyObject* m_slots[N] = {};
    size_t m_handed_over = 0;
};
static_assert(sizeof(PyTrPyObjStack<2>) == 24);

#endif  // ZELMOR_EXCHANGE_RECORDS_H
