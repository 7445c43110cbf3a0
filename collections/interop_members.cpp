// Validity, guards, construction and the private members of the interop wrappers.
//
// The functions of a kind differ in the kind alone; they carry its name so that they can be told apart in a debugger.
#include "collections/interop_members.h"

#include "collections/cast_members.h"
#include "collections/interop.h"
#include "exchange/object_host.h"

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

namespace zelmor {

PyMethodDef disposable_methods[] = {
    {"__enter__", wrpPye_bltp_idisposable_enter, METH_NOARGS, nullptr},
    {"__exit__", wrpPye_bltp_idisposable_exit, METH_VARARGS, nullptr},
    ZELMOR_GET_TYPE_METHOD,
    ZELMOR_CAST_METHODS(idisposable),
};
PyMethodDef iter_methods[] = {ZELMOR_GET_TYPE_METHOD, ZELMOR_CAST_METHODS(iter)};
PyMethodDef iterable_methods[] = {ZELMOR_GET_TYPE_METHOD, ZELMOR_CAST_METHODS(iterable)};
PyMethodDef icol_methods[] = {ZELMOR_GET_TYPE_METHOD, ZELMOR_CAST_METHODS(icol)};
PyMethodDef ilist_methods[] = {ZELMOR_GET_TYPE_METHOD, ZELMOR_CAST_METHODS(ilist)};
PyMethodDef array_methods[] = {ZELMOR_GET_TYPE_METHOD, ZELMOR_CAST_METHODS(array)};
PyMethodDef arrlist_methods[] = {ZELMOR_GET_TYPE_METHOD, ZELMOR_CAST_METHODS(arrlist)};
PyMethodDef colbase_methods[] = {ZELMOR_GET_TYPE_METHOD, ZELMOR_CAST_METHODS(colbase)};
PyMethodDef rocolbase_methods[] = {ZELMOR_GET_TYPE_METHOD, ZELMOR_CAST_METHODS(rocolbase)};

}  // namespace zelmor
