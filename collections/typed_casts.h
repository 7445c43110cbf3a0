// The cast family of the typed collections: ordinary functions over what a type brings.
//
// Arrays and lists are classes: only a class wrapper can be one. The interfaces take any wrapper, and cannot be
// reinterpreted as.
#pragma once

#include "collections/typed_hosts.h"
#include "pyshell/python.h"

namespace zelmor {

// The services are read behind the guard, since the host may not exist before.
struct TypedClass {
    PyTypeObject* type;
    int (*guard)();
    const TypedClassCasts& (*services)();
};

PyObject* class_type_of(const TypedClass& of);
PyObject* class_cast_to(const TypedClass& of, PyObject* argument);
PyObject* class_cast_as(const TypedClass& of, PyObject* argument);
PyObject* class_is_assignable(const TypedClass& of, PyObject* argument);
PyObject* class_reinterpret_obj(const TypedClass& of, PyObject* argument);

struct TypedInterface {
    PyTypeObject* type;
    int (*guard)();
    const TypedInterfaceCasts& (*services)();
};

PyObject* interface_type_of(const TypedInterface& of);
PyObject* interface_cast_to(const TypedInterface& of, PyObject* argument);
PyObject* interface_cast_as(const TypedInterface& of, PyObject* argument);
PyObject* interface_is_assignable(const TypedInterface& of, PyObject* argument);
PyObject* interface_reinterpret_obj(const TypedInterface& of, PyObject* argument);

}  // namespace zelmor
