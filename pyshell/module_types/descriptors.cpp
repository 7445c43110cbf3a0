// The four descriptor types. Compiled into each module under that module's name.
//
// None has a `tp_descr_set`: a static property is read-only as a descriptor, its writer is a method. None has a
// `tp_clear`: a cycle through a type is broken at the type.
#include "pyshell/descriptors.h"

namespace {

template <class Descriptor>
Descriptor* as(PyObject* object) {
    return reinterpret_cast<Descriptor*>(object);
}

// What the shared slots need to know of each kind.
const char* name_of(const PyShFieldDescrObject* descriptor) {
    return descriptor->getset->name;
}
const char* name_of(const PyShInstanceMethodDescrObject* descriptor) {
    return descriptor->ml->ml_name;
}
const char* name_of(const PyShStaticMethodDescrObject* descriptor) {
    return descriptor->ml->ml_name;
}
const char* name_of(const PyShMixMethodDescrObject* descriptor) {
    return descriptor->instance_ml->ml_name;
}

const char* doc_of(const PyShFieldDescrObject* descriptor) {
    return descriptor->getset->doc;
}
const char* doc_of(const PyShInstanceMethodDescrObject* descriptor) {
    return descriptor->ml->ml_doc;
}
const char* doc_of(const PyShStaticMethodDescrObject* descriptor) {
    return descriptor->ml->ml_doc;
}
const char* doc_of(const PyShMixMethodDescrObject* descriptor) {
    return descriptor->instance_ml->ml_doc;
}

// The argument `type` of `__get__`. Called by hand with an instance alone it is missing, and the instance tells it.
PyObject* given_type(PyObject* object, PyObject* type) {
    if (type != nullptr) {
        return type;
    }
    return object != nullptr ? reinterpret_cast<PyObject*>(Py_TYPE(object)) : Py_None;
}

bool is_type(const char* name, PyObject* type) {
    if (PyType_Check(type)) {
        return true;
    }
    PyErr_Format(PyExc_TypeError, "descriptor '%s' needs a type, not '%s', as arg 2", name, Py_TYPE(type)->tp_name);
    return false;
}

bool applies_to(const char* name, PyTypeObject* owner, PyObject* object) {
    if (PyObject_TypeCheck(object, owner)) {
        return true;
    }
    PyErr_Format(PyExc_TypeError, "descriptor '%s' for '%.100s' objects doesn't apply to a '%.100s' object", name,
                 owner->tp_name, Py_TYPE(object)->tp_name);
    return false;
}

PyObject* new_reference(PyShCMethodObject* method) {
    return Py_NewRef(reinterpret_cast<PyObject*>(method));
}

// The value is the same by class and by instance, so that the instance is not looked at.
PyObject* field_descr_get(PyObject* self, PyObject* object, PyObject* type) {
    const auto* descriptor = as<PyShFieldDescrObject>(self);
    if (!is_type(name_of(descriptor), given_type(object, type))) {
        return nullptr;
    }
    return descriptor->getset->get(nullptr, descriptor->getset->closure);
}

PyObject* instance_descr_get(PyObject* self, PyObject* object, PyObject* type) {
    const auto* descriptor = as<PyShInstanceMethodDescrObject>(self);
    const bool usable = object != nullptr ? applies_to(name_of(descriptor), descriptor->owner, object)
                                          : is_type(name_of(descriptor), given_type(object, type));
    return usable ? PyShCMethod_New(descriptor->owner, descriptor->ml, object) : nullptr;
}

PyObject* static_descr_get(PyObject* self, PyObject* object, PyObject* type) {
    const auto* descriptor = as<PyShStaticMethodDescrObject>(self);
    return is_type(name_of(descriptor), given_type(object, type)) ? new_reference(descriptor->method) : nullptr;
}

PyObject* mix_descr_get(PyObject* self, PyObject* object, PyObject* type) {
    const auto* descriptor = as<PyShMixMethodDescrObject>(self);
    if (object == nullptr) {
        return is_type(name_of(descriptor), given_type(object, type)) ? new_reference(descriptor->static_method)
                                                                      : nullptr;
    }
    if (!applies_to(name_of(descriptor), descriptor->owner, object)) {
        return nullptr;
    }
    return PyShCMethod_New(descriptor->owner, descriptor->instance_ml, object);
}

template <class Descriptor>
PyObject* descr_repr(PyObject* self, const char* format) {
    const auto* descriptor = as<Descriptor>(self);
    return PyUnicode_FromFormat(format, name_of(descriptor), descriptor->owner->tp_name);
}

PyObject* field_repr(PyObject* self) {
    return descr_repr<PyShFieldDescrObject>(self, "<attribute '%s' of '%s' objects>");
}

template <class Descriptor>
PyObject* method_repr(PyObject* self) {
    return descr_repr<Descriptor>(self, "<method '%s' of '%s' objects>");
}

template <class Descriptor>
PyObject* get_doc(PyObject* self, void*) {
    const char* doc = doc_of(as<Descriptor>(self));
    return doc != nullptr && *doc != '\0' ? PyUnicode_FromString(doc) : Py_NewRef(Py_None);
}

template <class Descriptor>
PyGetSetDef descr_getset[] = {
    {"__doc__", get_doc<Descriptor>, nullptr, nullptr, nullptr},
    {nullptr, nullptr, nullptr, nullptr, nullptr},
};

// The owner stands first in all four.
void owner_dealloc(PyObject* self) {
    PyObject_GC_UnTrack(self);
    Py_DECREF(as<PyShFieldDescrObject>(self)->owner);
    PyObject_GC_Del(self);
}

int owner_traverse(PyObject* self, visitproc visit, void* arg) {
    Py_VISIT(as<PyShFieldDescrObject>(self)->owner);
    return 0;
}

void static_dealloc(PyObject* self) {
    auto* descriptor = as<PyShStaticMethodDescrObject>(self);
    PyObject_GC_UnTrack(self);
    Py_DECREF(descriptor->owner);
    Py_DECREF(descriptor->method);
    PyObject_GC_Del(self);
}

int static_traverse(PyObject* self, visitproc visit, void* arg) {
    Py_VISIT(as<PyShStaticMethodDescrObject>(self)->owner);
    Py_VISIT(as<PyShStaticMethodDescrObject>(self)->method);
    return 0;
}

void mix_dealloc(PyObject* self) {
    auto* descriptor = as<PyShMixMethodDescrObject>(self);
    PyObject_GC_UnTrack(self);
    Py_DECREF(descriptor->owner);
    Py_DECREF(descriptor->static_method);
    PyObject_GC_Del(self);
}

int mix_traverse(PyObject* self, visitproc visit, void* arg) {
    Py_VISIT(as<PyShMixMethodDescrObject>(self)->owner);
    Py_VISIT(as<PyShMixMethodDescrObject>(self)->static_method);
    return 0;
}

// Static and instance methods share the slot: what it reads stands in the same place.
static_assert(offsetof(PyShStaticMethodDescrObject, owner) == offsetof(PyShInstanceMethodDescrObject, owner) &&
              offsetof(PyShStaticMethodDescrObject, ml) == offsetof(PyShInstanceMethodDescrObject, ml));

// `tp_getattro` is set since two of the types are used without having been readied: it readies them.
template <class Descriptor>
constexpr PyTypeObject descr_type(const char* name, destructor dealloc, reprfunc repr, traverseproc traverse,
                                  descrgetfunc get) {
    PyTypeObject type = {};
    type.ob_base = {PyObject_HEAD_INIT(&PyType_Type) 0};
    type.tp_name = name;
    type.tp_basicsize = sizeof(Descriptor);
    type.tp_dealloc = dealloc;
    type.tp_repr = repr;
    type.tp_getattro = PyObject_GenericGetAttr;
    type.tp_flags = Py_TPFLAGS_HAVE_GC;
    type.tp_traverse = traverse;
    type.tp_getset = descr_getset<Descriptor>;
    type.tp_descr_get = get;
    return type;
}

template <class Descriptor>
Descriptor* new_descriptor(PyTypeObject* type, PyTypeObject* owner) {
    Descriptor* descriptor = PyObject_GC_New(Descriptor, type);
    if (descriptor != nullptr) {
        Py_INCREF(owner);
        descriptor->owner = owner;
    }
    return descriptor;
}

template <class Descriptor>
PyObject* track(Descriptor* descriptor) {
    PyObject_GC_Track(descriptor);
    return reinterpret_cast<PyObject*>(descriptor);
}

}  // namespace

constinit PyTypeObject wrpPye_tyds_FFFFFFFF_FieldDescr = descr_type<PyShFieldDescrObject>(
    ZELMOR_MODULE_NAME "._FieldDescrType", owner_dealloc, field_repr, owner_traverse, field_descr_get);

constinit PyTypeObject wrpPye_tyds_FFFFFFFF_InstanceMethodDescr = descr_type<PyShInstanceMethodDescrObject>(
    ZELMOR_MODULE_NAME "._InstanceMethodDescrType", owner_dealloc, method_repr<PyShInstanceMethodDescrObject>,
    owner_traverse, instance_descr_get);

constinit PyTypeObject wrpPye_tyds_FFFFFFFF_StaticMethodDescr = descr_type<PyShStaticMethodDescrObject>(
    ZELMOR_MODULE_NAME "._StaticMethodDescrType", static_dealloc, method_repr<PyShInstanceMethodDescrObject>,
    static_traverse, static_descr_get);

constinit PyTypeObject wrpPye_tyds_FFFFFFFF_MixMethodDescr =
    descr_type<PyShMixMethodDescrObject>(ZELMOR_MODULE_NAME "._MixMethodDescrType", mix_dealloc,
                                         method_repr<PyShMixMethodDescrObject>, mix_traverse, mix_descr_get);

PyObject* PyShDescr_NewStaticField(PyTypeObject* owner, PyGetSetDef* getset) {
    auto* descriptor = new_descriptor<PyShFieldDescrObject>(&wrpPye_tyds_FFFFFFFF_FieldDescr, owner);
    if (descriptor == nullptr) {
        return nullptr;
    }
    descriptor->getset = getset;
    return track(descriptor);
}

PyObject* PyShDescr_NewInstanceMethod(PyTypeObject* owner, PyMethodDef* ml) {
    auto* descriptor = new_descriptor<PyShInstanceMethodDescrObject>(&wrpPye_tyds_FFFFFFFF_InstanceMethodDescr, owner);
    if (descriptor == nullptr) {
        return nullptr;
    }
    descriptor->ml = ml;
    return track(descriptor);
}

PyObject* PyShDescr_NewStaticMethod(PyTypeObject* owner, PyMethodDef* ml) {
    auto* descriptor = new_descriptor<PyShStaticMethodDescrObject>(&wrpPye_tyds_FFFFFFFF_StaticMethodDescr, owner);
    if (descriptor == nullptr) {
        return nullptr;
    }
    PyObject* method = PyShCMethod_New(owner, ml, nullptr);
    if (method == nullptr) {
        return nullptr;  // the half-made descriptor is left to leak on purpose: memory is exhausted
    }
    descriptor->ml = ml;
    descriptor->method = as<PyShCMethodObject>(method);
    return track(descriptor);
}

PyObject* PyShDescr_NewMixedMethod(PyTypeObject* owner, PyMethodDef* static_ml, PyMethodDef* instance_ml) {
    auto* descriptor = new_descriptor<PyShMixMethodDescrObject>(&wrpPye_tyds_FFFFFFFF_MixMethodDescr, owner);
    if (descriptor == nullptr) {
        return nullptr;
    }
    PyObject* method = PyShCMethod_New(owner, static_ml, nullptr);
    if (method == nullptr) {
        return nullptr;  // the half-made descriptor is left to leak on purpose: memory is exhausted
    }
    descriptor->static_method = as<PyShCMethodObject>(method);
    descriptor->instance_ml = instance_ml;
    return track(descriptor);
}
