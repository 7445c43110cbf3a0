// The steps of a module's start. The managed runtime works before the first Python type of the module exists.
//
// All modules are released together: they bear the version of the product, and serve clients of the same age.
#include "pyshell/module_start.h"

#include <cassert>

#include "generated/product_version.h"
#include "pyshell/errors.h"
#include "pyshell/identifiers.h"
#include "pyshell/module_version.h"
#include "pyshell/modules.h"
#include "pyshell/py_ref.h"

namespace zelmor {
namespace {

// What every module tells the host.
constexpr const char* kRuntimeVersion = "3.1";
constexpr const char* kSuffix = "zelmor";

// Adds a version object that was just made; -1 if it is null or cannot be added.
int add_version(PyObject* module, const char* name, PyRef version) {
    return version ? PyModule_AddObjectRef(module, name, version.get()) : -1;
}

PyRef product_version() {
    return PyRef::steal(
        PyShVersionAttr_Create(kProductMajor, kProductMinor, kProductPatch, kProductSub, kProductVersion));
}

// A client that was generated against this version or a later one is still served.
PyRef threshold_version() {
    return PyRef::steal(PyShVersionAttr_Create(22, 6, 0, 0, "22.6.0.0"));
}

int start_runtime(const ModuleFacts& facts) {
    if (facts.start_runtime == nullptr) {
        return 0;
    }
    assert(facts.assembly != nullptr && facts.product != nullptr);
    return facts.start_runtime(kRuntimeVersion, facts.assembly, false, kSuffix, facts.product);
}

// The code of the step that failed, or 0 with the module.
int run_steps(const ModuleFacts& facts, PyRef& module) {
    fn_intern_identifiers();
    if (facts.import_siblings != nullptr && facts.import_siblings(facts.name) < 0) {
        return kSiblingImportFailed;
    }
    if (facts.import_cast_result != nullptr && facts.import_cast_result(facts.name) < 0) {
        return kCastResultImportFailed;
    }
    if (start_runtime(facts) < 0) {
        return kRuntimeNotStarted;
    }
    module = PyRef::steal(facts.build());
    if (!module || (facts.complete != nullptr && facts.complete(module.get()) < 0)) {
        return kNamespacesFailed;
    }
    if (facts.add_wrappers != nullptr && !PyRef::steal(facts.add_wrappers(module.get()))) {
        return kCommonWrappersFailed;
    }
    if (PyShModule_AddType(module.get(), &wrpPye_tyds_FFFFFFFF_ModuleVersion, "_ModuleVersionType") < 0) {
        return kVersionTypeNotAdded;
    }
    if (add_version(module.get(), "VERSION", product_version()) < 0) {
        return kVersionNotAdded;
    }
    if (add_version(module.get(), "_BACKWARD_COMPATIBILITY_THRESHOLD", threshold_version()) < 0) {
        return kThresholdNotAdded;
    }
    return 0;
}

}  // namespace

PyObject* start_module(const ModuleFacts& facts) {
    assert(PyGILState_Check() && PyErr_Occurred() == nullptr);
    assert(facts.name != nullptr && facts.build != nullptr);
    PyRef module;
    const int failed = run_steps(facts, module);
    if (failed != 0) {
        // Dropped before the report, so that nothing runs with the report pending.
        module = PyRef();
        PyShlErr_ModulePyInitError(facts.name, failed);
        return nullptr;
    }
    return module.release();
}

}  // namespace zelmor
