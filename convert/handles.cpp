// Reads the handle of a wrapper without a test.
#include "convert/handles.h"

#include <cassert>

#include "pyshell/wrapped_object.h"

int fn_py_unknown_to_clr_unknown(PyObject* object, void** out) {
    assert(object != nullptr && out != nullptr);
    *out = reinterpret_cast<PyClrObject*>(object)->handle;
    return 1;
}
