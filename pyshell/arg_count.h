// The argument-count check of hand-written methods that take their arguments as a plain tuple.
#ifndef ZELMOR_PYSHELL_ARG_COUNT_H
#define ZELMOR_PYSHELL_ARG_COUNT_H

#include "pyshell/python.h"

// False if `given` lies within the bounds. Otherwise sets a TypeError that names the bound which was crossed, and
// answers true. A null `name` speaks of "function".
bool fn_check_args_count_out_of_range(Py_ssize_t given, const char* name, Py_ssize_t minimum, Py_ssize_t maximum);

#endif  // ZELMOR_PYSHELL_ARG_COUNT_H
