// Marker attributes: plain entries of a type's own dictionary, read and written past the attribute machinery.
#include "pyshell/markers.h"

#include <vector>

#include "pyshell/identifiers.h"
#include "pyshell/wrapped_object.h"

namespace {

bool set_marker(PyTypeObject* type, PyObject* key, PyObject* value) {
    return PyDict_SetItem(type->tp_dict, key, value) == 0;
}

// The entry of the object's exact type, borrowed; null without an error if there is none.
PyObject* find_marker(PyTypeObject* type, PyObject* key) {
    // The dictionary is null in a type that is not ready yet.
    return type->tp_dict == nullptr ? nullptr : PyDict_GetItem(type->tp_dict, key);
}

}  // namespace

namespace zelmor {

bool set_interfaces(PyTypeObject* type, PyObject* key, std::span<PyTypeObject* const> interfaces) {
    PyObject* set = PySet_New(nullptr);
    if (set == nullptr) {
        return false;
    }
    for (PyTypeObject* ifc : interfaces) {
        if (PySet_Add(set, reinterpret_cast<PyObject*>(ifc)) < 0) {
            return false;  // the set is left unreleased on purpose: memory is exhausted and the import is over
        }
    }
    const bool stored = set_marker(type, key, set);
    Py_DECREF(set);
    return stored;
}

}  // namespace zelmor

bool fn_set_obj_type_host_markattr(PyTypeObject* type) {
    return set_marker(type, PyWrpIdMarkattr_ZelmorClrHost, Py_None);
}

bool fn_set_stc_type_host_markattr(PyTypeObject* type) {
    return set_marker(type, PyWrpIdMarkattr_ZelmorClrHost, Py_Ellipsis);
}

bool fn_is_refobj_has_host_markattr(PyObject* object) {
    return find_marker(Py_TYPE(object), PyWrpIdMarkattr_ZelmorClrHost) == Py_None;
}

bool fn_is_instance_has_host_markattr(PyObject* object, int* kind) {
    PyObject* marker = find_marker(Py_TYPE(object), PyWrpIdMarkattr_ZelmorClrHost);
    if (marker != Py_None && marker != Py_Ellipsis) {
        return false;
    }
    *kind = marker == Py_None ? 0 : 1;
    return true;
}

bool fn_set_castable_type_markattr(PyTypeObject* type, PyObject* value) {
    return set_marker(type, PyWrpIdMarkattr_ZelmorClrCastableObj, value);
}

bool fn_set_any_ifcs_markattr(PyTypeObject* type, PyObject* key, int count, va_list interfaces) {
    std::vector<PyTypeObject*> types;
    for (int i = 0; i < count; ++i) {
        types.push_back(va_arg(interfaces, PyTypeObject*));
    }
    return zelmor::set_interfaces(type, key, types);
}

bool fn_set_additional_ifcs_markattr(PyTypeObject* type, int count, ...) {
    va_list interfaces;
    va_start(interfaces, count);
    const bool stored = fn_set_any_ifcs_markattr(type, PyWrpIdMarkattr_AdditionalInterfaces, count, interfaces);
    va_end(interfaces);
    return stored;
}

bool fn_set_implicit_ifcs_markattr(PyTypeObject* type, int count, ...) {
    va_list interfaces;
    va_start(interfaces, count);
    const bool stored = fn_set_any_ifcs_markattr(type, PyWrpIdMarkattr_ImplicitInterfaces, count, interfaces);
    va_end(interfaces);
    return stored;
}

bool fn_contains_any_ifc_markattr(PyTypeObject* type, PyObject* key, PyTypeObject* ifc) {
    PyObject* set = find_marker(type, key);
    if (set == nullptr || !PyObject_TypeCheck(set, &PySet_Type)) {
        return false;
    }
    const int found = PySet_Contains(set, reinterpret_cast<PyObject*>(ifc));
    if (found < 0) {
        PyErr_Clear();  // a set that cannot answer does not hold the interface
        return false;
    }
    return found != 0;
}

bool fn_contains_additional_ifc_markattr(PyObject* instance, PyTypeObject* ifc) {
    return fn_contains_any_ifc_markattr(Py_TYPE(instance), PyWrpIdMarkattr_AdditionalInterfaces, ifc);
}

bool fn_contains_implicit_ifc_markattr(PyTypeObject* type, PyTypeObject* ifc) {
    return fn_contains_any_ifc_markattr(type, PyWrpIdMarkattr_ImplicitInterfaces, ifc);
}

bool fn_set_external_ancestor_markattr(PyTypeObject* type, PyTypeObject* ancestor) {
    return set_marker(type, PyWrpIdMarkattr_ExternalAncestor, reinterpret_cast<PyObject*>(ancestor));
}

bool fn_has_external_ancestor_markattr(PyObject* instance, PyTypeObject* ancestor) {
    return find_marker(Py_TYPE(instance), PyWrpIdMarkattr_ExternalAncestor) == reinterpret_cast<PyObject*>(ancestor);
}

bool fn_is_this_module_clr_object(PyObject* object) {
    return Py_TYPE(object)->tp_dealloc == reinterpret_cast<destructor>(wrapClrObject_tp_dealloc);
}

bool fn_is_this_module_clr_instance(PyObject* object, int* kind) {
    if (fn_is_this_module_clr_object(object)) {
        *kind = 0;
        return true;
    }
    if (Py_TYPE(object)->tp_dealloc == reinterpret_cast<destructor>(wrapClrStruct_tp_dealloc)) {
        *kind = 1;
        return true;
    }
    return false;
}
