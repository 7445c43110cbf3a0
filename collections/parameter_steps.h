// The steps of converting a collection parameter whose managed type is a class.
#ifndef ZELMOR_COLLECTIONS_PARAMETER_STEPS_H
#define ZELMOR_COLLECTIONS_PARAMETER_STEPS_H

#include "exchange/wire/records.h"
#include "pyshell/python.h"

namespace zelmor {

struct ClassParameter {
    const char* what;    // as the refusal names it
    PyTypeObject* type;  // whose instances and those of its subtypes pass as they are; null where there is none
    int (*guard)();
    int (*is_assignable)(void* handle);  // asked behind the guard
};

// 1 with the record filled, or 0 with TypeError: a wrapper gives its handle, a Python list or sized sequence goes by
// reference.
int convert_class_parameter(PyObject* object, VariantArg* out, const ClassParameter& parameter);

}  // namespace zelmor

#endif  // ZELMOR_COLLECTIONS_PARAMETER_STEPS_H
