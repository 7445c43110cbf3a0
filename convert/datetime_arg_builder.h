// A managed DateTime broken down into its calendar fields, and the arithmetic between the two.
//
// A DateTime is a count of 100-nanosecond ticks from midnight of 0001-01-01, with its kind in the top two bits of the
// word. Nothing here knows Python.
#ifndef ZELMOR_CONVERT_DATETIME_ARG_BUILDER_H
#define ZELMOR_CONVERT_DATETIME_ARG_BUILDER_H

// The length of the units of time in ticks.
struct ClrTicks {
    static constexpr long kMicrosecond = 10;
    static constexpr long kSecond = 10'000'000;
    static constexpr long kMinute = 60 * kSecond;
    static constexpr long kHour = 60 * kMinute;
    static constexpr long kDay = 24 * kHour;
    static constexpr long kMax = 3'155'378'975'999'999'999;  // the last tick of 9999-12-31
};

// The clock that a DateTime shows; 3 means local as well.
enum ClrDateTimeKind : int { kKindUnspecified = 0, kKindUtc = 1, kKindLocal = 2 };

struct DateTimeArgBuilder {
    int kind = kKindUnspecified;
    int year = 1;
    int month = 1;
    int day = 1;
    int hour = 0;
    int minute = 0;
    int second = 0;
    int microsecond = 0;

    // Midnight of 0001-01-01, which is where a time alone stands.
    DateTimeArgBuilder() = default;
    explicit DateTimeArgBuilder(long word) { from_ticks(word); }

    bool is_leap_year() const;
    // The clock as ticks, without the kind. False if there is no such day, with `out` unchanged, or if the ticks are
    // beyond the last one, with these in `out`.
    bool to_ticks_non_kind(long& out) const;
    // The same with the kind.
    bool to_ticks(long& out) const;
    // The clock moved to UTC; false if that is before the first tick or after the last.
    bool to_utc_ticks(long offset, long& out) const;
    // The time of day moved to UTC. It wraps around at midnight, as it has no date.
    bool to_time_ticks(long offset, long& out) const;
    // Adds the kind to ticks.
    bool add_shift(long& ticks) const;
    // Ticks below a microsecond are dropped.
    bool from_ticks(long word);

    // Days before each month, and of the year.
    static constexpr int m_days_to_month365[13] = {0, 31, 59, 90, 120, 151, 181, 212, 243, 273, 304, 334, 365};
    static constexpr int m_days_to_month366[13] = {0, 31, 60, 91, 121, 152, 182, 213, 244, 274, 305, 335, 366};
};

#endif  // ZELMOR_CONVERT_DATETIME_ARG_BUILDER_H
