// The cast family of an interop kind, as the functions of its method table.
//
// Both casts read any wrapper, None included. The kinds whose managed type is a class differ from those whose managed
// type is an interface in two members: who can be assignable, and whether an object can be reinterpreted.
#ifndef ZELMOR_COLLECTIONS_CAST_MEMBERS_H
#define ZELMOR_COLLECTIONS_CAST_MEMBERS_H

#include "collections/kinds.h"
#include "pyshell/casts.h"
#include "pyshell/result_typing.h"
#include "pyshell/sibling_converters.h"

namespace zelmor {

template <class Kind>
constexpr CastFamily kCastsOf = {Kind::type, &Kind::guard, &casts_of<typename Kind::Host>,
                                 Kind::Host::kIsClass ? kInteropClassCasts : kInteropInterfaceCasts};

}  // namespace zelmor

// Validity, guard and casts of a kind, under the names that tell them apart in a debugger.
#define ZELMOR_DEFINE_KIND(kind, Kind)                                                     \
    bool wrpPye_bltp_##kind##_is_not_valid(std::string& message) {                         \
        return zelmor::report_validity(zelmor::Kind::state(), message);                    \
    }                                                                                      \
    int wrpPye_uafn_##kind##_invalidate() {                                                \
        return zelmor::Kind::guard();                                                      \
    }                                                                                      \
    static PyObject* wrpPye_bltp_##kind##_type_of(PyObject*, PyObject*) {                  \
        return zelmor::cast_type_of(zelmor::kCastsOf<zelmor::Kind>);                       \
    }                                                                                      \
    static PyObject* wrpPye_bltp_##kind##_cast_to(PyObject*, PyObject* argument) {         \
        return zelmor::cast_to(zelmor::kCastsOf<zelmor::Kind>, argument);                  \
    }                                                                                      \
    static PyObject* wrpPye_bltp_##kind##_cast_from(PyObject* self, PyObject* argument) {  \
        return zelmor::cast_stub(self, argument);                                          \
    }                                                                                      \
    static PyObject* wrpPye_bltp_##kind##_is_assignable(PyObject*, PyObject* argument) {   \
        return zelmor::cast_is_assignable(zelmor::kCastsOf<zelmor::Kind>, argument);       \
    }                                                                                      \
    static PyObject* wrpPye_bltp_##kind##_reinterpret_obj(PyObject*, PyObject* argument) { \
        return zelmor::cast_reinterpret_obj(zelmor::kCastsOf<zelmor::Kind>, argument);     \
    }                                                                                      \
    static PyObject* wrpPye_bltp_##kind##_cast_as(PyObject*, PyObject* argument) {         \
        return zelmor::cast_as(zelmor::kCastsOf<zelmor::Kind>, argument);                  \
    }

// "get_type", as a table has it.
#define ZELMOR_GET_TYPE_METHOD \
    { "get_type", ZELMOR_KEYWORD_METHOD(wrapClrObject_get_type), METH_NOARGS, nullptr }

// The members that stand at the end of every table.
#define ZELMOR_CAST_METHODS(kind)                                                                  \
    {"_type_of", wrpPye_bltp_##kind##_type_of, METH_NOARGS | METH_STATIC, nullptr},                \
        {"_cast_to", wrpPye_bltp_##kind##_cast_to, METH_O | METH_STATIC, nullptr},                 \
        {"_cast_from", wrpPye_bltp_##kind##_cast_from, METH_O, nullptr},                           \
        {"_is_assignable", wrpPye_bltp_##kind##_is_assignable, METH_O | METH_STATIC, nullptr},     \
        {"_reinterpret_obj", wrpPye_bltp_##kind##_reinterpret_obj, METH_O | METH_STATIC, nullptr}, \
        {"_cast_as", wrpPye_bltp_##kind##_cast_as, METH_O | METH_STATIC, nullptr}, {               \
        nullptr, nullptr, 0, nullptr                                                               \
    }

#endif  // ZELMOR_COLLECTIONS_CAST_MEMBERS_H
