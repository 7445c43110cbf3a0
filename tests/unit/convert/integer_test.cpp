// Integers on their way to managed code: what counts as one, where each width ends, and how 32 bits wrap.
#include <limits>
#include <random>
#include <string>
#include <type_traits>

#include "bridge_test.h"
#include "convert/range_tests.h"
#include "convert/scalars.h"

using zelmor::PyRef;

namespace {

class Integers : public BridgeTest {};

using Wide = __int128;

// Decimal digits of a number of any width, computed without the interpreter.
std::string decimal(Wide value) {
    const bool negative = value < 0;
    auto magnitude = negative ? -static_cast<unsigned __int128>(value) : static_cast<unsigned __int128>(value);
    std::string digits;
    do {
        digits.insert(digits.begin(), static_cast<char>('0' + static_cast<int>(magnitude % 10)));
        magnitude /= 10;
    } while (magnitude != 0);
    return negative ? "-" + digits : digits;
}

PyRef python_int(Wide value) {
    return PyRef::steal(PyLong_FromString(decimal(value).c_str(), nullptr, 10));
}

// What a converter has to do with a value, by arithmetic on 128 bits.
struct Expected {
    bool accepted;
    std::string message;  // of ours; empty where the words are Python's own
    Wide stored = 0;
};

template <class Target>
Expected expected_of(Wide value) {
    using Source = std::conditional_t<std::is_signed_v<Target>, long, unsigned long>;
    const std::string name = clr_int_type_name<Target>::name;
    if (value < Wide{std::numeric_limits<Source>::min()} || value > Wide{std::numeric_limits<Source>::max()}) {
        return {false, ""};
    }
    if (sizeof(Target) < 4) {
        if (value < Wide{std::numeric_limits<Target>::min()}) {
            return {false, "value too small to convert to '" + name + "'"};
        }
        if (value > Wide{std::numeric_limits<Target>::max()}) {
            return {false, "value too big to convert to '" + name + "'"};
        }
    }
    // Two's complement at the target's width.
    const Wide modulus = Wide{1} << (8 * sizeof(Target));
    Wide stored = ((value % modulus) + modulus) % modulus;
    if (stored > Wide{std::numeric_limits<Target>::max()}) {
        stored -= modulus;
    }
    return {true, "", stored};
}

template <class Target>
void check(int (*convert)(PyObject*, Target*), Wide value) {
    const PyRef object = python_int(value);
    ASSERT_TRUE(object);
    const Expected expected = expected_of<Target>(value);
    constexpr Target kUntouched = 77;
    Target out = kUntouched;
    const int result = convert(object.get(), &out);
    ASSERT_EQ(result, expected.accepted ? 1 : 0) << clr_int_type_name<Target>::name << " " << decimal(value);
    if (expected.accepted) {
        EXPECT_EQ(PyErr_Occurred(), nullptr);
        EXPECT_EQ(decimal(out), decimal(expected.stored)) << clr_int_type_name<Target>::name << " " << decimal(value);
        return;
    }
    EXPECT_EQ(out, kUntouched);
    if (expected.message.empty()) {
        expect_error_of(PyExc_OverflowError);
    } else {
        expect_error(PyExc_OverflowError, expected.message);
    }
}

void check_all(Wide value) {
    check(fn_conv_py_long_to_clr_int8, value);
    check(fn_conv_py_long_to_clr_int16, value);
    check(fn_conv_py_long_to_clr_int32, value);
    check(fn_conv_py_long_to_clr_int64, value);
    check(fn_conv_py_ulong_to_clr_uint8, value);
    check(fn_conv_py_ulong_to_clr_uint16, value);
    check(fn_conv_py_ulong_to_clr_uint32, value);
    check(fn_conv_py_ulong_to_clr_uint64, value);
}

TEST_F(Integers, EveryWidthAtAndAroundEveryPowerOfTwo) {
    for (int bit = 0; bit <= 70; ++bit) {
        for (int offset = -2; offset <= 2; ++offset) {
            check_all((Wide{1} << bit) + offset);
            check_all(-(Wide{1} << bit) + offset);
        }
    }
}

TEST_F(Integers, EveryWidthOnRandomValuesOfEveryMagnitude) {
    std::mt19937_64 random(20230600);
    for (int i = 0; i < 5000; ++i) {
        const Wide bits = static_cast<Wide>(random()) << 64 | random();
        check_all(bits >> (random() % 126));
    }
}

TEST_F(Integers, ABooleanIsNoInteger) {
    signed char narrow;
    unsigned long wide;
    EXPECT_EQ(fn_conv_py_long_to_clr_int8(Py_True, &narrow), 0);
    expect_error(PyExc_TypeError, "can't build 'SByte' from 'bool'");
    EXPECT_EQ(fn_conv_py_ulong_to_clr_uint64(Py_False, &wide), 0);
    expect_error(PyExc_TypeError, "can't build 'UInt64' from 'bool'");
}

template <class Target>
void expect_refused(int (*convert)(PyObject*, Target*), PyObject* object, const std::string& message) {
    Target out;
    EXPECT_EQ(convert(object, &out), 0);
    expect_error(PyExc_TypeError, message);
}

TEST_F(Integers, EachRefusalNamesItsTargetAndTheType) {
    const PyRef text = evaluate("'5'");
    expect_refused(fn_conv_py_long_to_clr_int8, text.get(), "can't build 'SByte' from 'str'");
    expect_refused(fn_conv_py_long_to_clr_int16, text.get(), "can't build 'Int16' from 'str'");
    expect_refused(fn_conv_py_long_to_clr_int32, text.get(), "can't build 'Int32' from 'str'");
    expect_refused(fn_conv_py_long_to_clr_int64, text.get(), "can't build 'Int64' from 'str'");
    expect_refused(fn_conv_py_ulong_to_clr_uint8, text.get(), "can't build 'Byte' from 'str'");
    expect_refused(fn_conv_py_ulong_to_clr_uint16, text.get(), "can't build 'UInt16' from 'str'");
    expect_refused(fn_conv_py_ulong_to_clr_uint32, text.get(), "can't build 'UInt32' from 'str'");
    expect_refused(fn_conv_py_ulong_to_clr_uint64, text.get(), "can't build 'UInt64' from 'str'");
    expect_refused(fn_conv_py_long_to_clr_int32, Py_None, "can't build 'Int32' from 'NoneType'");
    const PyRef number = evaluate("5.0");
    expect_refused(fn_conv_py_long_to_clr_int32, number.get(), "can't build 'Int32' from 'float'");
}

template <class Target>
void expect_overflow(int (*convert)(PyObject*, Target*), const char* number, const char* message) {
    Target out;
    EXPECT_EQ(convert(evaluate(number).get(), &out), 0);
    expect_error(PyExc_OverflowError, message);
}

TEST_F(Integers, AnOverflowIsToldInTheWordsOfTheReadingCall) {
    const char* const kLong = "Python int too large to convert to C long";
    expect_overflow(fn_conv_py_long_to_clr_int8, "2**63", kLong);
    expect_overflow(fn_conv_py_long_to_clr_int16, "2**63", kLong);
    expect_overflow(fn_conv_py_long_to_clr_int32, "-2**63 - 1", kLong);
    expect_overflow(fn_conv_py_long_to_clr_int64, "2**63", "int too big to convert");
    expect_overflow(fn_conv_py_long_to_clr_int64, "-2**63 - 1", "int too big to convert");
    const char* const kUnsignedLong = "Python int too large to convert to C unsigned long";
    expect_overflow(fn_conv_py_ulong_to_clr_uint8, "2**64", kUnsignedLong);
    expect_overflow(fn_conv_py_ulong_to_clr_uint16, "2**64", kUnsignedLong);
    expect_overflow(fn_conv_py_ulong_to_clr_uint32, "2**64", kUnsignedLong);
    expect_overflow(fn_conv_py_ulong_to_clr_uint64, "2**64", "int too big to convert");
    const char* const kNegative = "can't convert negative value to unsigned int";
    expect_overflow(fn_conv_py_ulong_to_clr_uint32, "-1", kNegative);
    expect_overflow(fn_conv_py_ulong_to_clr_uint64, "-1", "can't convert negative int to unsigned");
}

TEST_F(Integers, ASubclassOfIntIsNone) {
    const PyRef names = run("class Own(int):\n    pass\nown = Own(5)\n");
    int out;
    EXPECT_EQ(fn_conv_py_long_to_clr_int32(entry_of(names, "own"), &out), 0);
    expect_error(PyExc_TypeError, "can't build 'Int32' from 'Own'");
}

TEST_F(Integers, AMemberOfAnIntegerEnumerationIsNone) {
    const PyRef names = run("import enum\nclass Color(enum.IntEnum):\n    RED = 1\nred = Color.RED\n");
    int out;
    EXPECT_EQ(PyShLong_Check(entry_of(names, "red")), 0);
    EXPECT_EQ(fn_conv_py_long_to_clr_int32(entry_of(names, "red"), &out), 0);
    expect_error(PyExc_TypeError, "can't build 'Int32' from 'Color'");
}

TEST_F(Integers, AnObjectWithAnIndexIsNone) {
    const PyRef names = run("class Own:\n    def __index__(self): return 5\nown = Own()\n");
    int out;
    EXPECT_EQ(fn_conv_py_long_to_clr_int32(entry_of(names, "own"), &out), 0);
    expect_error(PyExc_TypeError, "can't build 'Int32' from 'Own'");
}

TEST_F(Integers, WhatPassesAsAnEnumTypeIsAnInteger) {
    // The test is `isinstance` against the metaclass, which a class can claim to be an instance of.
    const PyRef names = run("import enum\nclass Claims(int):\n    __class__ = enum.EnumType\nclaims = Claims(5)\n");
    EXPECT_EQ(PyShLong_Check(entry_of(names, "claims")), 1);
    int out = 0;
    EXPECT_EQ(fn_conv_py_long_to_clr_int32(entry_of(names, "claims"), &out), 1);
    EXPECT_EQ(out, 5);
}

TEST_F(Integers, AFailedImportOfTheEnumTypeIsPassedOn) {
    const PyRef names =
        run("import sys, enum\nkept = sys.modules['enum']\nsys.modules['enum'] = None\n"
            "class Own(int):\n    pass\nown = Own(5)\n");
    EXPECT_EQ(PyShLong_Check(entry_of(names, "own")), -1);
    expect_error(PyExc_ImportError,
                 "Unable to import the specified module enum. The module not found or errors occurred while "
                 "initializing it.");
    int out;
    EXPECT_EQ(fn_conv_py_long_to_clr_int32(entry_of(names, "own"), &out), 0);
    expect_error_of(PyExc_ImportError);
    double number;
    EXPECT_EQ(fn_conv_py_float_to_clr_double(entry_of(names, "own"), &number), 0);
    expect_error_of(PyExc_ImportError);
    // The exact types do not need it.
    EXPECT_EQ(PyShLong_Check(Py_True), 0);
    const PyRef five = python_int(5);
    EXPECT_EQ(PyShLong_Check(five.get()), 1);
    PyDict_SetItemString(PyImport_GetModuleDict(), "enum", entry_of(names, "kept"));
}

TEST_F(Integers, ConversionKeepsNoReference) {
    const PyRef value = evaluate("12345678901");
    const RefCountWatch count(value.get());
    long wide;
    EXPECT_EQ(fn_conv_py_long_to_clr_int64(value.get(), &wide), 1);
    EXPECT_EQ(wide, 12345678901);
    EXPECT_EQ(count.change(), 0);
}

TEST_F(Integers, TheMessagesOfOtherSubjects) {
    EXPECT_FALSE((is_clong_value_out_of_clr_range<IndexSubjTrait, int>(2147483647L, PyExc_IndexError)));
    EXPECT_TRUE((is_clong_value_out_of_clr_range<IndexSubjTrait, int>(2147483648L, PyExc_IndexError)));
    expect_error(PyExc_IndexError, "index too big to convert to 'Int32'");
    EXPECT_TRUE((is_clong_value_out_of_clr_range<CountSubjTrait, int>(-2147483649L, PyExc_OverflowError)));
    expect_error(PyExc_OverflowError, "count too small to convert to 'Int32'");
    EXPECT_TRUE((is_uclong_value_out_of_clr_range<CountSubjTrait, unsigned char>(256ul, PyExc_OverflowError)));
    expect_error(PyExc_OverflowError, "count too big to convert to 'Byte'");
    EXPECT_TRUE((is_uclong_value_negative<ValueSubjTrait, unsigned int>(-1L, PyExc_OverflowError)));
    expect_error(PyExc_OverflowError, "value too small to convert to 'UInt32'");
    // No wider than the target: never out of range.
    EXPECT_FALSE(
        (is_clong_value_out_of_clr_range<ValueSubjTrait, long>(std::numeric_limits<long>::min(), PyExc_OverflowError)));
    EXPECT_FALSE((is_uclong_value_negative<ValueSubjTrait, unsigned int>(5ul, PyExc_OverflowError)));
    EXPECT_FALSE((is_uclong_value_negative<ValueSubjTrait, unsigned int>(0L, PyExc_OverflowError)));
}

TEST_F(Integers, ASizeIsAnythingWithAnIndex) {
    long out = 0;
    const PyRef names = run("class Own:\n    def __index__(self): return 9\nown = Own()\n");
    EXPECT_EQ(fn_conv_py_obj_to_ssize_t(entry_of(names, "own"), &out), 1);
    EXPECT_EQ(out, 9);
    EXPECT_EQ(fn_conv_py_obj_to_ssize_t(Py_True, &out), 1);
    EXPECT_EQ(out, 1);
    EXPECT_EQ(fn_conv_py_obj_to_ssize_t(python_int(-1).get(), &out), 1);
    EXPECT_EQ(out, -1);
    const PyRef text = evaluate("'x'");
    EXPECT_EQ(fn_conv_py_obj_to_ssize_t(text.get(), &out), 0);
    expect_error(PyExc_TypeError, "argument should be integer or None, not 'str'");
    EXPECT_EQ(fn_conv_py_obj_to_ssize_t(python_int(Wide{1} << 63).get(), &out), 0);
    expect_error_of(PyExc_OverflowError);
}

TEST_F(Integers, ALongTypeNameIsCutInTheSizeMessage) {
    const PyRef names = run("long = type('x' * 300, (), {})()\n");
    long out;
    EXPECT_EQ(fn_conv_py_obj_to_ssize_t(entry_of(names, "long"), &out), 0);
    expect_error(PyExc_TypeError, "argument should be integer or None, not '" + std::string(200, 'x') + "'");
}

TEST_F(Integers, AnOptionalSizeKeepsTheDefaultForNone) {
    long out = -1;
    const PyRef none = evaluate("(None,)");
    EXPECT_EQ(fn_conv_py_optional_to_ssize_t(none.get(), &out), 1);
    EXPECT_EQ(out, -1);
    const PyRef five = evaluate("(5, None)");
    EXPECT_EQ(fn_conv_py_optional_to_ssize_t(five.get(), &out), 1);
    EXPECT_EQ(out, 5);
    const PyRef text = evaluate("('x',)");
    EXPECT_EQ(fn_conv_py_optional_to_ssize_t(text.get(), &out), 0);
    expect_error(PyExc_TypeError, "argument should be integer or None, not 'str'");
}

}  // namespace
