// Imports of sibling modules with their version check, and of types of other modules.
#include "pyshell/imports.h"

#include <cassert>
#include <cstdarg>

#include "pyshell/errors.h"
#include "pyshell/identifiers.h"
#include "pyshell/module_version.h"
#include "pyshell/py_ref.h"

using zelmor::PyRef;

namespace {

// Null with TypeError unless `attribute` is a type.
PyRef require_type(PyRef attribute) {
    assert(attribute);
    PyObject* object = attribute.get();
    if (!PyType_Check(object)) {
        PyErr_Format(PyExc_TypeError, "Attribute must be %.200s object, not '%.200s'", PyType_Type.tp_name,
                     Py_TYPE(object)->tp_name);
        return {};
    }
    return attribute;
}

// Whether the pending error is no `Exception`: an interrupt is not caused by the module, and is passed on unchanged.
bool is_interrupted() {
    return PyErr_Occurred() != nullptr && PyErr_ExceptionMatches(PyExc_Exception) == 0;
}

}  // namespace

PyObject* PyShImport_ImportRefModule(const char* own_name, const char* module_name, const int* reference) {
    assert(PyGILState_Check());
    assert(own_name != nullptr && module_name != nullptr && reference != nullptr);
    PyRef module = PyRef::steal(PyImport_ImportModule(module_name));
    if (!module) {
        PyShlErr_DependencyImportError(module_name);
        return nullptr;
    }
    PyRef version = PyRef::steal(PyObject_GetAttr(module.get(), PyWrpIdOwn_Version));
    if (!version) {
        PyErr_Format(PyExc_ImportError,
                     "Unable to import module dependencies. Cannot import the %s module. The %s module found does not "
                     "have 'VERSION' attribute to check version compatibility.",
                     module_name, module_name);
        return nullptr;
    }
    if (PyShVersionAttr_Compare(reference, version.get()) > 0) {
        PyErr_Format(PyExc_ImportError,
                     "Unable to import module dependencies. Cannot import the %s module. The %s module found has a "
                     "version ('%U') that is lower than the referenced version of that module ('%i.%i.%i.%i').",
                     module_name, module_name, PyShVersionAttr_GetView(version.get()), reference[0], reference[1],
                     reference[2], reference[3]);
        return nullptr;
    }
    PyRef threshold = PyRef::steal(PyObject_GetAttr(module.get(), PyWrpIdOwn_BackwardCompatibilityThreshold));
    if (!threshold) {
        // The attribute's name has a leading underscore, the message's has none.
        PyErr_Format(PyExc_ImportError,
                     "Unable to import module dependencies. Cannot import the %s module. The %s module found does not "
                     "have 'BACKWARD_COMPATIBILITY_THRESHOLD' attribute to check version compatibility.",
                     module_name, module_name);
        return nullptr;
    }
    if (PyShVersionAttr_Compare(reference, threshold.get()) >= 0) {
        return module.release();
    }
    // The sibling is so new that it no longer serves this module.
    PyErr_Format(PyExc_ImportError,
                 "Unable to import module dependencies. Cannot import the %s module. The installed version of the "
                 "module ('%U') is not compatible with the referenced vesion of the module ('%i.%i.%i.%i'). The "
                 "installed version of the module is not compatible with the module versions < '%U'. Update dendend "
                 "module '%s' to a latest version.",
                 module_name, PyShVersionAttr_GetView(version.get()), reference[0], reference[1], reference[2],
                 reference[3], PyShVersionAttr_GetView(threshold.get()), own_name);
    return nullptr;
}

PyObject* PyShImport_ImportType(const char* module_name, PyObject* attribute_name) {
    assert(module_name != nullptr && attribute_name != nullptr);
    PyRef module = PyRef::steal(PyImport_ImportModule(module_name));
    if (!module) {
        if (!is_interrupted()) {
            PyShlErr_UnableToImportModule(module_name);
        }
        return nullptr;
    }
    PyObject* attribute = PyObject_GetAttr(module.get(), attribute_name);
    if (attribute == nullptr && !is_interrupted()) {
        PyShlErr_UnableToImportType(attribute_name, module_name);
    }
    return attribute;
}

PyObject* PyShImport_ImportTypeEx(const char* module_name, PyObject* attribute_name) {
    PyRef attribute = PyRef::steal(PyShImport_ImportType(module_name, attribute_name));
    return attribute ? require_type(std::move(attribute)).release() : nullptr;
}

PyObject* PyShImport_ImportTypeExV(const char* module_name, int count, ...) {
    assert(count >= 1);
    va_list names;
    va_start(names, count);
    PyRef current = PyRef::steal(PyShImport_ImportTypeEx(module_name, va_arg(names, PyObject*)));
    for (int i = 1; i < count && current; ++i) {
        PyObject* name = va_arg(names, PyObject*);
        PyRef nested = PyRef::steal(PyObject_GetAttr(current.get(), name));
        if (!nested) {
            PyShlErr_UnableToImportNestedType(reinterpret_cast<PyTypeObject*>(current.get())->tp_name, name);
        }
        current = nested ? require_type(std::move(nested)) : PyRef();
    }
    va_end(names);
    return current.release();
}
