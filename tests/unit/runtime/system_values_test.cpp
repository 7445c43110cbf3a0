// The .NET library's own value types as managed values: how they compare, hash and show themselves.
#include "runtime/native/core/system_values.h"

#include <gtest/gtest.h>

#include <limits>
#include <utility>

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

// As .NET documents its 64-bit numbers to hash: the exclusive or of both halves.
TEST(SystemValues, HashesOfWordsCombineTheirHalves) {
    const std::pair<uint64_t, int32_t> cases[] = {
        {0, 0},
        {7, 7},
        {uint64_t{5} << 32 | 3, 6},
        {uint64_t{1} << 61, 1 << 29},
        {0x80000000, INT32_MIN},
        {1'000'000'007, 1'000'000'007},
    };
    for (const auto& [word, hash] : cases) {
        const auto ticks = static_cast<int64_t>(word);
        EXPECT_EQ(hash_of_value(word), hash);
        EXPECT_EQ(hash_of_value(ticks), hash);
        EXPECT_EQ(hash_of_value(TimeSpanValue{ticks}), hash);
        EXPECT_EQ(hash_of_value(DateTimeValue{word, 9}), hash);
        EXPECT_EQ(hash_of_value(DateTimeValue{word | uint64_t{3} << 62, 0}), hash);
        EXPECT_EQ(hash_of_value(DateTimeOffsetValue{ticks + 30, 30}), hash);
    }
    EXPECT_EQ(hash_of_value(int64_t{-1}), 0);
    EXPECT_EQ(hash_of_value(TimeSpanValue{-1}), 0);
}

// Each bit of a value is one of its hash.
TEST(SystemValues, HashesDifferByEveryBit) {
    for (int bit = 0; bit < 96; bit++) {
        DecimalValue changed = decimal(1, 3);
        changed.words[static_cast<size_t>(bit / 32)] ^= 1U << bit % 32;
        EXPECT_NE(hash_of_value(changed), hash_of_value(decimal(1, 3))) << bit;
    }
    for (uint32_t scale = 0; scale < 28; scale++) {
        EXPECT_NE(hash_of_value(decimal(7, scale)), hash_of_value(decimal(7, scale + 1))) << scale;
    }
    EXPECT_NE(hash_of_value(decimal(7, 2)), hash_of_value(decimal(7, 2, true)));
    const GuidValue guid{{1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16}};
    for (size_t i = 0; i < 16; i++) {
        GuidValue changed = guid;
        changed.bytes[i] ^= 0x80;
        EXPECT_NE(hash_of_value(changed), hash_of_value(guid)) << i;
    }
}

// The widest and the narrowest of each field, and those beside a change of day, minute and second.
TEST(SystemValues, ClocksAndSpansShowAllFields) {
    constexpr int64_t kSecond = kTicksPerSecond, kMinute = 60 * kSecond, kHour = 60 * kMinute;
    const int64_t day = 738'671 * kTicksPerDay;  // 2023-06-01
    const auto clock = [&](int64_t ticks) { return shown(DateTimeValue{static_cast<uint64_t>(day + ticks), 0}); };
    EXPECT_EQ(clock(-1), "05/31/2023 23:59:59");
    EXPECT_EQ(clock(0), "06/01/2023 00:00:00");
    EXPECT_EQ(clock(kSecond - 1), "06/01/2023 00:00:00");
    EXPECT_EQ(clock(59 * kSecond), "06/01/2023 00:00:59");
    EXPECT_EQ(clock(kMinute), "06/01/2023 00:01:00");
    EXPECT_EQ(clock(kHour - kSecond), "06/01/2023 00:59:59");
    EXPECT_EQ(clock(kHour), "06/01/2023 01:00:00");
    EXPECT_EQ(clock(13 * kHour + 7 * kMinute + 8 * kSecond), "06/01/2023 13:07:08");
    const auto offset = [&](int64_t minutes) { return shown(DateTimeOffsetValue{day, minutes * kMinute}).substr(20); };
    EXPECT_EQ(offset(0), "+00:00");
    EXPECT_EQ(offset(59), "+00:59");
    EXPECT_EQ(offset(60), "+01:00");
    EXPECT_EQ(offset(-1), "-00:01");
    EXPECT_EQ(offset(-61), "-01:01");
    EXPECT_EQ(offset(840), "+14:00");
    const std::pair<int64_t, const char*> spans[] = {
        {1, "00:00:00.0000001"},
        {kSecond - 1, "00:00:00.9999999"},
        {kMinute - kSecond, "00:00:59"},
        {kMinute, "00:01:00"},
        {kHour - 1, "00:59:59.9999999"},
        {kHour, "01:00:00"},
        {kTicksPerDay - kSecond, "23:59:59"},
        {kTicksPerDay, "1.00:00:00"},
        {2 * kTicksPerDay + 1, "2.00:00:00.0000001"},
        {-1, "-00:00:00.0000001"},
        {-kTicksPerDay, "-1.00:00:00"},
        {std::numeric_limits<int64_t>::max(), "10675199.02:48:05.4775807"},
    };
    for (const auto& [ticks, text] : spans) {
        EXPECT_EQ(shown(TimeSpanValue{ticks}), text);
    }
    EXPECT_EQ(shown(decimal(123, 3)), "0.123");
    EXPECT_EQ(shown(decimal(1234, 3)), "1.234");
    EXPECT_EQ(shown(decimal(12, 3)), "0.012");
    EXPECT_EQ(shown(decimal(1200, 0, true)), "-1200");
    EXPECT_EQ(shown(decimal(1, 28)), "0.0000000000000000000000000001");
    EXPECT_EQ(shown(decimal(0, 1)), "0.0");
    EXPECT_EQ(shown(DecimalValue{{0, 1, 0, 0}}), "4294967296");
    EXPECT_EQ(shown(DecimalValue{{0, 0, 1, 0}}), "18446744073709551616");
}

}  // namespace
}  // namespace zelmor::embed
