// The entry point of the module: brings up, strictly in order, everything that the rest takes for granted.
//
// The managed runtime works before the first Python type of this module exists. Each failure is reported with the
// code of its step, chained on the reason. A runtime that cannot be started at all ends the process: the host's
// exceptions are not caught here.
#include "collections/interop.h"
#include "exchange/start_up.h"
#include "generated/imaging/imaging.h"
#include "pyshell/collector_pause.h"
#include "pyshell/enum_series.h"
#include "pyshell/errors.h"
#include "pyshell/identifiers.h"
#include "pyshell/module_version.h"
#include "pyshell/modules.h"
#include "pyshell/py_ref.h"
#include "pyshell/sibling_converters.h"

namespace {

constexpr const char* kName = "zelmor.imaging";

PyObject* fail(zelmor::InitCode code) {
    PyShlErr_ModulePyInitError(kName, code);
    return nullptr;
}

// PyModule_AddObject takes the reference over only when it succeeds.
bool add_version(PyObject* module, const char* attribute, zelmor::PyRef version) {
    if (!version || PyModule_AddObject(module, attribute, version.get()) != 0) {
        return false;
    }
    (void)version.release();
    return true;
}

}  // namespace

PyMODINIT_FUNC PyInit_imaging();

PyMODINIT_FUNC PyInit_imaging() {
    const zelmor::CollectorPause pause;
    const zelmor::EnumSeries enumerations;
    fn_intern_identifiers();
    if (wrpPyl_ciap_EA2A999D_imaging() < 0) {
        return fail(zelmor::kSiblingImportFailed);
    }
    if (zelmor::import_cast_result(kName) < 0) {
        return fail(zelmor::kCastResultImportFailed);
    }
    if (initialize_clr_host("3.1", "WrpInterop.Zelmor.Imaging", false, "zelmor", "imaging") < 0) {
        return fail(zelmor::kRuntimeNotStarted);
    }
    zelmor::PyRef module = zelmor::PyRef::steal(wrpPy_mlit_EA2A999D_imaging());
    if (!module) {
        return fail(zelmor::kNamespacesFailed);
    }
    if (!zelmor::PyRef::steal(wrpPye_mlit_FFFFFFFF_common_wrappers(module.get()))) {
        return fail(zelmor::kCommonWrappersFailed);
    }
    if (PyShModule_AddType(module.get(), &wrpPye_tyds_FFFFFFFF_ModuleVersion, "_ModuleVersionType") != 0) {
        return fail(zelmor::kVersionTypeNotAdded);
    }
    if (!add_version(module.get(), "VERSION", zelmor::PyRef::steal(PyShVersionAttr_Create(23, 6, 0, 0, "23.6.0.0")))) {
        return fail(zelmor::kVersionNotAdded);
    }
    if (!add_version(module.get(), "_BACKWARD_COMPATIBILITY_THRESHOLD",
                     zelmor::PyRef::steal(PyShVersionAttr_Create(22, 6, 0, 0, "22.6.0.0")))) {
        return fail(zelmor::kThresholdNotAdded);
    }
    return module.release();
}
