// Imports of other modules and of their types, with the messages that tell a user what is missing or out of date.
#ifndef ZELMOR_PYSHELL_IMPORTS_H
#define ZELMOR_PYSHELL_IMPORTS_H

#include "pyshell/python.h"

// The sibling module, a new reference, if its version serves a client that was generated against `reference` (four
// numbers); otherwise null with ImportError. `own_name` is the module that the message asks to update.
PyObject* PyShImport_ImportRefModule(const char* own_name, const char* module_name, const int* reference);

// An attribute of a module, a new reference, or null with ImportError. Imported on each use, never cached.
PyObject* PyShImport_ImportType(const char* module_name, PyObject* attribute_name);

// The same, and the attribute has to be a type.
PyObject* PyShImport_ImportTypeEx(const char* module_name, PyObject* attribute_name);

// A nested type by a chain of `count` attribute names (PyObject*), at least one.
PyObject* PyShImport_ImportTypeExV(const char* module_name, int count, ...);

#endif  // ZELMOR_PYSHELL_IMPORTS_H
