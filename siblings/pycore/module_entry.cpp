// Entry of "zelmor.pycore": the in-memory stream. Nothing managed stands behind this module, so it starts no runtime.
#include "pyshell/modules.h"
#include "siblings/common/module_start.h"
#include "siblings/pycore/bytes_as_stream.h"

namespace {

constexpr const char* kName = "zelmor.pycore";

PyModuleDef definition = {PyModuleDef_HEAD_INIT, kName, nullptr, -1, nullptr, nullptr, nullptr, nullptr, nullptr};

PyObject* build() {
    return zelmor::create_module(&definition);
}

int complete(PyObject* module) {
    if (zelmor::ready_type(&zelmor::siblings::bytes_as_stream_buffer_type) < 0) {
        return -1;
    }
    return PyShModule_AddType(module, &zelmor::siblings::bytes_as_stream_type, "BytesAsStream");
}

}  // namespace

PyMODINIT_FUNC PyInit_pycore() {
    return zelmor::siblings::start_module({
        .name = kName,
        .import_siblings = nullptr,
        .import_cast_result = nullptr,
        .start_runtime = nullptr,
        .build = build,
        .complete = complete,
    });
}
