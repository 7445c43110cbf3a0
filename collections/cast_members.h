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
        services().type_of(&type_handle);
        return finish_type_of(type_handle);
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
            return finish_is_assignable(services().is_assignable(handle));
        } else {
            VariantArg value = {};
            if (!fn_conv_py_obj_to_clr_gen_not_null_handle(argument, &value)) {
                Py_RETURN_FALSE;
            }
            return finish_is_assignable(services().is_assignable(&value));
        }
    }

    static PyObject* reinterpret_obj(PyObject*, PyObject* argument) {
        if constexpr (kIsClass) {
            void* object = nullptr;
            if (Kind::guard() != 0 || !read_reinterpreted(argument, &object)) {
                return nullptr;
            }
            void* out = nullptr;
            services().reinterpret_obj(object, &out);
            if (PyErr_Occurred()) {
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

// Validity, guard and casts of a kind, under the names that tell them apart in a debugger.
#define ZELMOR_DEFINE_KIND(kind, Kind)                                                          \
    bool wrpPye_bltp_##kind##_is_not_valid(std::string& message) {                              \
        return zelmor::report_validity(zelmor::Kind::state(), message);                         \
    }                                                                                           \
    int wrpPye_uafn_##kind##_invalidate() {                                                     \
        return zelmor::Kind::guard();                                                           \
    }                                                                                           \
    static PyObject* wrpPye_bltp_##kind##_type_of(PyObject* self, PyObject* ignored) {          \
        return zelmor::CastMembers<zelmor::Kind>::type_of(self, ignored);                       \
    }                                                                                           \
    static PyObject* wrpPye_bltp_##kind##_cast_to(PyObject* self, PyObject* argument) {         \
        return zelmor::CastMembers<zelmor::Kind>::cast_to(self, argument);                      \
    }                                                                                           \
    static PyObject* wrpPye_bltp_##kind##_cast_from(PyObject* self, PyObject* argument) {       \
        return zelmor::cast_stub(self, argument);                                               \
    }                                                                                           \
    static PyObject* wrpPye_bltp_##kind##_is_assignable(PyObject* self, PyObject* argument) {   \
        return zelmor::CastMembers<zelmor::Kind>::is_assignable(self, argument);                \
    }                                                                                           \
    static PyObject* wrpPye_bltp_##kind##_reinterpret_obj(PyObject* self, PyObject* argument) { \
        return zelmor::CastMembers<zelmor::Kind>::reinterpret_obj(self, argument);              \
    }                                                                                           \
    static PyObject* wrpPye_bltp_##kind##_cast_as(PyObject* self, PyObject* argument) {         \
        return zelmor::CastMembers<zelmor::Kind>::cast_as(self, argument);                      \
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
