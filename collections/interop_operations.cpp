// The element operations of the interop wrappers: elements of any type, crossing as variants.
#include "collections/interop_operations.h"

#include "collections/access_calls.h"
#include "collections/interop.h"
#include "collections/sequence.h"
#include "pyshell/class_recipe.h"

namespace {

using zelmor::HostCalls;
using zelmor::SequenceAccess;
using zelmor::VariantElement;

constexpr SequenceAccess icol_access = zelmor::collection_access<HostCalls<PyHost_ph_ICol>, VariantElement>();
constexpr SequenceAccess ilist_access = zelmor::list_interface_access<zelmor::InteropIListCalls, VariantElement>();
constexpr SequenceAccess array_access = zelmor::array_access<HostCalls<PyHost_ph_Array>, VariantElement>();
constexpr SequenceAccess arrlist_access = zelmor::list_access<HostCalls<PyHost_ph_ArrList>, VariantElement>();

}  // namespace

#define ZELMOR_DEFINE_COLLECTION_OPERATIONS(kind)                                \
    Py_ssize_t wrpPye_bltp_##kind##_sq_length(PyObject* self) {                  \
        return zelmor::sequence_length(kind##_access, self);                     \
    }                                                                            \
    PyObject* wrpPye_bltp_##kind##_sq_concat(PyObject* self, PyObject* other) {  \
        return zelmor::sequence_concat(kind##_access, self, other);              \
    }                                                                            \
    PyObject* wrpPye_bltp_##kind##_sq_repeat(PyObject* self, Py_ssize_t count) { \
        return zelmor::sequence_repeat(kind##_access, self, count);              \
    }                                                                            \
    int wrpPye_bltp_##kind##_sq_contains(PyObject* self, PyObject* value) {      \
        return zelmor::sequence_contains_test(kind##_access, self, value);       \
    }                                                                            \
    PyObject* wrpPye_bltp_##kind##_count(PyObject* self, PyObject* value) {      \
        return zelmor::sequence_count(kind##_access, self, value);               \
    }                                                                            \
    PyObject* wrpPye_bltp_##kind##_contains(PyObject* self, PyObject* value) {   \
        return zelmor::sequence_contains(kind##_access, self, value);            \
    }                                                                            \
    PyObject* wrpPye_bltp_##kind##_copy(PyObject* self, PyObject*) {             \
        return zelmor::sequence_copy(kind##_access, self);                       \
    }                                                                            \
    PyObject* wrpPye_bltp_##kind##_get_length(PyObject* self, void*) {           \
        return zelmor::sequence_length_property(kind##_access, self);            \
    }

#define ZELMOR_DEFINE_ARRAY_OPERATIONS(kind)                                                 \
    ZELMOR_DEFINE_COLLECTION_OPERATIONS(kind)                                                \
    PyObject* wrpPye_bltp_##kind##_sq_item(PyObject* self, Py_ssize_t index) {               \
        return zelmor::sequence_item(kind##_access, self, index);                            \
    }                                                                                        \
    int wrpPye_bltp_##kind##_sq_ssitem(PyObject* self, Py_ssize_t index, PyObject* value) {  \
        return zelmor::sequence_assign_item(kind##_access, self, index, value);              \
    }                                                                                        \
    PyObject* wrpPye_bltp_##kind##_mp_subscript(PyObject* self, PyObject* key) {             \
        return zelmor::sequence_subscript(kind##_access, self, key);                         \
    }                                                                                        \
    int wrpPye_bltp_##kind##_mp_ssubscript(PyObject* self, PyObject* key, PyObject* value) { \
        return zelmor::sequence_assign_subscript(kind##_access, self, key, value);           \
    }                                                                                        \
    PyObject* wrpPye_bltp_##kind##_index(PyObject* self, PyObject* args) {                   \
        return zelmor::sequence_index(kind##_access, self, args);                            \
    }                                                                                        \
    PyObject* wrpPye_bltp_##kind##_sort(PyObject* self, PyObject* args, PyObject* kwargs) {  \
        return zelmor::sequence_sort(kind##_access, self, args, kwargs);                     \
    }                                                                                        \
    PyObject* wrpPye_bltp_##kind##_reverse(PyObject* self, PyObject*) {                      \
        return zelmor::sequence_reverse(kind##_access, self);                                \
    }

#define ZELMOR_DEFINE_LIST_OPERATIONS(kind)                                              \
    ZELMOR_DEFINE_ARRAY_OPERATIONS(kind)                                                 \
    PyObject* wrpPye_bltp_##kind##_sq_inplace_concat(PyObject* self, PyObject* other) {  \
        return zelmor::sequence_inplace_concat(kind##_access, self, other);              \
    }                                                                                    \
    PyObject* wrpPye_bltp_##kind##_sq_inplace_repeat(PyObject* self, Py_ssize_t count) { \
        return zelmor::sequence_inplace_repeat(kind##_access, self, count);              \
    }                                                                                    \
    PyObject* wrpPye_bltp_##kind##_append(PyObject* self, PyObject* value) {             \
        return zelmor::sequence_append(kind##_access, self, value);                      \
    }                                                                                    \
    PyObject* wrpPye_bltp_##kind##_insert(PyObject* self, PyObject* args) {              \
        return zelmor::sequence_insert(kind##_access, self, args);                       \
    }                                                                                    \
    PyObject* wrpPye_bltp_##kind##_extend(PyObject* self, PyObject* other) {             \
        return zelmor::sequence_extend(kind##_access, self, other);                      \
    }                                                                                    \
    PyObject* wrpPye_bltp_##kind##_remove(PyObject* self, PyObject* value) {             \
        return zelmor::sequence_remove(kind##_access, self, value);                      \
    }                                                                                    \
    PyObject* wrpPye_bltp_##kind##_pop(PyObject* self, PyObject* args) {                 \
        return zelmor::sequence_pop(kind##_access, self, args);                          \
    }                                                                                    \
    PyObject* wrpPye_bltp_##kind##_clear(PyObject* self, PyObject*) {                    \
        return zelmor::sequence_clear(kind##_access, self);                              \
    }

ZELMOR_DEFINE_COLLECTION_OPERATIONS(icol)
ZELMOR_DEFINE_LIST_OPERATIONS(ilist)
ZELMOR_DEFINE_ARRAY_OPERATIONS(array)
ZELMOR_DEFINE_LIST_OPERATIONS(arrlist)

PyObject* wrpPye_bltp_iterable_iter(PyObject* self) {
    return zelmor::sequence_iterate(
        [](void* handle, PyObjectOutArg* out) {
            return PyHost_ph_Iterable::get_instance().get_enumerator(handle, out);
        },
        self, &wrpPye_tyds_FFFFFFFF_IterWrapper);
}

PyObject* wrpPye_bltp_iter_iter(PyObject* self) {
    return Py_NewRef(self);
}

PyObject* wrpPye_bltp_iter_iternext(PyObject* self) {
    PyObject* element = nullptr;
    const int status = PyHost_ph_Iter::get_instance().move_next(zelmor::handle_of(self), &element);
    if (status != zelmor::kDelivered || PyErr_Occurred() != nullptr) {
        return zelmor::sequence_no_next(status);
    }
    return zelmor::VariantElement::show(element);
}
