// Steps of building the module tree.
#include "pyshell/modules.h"

#include <cassert>

#include "pyshell/errors.h"
#include "pyshell/identifiers.h"
#include "pyshell/markers.h"

namespace {

const char* module_name(PyObject* module) {
    assert(PyModule_Check(module));
    const PyModuleDef* definition = PyModule_GetDef(module);
    return definition != nullptr ? definition->m_name : PyModule_GetName(module);
}

int report_type(int code, const PyTypeObject* type) {
    PyShlErr_TypeInitializationInternalError(code, type->tp_name);
    return -1;
}

}  // namespace

namespace zelmor {

PyObject* create_module(PyModuleDef* definition) {
    assert(definition != nullptr);
    PyObject* module = PyModule_Create2(definition, PYTHON_API_VERSION);
    if (module == nullptr) {
        PyShlErr_ModuleInitializationInternalError(kModuleNotCreated, definition->m_name);
    }
    return module;
}

int add_child_module(PyObject* parent, const char* name, PyObject* child) {
    assert(PyModule_Check(parent) && name != nullptr);
    assert(child != nullptr || PyErr_Occurred() != nullptr);
    if (child == nullptr) {
        return -1;
    }
    // Takes over the reference only when it succeeds.
    if (PyModule_AddObject(parent, name, child) < 0) {
        PyShlErr_ModuleInitializationInternalError(kChildModuleNotAdded, module_name(parent), module_name(child));
        Py_DECREF(child);
        return -1;
    }
    return 0;
}

int ready_type(PyTypeObject* type) {
    assert(type != nullptr);
    return PyType_Ready(type) < 0 ? report_type(kTypeNotReady, type) : 0;
}

int add_enum_type(PyObject* module, const char* name, const char* dotted_name, PyObject* enum_type) {
    assert(PyModule_Check(module));
    assert(name != nullptr && dotted_name != nullptr);
    if (enum_type == nullptr) {
        PyShlErr_TypeInitializationInternalError(kEnumInitFailed, dotted_name);
        return -1;
    }
    if (PyModule_AddObject(module, name, enum_type) < 0) {
        PyShlErr_TypeInitializationInternalError(kTypeNotAdded, module_name(module), dotted_name);
        Py_DECREF(enum_type);
        return -1;
    }
    return 0;
}

int mark_wrapper_type(PyTypeObject* type, WrapperKind kind, std::span<PyTypeObject* const> interfaces) {
    assert(PyType_HasFeature(type, Py_TPFLAGS_READY));
    if (!interfaces.empty()) {
        if (!set_interfaces(type, PyWrpIdMarkattr_AdditionalInterfaces, interfaces)) {
            return report_type(kAdditionalInterfacesNotSet, type);
        }
        if (!set_interfaces(type, PyWrpIdMarkattr_ImplicitInterfaces, interfaces)) {
            return report_type(kImplicitInterfacesNotSet, type);
        }
    }
    const bool marked =
        kind == WrapperKind::kStruct ? fn_set_stc_type_host_markattr(type) : fn_set_obj_type_host_markattr(type);
    if (!marked) {
        return report_type(kHostMarkerNotSet, type);
    }
    if (!fn_set_castable_type_markattr(type, Py_None)) {
        return report_type(kCastableMarkerNotSet, type);
    }
    return 0;
}

int add_ready_type(PyObject* module, const char* name, PyTypeObject* type) {
    assert(PyModule_Check(module) && name != nullptr);
    assert(PyType_HasFeature(type, Py_TPFLAGS_READY));
    Py_INCREF(type);
    if (PyModule_AddObject(module, name, reinterpret_cast<PyObject*>(type)) < 0) {
        PyShlErr_TypeInitializationInternalError(kTypeNotAdded, module_name(module), type->tp_name);
        Py_DECREF(type);
        return -1;
    }
    return 0;
}

int store_static_member(PyTypeObject* type, const char* name, PyObject* descriptor) {
    assert(type->tp_dict != nullptr && name != nullptr);
    assert(descriptor != nullptr || PyErr_Occurred() != nullptr);
    if (descriptor == nullptr) {
        return -1;
    }
    const bool stored = PyDict_SetItemString(type->tp_dict, name, descriptor) == 0;
    if (!stored) {
        PyShlErr_TypeInitializationInternalError(kStaticMemberNotStored, type->tp_name, name);
    }
    Py_DECREF(descriptor);
    return stored ? 0 : -1;
}

}  // namespace zelmor

int PyShModule_AddType(PyObject* module, PyTypeObject* type, const char* name) {
    return zelmor::ready_type(type) < 0 ? -1 : zelmor::add_ready_type(module, name, type);
}
