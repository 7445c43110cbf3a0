// Taking and putting back a pending Python error.
#include "pyshell/pending_error.h"

#include <cassert>

namespace zelmor {

PendingError PendingError::take() {
    assert(PyGILState_Check());
    PendingError error;
    PyErr_Fetch(&error.m_type, &error.m_value, &error.m_traceback);
    return error;
}

PendingError PendingError::take_normalized() {
    PendingError error = take();
    PyErr_NormalizeException(&error.m_type, &error.m_value, &error.m_traceback);
    return error;
}

void PendingError::restore() {
    assert(PyGILState_Check());
    PyErr_Restore(std::exchange(m_type, nullptr), std::exchange(m_value, nullptr), std::exchange(m_traceback, nullptr));
}

void PendingError::drop() {
    Py_CLEAR(m_type);
    Py_CLEAR(m_value);
    Py_CLEAR(m_traceback);
}

PyRef PendingError::take_value() {
    PyRef value = PyRef::steal(std::exchange(m_value, nullptr));
    drop();
    return value;
}

}  // namespace zelmor
