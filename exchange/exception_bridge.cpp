// Errors on their way across the boundary, as text.
//
// A failure while a Python error is formatted must not hide that error: the failure is reported as unraisable, and the
// error indicator is clear at the end.
#include "exchange/exception_bridge.h"

#include <cassert>

#include "convert/strings.h"
#include "pyshell/identifiers.h"
#include "pyshell/pending_error.h"
#include "pyshell/py_ref.h"
#include "pyshell/python.h"

using zelmor::PendingError;
using zelmor::PyRef;

namespace {

// The text that the interpreter itself would print. Null on failure, in most cases with an error pending.
PyObject* format_by_traceback_module(const PendingError& error) {
    assert(error.type() != nullptr && error.value() != nullptr);
    PyRef module = PyRef::steal(PyImport_ImportModule("traceback"));
    if (!module) {
        if (PyErr_Occurred() == nullptr) {
            PyErr_Format(PyExc_ImportError,
                         "Unable to import the specified module %s. The module not found or errors occurred while "
                         "initializing it.",
                         "traceback");
        }
        return nullptr;
    }
    PyObject* name =
        error.traceback() != nullptr ? PyWrpIdTraceBack_FormatException : PyWrpIdTraceBack_FormatExceptionOnly;
    PyRef format = PyRef::steal(PyObject_GetAttr(module.get(), name));
    if (!format || !PyCallable_Check(format.get())) {
        return nullptr;
    }
    PyRef lines =
        PyRef::steal(PyObject_CallFunctionObjArgs(format.get(), error.type(), error.value(), error.traceback(),
                                                  nullptr));  // a null traceback ends the arguments early
    if (!lines) {
        return nullptr;
    }
    return PyUnicode_Join(PyWrpIdStr_Empty, lines.get());
}

// The qualified name of the exception type, or its text.
PyObject* name_of(PyObject* type) {
    assert(type != nullptr);
    PyRef name = PyRef::steal(PyObject_GetAttr(type, PyWrpIdType_Qualname));
    if (name && PyUnicode_Check(name.get())) {
        return name.release();
    }
    PyErr_Clear();
    return PyObject_Str(type);
}

// The text without the help of the traceback module. Null with an error pending on failure.
PyObject* format_by_hand(const PendingError& error) {
    assert(error.type() != nullptr);
    PyRef name = PyRef::steal(name_of(error.type()));
    if (!name) {
        return nullptr;
    }
    PyRef value_text;
    if (error.value() != nullptr) {
        value_text = PyRef::steal(PyObject_Str(error.value()));
        if (!value_text) {
            return nullptr;
        }
    }
    if (error.traceback() != nullptr) {
        // The text of a traceback says nothing to a reader, so that it only shows where it is missing.
        PyRef traceback_text = PyRef::steal(PyObject_Str(error.traceback()));
        const bool has_text = traceback_text && PyObject_Size(traceback_text.get()) > 0;
        PyErr_Clear();
        if (!has_text) {
            PyObject* shown_value = value_text ? value_text.get() : PyWrpIdStr_Empty;
            PyObject* shown_traceback = traceback_text ? traceback_text.get() : PyWrpIdStr_Empty;
            return PyUnicode_FromFormat("%U: %U\n%U", name.get(), shown_value, shown_traceback);
        }
    }
    if (value_text) {
        return PyUnicode_FromFormat("%U: %U", name.get(), value_text.get());
    }
    return PyUnicode_FromFormat("%U:", name.get());
}

}  // namespace

void on_clr_exception(PyObject* name, PyObject* detail) {
    assert(PyGILState_Check());
    PyErr_Format(PyExc_RuntimeError, "Proxy error(%U): %U", name != nullptr ? name : PyWrpIdTraceBack_Unknown,
                 detail != nullptr ? detail : PyWrpIdTraceBack_Unknown);
    Py_XDECREF(name);
    Py_XDECREF(detail);
}

int fn_catch_and_clear_py_error(void** owner, PyStringArg* text) {
    assert(PyGILState_Check());
    assert(owner != nullptr && text != nullptr);
    if (PyErr_Occurred() == nullptr) {
        return -1;
    }
    PendingError error = PendingError::take_normalized();

    PyRef result;
    PendingError secondary;
    if (error.value() != nullptr) {
        result = PyRef::steal(format_by_traceback_module(error));
        if (!result) {
            secondary = PendingError::take();
        }
    }
    if (!result) {
        result = PyRef::steal(format_by_hand(error));
    }
    error.drop();

    int answer = -1;
    if (result && fn_conv_py_string_to_clr_string_value(result.get(), text) == 1) {
        *owner = result.release();
        answer = 0;
    }
    if (PyErr_Occurred() == nullptr) {
        secondary.restore();
    }
    if (PyErr_Occurred() != nullptr) {
        PyErr_WriteUnraisable(PyWrpIdTraceBack_FormatExceptionWarning);
    }
    return answer;
}
