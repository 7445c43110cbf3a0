// How one element crosses the boundary, by the kind of its type. Every collection algorithm is a template over such a
// policy.
//
// An element policy has
//   Slot    the empty record that a converter fills from a Python value
//   Arg     what a delegate takes
//   Out     what an accessor delivers through a pointer
//   read    Python value to slot; false with a Python error set
//   pass    slot to argument
//   show    delivered element to a new Python reference
//   kTrails whether an unchecked read delivers its element through a trailing pointer, instead of returning it
#ifndef ZELMOR_COLLECTIONS_ELEMENT_POLICIES_H
#define ZELMOR_COLLECTIONS_ELEMENT_POLICIES_H

#include <cstdint>

#include "collections/element_access.h"
#include "convert/bytes.h"
#include "convert/scalars.h"
#include "convert/strings.h"
#include "exchange/records.h"
#include "pyshell/class_recipe.h"
#include "pyshell/python.h"
#include "pyshell/result_typing.h"
#include "pyshell/sibling_converters.h"

namespace zelmor {

// A number, as the machine type of its width.
template <class T, int (*Read)(PyObject*, T*), auto Show>
struct ScalarElement {
    using Slot = T;
    using Arg = T;
    using Out = T;
    static constexpr bool kTrails = false;
    static bool read(PyObject* value, Slot& slot) { return Read(value, &slot) != 0; }
    static Arg pass(Slot& slot) { return slot; }
    static PyObject* show(Out& out) { return Show(out); }
};

using Int8Element = ScalarElement<signed char, fn_conv_py_long_to_clr_int8, PyLong_FromLong>;
using Int16Element = ScalarElement<short, fn_conv_py_long_to_clr_int16, PyLong_FromLong>;
using Int32Element = ScalarElement<int, fn_conv_py_long_to_clr_int32, PyLong_FromLong>;
using Int64Element = ScalarElement<long, fn_conv_py_long_to_clr_int64, PyLong_FromLongLong>;
using UInt16Element = ScalarElement<unsigned short, fn_conv_py_ulong_to_clr_uint16, PyLong_FromUnsignedLong>;
using UInt32Element = ScalarElement<unsigned int, fn_conv_py_ulong_to_clr_uint32, PyLong_FromUnsignedLong>;
using UInt64Element = ScalarElement<unsigned long, fn_conv_py_ulong_to_clr_uint64, PyLong_FromUnsignedLongLong>;
using FloatElement = ScalarElement<float, fn_conv_py_float_to_clr_float, PyFloat_FromDouble>;
using DoubleElement = ScalarElement<double, fn_conv_py_float_to_clr_double, PyFloat_FromDouble>;

// An enumeration: 32 bits in a collection, whatever the width of its own.
template <class Width, int (*Read)(PyObject*, Width*), PyObject* (*Show)(Width)>
struct EnumElement {
    using Slot = int;
    using Arg = int;
    using Out = int;
    static constexpr bool kTrails = false;
    static bool read(PyObject* value, Slot& slot) {
        Width narrow{};
        if (Read(value, &narrow) == 0) {
            return false;
        }
        slot = static_cast<int>(narrow);
        return true;
    }
    static Arg pass(Slot& slot) { return slot; }
    static PyObject* show(Out& out) { return Show(static_cast<Width>(out)); }
};

// Text: a view of the Python string in, a ready Python object out.
struct StringElement {
    struct Slot : PyStringArg {
        Slot() : PyStringArg{-1, 0, nullptr} {}
    };
    using Arg = const PyStringArg*;
    using Out = PyObject*;
    static constexpr bool kTrails = false;
    static bool read(PyObject* value, Slot& slot) { return fn_conv_py_string_to_clr_string(value, &slot) != 0; }
    static Arg pass(Slot& slot) { return &slot; }
    static PyObject* show(Out& out) { return none_if_null(out); }
};

// A byte array: a buffer in, locked for the length of the call, a ready Python object out.
struct BytesElement {
    using Slot = PyBytesArgBuilder;
    using Arg = const PyBytesArg*;
    using Out = PyObject*;
    static constexpr bool kTrails = false;
    static bool read(PyObject* value, Slot& slot) { return fn_conv_py_bytes_to_clr_bytes(value, &slot) != 0; }
    static Arg pass(Slot& slot) { return slot.get_info(); }
    static PyObject* show(Out& out) { return none_if_null(out); }
};

// Anything: a variant in, a ready Python object out.
struct VariantElement {
    using Slot = VariantArg;
    using Arg = const VariantArg*;
    using Out = PyObject*;
    static constexpr bool kTrails = false;
    static bool read(PyObject* value, Slot& slot) { return read_variant_element(value, &slot); }
    static Arg pass(Slot& slot) { return &slot; }
    static PyObject* show(Out& out) { return none_if_null(out); }
};

// A class: its bare handle.
template <int (*Read)(PyObject*, void**), PyObject* (*Show)(void*)>
struct ClassElement {
    using Slot = void*;
    using Arg = void*;
    using Out = void*;
    static constexpr bool kTrails = false;
    static bool read(PyObject* value, Slot& slot) { return Read(value, &slot) != 0; }
    static Arg pass(Slot& slot) { return slot; }
    static PyObject* show(Out& out) { return Show(out); }
};

// A struct: a tagged handle in, the handle of a copy out.
template <int (*Read)(PyObject*, VariantArg*), PyObject* (*Show)(void*)>
struct StructElement {
    using Slot = VariantArg;
    using Arg = const VariantArg*;
    using Out = void*;
    static constexpr bool kTrails = false;
    static bool read(PyObject* value, Slot& slot) { return Read(value, &slot) != 0; }
    static Arg pass(Slot& slot) { return &slot; }
    static PyObject* show(Out& out) { return Show(out); }
};

// An interface: a tagged handle in, a handle with its run-time type out.
template <int (*Read)(PyObject*, VariantArg*), PyObject* (*Show)(const PyObjectOutArg&)>
struct InterfaceElement {
    using Slot = VariantArg;
    using Arg = const VariantArg*;
    using Out = PyObjectOutArg;
    static constexpr bool kTrails = true;
    static bool read(PyObject* value, Slot& slot) { return Read(value, &slot) != 0; }
    static Arg pass(Slot& slot) { return &slot; }
    static PyObject* show(Out& out) { return Show(out); }
};

// A class of a sibling module. The converters are pointers that the import fills in.
template <ZelmorPyToHandle* Read, ZelmorHandleToPy* Show>
struct SiblingClassElement {
    using Slot = void*;
    using Arg = void*;
    using Out = void*;
    static constexpr bool kTrails = false;
    static bool read(PyObject* value, Slot& slot) { return (*Read)(value, &slot) != 0; }
    static Arg pass(Slot& slot) { return slot; }
    static PyObject* show(Out& out) { return (*Show)(out); }
};

// A value record of a sibling module, by pointer in both directions.
template <class Record, int (**Read)(PyObject*, Record*), PyObject* (**Show)(const Record*)>
struct SiblingRecordElement {
    using Slot = Record;
    using Arg = const Record*;
    using Out = Record;
    static constexpr bool kTrails = true;
    static bool read(PyObject* value, Slot& slot) { return (*Read)(value, &slot) != 0; }
    static Arg pass(Slot& slot) { return &slot; }
    static PyObject* show(Out& out) { return (*Show)(&out); }
};

// An array inside an array: a tagged handle in, since a Python list may stand for it; a bare handle out.
template <int (*Read)(PyObject*, VariantArg*), PyTypeObject* Type>
struct ArrayElement {
    using Slot = VariantArg;
    using Arg = const VariantArg*;
    using Out = void*;
    static constexpr bool kTrails = false;
    static bool read(PyObject* value, Slot& slot) { return Read(value, &slot) != 0; }
    static Arg pass(Slot& slot) { return &slot; }
    static PyObject* show(Out& out) { return fn_conv_clr_clsobj_to_py_clsobj(out, Type); }
};

// The signature of an unchecked read: the element returned, or delivered through a trailing pointer.
template <class Element, bool = Element::kTrails>
struct UncheckedRead {
    using Delegate = typename Element::Out (*)(void*, int);
    static typename Element::Out call(Delegate delegate, void* handle, int index) { return delegate(handle, index); }
};
template <class Element>
struct UncheckedRead<Element, true> {
    using Delegate = void (*)(void*, int, typename Element::Out*);
    static typename Element::Out call(Delegate delegate, void* handle, int index) {
        typename Element::Out out{};
        delegate(handle, index, &out);
        return out;
    }
};

}  // namespace zelmor

#endif  // ZELMOR_COLLECTIONS_ELEMENT_POLICIES_H
