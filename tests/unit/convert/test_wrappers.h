// Wrapper types as a generated module has them, for the tests of what is read from a wrapper.
#ifndef ZELMOR_TESTS_UNIT_CONVERT_TEST_WRAPPERS_H
#define ZELMOR_TESTS_UNIT_CONVERT_TEST_WRAPPERS_H

#include "bridge_test.h"
#include "pyshell/wrapped_object.h"

// Each has the host marker of its kind and is ready.
PyTypeObject* class_wrapper_type();  // of this module: recognized by its deallocator
PyTypeObject* struct_wrapper_type();
PyTypeObject* sibling_class_type();  // of a sibling module: recognized by its marker alone
PyTypeObject* sibling_struct_type();

// A wrapper that holds a handle which is never given back.
class Wrapper {
 public:
    Wrapper(PyTypeObject* type, void* handle)
        : m_object(zelmor::PyRef::steal(PyType_GenericAlloc(type, 0))), m_wrapped(as_wrapper()) {
        m_wrapped->handle = handle;
    }
    ~Wrapper() { m_wrapped->handle = nullptr; }
    PyObject* get() const { return m_object.get(); }

 private:
    PyClrObject* as_wrapper() const { return reinterpret_cast<PyClrObject*>(m_object.get()); }

    zelmor::PyRef m_object;
    PyClrObject* m_wrapped;
};

#endif  // ZELMOR_TESTS_UNIT_CONVERT_TEST_WRAPPERS_H
