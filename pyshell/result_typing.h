// From a managed result and its declared type to the Python wrapper that shows it.
//
// Class and struct results take the declared type as the final word. Interface, abstract and collection results look at
// the run-time type. Every reader takes over the handle; a null one gives None.
#ifndef ZELMOR_PYSHELL_RESULT_TYPING_H
#define ZELMOR_PYSHELL_RESULT_TYPING_H

#include "exchange/wire/records.h"
#include "pyshell/python.h"
#include "pyshell/wrapped_object.h"

// A class or struct: the declared wrapper, always. By far the most used reader, hence no lookup and inline.
inline PyObject* fn_conv_clr_clsobj_to_py_clsobj(void* handle, PyTypeObject* declared) {
    return handle == nullptr ? Py_NewRef(Py_None) : fn_py_clr_type_generic_new(handle, declared);
}

// One of two candidate types: `first` for tag 0, `second` for any other.
inline PyObject* fn_conv_clr_vlarr_to_py_vlarr(const VariantArg& result, PyTypeObject* first, PyTypeObject* second) {
    return fn_conv_clr_clsobj_to_py_clsobj(result.value, result.tag == 0 ? first : second);
}

// An interface: the run-time type's wrapper if it lists the interface, else the interface's own.
PyObject* fn_conv_clr_ifcimpl_to_py_ifcimpl(const PyObjectOutArg& result, PyTypeObject* declared);

// An interface whose value can also be a struct or a Python object that the managed side held.
PyObject* fn_conv_clr_ifcimpl_to_py_ifcimpl_wps(const PyCollectionArg& result, PyTypeObject* declared);

// An abstract class, such as a stream: a registered run-time type wins, without a test of the relation.
PyObject* fn_conv_clr_absobj_to_py_absobj(const PyCollectionArg& result, PyTypeObject* declared);

// A concrete collection: looked up for kind 1 only.
PyObject* fn_conv_clr_btpobj_to_py_btpobj(const PyCollectionArg& result, PyTypeObject* declared);

#endif  // ZELMOR_PYSHELL_RESULT_TYPING_H
