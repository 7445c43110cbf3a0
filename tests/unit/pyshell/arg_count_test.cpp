// Messages and bounds of the argument-count check.
#include "pyshell/arg_count.h"

#include "fixture.h"

using ArgCount = PyShellTest;

TEST_F(ArgCount, AcceptsEveryCountWithinTheBounds) {
    for (Py_ssize_t given = 1; given <= 3; ++given) {
        EXPECT_FALSE(fn_check_args_count_out_of_range(given, "f", 1, 3));
        EXPECT_EQ(PyErr_Occurred(), nullptr);
    }
}

TEST_F(ArgCount, NamesTheUpperBoundThatWasCrossed) {
    EXPECT_TRUE(fn_check_args_count_out_of_range(3, "pop", 0, 1));
    expect_error(PyExc_TypeError, "pop() takes at most 1 argument (3 given)");
}

TEST_F(ArgCount, SpeaksOfAFunctionWhereThereIsNoName) {
    EXPECT_TRUE(fn_check_args_count_out_of_range(0, nullptr, 1, 1));
    expect_error(PyExc_TypeError, "function takes exactly 1 argument (0 given)");
}

TEST_F(ArgCount, NamesTheLowerBoundThatWasCrossed) {
    EXPECT_TRUE(fn_check_args_count_out_of_range(0, "f", 2, 4));
    expect_error(PyExc_TypeError, "f() takes at least 2 arguments (0 given)");
}

TEST_F(ArgCount, UsesThePluralForABoundOfZero) {
    EXPECT_TRUE(fn_check_args_count_out_of_range(1, "clear", 0, 0));
    expect_error(PyExc_TypeError, "clear() takes exactly 0 arguments (1 given)");
}

TEST_F(ArgCount, PrintsAtMost150CharactersOfTheName) {
    EXPECT_TRUE(fn_check_args_count_out_of_range(0, std::string(200, 'n').c_str(), 1, 2));
    std::string message(150, 'n');
    message += "() takes at least 1 argument (0 given)";
    expect_error(PyExc_TypeError, message);
}
