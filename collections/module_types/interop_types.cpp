// The records of the interop types. Compiled into each module under that module's name.
//
// None has a Python base: its markers name the interfaces that it implements. None has a public constructor: the
// managed side makes the instances.
#include "collections/interop.h"
#include "collections/interop_members.h"
#include "collections/interop_operations.h"
#include "convert/shl_buffer_view.h"
#include "streams/stream_wrapper.h"

// Slots that are not named stay null and are left to PyType_Ready.
#pragma GCC diagnostic ignored "-Wmissing-field-initializers"

#define ZELMOR_INTEROP_NAME(name) ZELMOR_MODULE_NAME "._wrpgen._interop." name

// The record of a kind that is a plain wrapper. The slots of wrapped objects are shared as they are, since a wrapper
// of this module is recognized by its deallocator.
// clang-format off
#define ZELMOR_INTEROP_TYPE(name, kind, method_table, sequence, mapping, iter, iternext, getset) \
    {                                                                         \
        .ob_base = {PyObject_HEAD_INIT(nullptr) 0},                           \
        .tp_name = ZELMOR_INTEROP_NAME(name),                                 \
        .tp_basicsize = sizeof(PyClrObject),                                  \
        .tp_dealloc = reinterpret_cast<destructor>(wrapClrObject_tp_dealloc), \
        .tp_repr = reinterpret_cast<reprfunc>(wrapClrObject_str),             \
        .tp_as_sequence = sequence,                                           \
        .tp_as_mapping = mapping,                                             \
        .tp_hash = reinterpret_cast<hashfunc>(wrapClrObject_hash),            \
        .tp_richcompare = wrapClrObject_tp_richcompare,                       \
        .tp_iter = iter,                                                      \
        .tp_iternext = iternext,                                              \
        .tp_methods = zelmor::method_table,                                   \
        .tp_getset = getset,                                                  \
        .tp_init = wrapClrObject_tp_init_fault,                               \
        .tp_alloc = PyType_GenericAlloc,                                      \
        .tp_new = wrpPye_tpsb_##kind##_tp_new,                                \
    }
// A kind with the element operations of `operations`, by index and slice or by iteration alone.
#define ZELMOR_INDEXED_TYPE(name, kind, operations)                                                                  \
    ZELMOR_INTEROP_TYPE(name, kind, kind##_methods, &zelmor::operations##_sequence, &zelmor::operations##_mapping,   \
                        wrpPye_bltp_iterable_iter, nullptr, zelmor::operations##_getset)
#define ZELMOR_COUNTED_TYPE(name, kind, operations)                                                                  \
    ZELMOR_INTEROP_TYPE(name, kind, kind##_methods, &zelmor::operations##_sequence, nullptr,                         \
                        wrpPye_bltp_iterable_iter, nullptr, zelmor::operations##_getset)
// clang-format on

PyTypeObject wrpPye_tyds_FFFFFFFF_IDisposableWrapper = ZELMOR_INTEROP_TYPE(
    "_IDisposableWrapper", idisposable, disposable_methods, nullptr, nullptr, nullptr, nullptr, nullptr);
PyTypeObject wrpPye_tyds_FFFFFFFF_IterWrapper = ZELMOR_INTEROP_TYPE(
    "_IterWrapper", iter, iter_methods, nullptr, nullptr, wrpPye_bltp_iter_iter, wrpPye_bltp_iter_iternext, nullptr);
PyTypeObject wrpPye_tyds_FFFFFFFF_IterableWrapper = ZELMOR_INTEROP_TYPE(
    "_IterableWrapper", iterable, iterable_methods, nullptr, nullptr, wrpPye_bltp_iterable_iter, nullptr, nullptr);
PyTypeObject wrpPye_tyds_FFFFFFFF_IColWrapper = ZELMOR_COUNTED_TYPE("_IColWrapper", icol, icol);
PyTypeObject wrpPye_tyds_FFFFFFFF_IListWrapper = ZELMOR_INDEXED_TYPE("_IListWrapper", ilist, ilist);
PyTypeObject wrpPye_tyds_FFFFFFFF_RoColBaseWrapper = ZELMOR_COUNTED_TYPE("_RoColBaseWrapper", rocolbase, icol);
PyTypeObject wrpPye_tyds_FFFFFFFF_ColBaseWrapper = ZELMOR_INDEXED_TYPE("_ColBaseWrapper", colbase, ilist);
PyTypeObject wrpPye_tyds_FFFFFFFF_ArrayWrapper = ZELMOR_INDEXED_TYPE("_ArrayWrapper", array, array);
PyTypeObject wrpPye_tyds_FFFFFFFF_ArrListWrapper = ZELMOR_INDEXED_TYPE("_ArrListWrapper", arrlist, arrlist);

// Without `tp_new`: only the bridge makes views.
static PyBufferProcs shl_buffer_procs = {wrpPye_blpt_shl_buffer_getbuffer, nullptr};
PyTypeObject wrpPye_tyds_FFFFFFFF_ShlBufferView = {
    .ob_base = {PyObject_HEAD_INIT(nullptr) 0},
    .tp_name = ZELMOR_INTEROP_NAME("_ShlBufferView"),
    .tp_basicsize = sizeof(PyShlBufferView),
    .tp_as_buffer = &shl_buffer_procs,
};

// It has no repr of its own, but that of `object`.
PyTypeObject wrpPye_tyds_FFFFFFFF_StreamWrapper = {
    .ob_base = {PyObject_HEAD_INIT(nullptr) 0},
    .tp_name = ZELMOR_INTEROP_NAME("_StreamWrapper"),
    .tp_basicsize = sizeof(PyShStreamObject),
    .tp_dealloc = reinterpret_cast<destructor>(wrapClrObject_tp_dealloc),
    .tp_hash = reinterpret_cast<hashfunc>(wrapClrObject_hash),
    .tp_richcompare = wrapClrObject_tp_richcompare,
    .tp_iter = wrpPye_bltp_stream_iter,
    .tp_iternext = wrpPye_bltp_stream_iternext,
    .tp_methods = zelmor::stream_methods,
    .tp_getset = zelmor::stream_getset,
    .tp_init = wrapClrObject_tp_init_fault,
    .tp_alloc = PyType_GenericAlloc,
    .tp_new = wrpPye_tpsb_stream_tp_new,
};
