// Small steps that several collection operations share.
#ifndef ZELMOR_COLLECTIONS_SEQUENCE_SUPPORT_H
#define ZELMOR_COLLECTIONS_SEQUENCE_SUPPORT_H

#include <algorithm>
#include <cassert>
#include <cstdint>
#include <limits>

#include "exchange/wire/records.h"
#include "pyshell/markers.h"
#include "pyshell/python.h"
#include "pyshell/wrapped_object.h"

namespace zelmor {

inline bool has_sequence_length(PyTypeObject* type) {
    return type->tp_as_sequence != nullptr && type->tp_as_sequence->sq_length != nullptr;
}

// A sequence whose length can be asked for.
inline bool is_sized_sequence(PyObject* object) {
    return PySequence_Check(object) != 0 && has_sequence_length(Py_TYPE(object));
}

inline bool is_list_or_tuple(PyObject* object) {
    return PyList_CheckExact(object) || PyTuple_CheckExact(object);
}

// The handle of a wrapped managed object or struct, this module's or a sibling's, with its kind as the tag.
inline bool read_managed(PyObject* object, VariantArg* out) {
    assert(object != nullptr && out != nullptr);
    int kind = 0;
    if (!fn_is_this_module_clr_instance(object, &kind) && !fn_is_instance_has_host_markattr(object, &kind)) {
        return false;
    }
    *out = {kind, reinterpret_cast<PyClrObject*>(object)->handle};
    return true;
}

// Indices, bounds and steps are 32 bits wide on the wire. A number that does not fit is replaced by the nearest one
// that does, which makes no difference: no collection is that long.
inline int to_wire_index(Py_ssize_t value) {
    return static_cast<int>(
        std::clamp<Py_ssize_t>(value, std::numeric_limits<int32_t>::min(), std::numeric_limits<int32_t>::max()));
}

inline bool fits_wire_index(Py_ssize_t value) {
    return to_wire_index(value) == value;
}

}  // namespace zelmor

// Whether an object can be iterated over, by its slots.
inline bool PyShlObject_HasIter(PyObject* object) {
    return Py_TYPE(object)->tp_iter != nullptr || PySequence_Check(object) != 0;
}

// Whether it has a length, as a sequence or as a mapping.
inline bool PyShlObject_HasLength(PyObject* object) {
    PyTypeObject* type = Py_TYPE(object);
    return zelmor::has_sequence_length(type) ||
           (type->tp_as_mapping != nullptr && type->tp_as_mapping->mp_length != nullptr);
}

#endif  // ZELMOR_COLLECTIONS_SEQUENCE_SUPPORT_H
