// How one module of the tree is built: a table of its contents, and the one function that builds a module from a table.
//
// The builders of all namespaces are alike; only their tables differ.
#ifndef ZELMOR_PYSHELL_MODULE_PLAN_H
#define ZELMOR_PYSHELL_MODULE_PLAN_H

#include <span>

#include "pyshell/modules.h"
#include "pyshell/python.h"

namespace zelmor {

// A descriptor type that the root publishes before everything else.
struct DescriptorTypePlan {
    PyTypeObject* type;
    const char* name;
};

struct ChildPlan {
    const char* name;      // last component of the dotted name
    PyObject* (*build)();  // a new module, or null with the error reported
};

struct EnumPlan {
    const char* name;       // simple name
    const char* full_name;  // dotted
    PyObject* (*build)();   // a new class, or null with an error
};

struct WrapperPlan {
    PyTypeObject* type;
    const char* name;              // simple name
    const char16_t* managed_name;  // full managed name
    WrapperKind kind;
    std::span<PyTypeObject* const> interfaces;
    int (*post_initialize)();  // null where nothing has to be added
};

struct ModulePlan {
    PyModuleDef* definition;
    std::span<const DescriptorTypePlan> descriptor_types;
    std::span<const ChildPlan> children;    // in ordinal order of the managed names
    std::span<PyTypeObject* const> ready;   // foreign types that the markers name, then the module's own
    std::span<const EnumPlan> enums;        // in ordinal order
    std::span<const WrapperPlan> wrappers;  // in ordinal order
};

// A new reference to the module with everything below it, or null with an ImportError that names the step.
PyObject* build_module(const ModulePlan& plan);

}  // namespace zelmor

#endif  // ZELMOR_PYSHELL_MODULE_PLAN_H
