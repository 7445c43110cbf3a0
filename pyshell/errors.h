// The error vocabulary of module and type initialization.
//
// If an error is pending, it becomes the cause of the report, so that the traceback shows the innermost reason first
// and the place where the import failed last.
#ifndef ZELMOR_PYSHELL_ERRORS_H
#define ZELMOR_PYSHELL_ERRORS_H

#include "pyshell/python.h"

// Raises `type` with the pending exception as its cause and context.
void PyShlErr_ChainFormat(PyObject* type, const char* format, ...);

// Raises `type` with `text`, chained if an exception is pending.
void PyShlErr_ChainOrFormat(PyObject* type, const char* text);

// All of the following raise ImportError. Codes are those of the numbered places of module initialization.
void PyShlErr_ModuleInitializationInternalError(int code);
void PyShlErr_ModuleInitializationInternalError(int code, const char* a);
void PyShlErr_ModuleInitializationInternalError(int code, const char* a, const char* b);
void PyShlErr_ModulePyInitError(const char* module, int code);
void PyShlErr_DependencyImportError(const char* module);
void PyShlErr_UnableToImportModule(const char* module);
void PyShlErr_UnableToImportType(PyObject* name, const char* module);
void PyShlErr_UnableToImportNestedType(const char* outer, PyObject* name);
void PyShlErr_CapsuleImportError(const char* name);
void PyShlErr_TypeInitializationInternalError(int code, const char* a);
void PyShlErr_TypeInitializationInternalError(int code, const char* a, const char* b);

// TypeError with `message`, and on it an ImportError that names the enumeration.
void PyShlErr_EnumTypeInitialization(const char* message, const char* type);

namespace zelmor {

// The places that the codes in the messages stand for.
enum InitCode : int {
    kVersionNotAdded = -1001,
    kChildModuleNotAdded = -1002,
    kModuleNotCreated = -1003,
    kVersionTypeNotAdded = -1004,
    kCommonWrappersFailed = -1005,
    kNamespacesFailed = -1006,
    kRuntimeNotStarted = -1007,
    kCastResultImportFailed = -1008,
    kSiblingImportFailed = -1009,
    kEnumInitFailed = -1013,
    kTypeNotAdded = -1014,
    kTypeNotReady = -1015,
    kHostMarkerNotSet = -1016,
    kAdditionalInterfacesNotSet = -1017,
    kImplicitInterfacesNotSet = -1018,
    kThresholdNotAdded = -1019,
    kStaticMemberNotStored = -1020,
    kCastableMarkerNotSet = -1021,
};

}  // namespace zelmor

#endif  // ZELMOR_PYSHELL_ERRORS_H
