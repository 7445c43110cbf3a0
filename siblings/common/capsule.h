// The converters that a sibling offers to the other modules: an array of function pointers in a capsule.
//
// At 0 stands the "O&" converter from Python, at 1 the converter to Python, at 2 the second reader from Python. The
// readers of a capsule know the types from its name.
#ifndef ZELMOR_SIBLINGS_COMMON_CAPSULE_H
#define ZELMOR_SIBLINGS_COMMON_CAPSULE_H

#include "pyshell/python.h"

namespace zelmor::siblings {

using SecondReader = int (*)(PyObject* value, void** out);

template <class FromPython, class ToPython>
struct ConverterTable {
    FromPython from_python;
    ToPython to_python;
    SecondReader second_reader = nullptr;  // only where a type has one
};

// Adds a capsule with that table to the module. The table has to live as long as the process. `full_name` is the dotted
// name by which the capsule is imported, beginning with that of the module. 0, or -1 with ImportError.
int add_capsule(PyObject* module, const char* full_name, const void* table);

template <class FromPython, class ToPython>
int add_capsule(PyObject* module, const char* full_name, const ConverterTable<FromPython, ToPython>& table) {
    static_assert(sizeof(table) == 3 * sizeof(void (*)()));
    return add_capsule(module, full_name, static_cast<const void*>(&table));
}

}  // namespace zelmor::siblings

#endif  // ZELMOR_SIBLINGS_COMMON_CAPSULE_H
