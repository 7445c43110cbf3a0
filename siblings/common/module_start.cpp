// The steps of a sibling's start-up. All siblings are released together and bear one version.
#include "siblings/common/module_start.h"

#include "pyshell/errors.h"
#include "pyshell/identifiers.h"
#include "pyshell/module_version.h"
#include "pyshell/modules.h"
#include "pyshell/py_ref.h"

namespace zelmor::siblings {
namespace {

// Adds what `made` holds, taking it over; -1 if it is null or cannot be added.
int add_version(PyObject* module, const char* name, PyObject* made) {
    PyRef version = PyRef::steal(made);
    return version ? PyModule_AddObjectRef(module, name, version.get()) : -1;
}

// The code of the step that failed, or 0.
int run_steps(const SiblingModule& sibling, PyRef& module) {
    fn_intern_identifiers();
    if (sibling.import_siblings != nullptr && sibling.import_siblings(sibling.name) < 0) {
        return kSiblingImportFailed;
    }
    if (sibling.import_cast_result != nullptr && sibling.import_cast_result(sibling.name) < 0) {
        return kCastResultImportFailed;
    }
    if (sibling.start_runtime != nullptr && sibling.start_runtime() < 0) {
        return kRuntimeNotStarted;
    }
    module = PyRef::steal(sibling.build());
    if (!module || sibling.complete(module.get()) < 0) {
        return kNamespacesFailed;
    }
    if (PyShModule_AddType(module.get(), &wrpPye_tyds_FFFFFFFF_ModuleVersion, "_ModuleVersionType") < 0) {
        return kVersionTypeNotAdded;
    }
    if (add_version(module.get(), "VERSION", PyShVersionAttr_Create(23, 6, 0, 0, "23.6.0.0")) < 0) {
        return kVersionNotAdded;
    }
    if (add_version(module.get(), "_BACKWARD_COMPATIBILITY_THRESHOLD",
                    PyShVersionAttr_Create(22, 6, 0, 0, "22.6.0.0")) < 0) {
        return kThresholdNotAdded;
    }
    return 0;
}

}  // namespace

PyObject* start_module(const SiblingModule& sibling) {
    PyRef module;
    const int failed = run_steps(sibling, module);
    if (failed != 0) {
        // Dropped before the report, so that nothing runs with the report pending.
        module = PyRef();
        PyShlErr_ModulePyInitError(sibling.name, failed);
        return nullptr;
    }
    return module.release();
}

}  // namespace zelmor::siblings
