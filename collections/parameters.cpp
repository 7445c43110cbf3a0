// The converters of collection parameters: a wrapper is passed as its handle, a Python collection as a reference,
// through which the managed side reads it by the callbacks while the call runs.
//
// The kinds differ in the wrappers that they accept without asking the managed side, and in the shapes of Python
// collection that they accept. A wrapped object is never treated as a Python collection, even if it behaves like one.
#include <cassert>

#include "collections/cast_members.h"
#include "collections/interop.h"
#include "collections/parameter_steps.h"
#include "collections/sequence_support.h"
#include "exchange/wire/tags.h"
#include "pyshell/markers.h"

using zelmor::handle_of;

namespace {

using Shape = int (*)(PyObject* object);  // a tag of HandleTag, or kNoShape
constexpr int kNoShape = -1;

int list_or_sequence(PyObject* object) {
    if (PyList_Check(object)) {
        return kHandlePyObject;
    }
    return zelmor::is_sized_sequence(object) ? kHandlePySequence : kNoShape;
}

int sized_iterable(PyObject* object) {
    return PyShlObject_HasLength(object) && PyShlObject_HasIter(object) ? kHandlePyObject : kNoShape;
}

int iterable(PyObject* object) {
    return PyShlObject_HasIter(object) ? kHandlePyObject : kNoShape;
}
int iterator(PyObject* object) {
    return PyIter_Check(object) ? kHandlePyObject : kNoShape;
}
int no_shape(PyObject*) {
    return kNoShape;
}

int pass(VariantArg* out, int tag, void* value) {
    *out = {tag, value};
    return 1;
}

// The last attempt: a Python object of a shape that the managed side can read.
int convert_shape(PyObject* object, VariantArg* out, const char* what, Shape shape) {
    const int tag = shape(object);
    return tag == kNoShape ? zelmor::refuse_value(what, object) : pass(out, tag, object);
}

template <class Kind>
int convert_class(PyObject* object, VariantArg* out, const char* what) {
    return zelmor::convert_class_parameter(object, out,
                                           {what, Kind::type, Kind::guard, [](void* handle) {
                                                return Kind::Host::get_instance().casts().is_assignable(handle);
                                            }});
}

// A parameter of an interface. The wrapper type itself and types that are marked to implement it are accepted as they
// are; any other wrapper, also of a struct, is accepted if the managed side says that it is assignable.
template <class Kind>
int convert_interface(PyObject* object, VariantArg* out, const char* what, Shape shape) {
    assert(object != nullptr && out != nullptr);
    if (object == Py_None) {
        return pass(out, kHandleObject, nullptr);
    }
    if (Py_IS_TYPE(object, Kind::type)) {
        return pass(out, kHandleObject, handle_of(object));
    }
    int kind = 0;
    if (fn_is_this_module_clr_instance(object, &kind) && fn_contains_additional_ifc_markattr(object, Kind::type)) {
        return pass(out, kind, handle_of(object));
    }
    VariantArg value = {};
    if (!fn_conv_py_obj_to_clr_gen_not_null_handle(object, &value)) {
        return convert_shape(object, out, what, shape);
    }
    if (Kind::guard() != 0) {
        return 0;
    }
    if (!zelmor::accept_assignable(Kind::Host::get_instance().casts().is_assignable(&value), what, object)) {
        return 0;
    }
    *out = value;
    return 1;
}

}  // namespace

namespace zelmor {

// The wrapper type and its subtypes are accepted as they are; any other class wrapper is accepted if the managed side
// says that it is assignable.
int convert_class_parameter(PyObject* object, VariantArg* out, const ClassParameter& parameter) {
    assert(object != nullptr && out != nullptr);
    assert(parameter.what != nullptr && parameter.guard != nullptr && parameter.is_assignable != nullptr);
    if (object == Py_None) {
        return pass(out, kHandleObject, nullptr);
    }
    if (parameter.type != nullptr && PyObject_TypeCheck(object, parameter.type)) {
        return pass(out, kHandleObject, handle_of(object));
    }
    void* handle = nullptr;
    if (!fn_conv_py_obj_to_clr_refobj_not_null_handle(object, &handle)) {
        return convert_shape(object, out, parameter.what, list_or_sequence);
    }
    if (parameter.guard() != 0) {
        return 0;
    }
    if (!accept_assignable(parameter.is_assignable(handle) != 0, parameter.what, object)) {
        return 0;
    }
    return pass(out, kHandleObject, handle);
}

}  // namespace zelmor

int wrpPye_conv_py_to_clr_array(PyObject* object, VariantArg* out) {
    return convert_class<zelmor::ArrayKind>(object, out, "Array");
}

int wrpPye_conv_py_to_clr_arrlist(PyObject* object, VariantArg* out) {
    return convert_class<zelmor::ArrListKind>(object, out, "ArrayList");
}

int wrpPye_conv_py_to_clr_colbase(PyObject* object, VariantArg* out) {
    return convert_class<zelmor::ColBaseKind>(object, out, "CollectionBase");
}

int wrpPye_conv_py_to_clr_rocolbase(PyObject* object, VariantArg* out) {
    return convert_class<zelmor::RoColBaseKind>(object, out, "ReadOnlyCollectionBase");
}

int wrpPye_conv_py_to_clr_ilist(PyObject* object, VariantArg* out) {
    return convert_interface<zelmor::IListKind>(object, out, "List", list_or_sequence);
}

// Its message names a list as well.
int wrpPye_conv_py_to_clr_icollection(PyObject* object, VariantArg* out) {
    return convert_interface<zelmor::IColKind>(object, out, "List", sized_iterable);
}

int wrpPye_conv_py_to_clr_iterable(PyObject* object, VariantArg* out) {
    return convert_interface<zelmor::IterableKind>(object, out, "IEnumerable", iterable);
}

int wrpPye_conv_py_to_clr_iter(PyObject* object, VariantArg* out) {
    return convert_interface<zelmor::IterKind>(object, out, "IEnumerator", iterator);
}

int wrpPye_conv_py_to_clr_idisposable(PyObject* object, VariantArg* out) {
    return convert_interface<zelmor::DisposableKind>(object, out, "IDisposable", no_shape);
}
