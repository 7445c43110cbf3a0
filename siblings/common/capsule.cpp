// Publication of a capsule.
#include "siblings/common/capsule.h"

#include <cstring>

#include "pyshell/errors.h"

namespace zelmor::siblings {

int add_capsule(PyObject* module, const char* full_name, const void* table) {
    // Readers get a pointer to what they must not change; the capsule interface has no word for that.
    PyObject* capsule = PyCapsule_New(const_cast<void*>(table), full_name, nullptr);
    if (capsule != nullptr && PyModule_AddObject(module, std::strrchr(full_name, '.') + 1, capsule) == 0) {
        return 0;
    }
    Py_XDECREF(capsule);
    PyShlErr_ModuleInitializationInternalError(kTypeNotAdded, PyModule_GetName(module), full_name);
    return -1;
}

}  // namespace zelmor::siblings
