// Entry of "zelmor.pycore": the in-memory stream. The module uses nothing managed, so it starts no runtime.
#include "pyshell/module_start.h"
#include "pyshell/modules.h"
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
    return zelmor::start_module({
        .name = kName,
        .build = build,
        .complete = complete,
    });
}
