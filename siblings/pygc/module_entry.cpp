// Entry of "zelmor.pygc": the cast result, which all other modules on the bridge make.
#include "exchange/start_up.h"
#include "pyshell/module_start.h"
#include "pyshell/modules.h"
#include "siblings/common/capsule.h"
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

int complete(PyObject* module) {
    if (PyShModule_AddType(module, &zelmor::siblings::cast_result_type, "CastResult") < 0) {
        return -1;
    }
    return zelmor::siblings::add_capsule(module, "zelmor.pygc._C_APIF", static_cast<const void*>(&kFunctions));
}

}  // namespace

PyMODINIT_FUNC PyInit_pygc() {
    return zelmor::start_module({
        .name = kName,
        .start_runtime = initialize_clr_host,
        .assembly = "WrpInterop.Zelmor.PyGc",
        .product = "pygc",
        .build = build,
        .complete = complete,
    });
}
