// The common start of this folder's hand-written static types: zeroed records whose slots are then filled by name.
//
// The records are compile-time constants: no code runs when a shared object is loaded. Wrapper types of managed classes
// are not made here; they follow the class recipe.
#ifndef ZELMOR_SIBLINGS_COMMON_STATIC_TYPE_H
#define ZELMOR_SIBLINGS_COMMON_STATIC_TYPE_H

#include "pyshell/python.h"

namespace zelmor::siblings {

constexpr PyTypeObject static_type(const char* dotted_name, Py_ssize_t basic_size, unsigned long more_flags = 0) {
    PyTypeObject type{};
    type.ob_base.ob_base.ob_refcnt = 1;
    type.tp_name = dotted_name;
    type.tp_basicsize = basic_size;
    type.tp_flags = Py_TPFLAGS_DEFAULT | more_flags;
    return type;
}

}  // namespace zelmor::siblings

#endif  // ZELMOR_SIBLINGS_COMMON_STATIC_TYPE_H
