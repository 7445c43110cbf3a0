// The error vocabulary: every message, alone and on top of a pending exception.
#include "pyshell/errors.h"

#include <functional>

#include "fixture.h"

using zelmor::PyRef;

namespace {

struct Report {
    std::string message;
    std::function<void()> raise;
};

std::vector<Report> all_reports() {
    static PyObject* name = PyUnicode_FromString("Näme");
    return {
        {"Module initialization internal error (-1003)",
         [] { PyShlErr_ModuleInitializationInternalError(zelmor::kModuleNotCreated); }},
        {"Module initialization internal error (-1003) <zelmor.imaging>",
         [] { PyShlErr_ModuleInitializationInternalError(-1003, "zelmor.imaging"); }},
        {"Module initialization internal error (-1002) <zelmor.imaging,zelmor.imaging.xmp>",
         [] { PyShlErr_ModuleInitializationInternalError(-1002, "zelmor.imaging", "zelmor.imaging.xmp"); }},
        {"One or more errors occurred while loading the module 'zelmor.imaging' (-1009)",
         [] { PyShlErr_ModulePyInitError("zelmor.imaging", -1009); }},
        {"Unable to import module dependencies. Cannot import the zelmor.pyio module. The module not found or errors "
         "occurred while initializing it.",
         [] { PyShlErr_DependencyImportError("zelmor.pyio"); }},
        {"Unable to import the specified module decimal. The module not found or errors occurred while initializing "
         "it.",
         [] { PyShlErr_UnableToImportModule("decimal"); }},
        {"Unable to import the specified type Näme from the module decimal. The type not found or errors occurred "
         "while initializing it.",
         [] { PyShlErr_UnableToImportType(name, "decimal"); }},
        {"Outer does not contain nested type Näme", [] { PyShlErr_UnableToImportNestedType("Outer", name); }},
        {"can't import capsule 'zelmor.pydrawing._C_APIT_Pen'",
         [] { PyShlErr_CapsuleImportError("zelmor.pydrawing._C_APIT_Pen"); }},
        {"Type initialization internal error (-1015) <zelmor.imaging.Image>",
         [] { PyShlErr_TypeInitializationInternalError(-1015, "zelmor.imaging.Image"); }},
        {"Type initialization internal error (-1020) <zelmor.imaging.Size,empty>",
         [] { PyShlErr_TypeInitializationInternalError(-1020, "zelmor.imaging.Size", "empty"); }},
    };
}

PyRef cause_of(const PyRef& error) {
    return PyRef::steal(PyException_GetCause(error.get()));
}
PyRef context_of(const PyRef& error) {
    return PyRef::steal(PyException_GetContext(error.get()));
}

}  // namespace

using Errors = PyShellTest;

TEST_F(Errors, EveryReportStandsAloneWhenNothingIsPending) {
    for (const Report& report : all_reports()) {
        report.raise();
        const PyRef error = expect_error(PyExc_ImportError, report.message);
        EXPECT_FALSE(cause_of(error)) << report.message;
        EXPECT_FALSE(context_of(error)) << report.message;
    }
}

TEST_F(Errors, EveryReportTakesThePendingExceptionAsCauseAndContext) {
    for (const Report& report : all_reports()) {
        PyErr_SetString(PyExc_KeyError, "first");
        report.raise();
        const PyRef error = expect_error(PyExc_ImportError, report.message);
        const PyRef cause = cause_of(error);
        ASSERT_TRUE(cause) << report.message;
        EXPECT_TRUE(PyErr_GivenExceptionMatches(cause.get(), PyExc_KeyError));
        EXPECT_EQ(context_of(error).get(), cause.get());
    }
}

TEST_F(Errors, AChainKeepsTheWholeHistory) {
    PyErr_SetString(PyExc_TypeError, "innermost");
    PyShlErr_CapsuleImportError("a.b");
    PyShlErr_ModulePyInitError("zelmor.imaging", -1009);
    const PyRef outer = expect_error(PyExc_ImportError,
                                     "One or more errors occurred while loading the module 'zelmor.imaging' (-1009)");
    const PyRef middle = cause_of(outer);
    EXPECT_EQ(text_of(middle.get()), "can't import capsule 'a.b'");
    const PyRef inner = cause_of(middle);
    EXPECT_EQ(text_of(inner.get()), "innermost");
    EXPECT_FALSE(cause_of(inner));
}

TEST_F(Errors, AChainOwnsTwoReferencesToTheCause) {
    const PyRef value = PyRef::steal(PyObject_CallFunction(PyExc_ValueError, "s", "kept"));
    const Py_ssize_t references = Py_REFCNT(value.get());
    PyErr_SetObject(PyExc_ValueError, value.get());
    PyShlErr_ChainFormat(PyExc_TypeError, "%s and %d", "text", 5);
    {
        const PyRef error = expect_error(PyExc_TypeError, "text and 5");
        EXPECT_EQ(Py_REFCNT(value.get()), references + 2);
    }
    EXPECT_EQ(Py_REFCNT(value.get()), references);
}

TEST_F(Errors, AChainKeepsTheTracebackOfTheCause) {
    raise_by("raise ValueError('with traceback')");
    PyShlErr_ChainFormat(PyExc_ImportError, "outer");
    const PyRef error = expect_error(PyExc_ImportError, "outer");
    const PyRef cause = cause_of(error);
    const PyRef traceback = PyRef::steal(PyException_GetTraceback(cause.get()));
    EXPECT_TRUE(traceback);
    EXPECT_EQ(text_of(cause.get()), "with traceback");
}

TEST_F(Errors, AChainOnNothingIsAPlainException) {
    PyShlErr_ChainFormat(PyExc_ImportError, "alone");
    const PyRef error = expect_error(PyExc_ImportError, "alone");
    EXPECT_FALSE(cause_of(error));
}

TEST_F(Errors, ChainOrFormatChainsOnlyOnAPendingException) {
    PyShlErr_ChainOrFormat(PyExc_TypeError, "100% alone");
    EXPECT_FALSE(cause_of(expect_error(PyExc_TypeError, "100% alone")));
    PyErr_SetString(PyExc_ValueError, "first");
    PyShlErr_ChainOrFormat(PyExc_TypeError, "second");
    EXPECT_EQ(text_of(cause_of(expect_error(PyExc_TypeError, "second")).get()), "first");
}

TEST_F(Errors, AnEnumerationThatFailedIsReportedOnItsOwnMessage) {
    PyShlErr_EnumTypeInitialization("host is not valid", "zelmor.imaging.FileFormat");
    const PyRef error = expect_error(PyExc_ImportError, "enum type 'zelmor.imaging.FileFormat' is not initialized");
    const PyRef cause = cause_of(error);
    EXPECT_TRUE(PyErr_GivenExceptionMatches(cause.get(), PyExc_TypeError));
    EXPECT_EQ(text_of(cause.get()), "host is not valid");
}
