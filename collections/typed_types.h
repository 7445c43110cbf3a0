// The typed collections of a module, from which its "_generic" module is built.
#ifndef ZELMOR_COLLECTIONS_TYPED_TYPES_H
#define ZELMOR_COLLECTIONS_TYPED_TYPES_H

#include <span>

#include "pyshell/python.h"

namespace zelmor {

struct TypedType {
    PyTypeObject* type;
    const char* name;
    std::span<PyTypeObject* const>
        interfaces;  // the interfaces that it implements, both as an argument and as a result
};

// In the order in which they are added. Generated where the catalogue has typed collections; empty elsewhere.
std::span<const TypedType> typed_types();

}  // namespace zelmor

#endif  // ZELMOR_COLLECTIONS_TYPED_TYPES_H
