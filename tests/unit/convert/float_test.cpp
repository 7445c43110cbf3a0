// Floats on their way to managed code. The oracle is the C library's reading of numerals, which rounds once from the
// exact value.
#include <bit>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <random>
#include <string>

#include "bridge_test.h"
#include "convert/scalars.h"

using zelmor::PyRef;

namespace {

class Floats : public BridgeTest {};

PyRef python_float(double value) {
    return PyRef::steal(PyFloat_FromDouble(value));
}

uint64_t bits_of(double value) {
    return std::bit_cast<uint64_t>(value);
}
uint32_t bits_of(float value) {
    return std::bit_cast<uint32_t>(value);
}

void check_integer(const std::string& numeral) {
    const PyRef object = PyRef::steal(PyLong_FromString(numeral.c_str(), nullptr, 10));
    double wide = 0;
    ASSERT_EQ(fn_conv_py_float_to_clr_double(object.get(), &wide), 1) << numeral;
    EXPECT_EQ(bits_of(wide), bits_of(std::strtod(numeral.c_str(), nullptr))) << numeral;
    float narrow = 0;
    ASSERT_EQ(fn_conv_py_float_to_clr_float(object.get(), &narrow), 1) << numeral;
    EXPECT_EQ(bits_of(narrow), bits_of(std::strtof(numeral.c_str(), nullptr))) << numeral;
    EXPECT_EQ(PyErr_Occurred(), nullptr);
}

void check_float(double value) {
    const PyRef object = python_float(value);
    double wide = 0;
    ASSERT_EQ(fn_conv_py_float_to_clr_double(object.get(), &wide), 1);
    EXPECT_EQ(bits_of(wide), bits_of(value));
    char numeral[64];
    std::snprintf(numeral, sizeof numeral, "%a", value);
    float narrow = 0;
    ASSERT_EQ(fn_conv_py_float_to_clr_float(object.get(), &narrow), 1);
    EXPECT_EQ(bits_of(narrow), bits_of(std::strtof(numeral, nullptr))) << numeral;
}

TEST_F(Floats, IntegersAroundEveryPowerOfTwoAreRoundedOnce) {
    for (int bit = 0; bit < 64; ++bit) {
        for (int64_t offset = -3; offset <= 3; ++offset) {
            const uint64_t value = (uint64_t{1} << bit) + static_cast<uint64_t>(offset);
            if (bit < 63 || offset < 0) {
                check_integer(std::to_string(static_cast<int64_t>(value)));
                check_integer("-" + std::to_string(uint64_t{1} << bit));
            }
            check_integer(std::to_string(value));
        }
    }
    check_integer("-9223372036854775808");
    check_integer("-1");
    check_integer("0");
}

TEST_F(Floats, RandomIntegersOfEveryMagnitudeAreRoundedOnce) {
    std::mt19937_64 random(20230601);
    for (int i = 0; i < 20000; ++i) {
        const uint64_t value = random() >> (random() % 64);
        check_integer(std::to_string(value));
        check_integer(std::to_string(static_cast<int64_t>(random()) >> (random() % 64)));
    }
}

TEST_F(Floats, IntegersHalfwayBetweenTwoFloatsAreRoundedToEven) {
    // Around halfway points of both precisions, where rounding twice would show.
    std::mt19937_64 random(20230602);
    for (int shift = 1; shift <= 40; ++shift) {
        for (int i = 0; i < 50; ++i) {
            const uint64_t mantissa = (random() >> 40) | uint64_t{1} << 23;
            const uint64_t halfway = (mantissa << shift) + (uint64_t{1} << (shift - 1));
            check_integer(std::to_string(halfway - 1));
            check_integer(std::to_string(halfway));
            check_integer(std::to_string(halfway + 1));
        }
    }
}

TEST_F(Floats, TheLargestUnsignedValueIsRoundedToTwoToTheSixtyFour) {
    check_integer("18446744073709551615");
    const PyRef object = evaluate("2**64 - 1");
    double wide = 0;
    ASSERT_EQ(fn_conv_py_float_to_clr_double(object.get(), &wide), 1);
    EXPECT_EQ(wide, 18446744073709551616.0);
}

TEST_F(Floats, IntegersOutsideSixtyFourBitsAreRefused) {
    for (const char* expression : {"2**64", "-2**63 - 1", "10**40", "-10**40"}) {
        const PyRef object = evaluate(expression);
        double wide = 5;
        float narrow = 5;
        EXPECT_EQ(fn_conv_py_float_to_clr_double(object.get(), &wide), 0) << expression;
        expect_error_of(PyExc_OverflowError);
        EXPECT_EQ(fn_conv_py_float_to_clr_float(object.get(), &narrow), 0) << expression;
        expect_error_of(PyExc_OverflowError);
        EXPECT_EQ(wide, 5);
        EXPECT_EQ(narrow, 5);
    }
}

TEST_F(Floats, FloatsPassAsTheyAreAndAreNarrowedWithoutATest) {
    for (const double value :
         {0.0, -0.0, 1.0, -1.0, 0.1, 1e39, -1e39, 1e-46, -1e-46, 3.4028234663852886e38, 3.4028235677973366e38,
          1.401298464324817e-45, 7e-46, std::numeric_limits<double>::max(), std::numeric_limits<double>::denorm_min(),
          std::numeric_limits<double>::infinity(), -std::numeric_limits<double>::infinity()}) {
        check_float(value);
    }
    const PyRef large = python_float(1e39);
    float narrow = 0;
    EXPECT_EQ(fn_conv_py_float_to_clr_float(large.get(), &narrow), 1);
    EXPECT_TRUE(std::isinf(narrow));
    EXPECT_EQ(PyErr_Occurred(), nullptr);
}

TEST_F(Floats, RandomFloatsOfEveryMagnitudePass) {
    std::mt19937_64 random(20230603);
    for (int i = 0; i < 50000; ++i) {
        const double value = std::bit_cast<double>(random());
        if (!std::isnan(value)) {
            check_float(value);
        }
        // Within the range of Single and around it.
        check_float(std::ldexp(static_cast<double>(random() >> 11), static_cast<int>(random() % 300) - 200));
    }
}

TEST_F(Floats, NotANumberStaysNotANumber) {
    const PyRef object = python_float(std::numeric_limits<double>::quiet_NaN());
    double wide = 0;
    float narrow = 0;
    EXPECT_EQ(fn_conv_py_float_to_clr_double(object.get(), &wide), 1);
    EXPECT_TRUE(std::isnan(wide));
    EXPECT_EQ(fn_conv_py_float_to_clr_float(object.get(), &narrow), 1);
    EXPECT_TRUE(std::isnan(narrow));
}

TEST_F(Floats, ASubclassOfFloatIsReadByItsValue) {
    const PyRef names = run("class Own(float):\n    def __float__(self): return 9.0\nown = Own(2.5)\n");
    double wide = 0;
    EXPECT_EQ(fn_conv_py_float_to_clr_double(entry_of(names, "own"), &wide), 1);
    EXPECT_EQ(wide, 2.5);
}

TEST_F(Floats, ABooleanIsNoNumber) {
    double wide;
    float narrow;
    EXPECT_EQ(fn_conv_py_float_to_clr_double(Py_True, &wide), 0);
    expect_error(PyExc_TypeError, "can't build 'Double' from 'bool'");
    EXPECT_EQ(fn_conv_py_float_to_clr_float(Py_True, &narrow), 0);
    expect_error(PyExc_TypeError, "can't build 'Single' from 'bool'");
}

TEST_F(Floats, AnObjectWithAFloatMethodIsRefused) {
    const PyRef names =
        run("from fractions import Fraction\nclass Own:\n    def __float__(self): return 1.0\n"
            "    def __index__(self): return 1\nown, third = Own(), Fraction(1, 3)\n");
    double wide;
    float narrow;
    EXPECT_EQ(fn_conv_py_float_to_clr_double(entry_of(names, "own"), &wide), 0);
    expect_error(PyExc_TypeError, "can't build 'Double' from 'Own'");
    EXPECT_EQ(fn_conv_py_float_to_clr_float(entry_of(names, "third"), &narrow), 0);
    expect_error(PyExc_TypeError, "can't build 'Single' from 'Fraction'");
}

}  // namespace
