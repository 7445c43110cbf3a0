// Start of the interpreter for the bridge's unit tests, and their helpers.
#include "bridge_test.h"

#include <cstdlib>
#include <iostream>

#include "collections/interop.h"
#include "convert/shl_buffer_view.h"
#include "pyshell/identifiers.h"
#include "pyshell/pending_error.h"

using zelmor::PyRef;

namespace {

// The value of statements, and the namespace that they fill.
PyRef run_in(const PyRef& variables, const char* statements) {
    PyDict_SetItemString(variables.get(), "__builtins__", PyEval_GetBuiltins());
    const PyRef name = PyRef::steal(PyUnicode_FromString("test_module"));
    PyDict_SetItemString(variables.get(), "__name__", name.get());
    return PyRef::steal(PyRun_String(statements, Py_file_input, variables.get(), variables.get()));
}

}  // namespace

void require(bool done, const char* step) {
    if (!done) {
        PyErr_Print();
        std::cerr << "test set-up failed: " << step << '\n';
        std::exit(1);
    }
}

void start_bridge_interpreter() {
    // Paths are UTF-8 whatever the locale of the machine.
    PyPreConfig preconfig;
    PyPreConfig_InitIsolatedConfig(&preconfig);
    preconfig.utf8_mode = 1;
    PyStatus status = Py_PreInitialize(&preconfig);
    if (PyStatus_Exception(status)) {
        Py_ExitStatusException(status);
    }
    PyConfig config;
    PyConfig_InitIsolatedConfig(&config);
    status = PyConfig_SetBytesString(&config, &config.program_name, ZELMOR_TEST_INTERPRETER);
    if (!PyStatus_Exception(status)) {
        status = Py_InitializeFromConfig(&config);
    }
    PyConfig_Clear(&config);
    if (PyStatus_Exception(status)) {
        Py_ExitStatusException(status);
    }
    fn_intern_identifiers();
    require(PyType_Ready(&wrpPye_tyds_FFFFFFFF_ShlBufferView) == 0, "buffer view type");
}

PyRef evaluate(const char* expression, std::initializer_list<std::pair<const char*, PyObject*>> names) {
    const PyRef variables = PyRef::steal(PyDict_New());
    PyDict_SetItemString(variables.get(), "__builtins__", PyEval_GetBuiltins());
    for (const auto& [name, value] : names) {
        if (value != nullptr) {
            PyDict_SetItemString(variables.get(), name, value);
        }
    }
    return PyRef::steal(PyRun_String(expression, Py_eval_input, variables.get(), variables.get()));
}

PyRef run(const char* statements) {
    PyRef variables = PyRef::steal(PyDict_New());
    if (!run_in(variables, statements)) {
        PyErr_Print();
        ADD_FAILURE() << "the statements of the test failed:\n" << statements;
    }
    return variables;
}

void raise_by(const char* statements) {
    const PyRef variables = PyRef::steal(PyDict_New());
    EXPECT_FALSE(run_in(variables, statements)) << "the statements of the test raised nothing:\n" << statements;
}

std::string text_of(PyObject* object) {
    const PyRef text = PyRef::steal(PyObject_Str(object));
    const char* chars = text ? PyUnicode_AsUTF8(text.get()) : nullptr;
    if (chars == nullptr) {
        PyErr_Clear();
        return "<no text>";
    }
    return chars;
}

PyRef take_error() {
    return zelmor::PendingError::take_normalized().take_value();
}

PyRef expect_error(PyObject* type, const std::string& message) {
    PyRef error = take_error();
    if (!error) {
        ADD_FAILURE() << "no exception is pending; expected: " << message;
        return error;
    }
    EXPECT_EQ(reinterpret_cast<PyObject*>(Py_TYPE(error.get())), type) << Py_TYPE(error.get())->tp_name;
    EXPECT_EQ(text_of(error.get()), message);
    return error;
}

void expect_error_of(PyObject* type) {
    const PyRef error = take_error();
    if (!error) {
        ADD_FAILURE() << "no exception is pending; expected one of " << reinterpret_cast<PyTypeObject*>(type)->tp_name;
        return;
    }
    EXPECT_EQ(reinterpret_cast<PyObject*>(Py_TYPE(error.get())), type)
        << Py_TYPE(error.get())->tp_name << ": " << text_of(error.get());
}

UnraisableWatch::UnraisableWatch()
    : m_names(run("import sys\n"
                  "lines = []\n"
                  "before = sys.unraisablehook\n"
                  "def hook(report):\n"
                  "    kind, value = report.exc_type.__name__, report.exc_value\n"
                  "    lines.append(f'{report.object}: {kind}: {value}\\n')\n"
                  "sys.unraisablehook = hook\n")) {}

UnraisableWatch::~UnraisableWatch() {
    PySys_SetObject("unraisablehook", entry_of(m_names, "before"));
}

std::string UnraisableWatch::reports() const {
    const PyRef joined = evaluate("''.join(lines)", {{"lines", entry_of(m_names, "lines")}});
    return text_of(joined.get());
}
