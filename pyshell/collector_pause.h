// A pause of the garbage collector while a large module is built.
//
// Tens of thousands of objects come into being in an import, and hardly any of them is garbage; the collector would go
// through them again and again, and once more through all of them when it is let go.
#pragma once

#include "pyshell/py_ref.h"
#include "pyshell/python.h"

namespace zelmor {

// From construction to destruction the collector makes no run of its own accord. It is left as it was found.
class CollectorPause {
 public:
    CollectorPause() : m_was_enabled(PyGC_Disable()) {}
    ~CollectorPause() {
        if (m_was_enabled != 0) {
            PyGC_Enable();
        }
    }
    CollectorPause(const CollectorPause&) = delete;
    CollectorPause& operator=(const CollectorPause&) = delete;

    // Counts what there is by now as grown up, as having come through the collections that were left out would have
    // done: freezing puts all objects aside, thawing gives them to the oldest generation, and neither looks at any.
    // A program that keeps objects frozen is let alone. False with a Python error set.
    static bool settle() {
        PyRef gc = PyRef::steal(PyImport_ImportModule("gc"));
        PyRef frozen = gc ? PyRef::steal(PyObject_CallMethod(gc.get(), "get_freeze_count", nullptr)) : PyRef();
        if (!frozen) {
            return false;
        }
        if (PyObject_IsTrue(frozen.get()) != 0) {
            return !PyErr_Occurred();
        }
        return PyRef::steal(PyObject_CallMethod(gc.get(), "freeze", nullptr)) &&
               PyRef::steal(PyObject_CallMethod(gc.get(), "unfreeze", nullptr));
    }

 private:
    const int m_was_enabled;
};

}  // namespace zelmor
