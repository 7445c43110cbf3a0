// The untested way from a wrapper to its handle.
#include "convert/handles.h"

#include "pyshell/wrapped_object.h"

int fn_py_unknown_to_clr_unknown(PyObject* object, void** out) {
    *out = reinterpret_cast<PyClrObject*>(object)->handle;
    return 1;
}
