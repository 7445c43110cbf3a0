// Import of capsules, and the converters that every module on the bridge takes from its siblings. They are filled in
// during the import and only read from then on, by all threads.
#include "pyshell/sibling_converters.h"

#include <cassert>
#include <cstring>

#include "pyshell/errors.h"
#include "pyshell/imports.h"
#include "pyshell/py_ref.h"

using zelmor::CapsuleRow;

// Filled in during the import, as the head of the file says.
ZelmorHandleToPy wrpPyl_convcaps_clr_to_py_359C4ED8_Object = nullptr;
ZelmorPyToHandle wrpPyl_trancaps_py_to_clr_359C4ED8_Object = nullptr;
ZelmorHandleToPy wrpPyl_convcaps_clr_to_py_738AFABA_Enum = nullptr;
ZelmorHandleToPy wrpPyl_convcaps_clr_to_py_C08ECFAB_Type = nullptr;
ZelmorPyToHandle wrpPyl_trancaps_py_to_clr_C08ECFAB_Type = nullptr;

PyObject* (*PyShCastOpResult_New)(int status, PyObject* value) = nullptr;

const int RefVer_pyreflec_C6067AD5[4] = {23, 5, 0, 0};
const int RefVer_pygc_15FC0AB4[4] = {23, 5, 0, 0};

namespace {

const CapsuleRow kReflectionCapsules[] = {
    {"zelmor.pyreflection._C_APIT_Object", nullptr, &wrpPyl_convcaps_clr_to_py_359C4ED8_Object,
     &wrpPyl_trancaps_py_to_clr_359C4ED8_Object},
    {"zelmor.pyreflection._C_APIT_Enum", nullptr, &wrpPyl_convcaps_clr_to_py_738AFABA_Enum, nullptr},
    {"zelmor.pyreflection._C_APIT_Type", nullptr, &wrpPyl_convcaps_clr_to_py_C08ECFAB_Type,
     &wrpPyl_trancaps_py_to_clr_C08ECFAB_Type},
};

const CapsuleRow kCastResultCapsule[] = {{"zelmor.pygc._C_APIF", &PyShCastOpResult_New, nullptr, nullptr}};

// A function pointer goes as its bytes, whatever its type.
void take_entry(void* target, void* const* entry) {
    assert(entry != nullptr);
    if (target != nullptr) {
        std::memcpy(target, entry, sizeof(*entry));
    }
}

}  // namespace

namespace zelmor {

int import_capsules(const char* own_name, const char* module_name, const int* reference,
                    std::span<const CapsuleRow> rows) {
    PyRef module = PyRef::steal(PyShImport_ImportRefModule(own_name, module_name, reference));
    if (!module) {
        return -1;
    }
    for (const CapsuleRow& row : rows) {
        auto entries = static_cast<void* const*>(PyCapsule_Import(row.name, 0));
        if (entries == nullptr) {
            module = PyRef();
            PyShlErr_CapsuleImportError(row.name);
            return -1;
        }
        take_entry(row.from_python, entries);
        take_entry(row.to_python, entries + 1);
        take_entry(row.second_reader, entries + 2);
    }
    return 0;
}

int import_reflection_capsules(const char* own_name) {
    return import_capsules(own_name, "zelmor.pyreflection", RefVer_pyreflec_C6067AD5, kReflectionCapsules);
}

int import_cast_result(const char* own_name) {
    return import_capsules(own_name, "zelmor.pygc", RefVer_pygc_15FC0AB4, kCastResultCapsule);
}

}  // namespace zelmor
