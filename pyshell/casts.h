// What the members of the cast family have in common: from the status of a host service to what Python receives.
//
// A service tells of a failure by the pending error alone: that is asked for first, whatever the status says.
//
// The readers of the argument and the services themselves stand in the generated functions; the rules for their
// results stand here once.
#pragma once

#include "pyshell/python.h"
#include "pyshell/sibling_converters.h"

namespace zelmor {

// The uniform answer that no such cast exists.
inline PyObject* no_cast() {
    return PyShCastOpResult_New(0, nullptr);
}

// "_type_of" and "get_type": the System.Type of `type_handle`, or null if the service failed.
PyObject* finish_type_of(void* type_handle);

// "_cast_to" and "_cast_as" of a wrapper: `out` is wrapped as `type`.
PyObject* finish_cast(int status, void* out, PyTypeObject* type);

// The same with the wrapped value already built (`wrapped` may be null, with or without an exception pending).
PyObject* finish_cast_with(int status, PyObject* wrapped);

// "_cast_from": `out` becomes a System.Object whatever the target was.
PyObject* finish_cast_from(int status, void* out);

// "_is_assignable".
PyObject* finish_is_assignable(bool assignable);

// Reads the System.Type argument of "_cast_from"; 0 with TypeError if it is none.
int read_cast_target(PyObject* argument, void** type_handle);

// Reads the System.Object argument of "_reinterpret_obj"; 0 with TypeError if it is none.
int read_reinterpreted(PyObject* argument, void** object_handle);

// "_reinterpret_obj" of an interface or static class.
PyObject* refuse_reinterpret(PyObject* argument, PyTypeObject* type);

// "_cast_from" of types that have no such service; "_cast_to" and "_cast_as" of static classes.
PyObject* cast_stub(PyObject* self, PyObject* argument);

// "_is_assignable" of static classes.
PyObject* never_assignable(PyObject* self, PyObject* argument);

}  // namespace zelmor
