// Entry of "zelmor.pyreflection": System.Object, System.Type and System.Enum, and the capsules through which every
// other module shows them.
#include "exchange/start_up.h"
#include "generated/pyreflection/pyreflection.h"
#include "pyshell/markers.h"
#include "pyshell/module_start.h"
#include "pyshell/sibling_converters.h"
#include "siblings/common/capsule.h"

using zelmor::siblings::ConverterTable;

namespace {

using HandleTable = ConverterTable<ZelmorPyToHandle, ZelmorHandleToPy>;

// Reads any class wrapper, of any module: its handle is that of a managed object. A struct wrapper is refused: its
// handle is of another numbering, which a plain pointer does not show. Casting the struct to Object gives an object
// handle.
int read_any_object(PyObject* value, void** out) {
    return fn_conv_py_obj_to_clr_refobj_not_null_handle(value, out);
}

// Reads any wrapper that holds a managed type. A refusal sets no error, since the caller has its own message for it;
// any other failure keeps its error.
int read_any_type(PyObject* value, void** out) {
    if (!fn_is_refobj_has_host_markattr(value)) {
        return 0;
    }
    if (wrpPy_conv_py_to_clr_C08ECFAB_Type(value, out) == 0) {
        if (PyErr_ExceptionMatches(PyExc_TypeError)) {
            PyErr_Clear();
        }
        return 0;
    }
    return 1;
}

constexpr HandleTable kObjectTable = {wrpPy_conv_py_to_clr_359C4ED8_Object, wrpPy_conv_clr_to_py_359C4ED8_Object,
                                      read_any_object};
constexpr HandleTable kEnumTable = {wrpPy_conv_py_to_clr_738AFABA_Enum, wrpPy_conv_clr_to_py_738AFABA_Enum};
constexpr HandleTable kTypeTable = {wrpPy_conv_py_to_clr_C08ECFAB_Type, wrpPy_conv_clr_to_py_C08ECFAB_Type,
                                    read_any_type};

// The types of this module have casts too: they find the converters where those of the other modules do.
int take_own_converters(const char*) {
    wrpPyl_convcaps_clr_to_py_359C4ED8_Object = kObjectTable.to_python;
    wrpPyl_trancaps_py_to_clr_359C4ED8_Object = kObjectTable.second_reader;
    wrpPyl_convcaps_clr_to_py_738AFABA_Enum = kEnumTable.to_python;
    wrpPyl_convcaps_clr_to_py_C08ECFAB_Type = kTypeTable.to_python;
    wrpPyl_trancaps_py_to_clr_C08ECFAB_Type = kTypeTable.second_reader;
    return 0;
}

int complete(PyObject* module) {
    using zelmor::siblings::add_capsule;
    if (add_capsule(module, "zelmor.pyreflection._C_APIT_Object", kObjectTable) < 0 ||
        add_capsule(module, "zelmor.pyreflection._C_APIT_Enum", kEnumTable) < 0 ||
        add_capsule(module, "zelmor.pyreflection._C_APIT_Type", kTypeTable) < 0) {
        return -1;
    }
    return 0;
}

}  // namespace

PyMODINIT_FUNC PyInit_pyreflection() {
    return zelmor::start_module({
        .name = "zelmor.pyreflection",
        .import_siblings = take_own_converters,
        .import_cast_result = zelmor::import_cast_result,
        .start_runtime = initialize_clr_host,
        .assembly = "WrpInterop.Zelmor.PyReflection",
        .product = "pyreflection",
        .build = wrpPy_mlit_CEE114BD_pyreflection,
        .complete = complete,
    });
}
