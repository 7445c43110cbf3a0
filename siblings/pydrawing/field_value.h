// Value types whose record is a row of numbers of one kind: points and rectangles.
//
// An instance holds the record itself and no handle, so that it needs no managed call. It is immutable, so that it can
// be hashed and shared. A type supplies its names and its field converter as a traits class; the slots are written here
// once for all types.
#ifndef ZELMOR_SIBLINGS_PYDRAWING_FIELD_VALUE_H
#define ZELMOR_SIBLINGS_PYDRAWING_FIELD_VALUE_H

#include <array>
#include <bit>
#include <cassert>
#include <cstddef>
#include <cstdint>

#include "pyshell/class_recipe.h"
#include "pyshell/py_ref.h"
#include "pyshell/python.h"
#include "siblings/common/static_type.h"

namespace zelmor::siblings {

template <class Record>
struct ValueObject {
    PyObject ob_base;
    Record value;
};

// "O&" converters of the fields. A single-precision number is stored in the double of the record: after a round trip
// through the managed side it equals the original. An integer has to fit 32 bits.
int read_single_field(PyObject* value, double* out);
int read_int32_field(PyObject* value, int32_t* out);

inline PyObject* field_to_py(double value) {
    return PyFloat_FromDouble(value);
}
inline PyObject* field_to_py(int32_t value) {
    return PyLong_FromLong(value);
}
inline int read_field(PyObject* value, double* out) {
    return read_single_field(value, out);
}
inline int read_field(PyObject* value, int32_t* out) {
    return read_int32_field(value, out);
}

// Traits: Record, Field, kFieldCount, kName (simple), kDottedName, kFields (names, in record order), kFormat (of the
// constructor's arguments).
template <class Traits>
class FieldValue {
 public:
    using Record = typename Traits::Record;
    using Field = typename Traits::Field;
    using Fields = std::array<Field, Traits::kFieldCount>;
    using Object = ValueObject<Record>;
    static_assert(sizeof(Record) == sizeof(Fields));

    static PyTypeObject type;  // defined with the traits

    static const Record& record(PyObject* self) { return reinterpret_cast<Object*>(self)->value; }
    static Fields fields(PyObject* self) { return std::bit_cast<Fields>(record(self)); }

    static PyObject* make(const Record& value) { return make_of_type(&type, value); }

    // "O&" converter into a record of the caller.
    static int from_python(PyObject* value, Record* out) {
        assert(value != nullptr && out != nullptr);
        if (!PyObject_TypeCheck(value, &type)) {
            return refuse_value(Traits::kName, value);
        }
        *out = record(value);
        return 1;
    }

    static PyObject* to_python(const Record* value) {
        assert(value != nullptr);
        return make(*value);
    }

    static PyObject* as_tuple(PyObject* self) {
        PyRef tuple = PyRef::steal(PyTuple_New(Traits::kFieldCount));
        if (!tuple) {
            return nullptr;
        }
        Py_ssize_t index = 0;
        for (const Field field : fields(self)) {
            PyObject* item = field_to_py(field);
            if (item == nullptr) {
                return nullptr;
            }
            PyTuple_SET_ITEM(tuple.get(), index++, item);
        }
        return tuple.release();
    }

    // All fields, by position or by name, or none for the value of zeros.
    static PyObject* tp_new(PyTypeObject* subtype, PyObject* args, PyObject* kwargs) {
        Fields values{};
        if (PyTuple_GET_SIZE(args) != 0 || (kwargs != nullptr && PyDict_GET_SIZE(kwargs) != 0)) {
            if (!parse(args, kwargs, values)) {
                return nullptr;
            }
        }
        return make_of_type(subtype, std::bit_cast<Record>(values));
    }

    static PyObject* tp_repr(PyObject* self) {
        PyRef values = PyRef::steal(as_tuple(self));
        PyRef names = PyRef::steal(PyTuple_New(Traits::kFieldCount));
        if (!values || !names) {
            return nullptr;
        }
        for (Py_ssize_t index = 0; index < Py_ssize_t{Traits::kFieldCount}; ++index) {
            PyObject* part =
                PyUnicode_FromFormat("%s=%R", Traits::kFields[index], PyTuple_GET_ITEM(values.get(), index));
            if (part == nullptr) {
                return nullptr;
            }
            PyTuple_SET_ITEM(names.get(), index, part);
        }
        PyRef comma = PyRef::steal(PyUnicode_FromString(", "));
        PyRef joined = PyRef::steal(comma ? PyUnicode_Join(comma.get(), names.get()) : nullptr);
        return joined ? PyUnicode_FromFormat("%s(%U)", Traits::kName, joined.get()) : nullptr;
    }

    static Py_hash_t tp_hash(PyObject* self) {
        PyRef values = PyRef::steal(as_tuple(self));
        return values ? PyObject_Hash(values.get()) : -1;
    }

    static PyObject* tp_richcompare(PyObject* self, PyObject* other, int op) {
        if ((op != Py_EQ && op != Py_NE) || !PyObject_TypeCheck(other, &type)) {
            Py_RETURN_NOTIMPLEMENTED;
        }
        // Compared as numbers: zeros of either sign are equal, and a NaN is equal to nothing.
        return PyBool_FromLong((fields(self) == fields(other)) == (op == Py_EQ) ? 1 : 0);
    }

    static PyObject* tp_iter(PyObject* self) {
        PyRef values = PyRef::steal(as_tuple(self));
        return values ? PyObject_GetIter(values.get()) : nullptr;
    }

    static PyObject* reduce(PyObject* self, PyObject*) {
        PyObject* values = as_tuple(self);
        return values == nullptr ? nullptr : Py_BuildValue("(ON)", Py_TYPE(self), values);
    }

    // Getter of field number `Index`.
    template <size_t Index>
    static PyObject* get_field(PyObject* self, void*) {
        return field_to_py(fields(self)[Index]);
    }

    // The record of the static type; `getset` and `methods` are the type's own tables.
    static constexpr PyTypeObject type_record(PyGetSetDef* getset, PyMethodDef* methods, const char* doc) {
        PyTypeObject record = static_type(Traits::kDottedName, sizeof(Object));
        record.tp_repr = tp_repr;
        record.tp_hash = tp_hash;
        record.tp_richcompare = tp_richcompare;
        record.tp_iter = tp_iter;
        record.tp_new = tp_new;
        record.tp_getset = getset;
        record.tp_methods = methods;
        record.tp_doc = doc;
        return record;
    }

 private:
    static PyObject* make_of_type(PyTypeObject* subtype, const Record& value) {
        PyObject* self = subtype->tp_alloc(subtype, 0);
        if (self != nullptr) {
            reinterpret_cast<Object*>(self)->value = value;
        }
        return self;
    }

    static bool parse(PyObject* args, PyObject* kwargs, Fields& values) {
        const auto converter = static_cast<int (*)(PyObject*, Field*)>(read_field);
        std::array<char*, Traits::kFieldCount + 1> keywords{};
        for (size_t index = 0; index < Traits::kFieldCount; ++index) {
            keywords[index] = const_cast<char*>(Traits::kFields[index]);
        }
        if constexpr (Traits::kFieldCount == 2) {
            return PyArg_ParseTupleAndKeywords(args, kwargs, Traits::kFormat, keywords.data(), converter, &values[0],
                                               converter, &values[1]) != 0;
        } else {
            static_assert(Traits::kFieldCount == 4);
            return PyArg_ParseTupleAndKeywords(args, kwargs, Traits::kFormat, keywords.data(), converter, &values[0],
                                               converter, &values[1], converter, &values[2], converter,
                                               &values[3]) != 0;
        }
    }
};

}  // namespace zelmor::siblings

#endif  // ZELMOR_SIBLINGS_PYDRAWING_FIELD_VALUE_H
