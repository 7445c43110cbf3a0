// Validity, guards, construction and the private members of the interop wrappers.
//
// The functions of a kind differ in the kind alone; they carry its name so that they can be told apart in a debugger.
#include "collections/interop_members.h"

#include "collections/cast_members.h"
#include "collections/interop.h"
#include "exchange/object_host.h"

using zelmor::CastMembers;

#define ZELMOR_DEFINE_KIND(kind, Kind)                                                          \
    bool wrpPye_bltp_##kind##_is_not_valid(std::string& message) {                              \
        return zelmor::report_validity(zelmor::Kind::state(), message);                         \
    }                                                                                           \
    int wrpPye_uafn_##kind##_invalidate() {                                                     \
        return zelmor::Kind::guard();                                                           \
    }                                                                                           \
    static PyObject* wrpPye_bltp_##kind##_type_of(PyObject* self, PyObject* ignored) {          \
        return CastMembers<zelmor::Kind>::type_of(self, ignored);                               \
    }                                                                                           \
    static PyObject* wrpPye_bltp_##kind##_cast_to(PyObject* self, PyObject* argument) {         \
        return CastMembers<zelmor::Kind>::cast_to(self, argument);                              \
    }                                                                                           \
    static PyObject* wrpPye_bltp_##kind##_cast_from(PyObject* self, PyObject* argument) {       \
        return zelmor::cast_stub(self, argument);                                               \
    }                                                                                           \
    static PyObject* wrpPye_bltp_##kind##_is_assignable(PyObject* self, PyObject* argument) {   \
        return CastMembers<zelmor::Kind>::is_assignable(self, argument);                        \
    }                                                                                           \
    static PyObject* wrpPye_bltp_##kind##_reinterpret_obj(PyObject* self, PyObject* argument) { \
        return CastMembers<zelmor::Kind>::reinterpret_obj(self, argument);                      \
    }                                                                                           \
    static PyObject* wrpPye_bltp_##kind##_cast_as(PyObject* self, PyObject* argument) {         \
        return CastMembers<zelmor::Kind>::cast_as(self, argument);                              \
    }

#define ZELMOR_DEFINE_TP_NEW(kind)                                                                \
    PyObject* wrpPye_tpsb_##kind##_tp_new(PyTypeObject* type, PyObject* args, PyObject* kwargs) { \
        if (wrpPye_uafn_##kind##_invalidate() != 0) {                                             \
            return nullptr;                                                                       \
        }                                                                                         \
        return zelmor::make_empty_wrapper(type, args, kwargs);                                    \
    }

ZELMOR_DEFINE_KIND(idisposable, DisposableKind)
ZELMOR_DEFINE_KIND(iter, IterKind)
ZELMOR_DEFINE_KIND(iterable, IterableKind)
ZELMOR_DEFINE_KIND(icol, IColKind)
ZELMOR_DEFINE_KIND(ilist, IListKind)
ZELMOR_DEFINE_KIND(array, ArrayKind)
ZELMOR_DEFINE_KIND(arrlist, ArrListKind)
ZELMOR_DEFINE_KIND(colbase, ColBaseKind)
ZELMOR_DEFINE_KIND(rocolbase, RoColBaseKind)
ZELMOR_DEFINE_KIND(stream, StreamKind)

ZELMOR_DEFINE_TP_NEW(idisposable)
ZELMOR_DEFINE_TP_NEW(iter)
ZELMOR_DEFINE_TP_NEW(iterable)
ZELMOR_DEFINE_TP_NEW(icol)
ZELMOR_DEFINE_TP_NEW(ilist)
ZELMOR_DEFINE_TP_NEW(array)
ZELMOR_DEFINE_TP_NEW(arrlist)
ZELMOR_DEFINE_TP_NEW(colbase)
ZELMOR_DEFINE_TP_NEW(rocolbase)

#undef ZELMOR_DEFINE_TP_NEW
#undef ZELMOR_DEFINE_KIND

PyObject* wrpPye_tpsb_stream_tp_new(PyTypeObject* type, PyObject* args, PyObject* kwargs) {
    if (wrpPye_uafn_stream_invalidate() != 0) {
        return nullptr;
    }
    PyObject* self = zelmor::make_empty_wrapper(type, args, kwargs);
    if (self != nullptr) {
        wrpPye_init_fields_stream(reinterpret_cast<PyShStreamObject*>(self));
    }
    return self;
}

void wrpPye_init_fields_stream(PyShStreamObject* self) {
    self->closed = 0;
}

PyObject* wrpPye_bltp_stream_get_closed(PyObject* self, void*) {
    return PyBool_FromLong(reinterpret_cast<PyShStreamObject*>(self)->closed);
}

PyObject* wrpPye_bltp_idisposable_enter(PyObject* self, PyObject*) {
    return Py_NewRef(self);
}

// Whatever the body raised goes on: the arguments are not looked at.
PyObject* wrpPye_bltp_idisposable_exit(PyObject* self, PyObject*) {
    ObjectHost::get_instance().dispose(zelmor::handle_of(self));
    if (PyErr_Occurred()) {
        return nullptr;
    }
    Py_RETURN_NONE;
}

// Closed from now on, even if disposing failed.
PyObject* wrpPye_bltp_stream_exit(PyObject* self, PyObject* args) {
    PyObject* result = wrpPye_bltp_idisposable_exit(self, args);
    reinterpret_cast<PyShStreamObject*>(self)->closed = 1;
    return result;
}

namespace zelmor {

static const PyCFunction kGetType = reinterpret_cast<PyCFunction>(reinterpret_cast<void (*)()>(wrapClrObject_get_type));

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

PyMethodDef disposable_methods[] = {
    {"__enter__", wrpPye_bltp_idisposable_enter, METH_NOARGS, nullptr},
    {"__exit__", wrpPye_bltp_idisposable_exit, METH_VARARGS, nullptr},
    {"get_type", kGetType, METH_NOARGS, nullptr},
    ZELMOR_CAST_METHODS(idisposable),
};
PyMethodDef iter_methods[] = {{"get_type", kGetType, METH_NOARGS, nullptr}, ZELMOR_CAST_METHODS(iter)};
PyMethodDef iterable_methods[] = {{"get_type", kGetType, METH_NOARGS, nullptr}, ZELMOR_CAST_METHODS(iterable)};
PyMethodDef icol_methods[] = {{"get_type", kGetType, METH_NOARGS, nullptr}, ZELMOR_CAST_METHODS(icol)};
PyMethodDef ilist_methods[] = {{"get_type", kGetType, METH_NOARGS, nullptr}, ZELMOR_CAST_METHODS(ilist)};
PyMethodDef array_methods[] = {{"get_type", kGetType, METH_NOARGS, nullptr}, ZELMOR_CAST_METHODS(array)};
PyMethodDef arrlist_methods[] = {{"get_type", kGetType, METH_NOARGS, nullptr}, ZELMOR_CAST_METHODS(arrlist)};
PyMethodDef colbase_methods[] = {{"get_type", kGetType, METH_NOARGS, nullptr}, ZELMOR_CAST_METHODS(colbase)};
PyMethodDef rocolbase_methods[] = {{"get_type", kGetType, METH_NOARGS, nullptr}, ZELMOR_CAST_METHODS(rocolbase)};
PyMethodDef stream_methods[] = {
    {"get_type", kGetType, METH_NOARGS, nullptr},
    {"__enter__", wrpPye_bltp_idisposable_enter, METH_NOARGS, nullptr},
    {"__exit__", wrpPye_bltp_stream_exit, METH_VARARGS, nullptr},
    ZELMOR_CAST_METHODS(stream),
};
#undef ZELMOR_CAST_METHODS

PyGetSetDef stream_getset[] = {
    {"closed", wrpPye_bltp_stream_get_closed, nullptr, nullptr, nullptr},
    {nullptr, nullptr, nullptr, nullptr, nullptr},
};

}  // namespace zelmor
