// Errors cross as text: a managed one becomes RuntimeError, a Python one is formatted and cleared.
#include "exchange/exception_bridge.h"

#include "bridge_test.h"
#include "exchange/callbacks.h"

using zelmor::PyRef;

namespace {

class ExceptionBridge : public BridgeTest {
 protected:
    // Puts back what a test took away from the traceback module.
    void TearDown() override {
        BridgeTest::TearDown();
        run("import sys, importlib\n"
            "sys.modules.pop('traceback', None)\n"
            "import traceback\n");
    }
};

PyObject* text(const char* chars) {
    return PyUnicode_FromString(chars);
}

// Raises inside statements, so that there is a traceback, and leaves the error pending.
void raise_in(const char* statements) {
    const PyRef names = PyRef::steal(PyDict_New());
    PyDict_SetItemString(names.get(), "__builtins__", PyEval_GetBuiltins());
    const PyRef result = PyRef::steal(PyRun_String(statements, Py_file_input, names.get(), names.get()));
    ASSERT_FALSE(result);
}

// What the collector makes of the pending error; "<refused>" for -1.
std::string collect() {
    void* owner = nullptr;
    PyStringArg view = {-7, -7, nullptr};
    const int status = fn_catch_and_clear_py_error(&owner, &view);
    EXPECT_EQ(PyErr_Occurred(), nullptr);
    if (status != 0) {
        EXPECT_EQ(status, -1);
        EXPECT_EQ(owner, nullptr);
        return "<refused>";
    }
    const PyRef result = PyRef::steal(static_cast<PyObject*>(owner));
    EXPECT_EQ(view.data, PyUnicode_DATA(result.get()));
    EXPECT_EQ(view.length, PyUnicode_GET_LENGTH(result.get()));
    EXPECT_EQ(view.char_size, static_cast<int>(PyUnicode_KIND(result.get())));
    EXPECT_EQ(Py_REFCNT(result.get()), 1);
    return text_of(result.get());
}

TEST_F(ExceptionBridge, AManagedExceptionIsARuntimeErrorWithNameAndDetail) {
    on_clr_exception(text("ImageLoadException"), text("cannot open \xE2\x82\xAC"));
    expect_error(PyExc_RuntimeError, "Proxy error(ImageLoadException): cannot open \xE2\x82\xAC");
}

TEST_F(ExceptionBridge, AnUnnamedManagedExceptionIsUnknown) {
    on_clr_exception(nullptr, nullptr);
    expect_error(PyExc_RuntimeError, "Proxy error(<unknown>): <unknown>");
}

TEST_F(ExceptionBridge, AMissingDetailIsUnknownAndTheNameIsReleased) {
    PyObject* name = text("X");
    const RefCountWatch count(name);
    Py_INCREF(name);
    on_clr_exception(name, nullptr);
    expect_error(PyExc_RuntimeError, "Proxy error(X): <unknown>");
    EXPECT_EQ(count.change(), 0);
    Py_DECREF(name);
}

TEST_F(ExceptionBridge, BothReferencesAreTakenOver) {
    PyObject* name = text("some name");
    PyObject* detail = text("some detail");
    const RefCountWatch name_count(name);
    const RefCountWatch detail_count(detail);
    Py_INCREF(name);
    Py_INCREF(detail);
    on_clr_exception(name, detail);
    PyErr_Clear();
    EXPECT_EQ(name_count.change(), 0);
    EXPECT_EQ(detail_count.change(), 0);
    Py_DECREF(name);
    Py_DECREF(detail);
}

TEST_F(ExceptionBridge, AManagedExceptionReplacesAPendingError) {
    PyErr_SetString(PyExc_KeyError, "older");
    on_clr_exception(text("Newer"), text("detail"));
    expect_error(PyExc_RuntimeError, "Proxy error(Newer): detail");
}

TEST_F(ExceptionBridge, WithoutAnErrorTheCollectorTouchesNothing) {
    void* owner = &owner;
    PyStringArg view = {-7, -8, &view};
    EXPECT_EQ(fn_catch_and_clear_py_error(&owner, &view), -1);
    EXPECT_EQ(owner, &owner);
    EXPECT_EQ(view.length, -7);
    EXPECT_EQ(view.char_size, -8);
    EXPECT_EQ(view.data, &view);
}

TEST_F(ExceptionBridge, AnErrorWithATracebackIsFormattedInFull) {
    raise_in("def inner():\n    raise ValueError('wrong \xE2\x82\xAC')\ninner()\n");
    EXPECT_EQ(collect(),
              "Traceback (most recent call last):\n"
              "  File \"<string>\", line 3, in <module>\n"
              "  File \"<string>\", line 2, in inner\n"
              "ValueError: wrong \xE2\x82\xAC\n");
}

TEST_F(ExceptionBridge, AnErrorWithoutATracebackIsFormattedByItselfAlone) {
    PyErr_SetString(PyExc_ValueError, "wrong");
    EXPECT_EQ(collect(), "ValueError: wrong\n");
}

TEST_F(ExceptionBridge, TheCauseIsToldAsWell) {
    raise_in("try:\n    1 / 0\nexcept ZeroDivisionError as cause:\n    raise KeyError('second') from cause\n");
    const std::string told = collect();
    EXPECT_NE(told.find("ZeroDivisionError: division by zero\n"), std::string::npos) << told;
    EXPECT_NE(told.find("The above exception was the direct cause"), std::string::npos) << told;
    EXPECT_TRUE(told.ends_with("KeyError: 'second'\n")) << told;
}

TEST_F(ExceptionBridge, AnErrorWhoseTextFailsIsStillTold) {
    raise_in("class Mute(Exception):\n    def __str__(self):\n        raise KeyError('no text')\nraise Mute()\n");
    const std::string told = collect();
    EXPECT_NE(told.find("Mute: <exception str() failed>"), std::string::npos) << told;
}

TEST_F(ExceptionBridge, WithoutTheTracebackModuleTheNameAndTheTextAreTold) {
    const UnraisableWatch watch;
    run("import sys\nsys.modules['traceback'] = None\n");
    raise_in("class Outer:\n    class Inner(Exception):\n        pass\nraise Outer.Inner('text')\n");
    EXPECT_EQ(collect(), "Outer.Inner: text");
    EXPECT_EQ(watch.reports(),
              "FormatCallbackException: ModuleNotFoundError: import of traceback halted; None in sys.modules\n");
}

TEST_F(ExceptionBridge, AFormatterThatRaisesIsReportedAndReplaced) {
    const UnraisableWatch watch;
    run("import traceback\ndef broken(*args):\n    raise LookupError('broken formatter')\n"
        "traceback.format_exception = broken\n");
    raise_in("raise ValueError('text')\n");
    EXPECT_EQ(collect(), "ValueError: text");
    EXPECT_EQ(watch.reports(), "FormatCallbackException: LookupError: broken formatter\n");
}

TEST_F(ExceptionBridge, AFormatterThatIsNoFunctionIsReplacedSilently) {
    const UnraisableWatch watch;
    run("import traceback\ntraceback.format_exception_only = 5\n");
    PyErr_SetString(PyExc_ValueError, "text");
    EXPECT_EQ(collect(), "ValueError: text");
    EXPECT_EQ(watch.reports(), "");
}

TEST_F(ExceptionBridge, AFormatterThatIsMissingIsReportedAndReplaced) {
    const UnraisableWatch watch;
    run("import traceback\ndel traceback.format_exception_only\n");
    PyErr_SetString(PyExc_ValueError, "text");
    EXPECT_EQ(collect(), "ValueError: text");
    EXPECT_EQ(watch.reports(),
              "FormatCallbackException: AttributeError: module 'traceback' has no attribute "
              "'format_exception_only'\n");
}

TEST_F(ExceptionBridge, AFormatterThatGivesNoTextIsReportedAndReplaced) {
    const UnraisableWatch watch;
    run("import traceback\ntraceback.format_exception_only = lambda *args: [1, 2]\n");
    PyErr_SetString(PyExc_ValueError, "text");
    EXPECT_EQ(collect(), "ValueError: text");
    EXPECT_EQ(watch.reports(),
              "FormatCallbackException: TypeError: sequence item 0: expected str instance, int found\n");
}

TEST_F(ExceptionBridge, WithoutFormatterAndTextTheErrorIsRefusedAndTheLastFailureReported) {
    const UnraisableWatch watch;
    run("import sys\nsys.modules['traceback'] = None\n");
    raise_in("class Mute(Exception):\n    def __str__(self):\n        raise KeyError('no text')\nraise Mute()\n");
    EXPECT_EQ(collect(), "<refused>");
    EXPECT_EQ(watch.reports(), "FormatCallbackException: KeyError: 'no text'\n");
}

TEST_F(ExceptionBridge, ACollectedErrorIsReleased) {
    const PyRef names = run("class Counted(Exception):\n    pass\nerror = Counted('text')\n");
    PyObject* error = entry_of(names, "error");
    const RefCountWatch count(error);
    PyErr_SetObject(reinterpret_cast<PyObject*>(Py_TYPE(error)), error);
    EXPECT_EQ(collect(), "test_module.Counted: text\n");
    EXPECT_EQ(count.change(), 0);
}

TEST_F(ExceptionBridge, ATextBuiltWhileReportingNeverRaises) {
    const UnraisableWatch watch;
    const PyRef good = PyRef::steal(fn_conv_clr_string_to_py_unraisable(u"caf\u00E9", 4));
    EXPECT_EQ(text_of(good.get()), "caf\xC3\xA9");
    const char16_t lone[] = {0xD800};
    EXPECT_EQ(fn_conv_clr_string_to_py_unraisable(lone, 1), nullptr);
    EXPECT_EQ(PyErr_Occurred(), nullptr);
    EXPECT_EQ(watch.reports(), "FormatCallbackException: LookupError: unknown error handler name ''\n");
}

}  // namespace
