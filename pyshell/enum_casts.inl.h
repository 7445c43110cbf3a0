// The cast family of enumerations: that of a class, with a member of the enumeration in place of a wrapper, and the two
// operations that hand the member's own integer to the managed side.
#ifndef ZELMOR_PYSHELL_ENUM_CASTS_INL_H
#define ZELMOR_PYSHELL_ENUM_CASTS_INL_H

#include "pyshell/casts.h"

namespace zelmor {

// What an enumeration brings. The class is made during the import, so that the record holds its place.
template <class T>
struct EnumCastFamily {
    PyTypeObject* const* type;
    int (*guard)();
    CastServices (*services)();
};

namespace enum_casts {

template <class T>
PyObject* run(const EnumCastFamily<T>& of, CastArgument kind, int (*CastServices::*service)(const void*, void*),
              PyObject* argument) {
    if (of.guard() != 0) {
        return nullptr;
    }
    CastSource source;
    if (!source.read(kind, argument)) {
        return no_cast();
    }
    T out{};
    const CastServices services = of.services();
    const int status = (services.*service)(source.passed(), &out);
    if (PyErr_Occurred() != nullptr) {
        return nullptr;
    }
    return status == 0 ? no_cast() : finish_cast_with(status, convert_enum_result(out, *of.type));
}

}  // namespace enum_casts

template <class T>
PyObject* cast_type_of(const EnumCastFamily<T>& of) {
    return cast_type_of(CastFamily{nullptr, of.guard, of.services, kClassCasts});
}

template <class T>
PyObject* cast_to(const EnumCastFamily<T>& of, PyObject* argument) {
    return enum_casts::run(of, kClassCasts.cast_to, &CastServices::cast_to, argument);
}

template <class T>
PyObject* cast_as(const EnumCastFamily<T>& of, PyObject* argument) {
    return enum_casts::run(of, kClassCasts.cast_as, &CastServices::cast_as, argument);
}

template <class T>
PyObject* cast_is_assignable(const EnumCastFamily<T>& of, PyObject* argument) {
    return cast_is_assignable(CastFamily{nullptr, of.guard, of.services, kClassCasts}, argument);
}

template <class T>
PyObject* cast_reinterpret_obj(const EnumCastFamily<T>& of, PyObject* argument) {
    void* object = nullptr;
    if (of.guard() != 0 || !read_reinterpreted(argument, &object)) {
        return nullptr;
    }
    T out{};
    of.services().reinterpret_obj(object, &out);
    return PyErr_Occurred() ? nullptr : convert_enum_result(out, *of.type);
}

// "_as_uni_enum" and "get_type": `service`, asked behind the guard, is called with the integer of `member`, and what it
// gives is shown by `show`.
template <class T>
PyObject* ask_of_member(const EnumCastFamily<T>& of, PyObject* member, int (*service)(T, void**),
                        PyObject* (*show)(void*)) {
    T value{};
    if (of.guard() != 0 || !read_enum_integer(member, &value)) {
        return nullptr;
    }
    void* out = nullptr;
    service(value, &out);
    return PyErr_Occurred() ? nullptr : show(out);
}

}  // namespace zelmor

#endif  // ZELMOR_PYSHELL_ENUM_CASTS_INL_H
