// Building a module of the tree from its plan.
#include "pyshell/module_plan.h"

#include <cassert>

#include "pyshell/modules.h"
#include "pyshell/py_ref.h"
#include "pyshell/types_map.h"

namespace zelmor {
namespace {

bool add_descriptor_types(PyObject* module, std::span<const DescriptorTypePlan> types) {
    for (const DescriptorTypePlan& entry : types) {
        if (PyShModule_AddType(module, entry.type, entry.name) != 0) {
            return false;
        }
    }
    return true;
}

bool add_children(PyObject* module, std::span<const ChildPlan> children) {
    for (const ChildPlan& child : children) {
        if (add_child_module(module, child.name, child.build()) != 0) {
            return false;
        }
    }
    return true;
}

bool ready_types(std::span<PyTypeObject* const> types) {
    for (PyTypeObject* type : types) {
        if (ready_type(type) != 0) {
            return false;
        }
    }
    return true;
}

bool add_enums(PyObject* module, std::span<const EnumPlan> enums) {
    for (const EnumPlan& entry : enums) {
        if (add_enum_type(module, entry.name, entry.full_name, entry.build()) != 0) {
            return false;
        }
    }
    return true;
}

bool add_wrappers(PyObject* module, std::span<const WrapperPlan> wrappers) {
    PyWrpTypesMap& types = *PyWrpTypesMap::get_instance();
    for (const WrapperPlan& entry : wrappers) {
        types.add(entry.managed_name, entry.type);
        if (mark_wrapper_type(entry.type, entry.kind, entry.interfaces) != 0 ||
            add_ready_type(module, entry.name, entry.type) != 0) {
            return false;
        }
        if (entry.post_initialize != nullptr && entry.post_initialize() < 0) {
            return false;
        }
    }
    return true;
}

}  // namespace

PyObject* build_module(const ModulePlan& plan) {
    assert(plan.definition != nullptr);
    PyRef module = PyRef::steal(create_module(plan.definition));
    if (!module || !add_descriptor_types(module.get(), plan.descriptor_types) ||
        !add_children(module.get(), plan.children) || !ready_types(plan.ready) ||
        !add_enums(module.get(), plan.enums) || !add_wrappers(module.get(), plan.wrappers)) {
        return nullptr;
    }
    return module.release();
}

}  // namespace zelmor
