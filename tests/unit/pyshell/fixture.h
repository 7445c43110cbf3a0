// The fixture of all tests here, and the small wrapper types that they work on.
#ifndef ZELMOR_TESTS_UNIT_PYSHELL_FIXTURE_H
#define ZELMOR_TESTS_UNIT_PYSHELL_FIXTURE_H

#include <gtest/gtest.h>

#include <string>

#include "fake_managed.h"
#include "pyshell/py_ref.h"
#include "pyshell/python.h"
#include "pyshell/wrapped_object.h"

// Static records as generated code fills them, ready and with their host markers.
extern PyTypeObject test_class_type;         // "zelmor.imaging.Thing"
extern PyTypeObject test_derived_type;       // "zelmor.imaging.DerivedThing", base Thing
extern PyTypeObject test_struct_type;        // "zelmor.imaging.Pair"
extern PyTypeObject test_interface_type;     // "zelmor.imaging.IThing"
extern PyTypeObject test_implementing_type;  // "zelmor.imaging.Implementing", lists IThing
extern PyTypeObject test_refusing_type;      // "zelmor.imaging.Refusing": `tp_new` raises RuntimeError "refused"
extern PyTypeObject test_longer_type;        // "zelmor.imaging.Longer": a field behind the handle
extern PyTypeObject test_sibling_type;       // "zelmor.pydrawing.Pen": the class marker, and slots of another module

class PyShellTest : public ::testing::Test {
 protected:
    void SetUp() override { managed = {}; }

    // No test leaves an error behind.
    void TearDown() override {
        if (PyErr_Occurred() != nullptr) {
            PyErr_Print();
            FAIL() << "an exception was left pending";
        }
    }
};

inline std::string text_of(PyObject* object) {
    const zelmor::PyRef text = zelmor::PyRef::steal(PyObject_Str(object));
    const char* chars = text ? PyUnicode_AsUTF8(text.get()) : nullptr;
    return chars != nullptr ? chars : "<no text>";
}

// The pending exception, normalized and cleared; empty if none was pending.
inline zelmor::PyRef take_error() {
    PyObject* type;
    PyObject* value;
    PyObject* traceback;
    PyErr_Fetch(&type, &value, &traceback);
    PyErr_NormalizeException(&type, &value, &traceback);
    Py_XDECREF(type);
    Py_XDECREF(traceback);
    return zelmor::PyRef::steal(value);
}

// Clears the pending error, which has to be exactly this one.
inline zelmor::PyRef expect_error(PyObject* type, const std::string& message) {
    zelmor::PyRef error = take_error();
    if (!error) {
        ADD_FAILURE() << "no exception is pending; expected: " << message;
        return error;
    }
    EXPECT_EQ(reinterpret_cast<PyObject*>(Py_TYPE(error.get())), type) << Py_TYPE(error.get())->tp_name;
    EXPECT_EQ(text_of(error.get()), message);
    return error;
}

// A wrapper that holds `handle`.
inline zelmor::PyRef wrap(void* handle, PyTypeObject* type = &test_class_type) {
    return zelmor::PyRef::steal(fn_py_clr_type_generic_new(handle, type));
}

inline void* handle_in(const zelmor::PyRef& wrapper) {
    return reinterpret_cast<PyClrObject*>(wrapper.get())->handle;
}

inline PyObject* as_object(PyTypeObject* type) {
    return reinterpret_cast<PyObject*>(type);
}

// The value of an expression, with `names` as its variables; empty with the error pending.
zelmor::PyRef evaluate(const char* expression, std::initializer_list<std::pair<const char*, PyObject*>> names = {});

// Runs statements and gives back the namespace that they filled.
zelmor::PyRef run(const char* statements);

#endif  // ZELMOR_TESTS_UNIT_PYSHELL_FIXTURE_H
