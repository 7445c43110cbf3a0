// Entry of "zelmor.pygc": the cast result, which all other modules on the bridge make.
#include "exchange/start_up.h"
#include "pyshell/modules.h"
#include "siblings/common/capsule.h"
#include "siblings/common/module_start.h"
#include "siblings/pygc/cast_result.h"

namespace {

constexpr const char* kName = "zelmor.pygc";

PyModuleDef definition = {PyModuleDef_HEAD_INIT, kName, nullptr, -1, nullptr, nullptr, nullptr, nullptr, nullptr};

PyObject* build() {
    return zelmor::create_module(&definition);
}

// Functions of the capsule, by position.
struct FunctionTable {
    PyObject* (*cast_result_new)(int status, PyObject* value);
};
constexpr FunctionTable kFunctions = {zelmor::siblings::cast_result_new};

int start_runtime() {
    return initialize_clr_host("3.1", "WrpInterop.Zelmor.PyGc", false, "zelmor", "pygc");
}

int complete(PyObject* module) {
    if (PyShModule_AddType(module, &zelmor::siblings::cast_result_type, "CastResult") < 0) {
        return -1;
    }
    return zelmor::siblings::add_capsule(module, "zelmor.pygc._C_APIF", static_cast<const void*>(&kFunctions));
}

}  // namespace

PyMODINIT_FUNC PyInit_pygc() {
    return zelmor::siblings::start_module({
        .name = kName,
        .import_siblings = nullptr,
        .import_cast_result = nullptr,
        .start_runtime = start_runtime,
        .build = build,
        .complete = complete,
    });
}
