// Dates and spans: the builders' arithmetic beside the standard library's calendar, and the converters to
// DateTimeOffset, which no member takes.
#include <chrono>
#include <limits>
#include <random>
#include <string>

#include "bridge_test.h"
#include "convert/dates.h"

using zelmor::PyRef;

namespace {

class Dates : public BridgeTest {
 protected:
    // The value of an expression over the classes of Python's datetime.
    PyRef moment(const char* expression) {
        return evaluate(expression, {{"d", PyDict_GetItemString(m_names.get(), "d")}});
    }

 private:
    PyRef m_names = run("import datetime as d\n");
};

TEST_F(Dates, EveryDayIsThatOfTheStandardCalendar) {
    const std::chrono::sys_days first = std::chrono::year(1) / 1 / 1;
    const std::chrono::sys_days last = std::chrono::year(9999) / 12 / 31;
    for (std::chrono::sys_days day = first; day <= last; day += std::chrono::days(1)) {
        const std::chrono::year_month_day date(day);
        const long ticks = (day - first).count() * ClrTicks::kDay;
        DateTimeArgBuilder builder(ticks + ClrTicks::kDay - 1);
        ASSERT_EQ(builder.year, static_cast<int>(date.year()));
        ASSERT_EQ(builder.month, static_cast<int>(static_cast<unsigned>(date.month())));
        ASSERT_EQ(builder.day, static_cast<int>(static_cast<unsigned>(date.day())));
        ASSERT_EQ(builder.is_leap_year(), date.year().is_leap());
        builder.hour = builder.minute = builder.second = builder.microsecond = 0;
        long out = -1;
        ASSERT_TRUE(builder.to_ticks(out));
        ASSERT_EQ(out, ticks);
    }
}

TEST_F(Dates, AnyClockComesBackInItsFields) {
    std::mt19937_64 random(3);
    for (int i = 0; i < 1'000'000; ++i) {
        const long ticks = static_cast<long>(random() % static_cast<unsigned long>(ClrTicks::kMax + 1)) / 10 * 10;
        const auto kind = static_cast<unsigned long>(i % 4);
        const DateTimeArgBuilder builder(static_cast<long>(static_cast<unsigned long>(ticks) | kind << 62));
        ASSERT_EQ(builder.kind, static_cast<int>(kind));
        long out = 0;
        ASSERT_TRUE(builder.to_ticks_non_kind(out));
        ASSERT_EQ(out, ticks);
        ASSERT_TRUE(builder.to_ticks(out));
        ASSERT_EQ(static_cast<unsigned long>(out), static_cast<unsigned long>(ticks) | kind << 62);
    }
}

TEST_F(Dates, AnImpossibleDayLeavesTheOutputAlone) {
    const int days[][3] = {{0, 1, 1}, {10000, 1, 1}, {1, 0, 1},     {1, 13, 1},    {2023, 2, 29},
                           {1, 1, 0}, {1, 1, 32},    {1900, 2, 29}, {2024, 2, 30}, {2023, 4, 31}};
    for (const auto& [year, month, day] : days) {
        DateTimeArgBuilder builder;
        builder.year = year;
        builder.month = month;
        builder.day = day;
        long out = 77;
        EXPECT_FALSE(builder.to_ticks(out)) << year << '-' << month << '-' << day;
        EXPECT_EQ(out, 77);
    }
}

TEST_F(Dates, ASecondOfSixtyIsTheOneBefore) {
    DateTimeArgBuilder builder;
    builder.second = 60;
    long out = 0;
    EXPECT_TRUE(builder.to_ticks(out));
    EXPECT_EQ(out, 590'000'000);
    builder = DateTimeArgBuilder(ClrTicks::kMax);
    builder.second = 60;
    EXPECT_TRUE(builder.to_ticks(out));
    EXPECT_EQ(out, ClrTicks::kMax / 10 * 10);
}

TEST_F(Dates, AMomentBehindTheLastTickIsStoredAndRefused) {
    DateTimeArgBuilder builder(ClrTicks::kMax);
    builder.hour = 24;
    long out = 0;
    EXPECT_FALSE(builder.to_ticks_non_kind(out));
    EXPECT_EQ(out, ClrTicks::kMax / 10 * 10 + ClrTicks::kHour);
}

TEST_F(Dates, UtcEndsWithTheCalendar) {
    const DateTimeArgBuilder first(0);
    DateTimeArgBuilder last(ClrTicks::kMax);
    long out = 0;
    EXPECT_TRUE(first.to_utc_ticks(0, out));
    EXPECT_EQ(out, 0);
    EXPECT_FALSE(first.to_utc_ticks(1, out));
    EXPECT_TRUE(first.to_utc_ticks(-1, out));
    EXPECT_EQ(out, 1);
    EXPECT_TRUE(last.to_utc_ticks(-9, out));
    EXPECT_EQ(out, ClrTicks::kMax);
    EXPECT_FALSE(last.to_utc_ticks(-10, out));
    last.kind = kKindUtc;
    EXPECT_TRUE(last.to_utc_ticks(10, out));
    EXPECT_EQ(static_cast<unsigned long>(out), static_cast<unsigned long>(ClrTicks::kMax - 19) | 1UL << 62);
}

TEST_F(Dates, ATimeGoesAroundMidnight) {
    DateTimeArgBuilder builder;
    builder.hour = 1;
    long out = 0;
    EXPECT_TRUE(builder.to_time_ticks(2 * ClrTicks::kHour, out));
    EXPECT_EQ(out, 23 * ClrTicks::kHour);
    EXPECT_TRUE(builder.to_time_ticks(-24 * ClrTicks::kHour, out));
    EXPECT_EQ(out, ClrTicks::kHour);
    EXPECT_TRUE(builder.to_time_ticks(-71 * ClrTicks::kHour, out));
    EXPECT_EQ(out, 0);
}

TEST_F(Dates, ASpanEndsWithItsSixtyFourBits) {
    EXPECT_TRUE(TimeSpanArgBuilder::is_overflow(922'337'203'686, 0));
    EXPECT_TRUE(TimeSpanArgBuilder::is_overflow(-922'337'203'686, 0));
    for (const long second : {922'337'203'684, 922'337'203'685}) {
        EXPECT_FALSE(TimeSpanArgBuilder::is_overflow(second, 477'580));
        EXPECT_TRUE(TimeSpanArgBuilder::is_overflow(second, 477'581));
        EXPECT_FALSE(TimeSpanArgBuilder::is_overflow(-second, -477'580));
        EXPECT_TRUE(TimeSpanArgBuilder::is_overflow(-second, -477'581));
    }
    EXPECT_FALSE(TimeSpanArgBuilder::is_overflow(922'337'203'683, 999'999));
    EXPECT_FALSE(TimeSpanArgBuilder::is_overflow(-922'337'203'683, -999'999));
}

TEST_F(Dates, ANegativeSpanHasAllItsFieldsNegative) {
    TimeSpanArgBuilder span;
    span.days = -2;
    span.seconds = 86'399;
    span.microseconds = 999'999;
    span.normalize();
    EXPECT_EQ(span.days, -1);
    EXPECT_EQ(span.seconds, 0);
    EXPECT_EQ(span.microseconds, -1);
    const TimeSpanArgBuilder broken_down(-(ClrTicks::kDay + ClrTicks::kSecond + 15));
    EXPECT_EQ(broken_down.days, -1);
    EXPECT_EQ(broken_down.seconds, -1);
    EXPECT_EQ(broken_down.microseconds, -1);
    TimeSpanArgBuilder shortest(std::numeric_limits<long>::min());
    EXPECT_EQ(shortest.days, -10'675'199);
}

TEST_F(Dates, AnOffsetMomentIsItsOwnClockAndItsOffset) {
    long words[2] = {};
    EXPECT_EQ(fn_conv_py_datetime_to_clr_datetimeoffset(
                  moment("d.datetime(1, 1, 1, 1, tzinfo=d.timezone(d.timedelta(hours=2)))").get(), words),
              1);
    EXPECT_EQ(words[0], ClrTicks::kHour);
    EXPECT_EQ(words[1], 2 * ClrTicks::kHour);
    EXPECT_EQ(fn_conv_py_datetime_to_clr_datetimeoffset(
                  moment("d.time(3, tzinfo=d.timezone(d.timedelta(hours=-1)))").get(), words),
              1);
    EXPECT_EQ(words[0], 3 * ClrTicks::kHour);
    EXPECT_EQ(words[1], -ClrTicks::kHour);
}

TEST_F(Dates, AMomentWhoseZoneFailsIsRefused) {
    const std::string zone =
        ".replace(tzinfo=type('Broken', (d.tzinfo,), {'utcoffset': lambda self, when: {}['offset']})())";
    long ticks = 0;
    EXPECT_EQ(fn_conv_py_datetime_to_clr_datetime(moment(("d.time(3)" + zone).c_str()).get(), &ticks), 0);
    expect_error(PyExc_KeyError, "'offset'");
    EXPECT_EQ(fn_conv_py_datetime_to_clr_datetime(moment(("d.datetime(1, 1, 1)" + zone).c_str()).get(), &ticks), 0);
    expect_error(PyExc_KeyError, "'offset'");
}

TEST_F(Dates, AMomentWithoutAnOffsetIsNoDateTimeOffset) {
    long words[2] = {};
    EXPECT_EQ(fn_conv_py_datetime_to_clr_datetimeoffset(moment("d.datetime(2023, 6, 1)").get(), words), 0);
    expect_error(PyExc_ValueError, "The tzinfo property of a given datetime should not be None");
    EXPECT_EQ(fn_conv_py_datetime_to_clr_datetimeoffset(moment("d.time(3)").get(), words), 0);
    expect_error(PyExc_ValueError, "The tzinfo property of a given time should not be None");
    EXPECT_EQ(fn_conv_py_datetime_to_clr_datetimeoffset(moment("d.date(2023, 6, 1)").get(), words), 0);
    expect_error(PyExc_TypeError, "can't build DateTime from 'datetime.date'");
    EXPECT_EQ(fn_conv_py_datetime_to_clr_datetimeoffset(Py_None, words), 0);
    expect_error(PyExc_TypeError, "can't build DateTime from 'NoneType'");
}

}  // namespace
