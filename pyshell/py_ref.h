// An owned reference to a Python object that is dropped on every way out of a scope.
//
// Borrowed references are plain pointers; only an owner is a `PyRef`.
#ifndef ZELMOR_PYSHELL_PY_REF_H
#define ZELMOR_PYSHELL_PY_REF_H

#include <utility>

#include "pyshell/python.h"

namespace zelmor {

class PyRef {
 public:
    PyRef() = default;
    PyRef(PyRef&& other) noexcept : m_object(other.release()) {}
    PyRef(const PyRef&) = delete;
    PyRef& operator=(const PyRef&) = delete;
    ~PyRef() { Py_XDECREF(m_object); }

    PyRef& operator=(PyRef&& other) noexcept {
        // The old object goes last: dropping it can run any code, which must see this holder in its new state.
        PyObject* old = std::exchange(m_object, other.release());
        Py_XDECREF(old);
        return *this;
    }

    // Takes over a reference that the caller owns; null gives an empty holder.
    static PyRef steal(PyObject* object) { return PyRef(object); }

    // Takes a reference of its own; null gives an empty holder.
    static PyRef borrow(PyObject* object) { return PyRef(Py_XNewRef(object)); }

    PyObject* get() const { return m_object; }

    // Gives the reference away, to a caller or to a function that steals it.
    [[nodiscard]] PyObject* release() { return std::exchange(m_object, nullptr); }

    explicit operator bool() const { return m_object != nullptr; }

 private:
    explicit PyRef(PyObject* object) : m_object(object) {}

    PyObject* m_object = nullptr;
};

}  // namespace zelmor

#endif  // ZELMOR_PYSHELL_PY_REF_H
