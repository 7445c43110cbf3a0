// The result of a cast: a status, and the converted object if there is one.
//
// The type belongs to this module. The other modules make instances through the function in the capsule, and do not use
// the fields.
#ifndef ZELMOR_SIBLINGS_PYGC_CAST_RESULT_H
#define ZELMOR_SIBLINGS_PYGC_CAST_RESULT_H

#include "pyshell/python.h"

namespace zelmor::siblings {

// "zelmor.pygc.CastResult". Python code cannot make one.
extern PyTypeObject cast_result_type;

// New reference, or null with an error. `value` may be null, which Python sees as None; the reference is not stolen.
PyObject* cast_result_new(int status, PyObject* value);

}  // namespace zelmor::siblings

#endif  // ZELMOR_SIBLINGS_PYGC_CAST_RESULT_H
