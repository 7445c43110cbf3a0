// Steps of building the module tree: each does one thing, and reports the code of its place when it fails.
//
// The builder of a module calls these in order. The generated code says which modules and types there are.
#ifndef ZELMOR_PYSHELL_MODULES_H
#define ZELMOR_PYSHELL_MODULES_H

#include <span>

#include "pyshell/python.h"

// Readies a type and adds it to the module; 0, or -1 with ImportError.
int PyShModule_AddType(PyObject* module, PyTypeObject* type, const char* name);

namespace zelmor {

// A new module of its static definition, or null.
PyObject* create_module(PyModuleDef* definition);

// Adds `child` under `name` and takes over its reference, also on failure. A null child gives -1 without a further
// report, since its builder has reported the error.
int add_child_module(PyObject* parent, const char* name, PyObject* child);

// PyType_Ready.
int ready_type(PyTypeObject* type);

// Adds an enumeration and takes over its reference, also on failure. A null one is reported under `dotted_name`.
int add_enum_type(PyObject* module, const char* name, const char* dotted_name, PyObject* enum_type);

enum class WrapperKind { kClass, kStruct };

// Sets the markers of a wrapper type that has been readied: both interface sets where there are interfaces, the host
// marker, the castable marker.
int mark_wrapper_type(PyTypeObject* type, WrapperKind kind, std::span<PyTypeObject* const> interfaces = {});

// Adds a type that has been readied.
int add_ready_type(PyObject* module, const char* name, PyTypeObject* type);

// Stores a descriptor in a type's dictionary and takes over its reference, also on failure. A null descriptor gives -1,
// with the error that its maker has set.
int store_static_member(PyTypeObject* type, const char* name, PyObject* descriptor);

}  // namespace zelmor

#endif  // ZELMOR_PYSHELL_MODULES_H
