// Publication of a capsule.
#include "siblings/common/capsule.h"

#include <cassert>
#include <cstring>

#include "pyshell/errors.h"

namespace zelmor::siblings {

int add_capsule(PyObject* module, const char* full_name, const void* table) {
    assert(PyModule_Check(module) && table != nullptr);
    assert(std::strrchr(full_name, '.') != nullptr);
    // Readers must not change the table, but the interface of capsules has no pointer to a constant.
    PyObject* capsule = PyCapsule_New(const_cast<void*>(table), full_name, nullptr);
    if (capsule != nullptr && PyModule_AddObject(module, std::strrchr(full_name, '.') + 1, capsule) == 0) {
        return 0;
    }
    Py_XDECREF(capsule);
    PyShlErr_ModuleInitializationInternalError(kTypeNotAdded, PyModule_GetName(module), full_name);
    return -1;
}

}  // namespace zelmor::siblings
