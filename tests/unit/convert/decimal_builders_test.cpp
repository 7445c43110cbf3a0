// The decimal builders by themselves: powers of ten, the words that come out, the steps of rounding and overflow, and
// the number forms that no converter uses.
#include <array>
#include <cmath>
#include <cstring>
#include <limits>
#include <random>
#include <string>

#include "bridge_test.h"
#include "convert/decimal.h"
#include "convert/decimal_arg_in_builder.h"
#include "convert/decimal_arg_out_builder.h"
#include "convert/ten_pow.h"

using zelmor::PyRef;

namespace {

using Record = std::array<unsigned int, 4>;
using Wide = unsigned __int128;

class DecimalBuilders : public BridgeTest {};

constexpr Wide kLargest = (Wide{1} << 96) - 1;

Wide mantissa_of(const Record& record) {
    return Wide{record[2]} << 64 | Wide{record[1]} << 32 | record[0];
}

std::string digits_of(Wide value) {
    std::string digits;
    do {
        digits.insert(digits.begin(), static_cast<char>('0' + static_cast<int>(value % 10)));
        value /= 10;
    } while (value != 0);
    return digits;
}

TEST_F(DecimalBuilders, PowersOfTen) {
    unsigned long expected = 1;
    for (unsigned int n = 0; n <= 19; ++n) {
        EXPECT_EQ(TenPow::pow(n), expected) << n;
        expected *= 10;
    }
}

TEST_F(DecimalBuilders, TheOverflowEstimateIsTheLargestMantissaByAHundred) {
    const auto& words = DecimalArgOutBuilder::est_max_value;
    const Wide estimate = Wide{words[3]} << 64 | Wide{words[2]} << 32 | words[1];
    EXPECT_EQ(estimate * 100 + words[0], kLargest);
}

TEST_F(DecimalBuilders, TheRecordIsZeroedAtOnce) {
    Record record = {1, 2, 3, 4};
    const DecimalArgOutBuilder builder(record.data());
    EXPECT_EQ(record, Record{});
}

TEST_F(DecimalBuilders, GroupsAreAppended) {
    Record record;
    DecimalArgOutBuilder builder(record.data());
    builder.begin_accept_decimal(1, -3, -1);
    builder.accept_decimal_mantissa(123456789, 9);
    builder.accept_decimal_mantissa(42, 3);
    EXPECT_TRUE(builder.end_accept_decimal());
    EXPECT_EQ(mantissa_of(record), Wide{123456789042});
    EXPECT_EQ(record[3], 1U << 31 | 3U << 16);
}

TEST_F(DecimalBuilders, AnExponentIsMultipliedIntoTheMantissa) {
    Record record;
    DecimalArgOutBuilder builder(record.data());
    builder.begin_accept_decimal(0, 20, -1);
    builder.accept_decimal_mantissa(792, 3);
    EXPECT_TRUE(builder.end_accept_decimal());
    EXPECT_EQ(digits_of(mantissa_of(record)), "792" + std::string(20, '0'));
    EXPECT_EQ(record[3], 0U);
}

TEST_F(DecimalBuilders, AnExponentThatIsTooLargeEndsSoon) {
    Record record;
    DecimalArgOutBuilder builder(record.data());
    builder.begin_accept_decimal(0, std::numeric_limits<long long>::max(), -1);
    builder.accept_decimal_mantissa(1, 1);
    EXPECT_FALSE(builder.end_accept_decimal());
}

TEST_F(DecimalBuilders, OnlyTheLowBitOfTheSignCounts) {
    Record record;
    DecimalArgOutBuilder builder(record.data());
    builder.begin_accept_decimal(2, 0, -1);
    builder.accept_decimal_mantissa(1, 1);
    EXPECT_TRUE(builder.end_accept_decimal());
    EXPECT_EQ(record, (Record{1, 0, 0, 0}));
}

TEST_F(DecimalBuilders, TheLastDigitIsRoundedToEvenByItsOwnGroup) {
    struct Case {
        unsigned long group;
        int width;
        unsigned int expected;
    };
    // With 9 accepted before: 1000000000 and what the group leaves.
    for (const Case& c : {Case{5, 1, 0}, Case{6, 1, 1}, Case{15, 2, 2}, Case{25, 2, 2}, Case{24, 2, 2}, Case{99, 2, 10},
                          Case{996, 3, 100}}) {
        Record record;
        DecimalArgOutBuilder builder(record.data());
        builder.begin_accept_decimal(0, -28, 9 + c.width);
        builder.accept_decimal_mantissa(100000001, 9);
        builder.accept_decimal_mantissa(c.group, c.width);
        EXPECT_TRUE(builder.end_accept_decimal());
        EXPECT_EQ(mantissa_of(record),
                  Wide{100000001} * TenPow::pow(static_cast<unsigned int>(c.width) - 1) + c.expected)
            << c.group;
    }
}

TEST_F(DecimalBuilders, NumbersOfOtherKindsAreStoredAsTheyAre) {
    Record record;
    DecimalArgOutBuilder builder(record.data());
    EXPECT_EQ(builder.accept_long(0x1234567890ABCDEF, 1), 1);
    EXPECT_EQ(record, (Record{0x90ABCDEF, 0x12345678, 0, 1U << 31}));

    DecimalArgOutBuilder doubles(record.data());
    EXPECT_EQ(doubles.accept_double(std::nan("")), -1);
    EXPECT_EQ(record, Record{});
    EXPECT_EQ(doubles.accept_double(1.5), 0);
    EXPECT_EQ(record, (Record{0, 0x3FF80000, 0, 1}));
    DecimalArgOutBuilder large(record.data());
    EXPECT_EQ(large.accept_double(std::ldexp(1.0, 95)), 0);  // the exponent of 2^95 is 96
    DecimalArgOutBuilder larger(record.data());
    EXPECT_EQ(larger.accept_double(std::ldexp(1.0, 96)), 1);
    EXPECT_EQ(record[3], 0U);
}

TEST_F(DecimalBuilders, ARecordIsTakenApartIntoItsDigitsAndConsumed) {
    std::mt19937_64 random(7);
    for (int i = 0; i < 100'000; ++i) {
        const int bits = static_cast<int>(random() % 97);
        const Wide value = (Wide{random()} << 64 | random()) & ((Wide{1} << bits) - 1);
        const auto scale = static_cast<unsigned int>(random() % 256);
        const auto sign = static_cast<unsigned int>(random() % 2);
        Record record = {static_cast<unsigned int>(value), static_cast<unsigned int>(value >> 32),
                         static_cast<unsigned int>(value >> 64), sign << 31 | scale << 16};
        const DecimalArgInBuilder builder(record.data());
        std::string digits;
        for (int j = 0; j < builder.mantissa_length(); ++j) {
            digits += static_cast<char>('0' + builder.mantissa_cbegin()[j]);
        }
        ASSERT_EQ(digits, digits_of(value));
        ASSERT_EQ(builder.exponent(), -static_cast<int>(scale));
        ASSERT_EQ(builder.sign(), static_cast<int>(sign));
        ASSERT_EQ(mantissa_of(record), Wide{0});
    }
}

TEST_F(DecimalBuilders, AGroupOfDigitsIsOneNumber) {
    const PyRef digits = evaluate("(1, 2, 3, 0, 5)");
    EXPECT_EQ(get_mantissa_group(digits.get(), 0, 5), 12305U);
    EXPECT_EQ(get_mantissa_group(digits.get(), 1, 3), 23U);
    EXPECT_EQ(get_mantissa_group(digits.get(), 2, 2), 0U);
    EXPECT_EQ(get_mantissa_group(evaluate("('x',)").get(), 0, 1), std::numeric_limits<unsigned long>::max());
    expect_error_of(PyExc_TypeError);
}

// A decimal of the C module refuses such digits, so that only a made-up tuple has them.
TEST_F(DecimalBuilders, ADigitThatIsNoneIsRefused) {
    const PyRef tuple = evaluate("__import__('decimal').DecimalTuple(0, (1, 12), 0)");
    Record record;
    EXPECT_EQ(fn_conv_py_decimal_tuple_to_clr_decimal(tuple.get(), record.data()), 0);
    EXPECT_TRUE(PyErr_ExceptionMatches(PyExc_ValueError));
    PyErr_Clear();
}

}  // namespace
