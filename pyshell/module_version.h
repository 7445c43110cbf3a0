// The version object that each module publishes: four numbers and their text.
//
// All modules on the bridge share its layout: each has its own type of version object, and reads the fields of those of
// its siblings.
#ifndef ZELMOR_PYSHELL_MODULE_VERSION_H
#define ZELMOR_PYSHELL_MODULE_VERSION_H

#include <cstddef>
#include <cstdint>

#include "pyshell/python.h"

struct PyShVersionObject {
    PyObject ob_base;
    int32_t major;
    int32_t minor;
    int32_t patch;
    int32_t sub;
    PyObject* view;  // owned str
};
static_assert(sizeof(PyShVersionObject) == 40 && offsetof(PyShVersionObject, view) == 32);

extern PyTypeObject wrpPye_tyds_FFFFFFFF_ModuleVersion;

// A new version object, or null with an error. The type has to be ready.
PyObject* PyShVersionAttr_Create(int major, int minor, int patch, int sub, const char* text);

// -1, 0 or 1 if `reference` (four numbers) is lower than, equal to or higher than `version`, which has to be a version
// object of any module.
int PyShVersionAttr_Compare(const int* reference, PyObject* version);

// The text, borrowed.
PyObject* PyShVersionAttr_GetView(PyObject* version);

#endif  // ZELMOR_PYSHELL_MODULE_VERSION_H
