// Descriptors and the method object, for members that a static type's tables cannot hold: static properties, names
// that are a static method on the class and another method on an object, and the members of enumeration classes.
//
// Modeled on the interpreter's own method descriptors, down to the messages. The type records carry the module's name
// and are compiled once per module.
#ifndef ZELMOR_PYSHELL_DESCRIPTORS_H
#define ZELMOR_PYSHELL_DESCRIPTORS_H

#include <cstddef>

#include "pyshell/python.h"

struct PyShCMethodObject;

// One of the six call forms, chosen when the method object is made.
using PyShCMethodCall = PyObject* (*)(PyShCMethodObject* method, PyObject* args, PyObject* kwargs);

struct PyShCMethodObject {
    PyObject ob_base;
    PyMethodDef* ml;  // static data
    PyObject* self;   // owned; null for static and unbound use
    PyObject* weakreflist;
    PyTypeObject* owner;  // owned
    PyShCMethodCall call;
};
static_assert(sizeof(PyShCMethodObject) == 56);

struct PyShInstanceMethodDescrObject {
    PyObject ob_base;
    PyTypeObject* owner;  // owned
    PyMethodDef* ml;      // static data
};
static_assert(sizeof(PyShInstanceMethodDescrObject) == 32);

struct PyShStaticMethodDescrObject {
    PyObject ob_base;
    PyTypeObject* owner;        // owned
    PyMethodDef* ml;            // static data
    PyShCMethodObject* method;  // owned; the one object that serves all lookups
};
static_assert(sizeof(PyShStaticMethodDescrObject) == 40);

struct PyShMixMethodDescrObject {
    PyObject ob_base;
    PyTypeObject* owner;               // owned
    PyShCMethodObject* static_method;  // owned
    PyMethodDef* instance_ml;          // static data
};
static_assert(sizeof(PyShMixMethodDescrObject) == 40);

struct PyShFieldDescrObject {
    PyObject ob_base;
    PyTypeObject* owner;  // owned
    PyGetSetDef* getset;  // static data
};
static_assert(sizeof(PyShFieldDescrObject) == 32);

// The first two are readied and published with the root module. The other three are readied by the interpreter at the
// first attribute lookup on one of their objects; their slots work before that.
extern PyTypeObject wrpPye_tyds_FFFFFFFF_FieldDescr;
extern PyTypeObject wrpPye_tyds_FFFFFFFF_MixMethodDescr;
extern PyTypeObject wrpPye_tyds_FFFFFFFF_MethodObject;
extern PyTypeObject wrpPye_tyds_FFFFFFFF_InstanceMethodDescr;
extern PyTypeObject wrpPye_tyds_FFFFFFFF_StaticMethodDescr;

// All return a new reference, or null with an error. `ml` and `getset` have to outlive the object.
PyObject* PyShCMethod_New(PyTypeObject* owner, PyMethodDef* ml, PyObject* self);
PyObject* PyShDescr_NewInstanceMethod(PyTypeObject* owner, PyMethodDef* ml);
PyObject* PyShDescr_NewStaticMethod(PyTypeObject* owner, PyMethodDef* ml);
PyObject* PyShDescr_NewMixedMethod(PyTypeObject* owner, PyMethodDef* static_ml, PyMethodDef* instance_ml);
PyObject* PyShDescr_NewStaticField(PyTypeObject* owner, PyGetSetDef* getset);

#endif  // ZELMOR_PYSHELL_DESCRIPTORS_H
