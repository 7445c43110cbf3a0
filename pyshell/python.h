// The one way in which this project includes the interpreter's header.
//
// It has to come before any standard header, and with Py_ssize_t lengths in the argument formats.
#ifndef ZELMOR_PYSHELL_PYTHON_H
#define ZELMOR_PYSHELL_PYTHON_H

#ifndef PY_SSIZE_T_CLEAN
#define PY_SSIZE_T_CLEAN
#endif
#include <Python.h>

#endif  // ZELMOR_PYSHELL_PYTHON_H
