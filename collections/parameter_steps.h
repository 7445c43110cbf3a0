// The steps of converting a collection parameter whose managed type is a class.
#ifndef ZELMOR_COLLECTIONS_PARAMETER_STEPS_H
#define ZELMOR_COLLECTIONS_PARAMETER_STEPS_H

#include "exchange/wire/records.h"
#include "pyshell/python.h"

namespace zelmor {

struct ClassParameter {
    const char* what;    // the name in the refusal
    PyTypeObject* type;  // accepted without a question, as are its subtypes; null where there is no such type
    int (*guard)();
    int (*is_assignable)(void* handle);  // called after the guard
};

// 1 with the record filled, or 0 with TypeError. A wrapper is passed as its handle, a Python list or a sequence with a
// length as a reference.
int convert_class_parameter(PyObject* object, VariantArg* out, const ClassParameter& parameter);

}  // namespace zelmor

#endif  // ZELMOR_COLLECTIONS_PARAMETER_STEPS_H
