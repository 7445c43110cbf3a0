// What becomes of failed attempts: the exception that is kept of one, and the failure of a dispatch.
#include "pyshell/overload.h"

#include <cassert>

#include "pyshell/pending_error.h"
#include "pyshell/py_ref.h"

namespace zelmor {

namespace {

// The reason as a text, in the reason's place. False with an exception pending that ends the dispatch.
bool show_reason(PyObject*& reason) {
    PyRef shown = PyRef::steal(PyObject_Str(reason));
    if (!shown) {
        // A reason that cannot tell itself, in the words of the interpreter's own tracebacks. What is no Exception (an
        // interrupt) is not about the reason, and neither is exhausted memory.
        if (!PyErr_ExceptionMatches(PyExc_Exception) || PyErr_ExceptionMatches(PyExc_MemoryError)) {
            return false;
        }
        PyErr_Clear();
        shown = PyRef::steal(PyUnicode_FromFormat("<unprintable %s object>", Py_TYPE(reason)->tp_name));
        if (!shown) {
            return false;
        }
    }
    PyObject* told = std::exchange(reason, shown.release());
    Py_DECREF(told);
    return true;
}

// The reasons as a list, which takes them over; null with an exception pending, and the reasons released. The list is
// made last, so that no code ever sees it half filled.
PyRef list_reasons(PyObject** errors, size_t count) {
    for (size_t i = 0; i < count; ++i) {
        if (!show_reason(errors[i])) {
            drop_parse_errors(errors, count);
            return {};
        }
    }
    PyRef list = PyRef::steal(PyList_New(static_cast<Py_ssize_t>(count)));
    if (!list) {
        drop_parse_errors(errors, count);
        return {};
    }
    for (size_t i = 0; i < count; ++i) {
        PyList_SET_ITEM(list.get(), static_cast<Py_ssize_t>(i), errors[i]);
    }
    return list;
}

// The MemoryError that is the reason or stands behind it, or null.
PyRef memory_error_of(PyObject* reason) {
    PyRef error = PyRef::borrow(PyExceptionInstance_Check(reason) ? reason : nullptr);
    while (error && !PyErr_GivenExceptionMatches(error.get(), PyExc_MemoryError)) {
        error = PyRef::steal(PyException_GetCause(error.get()));
    }
    return error;
}

// That of the first attempt that failed for want of memory: a MemoryError has no text of its own.
PyRef find_memory_error(PyObject* const* errors, size_t count) {
    PyRef found;
    for (size_t i = 0; i < count && !found; ++i) {
        found = memory_error_of(errors[i]);
    }
    return found;
}

// Puts `cause` behind the pending exception.
void set_cause(PyRef cause) {
    PendingError error = PendingError::take_normalized();
    PyException_SetCause(error.value(), cause.release());
    error.restore();
}

}  // namespace

void keep_parse_error(PyObject** error_slot) {
    PyObject* type;
    PyObject* value;
    PyObject* traceback;
    PyErr_Fetch(&type, &value, &traceback);
    assert(type != nullptr);
    if (type != PyExc_TypeError && !PyErr_GivenExceptionMatches(type, PyExc_Exception)) {
        PyErr_Restore(type, value, traceback);  // and the slot stays empty: the attempt is the last
        return;
    }
    if (value == nullptr) {
        // Raised by its type alone, as exhausted memory is. An empty slot would stand for an attempt that fits.
        PyErr_NormalizeException(&type, &value, &traceback);
    }
    *error_slot = value;
    Py_DECREF(type);
    Py_XDECREF(traceback);
}

void raise_no_overload(PyObject** errors, size_t count) {
    PyRef memory_error = find_memory_error(errors, count);
    // The value of the exception stays a list: callers read the reason of overload i at args[0][i].
    PyRef reasons = list_reasons(errors, count);
    if (!reasons) {
        return;
    }
    PyErr_SetObject(PyExc_TypeError, reasons.get());
    if (memory_error) {
        set_cause(std::move(memory_error));
    }
}

}  // namespace zelmor
