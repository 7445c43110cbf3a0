// Booleans, and the scalar callbacks: the managed side knows the kind, so these take what the interpreter takes.
#include <limits>
#include <random>

#include "bridge_test.h"
#include "convert/scalars.h"
#include "exchange/callbacks.h"
#include "exchange/wire/tags.h"

using zelmor::PyRef;

namespace {

class ScalarCallbacks : public BridgeTest {};

TEST_F(ScalarCallbacks, ABooleanArgumentIsExactlyBool) {
    bool out = false;
    EXPECT_EQ(fn_conv_py_bool_to_clr_bool(Py_True, &out), 1);
    EXPECT_TRUE(out);
    EXPECT_EQ(fn_conv_py_bool_to_clr_bool(Py_False, &out), 1);
    EXPECT_FALSE(out);
    const PyRef one = evaluate("1");
    EXPECT_EQ(fn_conv_py_bool_to_clr_bool(one.get(), &out), 0);
    expect_error(PyExc_TypeError, "can't build bool from 'int'");
    EXPECT_EQ(fn_conv_py_bool_to_clr_bool(Py_None, &out), 0);
    expect_error(PyExc_TypeError, "can't build bool from 'NoneType'");
}

TEST_F(ScalarCallbacks, ABooleanIsReadAsATruthValue) {
    EXPECT_TRUE(fn_read_py_bool(evaluate("[0]").get()));
    EXPECT_FALSE(fn_read_py_bool(evaluate("[]").get()));
    EXPECT_FALSE(fn_read_py_bool(Py_None));
    const PyRef names = run("class Odd:\n    def __bool__(self): raise KeyError('no')\nodd = Odd()\n");
    EXPECT_TRUE(fn_read_py_bool(entry_of(names, "odd")));
    expect_error(PyExc_KeyError, "'no'");
}

TEST_F(ScalarCallbacks, AFloatIsReadFromWhateverConvertsItself) {
    double out = 0;
    const PyRef names =
        run("class Own:\n    def __float__(self): return 1.5\n"
            "class Index:\n    def __index__(self): return 7\nown, index = Own(), Index()\n");
    EXPECT_EQ(fn_read_py_double(entry_of(names, "own"), &out), 1);
    EXPECT_EQ(out, 1.5);
    EXPECT_EQ(fn_read_py_double(entry_of(names, "index"), &out), 1);
    EXPECT_EQ(out, 7.0);
    EXPECT_EQ(fn_read_py_double(evaluate("-1.0").get(), &out), 1);
    EXPECT_EQ(out, -1.0);
    EXPECT_EQ(fn_read_py_double(evaluate("'x'").get(), &out), 0);
    expect_error(PyExc_TypeError, "must be real number, not str");
}

// The width class and the 64 bits of an expression's value.
std::pair<int, uint64_t> read_integer(const char* expression) {
    const PyRef value = evaluate(expression);
    uint64_t slot = 0x5555555555555555;
    const int width = fn_read_py_vers_long(value.get(), &slot);
    return {width, slot};
}

TEST_F(ScalarCallbacks, AnIntegerIsReadWithItsWidth) {
    EXPECT_EQ(read_integer("0"), (std::pair<int, uint64_t>{kInteger32, 0}));
    EXPECT_EQ(read_integer("-1"), (std::pair<int, uint64_t>{kInteger32, ~uint64_t{0}}));
    EXPECT_EQ(read_integer("2**31 - 1"), (std::pair<int, uint64_t>{kInteger32, 0x7FFFFFFF}));
    EXPECT_EQ(read_integer("-2**31"), (std::pair<int, uint64_t>{kInteger32, 0xFFFFFFFF80000000}));
    EXPECT_EQ(read_integer("2**31"), (std::pair<int, uint64_t>{kInteger64, 0x80000000}));
    EXPECT_EQ(read_integer("-2**31 - 1"), (std::pair<int, uint64_t>{kInteger64, 0xFFFFFFFF7FFFFFFF}));
    EXPECT_EQ(read_integer("2**63 - 1"), (std::pair<int, uint64_t>{kInteger64, 0x7FFFFFFFFFFFFFFF}));
    EXPECT_EQ(read_integer("-2**63"), (std::pair<int, uint64_t>{kInteger64, 0x8000000000000000}));
    EXPECT_EQ(read_integer("2**63"), (std::pair<int, uint64_t>{kIntegerUnsigned64, 0x8000000000000000}));
    EXPECT_EQ(read_integer("2**64 - 1"), (std::pair<int, uint64_t>{kIntegerUnsigned64, ~uint64_t{0}}));
    EXPECT_EQ(PyErr_Occurred(), nullptr);
}

TEST_F(ScalarCallbacks, AnIntegerOfMoreThanSixtyFourBitsIsATypeError) {
    EXPECT_EQ(read_integer("2**64").first, kIntegerFailed);
    expect_error(PyExc_TypeError, "can't build integer value from 'int'");
    EXPECT_EQ(read_integer("-2**63 - 1").first, kIntegerFailed);
    expect_error(PyExc_TypeError, "can't build integer value from 'int'");
    EXPECT_EQ(read_integer("'x'").first, kIntegerFailed);
    expect_error(PyExc_TypeError, "can't build integer value from 'str'");
}

TEST_F(ScalarCallbacks, RandomIntegersAreReadWithTheNarrowestWidth) {
    std::mt19937_64 random(20230604);
    for (int i = 0; i < 20000; ++i) {
        const auto value = static_cast<int64_t>(random()) >> (random() % 64);
        const PyRef object = PyRef::steal(PyLong_FromLong(value));
        int64_t slot = 0;
        const int expected = value >= -2147483648L && value <= 2147483647L ? kInteger32 : kInteger64;
        ASSERT_EQ(fn_read_py_vers_long(object.get(), &slot), expected) << value;
        ASSERT_EQ(slot, value);
    }
}

std::string repr_of(PyObject* owned) {
    const PyRef object = PyRef::steal(owned);
    const PyRef text = PyRef::steal(PyObject_Repr(object.get()));
    return text_of(text.get());
}

TEST_F(ScalarCallbacks, WritersBuildPythonNumbers) {
    EXPECT_EQ(repr_of(fn_write_py_long(std::numeric_limits<int>::min())), "-2147483648");
    EXPECT_EQ(repr_of(fn_write_py_ulong(std::numeric_limits<unsigned>::max())), "4294967295");
    EXPECT_EQ(repr_of(fn_write_py_longlong(std::numeric_limits<long>::min())), "-9223372036854775808");
    EXPECT_EQ(repr_of(fn_write_py_ulonglong(std::numeric_limits<unsigned long>::max())), "18446744073709551615");
    EXPECT_EQ(repr_of(fn_write_py_double(0.1)), "0.1");
}

TEST_F(ScalarCallbacks, AManagedBooleanIsItsLowByte) {
    EXPECT_EQ(repr_of(fn_write_py_bool(1)), "True");
    EXPECT_EQ(repr_of(fn_write_py_bool(0)), "False");
    EXPECT_EQ(repr_of(fn_write_py_bool(0x100)), "False");
    EXPECT_EQ(repr_of(fn_write_py_bool(-1)), "True");
}

}  // namespace
