// Marker attributes: how the bridge recognizes wrapper types, its own and those of its sibling modules.
//
// Wrappers have no common Python base. Instead each wrapper type carries entries in its own dictionary under interned
// keys. Only the exact type is looked at: a marker on a base says nothing about a derived type.
#ifndef ZELMOR_PYSHELL_MARKERS_H
#define ZELMOR_PYSHELL_MARKERS_H

#include <cstdarg>
#include <span>

#include "pyshell/python.h"

// Host marker: None on class, interface and generic wrappers, Ellipsis on struct wrappers. True on success.
bool fn_set_obj_type_host_markattr(PyTypeObject* type);
bool fn_set_stc_type_host_markattr(PyTypeObject* type);

// True if the object's type carries the host marker of a class wrapper.
bool fn_is_refobj_has_host_markattr(PyObject* object);

// True for both kinds of wrapper; `*kind` is 0 for a class, 1 for a struct, untouched otherwise.
bool fn_is_instance_has_host_markattr(PyObject* object, int* kind);

// Castable marker: None on wrapper types, Ellipsis on enumerations.
bool fn_set_castable_type_markattr(PyTypeObject* type, PyObject* value);

// Interface sets, from `count` arguments of type PyTypeObject*. The additional set answers whether an instance may be
// passed as that interface, the implicit one whether a managed result may be shown in its concrete wrapper where the
// interface is declared.
bool fn_set_additional_ifcs_markattr(PyTypeObject* type, int count, ...);
bool fn_set_implicit_ifcs_markattr(PyTypeObject* type, int count, ...);
bool fn_set_any_ifcs_markattr(PyTypeObject* type, PyObject* key, int count, va_list interfaces);

namespace zelmor {

// The same work on a table of types.
bool set_interfaces(PyTypeObject* type, PyObject* key, std::span<PyTypeObject* const> interfaces);

}  // namespace zelmor

bool fn_contains_additional_ifc_markattr(PyObject* instance, PyTypeObject* ifc);
bool fn_contains_implicit_ifc_markattr(PyTypeObject* type, PyTypeObject* ifc);
bool fn_contains_any_ifc_markattr(PyTypeObject* type, PyObject* key, PyTypeObject* ifc);

// For modules whose types derive from a sibling's.
bool fn_set_external_ancestor_markattr(PyTypeObject* type, PyTypeObject* ancestor);
bool fn_has_external_ancestor_markattr(PyObject* instance, PyTypeObject* ancestor);

// The fast tests for wrappers of this very module, which share their deallocators.
bool fn_is_this_module_clr_object(PyObject* object);
bool fn_is_this_module_clr_instance(PyObject* object, int* kind);

#endif  // ZELMOR_PYSHELL_MARKERS_H
