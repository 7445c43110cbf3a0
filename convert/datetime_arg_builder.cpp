// Calendar arithmetic between the fields of a date and ticks.
#include "convert/datetime_arg_builder.h"

#include <cassert>

namespace {

constexpr int kKindShift = 62;
constexpr unsigned long kTicksMask = (1UL << kKindShift) - 1;

constexpr long kDaysPerYear = 365;
constexpr long kDaysPer4Years = 4 * kDaysPerYear + 1;
constexpr long kDaysPer100Years = 25 * kDaysPer4Years - 1;
constexpr long kDaysPer400Years = 4 * kDaysPer100Years + 1;

}  // namespace

bool DateTimeArgBuilder::is_leap_year() const {
    return year % 4 == 0 && (year % 100 != 0 || year % 400 == 0);
}

bool DateTimeArgBuilder::to_ticks_non_kind(long& out) const {
    if (year < 1 || year > 9999 || month < 1 || month > 12) {
        return false;
    }
    const int* const days_to_month = is_leap_year() ? m_days_to_month366 : m_days_to_month365;
    if (day < 1 || day > days_to_month[month] - days_to_month[month - 1]) {
        return false;
    }
    const long years = year - 1;
    const long days = years * kDaysPerYear + years / 4 - years / 100 + years / 400 + days_to_month[month - 1] + day - 1;
    // A leap second is the same second as the one before it.
    const long seconds = second == 60 ? 59 : second;
    out = days * ClrTicks::kDay + hour * ClrTicks::kHour + minute * ClrTicks::kMinute + seconds * ClrTicks::kSecond +
          microsecond * ClrTicks::kMicrosecond;
    return out <= ClrTicks::kMax;
}

bool DateTimeArgBuilder::add_shift(long& ticks) const {
    assert(kind >= 0 && kind <= 3 && ticks >= 0 && ticks <= ClrTicks::kMax);
    ticks = static_cast<long>(static_cast<unsigned long>(ticks) | static_cast<unsigned long>(kind) << kKindShift);
    return true;
}

bool DateTimeArgBuilder::to_ticks(long& out) const {
    return to_ticks_non_kind(out) && add_shift(out);
}

bool DateTimeArgBuilder::to_utc_ticks(long offset, long& out) const {
    long ticks = 0;
    if (!to_ticks_non_kind(ticks) || ticks < offset || offset < ticks - ClrTicks::kMax) {
        return false;
    }
    out = ticks - offset;
    return add_shift(out);
}

bool DateTimeArgBuilder::to_time_ticks(long offset, long& out) const {
    long ticks = 0;
    to_ticks_non_kind(ticks);
    out = (ClrTicks::kDay + ticks - offset % ClrTicks::kDay) % ClrTicks::kDay;
    return add_shift(out);
}

bool DateTimeArgBuilder::from_ticks(long word) {
    const auto bits = static_cast<unsigned long>(word);
    kind = static_cast<int>(bits >> kKindShift);
    const auto ticks = static_cast<long>(bits & kTicksMask);

    const long day_number = ticks / ClrTicks::kDay;
    const long cycles = day_number / kDaysPer400Years;
    long rest = day_number % kDaysPer400Years;
    long centuries = rest / kDaysPer100Years;
    if (centuries == 4) {
        centuries = 3;  // the last day of a cycle: its last century is one day longer than the others
    }
    rest -= centuries * kDaysPer100Years;
    const long leaps = rest / kDaysPer4Years;
    rest %= kDaysPer4Years;
    long years = rest / kDaysPerYear;
    long day_of_year = rest % kDaysPerYear;
    if (years == 4) {
        years = 3;  // the last day of a leap year
        day_of_year = rest - 3 * kDaysPerYear;
    }
    year = static_cast<int>(cycles * 400 + centuries * 100 + leaps * 4 + years + 1);

    const bool leap = years == 3 && (leaps != 24 || centuries == 3);
    const int* const days_to_month = leap ? m_days_to_month366 : m_days_to_month365;
    month = static_cast<int>(day_of_year >> 5) + 1;  // at most the month itself, as no month has 32 days
    while (days_to_month[month] <= day_of_year) {
        ++month;
    }
    assert(month >= 1 && month <= 12);
    day = static_cast<int>(day_of_year) + 1 - days_to_month[month - 1];

    hour = static_cast<int>(ticks / ClrTicks::kHour % 24);
    minute = static_cast<int>(ticks / ClrTicks::kMinute % 60);
    second = static_cast<int>(ticks / ClrTicks::kSecond % 60);
    microsecond = static_cast<int>(ticks / ClrTicks::kMicrosecond % 1'000'000);
    return true;
}
