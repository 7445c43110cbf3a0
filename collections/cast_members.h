// The cast family of an interop kind, as the functions of its method table.
//
// Both casts read any wrapper, None included. The kinds whose managed type is a class differ from those whose managed
// type is an interface in two members: who can be assignable, and whether an object can be reinterpreted.
#pragma once

#include <type_traits>

#include "collections/kinds.h"
#include "pyshell/casts.h"
#include "pyshell/result_typing.h"
#include "pyshell/sibling_converters.h"

namespace zelmor {

template <class Kind>
struct CastMembers {
    using Host = typename Kind::Host;
    static constexpr bool kIsClass =
        std::is_same_v<std::remove_cvref_t<decltype(std::declval<Host>().casts())>, ClassCasts>;

    static const auto& services() { return Host::get_instance().casts(); }

    static PyObject* type_of(PyObject*, PyObject*) {
        if (Kind::guard() != 0) {
            return nullptr;
        }
        void* type_handle = nullptr;
        const int status = services().type_of(&type_handle);
        return finish_type_of(status, type_handle);
    }

    static PyObject* cast_to(PyObject*, PyObject* argument) {
        return cast(argument, [] { return services().cast_to; });
    }
    static PyObject* cast_as(PyObject*, PyObject* argument) {
        return cast(argument, [] { return services().cast_as; });
    }

    static PyObject* is_assignable(PyObject*, PyObject* argument) {
        if (Kind::guard() != 0) {
            return nullptr;
        }
        if constexpr (kIsClass) {
            void* handle = nullptr;
            if (!fn_conv_py_obj_to_clr_refobj_not_null_handle(argument, &handle)) {
                Py_RETURN_FALSE;
            }
            return PyBool_FromLong(services().is_assignable(handle));
        } else {
            VariantArg value = {};
            if (!fn_conv_py_obj_to_clr_gen_not_null_handle(argument, &value)) {
                Py_RETURN_FALSE;
            }
            return PyBool_FromLong(services().is_assignable(&value));
        }
    }

    static PyObject* reinterpret_obj(PyObject*, PyObject* argument) {
        if constexpr (kIsClass) {
            void* object = nullptr;
            if (Kind::guard() != 0 || !read_reinterpreted(argument, &object)) {
                return nullptr;
            }
            void* out = nullptr;
            const int status = services().reinterpret_obj(object, &out);
            if (status == 0 && PyErr_Occurred()) {
                return nullptr;
            }
            return fn_conv_clr_clsobj_to_py_clsobj(out, Kind::type);
        } else {
            return refuse_reinterpret(argument, Kind::type);
        }
    }

 private:
    // The delegate is read behind the guard, since the host may not exist before.
    template <class Service>
    static PyObject* cast(PyObject* argument, Service service) {
        if (Kind::guard() != 0) {
            return nullptr;
        }
        VariantArg value = {};
        if (!fn_conv_py_obj_to_clr_gen_handle(argument, &value)) {
            return no_cast();
        }
        void* out = nullptr;
        const int status = service()(&value, &out);
        return finish_cast(status, out, Kind::type);
    }
};

}  // namespace zelmor
