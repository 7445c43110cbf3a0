// The fixture of the bridge's unit tests: an interpreter, the scripted runtime, and ways to look at errors and
// reference counts.
#ifndef ZELMOR_TESTS_UNIT_SUPPORT_BRIDGE_TEST_H
#define ZELMOR_TESTS_UNIT_SUPPORT_BRIDGE_TEST_H

#include <gtest/gtest.h>

#include <initializer_list>
#include <string>
#include <utility>

#include "pyshell/py_ref.h"
#include "pyshell/python.h"
#include "pyshell/wrapped_object.h"
#include "scripted_runtime.h"

class BridgeTest : public ::testing::Test {
 protected:
    void SetUp() override { runtime.renew(); }

    // No test leaves an error behind.
    void TearDown() override {
        if (PyErr_Occurred() != nullptr) {
            PyErr_Print();
            FAIL() << "an exception was left pending";
        }
    }
};

// Where the tests run inside the process: the interpreter is up and the identifiers are interned.
void start_bridge_interpreter();

// Ends the program with the pending error unless `done`: for the set-up of a test program.
void require(bool done, const char* step);

// The value of an expression, with `names` as its variables, those that are null left out; empty with the error
// pending.
zelmor::PyRef evaluate(const char* expression, std::initializer_list<std::pair<const char*, PyObject*>> names = {});

// Runs statements and gives back the namespace that they filled. Statements that fail fail the test.
zelmor::PyRef run(const char* statements);

// An entry of such a namespace, borrowed.
inline PyObject* entry_of(const zelmor::PyRef& names, const char* name) {
    return PyDict_GetItemString(names.get(), name);
}

std::string text_of(PyObject* object);

// The pending exception, normalized and cleared; empty if none was pending.
zelmor::PyRef take_error();

// Raises an error by running statements, which have to fail; it is pending afterwards.
void raise_by(const char* statements);

// Takes the pending error, which has to be exactly of this type and have exactly this text.
zelmor::PyRef expect_error(PyObject* type, const std::string& message);

// The same, for an error of Python's own, whose words are Python's affair.
void expect_error_of(PyObject* type);

// A wrapper that holds `handle`, as a managed result makes it.
inline zelmor::PyRef wrap(void* handle, PyTypeObject* type) {
    return zelmor::PyRef::steal(fn_py_clr_type_generic_new(handle, type));
}

inline void* handle_in(PyObject* wrapper) {
    return reinterpret_cast<PyClrObject*>(wrapper)->handle;
}
inline void* handle_in(const zelmor::PyRef& wrapper) {
    return handle_in(wrapper.get());
}

inline PyObject* as_object(PyTypeObject* type) {
    return reinterpret_cast<PyObject*>(type);
}

// How the reference count of an object has changed since.
class RefCountWatch {
 public:
    explicit RefCountWatch(PyObject* object) : m_object(object), m_count(Py_REFCNT(object)) {}
    Py_ssize_t change() const { return Py_REFCNT(m_object) - m_count; }

 private:
    PyObject* m_object;
    Py_ssize_t m_count;
};

// What went to sys.unraisablehook since.
class UnraisableWatch {
 public:
    UnraisableWatch();
    ~UnraisableWatch();
    // One line for each report, "<object>: <exception type>: <exception text>".
    std::string reports() const;

 private:
    zelmor::PyRef m_names;
};

#endif  // ZELMOR_TESTS_UNIT_SUPPORT_BRIDGE_TEST_H
