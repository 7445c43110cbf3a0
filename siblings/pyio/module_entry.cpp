// Entry of "zelmor.pyio": how files are opened.
#include "exchange/start_up.h"
#include "generated/pyio/pyio.h"
#include "pyshell/module_start.h"
#include "pyshell/sibling_converters.h"
#include "siblings/common/capsule.h"

namespace {

constexpr zelmor::siblings::ConverterTable<int (*)(PyObject*, int*), PyObject* (*)(int)> kFileModeTable = {
    wrpPy_conv_py_to_clr_54938D61_FileMode, wrpPy_conv_clr_to_py_54938D61_FileMode};

int complete(PyObject* module) {
    return zelmor::siblings::add_capsule(module, "zelmor.pyio._C_APIT_FileMode", kFileModeTable);
}

}  // namespace

PyMODINIT_FUNC PyInit_pyio() {
    return zelmor::start_module({
        .name = "zelmor.pyio",
        .import_siblings = zelmor::import_reflection_capsules,
        .import_cast_result = zelmor::import_cast_result,
        .start_runtime = initialize_clr_host,
        .assembly = "WrpInterop.Zelmor.PyIo",
        .product = "pyio",
        .build = wrpPy_mlit_3E6F7283_pyio,
        .complete = complete,
    });
}
