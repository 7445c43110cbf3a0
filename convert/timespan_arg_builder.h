// A managed TimeSpan broken down into the fields of a Python timedelta. A TimeSpan is a signed count of ticks.
#ifndef ZELMOR_CONVERT_TIMESPAN_ARG_BUILDER_H
#define ZELMOR_CONVERT_TIMESPAN_ARG_BUILDER_H

struct TimeSpanArgBuilder {
    int days = 0;
    int seconds = 0;
    int microseconds = 0;

    TimeSpanArgBuilder() = default;
    explicit TimeSpanArgBuilder(long ticks) { from_ticks(ticks); }

    // False if the span is longer than the managed type holds. Takes the fields as Python has them: days of any sign,
    // the others not negative.
    bool to_ticks(long& out);
    // All three fields get the sign of the span; ticks below a microsecond are dropped.
    bool from_ticks(long ticks);
    // Whether a span, both parts of the same sign, is too long.
    static bool is_overflow(long seconds, long microseconds);
    // Gives days, seconds and microseconds the same sign, where the days are negative and the others are not.
    void normalize();
};

#endif  // ZELMOR_CONVERT_TIMESPAN_ARG_BUILDER_H
