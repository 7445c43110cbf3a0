// The error vocabulary of module and type initialization.
#include "pyshell/errors.h"

#include <cassert>
#include <cstdarg>

#include "pyshell/pending_error.h"

using zelmor::PendingError;
using zelmor::PyRef;

namespace {

void chain_format(PyObject* type, const char* format, va_list arguments) {
    assert(type != nullptr && format != nullptr);
    PendingError old = PendingError::take_normalized();
    if (old.traceback() != nullptr) {
        PyException_SetTraceback(old.value(), old.traceback());
    }
    PyRef cause = old.take_value();

    PyErr_FormatV(type, format, arguments);
    if (!cause) {
        return;
    }
    PendingError added = PendingError::take_normalized();
    // Each call takes over one reference.
    PyException_SetCause(added.value(), Py_NewRef(cause.get()));
    PyException_SetContext(added.value(), cause.release());
    added.restore();
}

// Raises ImportError, with the pending error as its cause if there is one.
void report_import_error(const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    if (PyErr_Occurred() != nullptr) {
        chain_format(PyExc_ImportError, format, arguments);
    } else {
        PyErr_FormatV(PyExc_ImportError, format, arguments);
    }
    va_end(arguments);
}

}  // namespace

void PyShlErr_ChainFormat(PyObject* type, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    chain_format(type, format, arguments);
    va_end(arguments);
}

void PyShlErr_ChainOrFormat(PyObject* type, const char* text) {
    // Through "%s", since a text may hold a per cent sign.
    if (PyErr_Occurred() != nullptr) {
        PyShlErr_ChainFormat(type, "%s", text);
    } else {
        PyErr_Format(type, "%s", text);
    }
}

void PyShlErr_ModuleInitializationInternalError(int code) {
    report_import_error("Module initialization internal error (%i)", code);
}

void PyShlErr_ModuleInitializationInternalError(int code, const char* a) {
    report_import_error("Module initialization internal error (%i) <%s>", code, a);
}

void PyShlErr_ModuleInitializationInternalError(int code, const char* a, const char* b) {
    report_import_error("Module initialization internal error (%i) <%s,%s>", code, a, b);
}

void PyShlErr_ModulePyInitError(const char* module, int code) {
    report_import_error("One or more errors occurred while loading the module '%s' (%i)", module, code);
}

void PyShlErr_DependencyImportError(const char* module) {
    report_import_error(
        "Unable to import module dependencies. Cannot import the %s module. The module not found or errors occurred "
        "while initializing it.",
        module);
}

void PyShlErr_UnableToImportModule(const char* module) {
    report_import_error(
        "Unable to import the specified module %s. The module not found or errors occurred while initializing it.",
        module);
}

void PyShlErr_UnableToImportType(PyObject* name, const char* module) {
    report_import_error(
        "Unable to import the specified type %U from the module %s. The type not found or errors occurred while "
        "initializing it.",
        name, module);
}

void PyShlErr_UnableToImportNestedType(const char* outer, PyObject* name) {
    report_import_error("%s does not contain nested type %U", outer, name);
}

void PyShlErr_CapsuleImportError(const char* name) {
    report_import_error("can't import capsule '%s'", name);
}

void PyShlErr_TypeInitializationInternalError(int code, const char* a) {
    report_import_error("Type initialization internal error (%i) <%s>", code, a);
}

void PyShlErr_TypeInitializationInternalError(int code, const char* a, const char* b) {
    report_import_error("Type initialization internal error (%i) <%s,%s>", code, a, b);
}

void PyShlErr_EnumTypeInitialization(const char* message, const char* type) {
    PyErr_SetString(PyExc_TypeError, message);
    PyShlErr_ChainFormat(PyExc_ImportError, "enum type '%s' is not initialized", type);
}
