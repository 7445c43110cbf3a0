// The refusals of converters: the one message that says that a Python value cannot become a managed one, in the three
// forms in which it names the target. Each raises TypeError and returns 0, as a converter does.
#ifndef ZELMOR_PYSHELL_REFUSALS_H
#define ZELMOR_PYSHELL_REFUSALS_H

#include "pyshell/python.h"

namespace zelmor {

// A kind of value: "can't build Guid from 'int'".
[[gnu::cold]] int refuse_kind(const char* target, PyObject* value);

// A managed type of numbers: "can't build 'Int32' from 'str'".
[[gnu::cold]] int refuse_number(const char* target, PyObject* value);

// A class, an enumeration or a collection: "can't build Size value from 'int'".
[[gnu::cold]] int refuse_value(const char* target, PyObject* value);

}  // namespace zelmor

#endif  // ZELMOR_PYSHELL_REFUSALS_H
