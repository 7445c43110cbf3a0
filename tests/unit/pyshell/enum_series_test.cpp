// Enumerations of a series beside those that the functional interface makes of the same members, for plain members and
// for those to which the enum module has rules of its own.
#include "pyshell/enum_series.h"

#include <gtest/gtest.h>

#include "fixture.h"
#include "pyshell/enum_types.h"

using zelmor::EnumSeries;
using zelmor::PyRef;

namespace {

const char* const kCompare =
    "import enum, sys\n"
    "def show(value, owner):\n"
    "    if type(value) is owner:\n"
    "        return value._name_, int(value), [(k, show(v, owner)) for k, v in vars(value).items()]\n"
    "    if isinstance(value, list):\n"
    "        return [show(v, owner) for v in value]\n"
    "    if isinstance(value, dict):\n"
    "        return [(k, show(v, owner)) for k, v in value.items()]\n"
    "    if hasattr(value, '__func__'):\n"
    "        return 'method', show(value.__self__, owner), id(value.__func__)\n"
    "    if getattr(value, '__name__', None) == '_break_on_call_reduce':\n"
    "        return value.__qualname__\n"
    "    return 'itself' if value is owner else value if isinstance(value, (str, int)) else id(value)\n"
    "def traits(owner):\n"
    "    return ([(k, show(v, owner)) for k, v in owner.__dict__.items()], owner.__mro__[1:], owner.__name__,\n"
    "            owner.__qualname__, owner.__module__, dir(owner), repr(list(owner)), owner.__flags__,\n"
    "            [getattr(owner, n) is m for n, m in owner.__members__.items()])\n"
    "def outcome(make, *arguments):\n"
    "    try:\n"
    "        made = make(*arguments)\n"
    "    except Exception as error:\n"
    "        return type(error).__name__, str(error), type(error.__cause__).__name__\n"
    "    return traits(made)\n"
    "def by_python(flags, name, members):\n"
    "    return outcome(enum.IntFlag if flags else enum.IntEnum, name, members)\n";

// Called from Python, as an import calls the bridge: the module that is named in the class is that of the caller.
PyObject* make_in_series(PyObject*, PyObject* args) {
    int flags = 0;
    PyObject *name = nullptr, *members = nullptr;
    if (PyArg_ParseTuple(args, "pUO!", &flags, &name, &PyTuple_Type, &members) == 0) {
        return nullptr;
    }
    return EnumSeries::current()->make(flags != 0, name, members);
}

PyMethodDef make_method = {"make_in_series", &make_in_series, METH_VARARGS, nullptr};

class EnumSeriesTest : public PyShellTest {
 protected:
    void SetUp() override {
        PyShellTest::SetUp();
        program = run(kCompare);
        ASSERT_TRUE(program) << text_of(take_error().get());
        const PyRef make = PyRef::steal(PyCFunction_New(&make_method, nullptr));
        const PyRef module = PyRef::steal(PyUnicode_FromString("some.module"));
        PyDict_SetItemString(program.get(), "make_in_series", make.get());
        PyDict_SetItemString(program.get(), "__name__", module.get());
    }

    std::string evaluated(const std::string& expression) {
        const PyRef value = PyRef::steal(PyRun_String(expression.c_str(), Py_eval_input, program.get(), program.get()));
        return value ? text_of(value.get()) : "raised " + text_of(take_error().get());
    }

    // Both ways of making one enumeration.
    void compare(const std::string& members, bool flags = false) {
        const std::string arguments = std::string(flags ? "True" : "False") + ", 'Kind', " + members;
        EXPECT_EQ(evaluated("outcome(make_in_series, " + arguments + ")"), evaluated("by_python(" + arguments + ")"))
            << members;
    }

    PyRef program;
};

TEST_F(EnumSeriesTest, EachIsWhatTheFunctionalInterfaceMakes) {
    const EnumSeries series;
    for (const char* const members : {
             "(('A', 0), ('B', 1), ('C', 2))",                      // the pattern
             "(('A', 0), ('B', 1), ('C', 2))",                      // the first that follows it
             "(('LAST', 9), ('FIRST', 1), ('MINUS', -1))",          // no order
             "(('A', 1), ('B', 1), ('C', 2), ('D', 1), ('E', 2))",  // aliases
             "(('WIDE', 0xFFFFFFFFFFFFFFFF), ('X', 2 ** 63))",      // wide values
             "(('ONE', 1),)",
             "()",
             "(('x', 1), ('value2', 2), ('Mixed_Case', 3))",
             "(('name', 1), ('value', 2), ('B', 3))",  // properties of the base
             "(('real', 1), ('to_bytes', 2))",         // methods of the integers
             "(('mro', 1),)",                          // refused names
             "(('_sunder_', 1),)",
             "(('_Kind__private', 1), ('A', 2))",
             "(('__dunder__', 1), ('A', 2))",
             "(('A', 1), ('A', 2))",
             "(('A', 1), ('B', 1), ('A', 1))",
             "(('\\u00c4', 1), ('B', 2))",
             "(('', 1),)",
             "(('A', 5),)",  // and plain again
         }) {
        compare(members);
    }
}

TEST_F(EnumSeriesTest, AnEmptyOneIsNoPattern) {
    const EnumSeries series;
    compare("()");
    compare("(('A', 1), ('B', 1))");
    compare("(('A', 1), ('B', 2))");
}

TEST_F(EnumSeriesTest, APatternWithPeculiarMembersServesNobodyElse) {
    const EnumSeries series;
    compare("(('name', 1), ('B', 2))");
    compare("(('A', 1), ('B', 2))");
}

TEST_F(EnumSeriesTest, FlagsAreMadeByTheInterpreter) {
    const EnumSeries series;
    compare("(('A', 1), ('B', 2), ('C', 3), ('NONE', 0))", true);
    compare("(('B', 2), ('A', 1))", true);
    compare("(('B', 2), ('A', 1))", false);
}

TEST_F(EnumSeriesTest, TheModuleIsThatOfTheCaller) {
    const EnumSeries series;
    EXPECT_EQ(evaluated("[make_in_series(False, 'Kind', (('A', 1),)).__module__ for _ in range(3)]"),
              "['some.module', 'some.module', 'some.module']");
    // Without one the class cannot be pickled, and says so.
    evaluated("globals().__delitem__('__name__')");
    compare("(('A', 1),)");
}

TEST_F(EnumSeriesTest, OnlyOneSeriesRunsAtATime) {
    EXPECT_EQ(EnumSeries::current(), nullptr);
    {
        const EnumSeries series;
        EXPECT_EQ(EnumSeries::current(), &series);
    }
    EXPECT_EQ(EnumSeries::current(), nullptr);
}

TEST_F(EnumSeriesTest, ASeriesReleasesItsObjectsAtItsEnd) {
    const PyRef base = evaluate("__import__('enum').IntEnum", {});
    ASSERT_TRUE(base);
    PyGC_Collect();
    const Py_ssize_t before = Py_REFCNT(base.get());
    {
        const EnumSeries series;
        compare("(('A', 1),)");
        compare("(('A', 1),)");
    }
    PyGC_Collect();
    EXPECT_EQ(Py_REFCNT(base.get()), before);
}

}  // namespace
