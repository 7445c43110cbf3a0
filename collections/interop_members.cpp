// Validity, guards, construction and the private members of the interop wrappers.
//
// The functions of the kinds are alike. Each has the name of its kind, so that a debugger shows which one runs.
#include "collections/interop_members.h"

#include "collections/cast_members.h"
#include "collections/interop.h"
#include "collections/interop_operations.h"
#include "exchange/object_host.h"

#define ZELMOR_DEFINE_TP_NEW(kind)                                                    \
    PyObject* wrpPye_tpsb_##kind##_tp_new(PyTypeObject* type, PyObject*, PyObject*) { \
        if (wrpPye_uafn_##kind##_invalidate() != 0) {                                 \
            return nullptr;                                                           \
        }                                                                             \
        return zelmor::make_empty_wrapper(type);                                      \
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

// An exception of the body is not suppressed; the arguments that describe it are ignored.
PyObject* wrpPye_bltp_idisposable_exit(PyObject* self, PyObject*) {
    ObjectHost::get_instance().dispose(zelmor::handle_of(self));
    if (PyErr_Occurred() != nullptr) {
        return nullptr;
    }
    Py_RETURN_NONE;
}

// The methods of a kind, in table order: growing and shrinking, order and search, counting.
// clang-format off
#define ZELMOR_LIST_METHODS(kind)                                      \
    {"append", wrpPye_bltp_##kind##_append, METH_O, nullptr},          \
    {"insert", wrpPye_bltp_##kind##_insert, METH_VARARGS, nullptr},    \
    {"extend", wrpPye_bltp_##kind##_extend, METH_O, nullptr},          \
    {"remove", wrpPye_bltp_##kind##_remove, METH_O, nullptr},          \
    {"pop", wrpPye_bltp_##kind##_pop, METH_VARARGS, nullptr},          \
    {"clear", wrpPye_bltp_##kind##_clear, METH_NOARGS, nullptr}
#define ZELMOR_ARRAY_METHODS(kind)                                     \
    {"index", wrpPye_bltp_##kind##_index, METH_VARARGS, nullptr},      \
    {"sort", ZELMOR_KEYWORD_METHOD(wrpPye_bltp_##kind##_sort), METH_VARARGS | METH_KEYWORDS, nullptr}, \
    {"reverse", wrpPye_bltp_##kind##_reverse, METH_NOARGS, nullptr}
#define ZELMOR_COLLECTION_METHODS(kind)                                \
    {"count", wrpPye_bltp_##kind##_count, METH_O, nullptr},            \
    {"contains", wrpPye_bltp_##kind##_contains, METH_O, nullptr},      \
    {"copy", wrpPye_bltp_##kind##_copy, METH_NOARGS, nullptr}
#define ZELMOR_LENGTH_PROPERTY(kind)                                   \
    {                                                                  \
        {"length", wrpPye_bltp_##kind##_get_length, nullptr, nullptr, nullptr}, \
        {nullptr, nullptr, nullptr, nullptr, nullptr}                  \
    }
// clang-format on

// Slots that are not named stay null and are left to PyType_Ready.
#pragma GCC diagnostic ignored "-Wmissing-field-initializers"

namespace zelmor {

PyMethodDef disposable_methods[] = {
    {"__enter__", wrpPye_bltp_idisposable_enter, METH_NOARGS, nullptr},
    {"__exit__", wrpPye_bltp_idisposable_exit, METH_VARARGS, nullptr},
    ZELMOR_GET_TYPE_METHOD,
    ZELMOR_CAST_METHODS(idisposable),
};
PyMethodDef iter_methods[] = {ZELMOR_GET_TYPE_METHOD, ZELMOR_CAST_METHODS(iter)};
PyMethodDef iterable_methods[] = {ZELMOR_GET_TYPE_METHOD, ZELMOR_CAST_METHODS(iterable)};
PyMethodDef icol_methods[] = {ZELMOR_COLLECTION_METHODS(icol), ZELMOR_GET_TYPE_METHOD, ZELMOR_CAST_METHODS(icol)};
PyMethodDef ilist_methods[] = {ZELMOR_LIST_METHODS(ilist), ZELMOR_ARRAY_METHODS(ilist),
                               ZELMOR_COLLECTION_METHODS(ilist), ZELMOR_GET_TYPE_METHOD, ZELMOR_CAST_METHODS(ilist)};
PyMethodDef array_methods[] = {ZELMOR_ARRAY_METHODS(array), ZELMOR_COLLECTION_METHODS(array), ZELMOR_GET_TYPE_METHOD,
                               ZELMOR_CAST_METHODS(array)};
PyMethodDef arrlist_methods[] = {ZELMOR_LIST_METHODS(arrlist), ZELMOR_ARRAY_METHODS(arrlist),
                                 ZELMOR_COLLECTION_METHODS(arrlist), ZELMOR_GET_TYPE_METHOD,
                                 ZELMOR_CAST_METHODS(arrlist)};
PyMethodDef colbase_methods[] = {ZELMOR_LIST_METHODS(ilist), ZELMOR_ARRAY_METHODS(ilist),
                                 ZELMOR_COLLECTION_METHODS(ilist), ZELMOR_GET_TYPE_METHOD,
                                 ZELMOR_CAST_METHODS(colbase)};
PyMethodDef rocolbase_methods[] = {ZELMOR_COLLECTION_METHODS(icol), ZELMOR_GET_TYPE_METHOD,
                                   ZELMOR_CAST_METHODS(rocolbase)};

PySequenceMethods icol_sequence = {
    .sq_length = wrpPye_bltp_icol_sq_length,
    .sq_concat = wrpPye_bltp_icol_sq_concat,
    .sq_repeat = wrpPye_bltp_icol_sq_repeat,
    .sq_contains = wrpPye_bltp_icol_sq_contains,
};

// clang-format off
#define ZELMOR_ARRAY_SLOTS(kind)                        \
    .sq_length = wrpPye_bltp_##kind##_sq_length,        \
    .sq_concat = wrpPye_bltp_##kind##_sq_concat,        \
    .sq_repeat = wrpPye_bltp_##kind##_sq_repeat,        \
    .sq_item = wrpPye_bltp_##kind##_sq_item,            \
    .sq_ass_item = wrpPye_bltp_##kind##_sq_ssitem,      \
    .sq_contains = wrpPye_bltp_##kind##_sq_contains
#define ZELMOR_MAPPING(kind)                            \
    {                                                   \
        wrpPye_bltp_##kind##_sq_length,                 \
        wrpPye_bltp_##kind##_mp_subscript,              \
        wrpPye_bltp_##kind##_mp_ssubscript,             \
    }
// clang-format on

// An array has no in-place forms: `+=` and `*=` fall back to `+` and `*`.
PySequenceMethods array_sequence = {ZELMOR_ARRAY_SLOTS(array)};
PySequenceMethods ilist_sequence = {
    ZELMOR_ARRAY_SLOTS(ilist),
    .sq_inplace_concat = wrpPye_bltp_ilist_sq_inplace_concat,
    .sq_inplace_repeat = wrpPye_bltp_ilist_sq_inplace_repeat,
};
PySequenceMethods arrlist_sequence = {
    ZELMOR_ARRAY_SLOTS(arrlist),
    .sq_inplace_concat = wrpPye_bltp_arrlist_sq_inplace_concat,
    .sq_inplace_repeat = wrpPye_bltp_arrlist_sq_inplace_repeat,
};

PyMappingMethods ilist_mapping = ZELMOR_MAPPING(ilist);
PyMappingMethods array_mapping = ZELMOR_MAPPING(array);
PyMappingMethods arrlist_mapping = ZELMOR_MAPPING(arrlist);

PyGetSetDef icol_getset[] = ZELMOR_LENGTH_PROPERTY(icol);
PyGetSetDef ilist_getset[] = ZELMOR_LENGTH_PROPERTY(ilist);
PyGetSetDef array_getset[] = ZELMOR_LENGTH_PROPERTY(array);
PyGetSetDef arrlist_getset[] = ZELMOR_LENGTH_PROPERTY(arrlist);

}  // namespace zelmor
