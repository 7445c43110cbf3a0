// What a cast gives back: a status, and the converted object if there is one.
//
// The type belongs to this module alone; the other modules make its instances through the function that the
// capsule hands out, and never look inside.
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
