// A Python error that was taken out of the error indicator, and is owned until it is put back or dropped.
#ifndef ZELMOR_PYSHELL_PENDING_ERROR_H
#define ZELMOR_PYSHELL_PENDING_ERROR_H

#include <utility>

#include "pyshell/py_ref.h"
#include "pyshell/python.h"

namespace zelmor {

class PendingError {
 public:
    // No error.
    PendingError() = default;
    PendingError(PendingError&& other) noexcept
        : m_type(std::exchange(other.m_type, nullptr)),
          m_value(std::exchange(other.m_value, nullptr)),
          m_traceback(std::exchange(other.m_traceback, nullptr)) {}
    PendingError& operator=(PendingError&& other) noexcept {
        std::swap(m_type, other.m_type);
        std::swap(m_value, other.m_value);
        std::swap(m_traceback, other.m_traceback);
        return *this;
    }
    PendingError(const PendingError&) = delete;
    PendingError& operator=(const PendingError&) = delete;
    ~PendingError() { drop(); }

    // Takes the pending error, if there is one: the indicator is clear afterwards.
    static PendingError take();

    // The same, with the value made an instance of the type.
    static PendingError take_normalized();

    // Puts the error back in place of whatever is pending; a holder without an error clears the indicator.
    void restore();

    // Forgets the error.
    void drop();

    // Whether there is an error.
    explicit operator bool() const { return m_type != nullptr; }

    // Borrowed; the last two may be null even where there is an error.
    PyObject* type() const { return m_type; }
    PyObject* value() const { return m_value; }
    PyObject* traceback() const { return m_traceback; }

    // Gives the value away, and forgets the rest.
    PyRef take_value();

 private:
    PyObject* m_type = nullptr;
    PyObject* m_value = nullptr;
    PyObject* m_traceback = nullptr;
};

}  // namespace zelmor

#endif  // ZELMOR_PYSHELL_PENDING_ERROR_H
