// The .NET library's own value types as managed values: how they compare, hash and show themselves.
#include "runtime/native/core/system_values.h"

#include <gtest/gtest.h>

#include <limits>

#include "runtime/native/core/text.h"
#include "runtime/native/core/value.h"

namespace zelmor::embed {
namespace {

DecimalValue decimal(uint64_t mantissa, uint32_t scale, bool negative = false) {
    return {{static_cast<uint32_t>(mantissa), static_cast<uint32_t>(mantissa >> 32), 0,
             scale << 16 | (negative ? 1U << 31 : 0)}};
}

std::string shown(const Value& value) {
    return to_utf8(text_of_value(value));
}

TEST(SystemValues, DecimalsThatDifferInTrailingZerosAreEqual) {
    EXPECT_TRUE(values_equal(decimal(15, 1), decimal(1500, 3)));
    EXPECT_EQ(hash_of_value(decimal(15, 1)), hash_of_value(decimal(1500, 3)));
    EXPECT_TRUE(values_equal(decimal(0, 5, true), decimal(0, 0)));
    EXPECT_EQ(hash_of_value(decimal(0, 5, true)), hash_of_value(decimal(0, 0)));
    EXPECT_FALSE(values_equal(decimal(15, 1), decimal(15, 1, true)));
    EXPECT_FALSE(values_equal(decimal(15, 1), decimal(150, 1)));
}

TEST(SystemValues, ADecimalShowsItsScale) {
    EXPECT_EQ(shown(decimal(150, 2)), "1.50");
    EXPECT_EQ(shown(decimal(5, 2, true)), "-0.05");
    EXPECT_EQ(shown(decimal(0, 0)), "0");
    EXPECT_EQ(shown(decimal(0, 3, true)), "0.000");
    EXPECT_EQ(shown(DecimalValue{{~0U, ~0U, ~0U, 0}}), "79228162514264337593543950335");
    EXPECT_EQ(shown(DecimalValue{{~0U, ~0U, ~0U, 28U << 16}}), "7.9228162514264337593543950335");
}

TEST(SystemValues, DatesOfAllKindsCompareByTheirClock) {
    EXPECT_TRUE(values_equal(DateTimeValue{5, 0}, DateTimeValue{5 | 1UL << 62, 0}));
    EXPECT_EQ(hash_of_value(DateTimeValue{5, 0}), hash_of_value(DateTimeValue{5 | 2UL << 62, 7}));
    EXPECT_FALSE(values_equal(DateTimeValue{5, 0}, DateTimeValue{6, 0}));
    EXPECT_FALSE(values_equal(DateTimeValue{5, 0}, TimeSpanValue{5}));
}

TEST(SystemValues, MomentsWithOffsetsCompareInUtc) {
    EXPECT_TRUE(values_equal(DateTimeOffsetValue{100, 30}, DateTimeOffsetValue{70, 0}));
    EXPECT_EQ(hash_of_value(DateTimeOffsetValue{100, 30}), hash_of_value(DateTimeOffsetValue{70, 0}));
    EXPECT_FALSE(values_equal(DateTimeOffsetValue{100, 30}, DateTimeOffsetValue{100, 0}));
}

TEST(SystemValues, DatesShowThemselvesInTheInvariantCulture) {
    EXPECT_EQ(shown(DateTimeValue{0, 0}), "01/01/0001 00:00:00");
    EXPECT_EQ(shown(DateTimeValue{3'155'378'975'999'999'999 | 1UL << 62, 0}), "12/31/9999 23:59:59");
    const int64_t noon = 738'671 * kTicksPerDay + kTicksPerDay / 2;  // of 2023-06-01
    EXPECT_EQ(shown(DateTimeValue{static_cast<uint64_t>(noon), 0}), "06/01/2023 12:00:00");
    EXPECT_EQ(shown(DateTimeOffsetValue{noon, 3600 * kTicksPerSecond * 5 / 2}), "06/01/2023 12:00:00 +02:30");
    EXPECT_EQ(shown(DateTimeOffsetValue{noon, -3600 * kTicksPerSecond}), "06/01/2023 12:00:00 -01:00");
}

TEST(SystemValues, SpansShowDaysAndFractionsWhereTheyHaveThem) {
    EXPECT_EQ(shown(TimeSpanValue{0}), "00:00:00");
    EXPECT_EQ(shown(TimeSpanValue{kTicksPerDay + 3723 * kTicksPerSecond + 5}), "1.01:02:03.0000005");
    EXPECT_EQ(shown(TimeSpanValue{-kTicksPerSecond}), "-00:00:01");
    EXPECT_EQ(shown(TimeSpanValue{std::numeric_limits<int64_t>::min()}), "-10675199.02:48:05.4775808");
}

TEST(SystemValues, AGuidShowsItsFirstFieldsFromTheHighEnd) {
    const GuidValue guid{
        {0x33, 0x22, 0x11, 0x00, 0x55, 0x44, 0x77, 0x66, 0x88, 0x99, 0xAA, 0xBB, 0xCC, 0xDD, 0xEE, 0xFF}};
    EXPECT_EQ(shown(guid), "00112233-4455-6677-8899-aabbccddeeff");
    EXPECT_TRUE(values_equal(guid, GuidValue(guid)));
    EXPECT_FALSE(values_equal(guid, GuidValue{}));
}

}  // namespace
}  // namespace zelmor::embed
