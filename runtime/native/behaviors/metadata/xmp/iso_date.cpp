// Reading and writing dates; see iso_date.h.
#include "runtime/native/behaviors/metadata/xmp/iso_date.h"

#include <chrono>
#include <cstdio>

#include "runtime/native/core/managed_exception.h"

namespace zelmor::embed {

namespace {

constexpr int64_t kTicksPerMinute = 60 * kTicksPerSecond;
constexpr std::chrono::sys_days kFirstDay = std::chrono::year(1) / 1 / 1;

// Reads digits and signs one after the other; the first that does not fit makes the whole text unreadable.
class DateReader {
 public:
    explicit DateReader(std::string_view text) : m_whole(text), m_rest(text) {}

    [[noreturn]] void fail() const {
        throw ManagedException("FormatException", "'" + std::string(m_whole) + "' is not a date of the form that XMP " +
                                                      "has: 2023, 2023-06, 2023-06-01, 2023-06-01T12:30:00+02:00.");
    }
    bool at_end() const { return m_rest.empty(); }
    bool next_is(char c) const { return !m_rest.empty() && m_rest.front() == c; }
    bool take(char c) {
        if (!next_is(c)) {
            return false;
        }
        m_rest.remove_prefix(1);
        return true;
    }
    void expect(char c) {
        if (!take(c)) {
            fail();
        }
    }
    int number(size_t digits) {
        if (m_rest.size() < digits) {
            fail();
        }
        int value = 0;
        for (size_t i = 0; i < digits; ++i) {
            if (m_rest[i] < '0' || m_rest[i] > '9') {
                fail();
            }
            value = value * 10 + (m_rest[i] - '0');
        }
        m_rest.remove_prefix(digits);
        return value;
    }
    int number(size_t digits, int low, int high) {
        const int value = number(digits);
        if (value < low || value > high) {
            fail();
        }
        return value;
    }
    // The digits behind the point, in ticks; what is finer than a tick is cut.
    int64_t fraction() {
        if (m_rest.empty() || m_rest.front() < '0' || m_rest.front() > '9') {
            fail();
        }
        int64_t ticks = 0;
        int64_t unit = kTicksPerSecond;
        for (; !m_rest.empty() && m_rest.front() >= '0' && m_rest.front() <= '9'; m_rest.remove_prefix(1)) {
            unit /= 10;
            ticks += (m_rest.front() - '0') * unit;
        }
        return ticks;
    }

 private:
    std::string_view m_whole;
    std::string_view m_rest;
};

struct Parsed {
    int64_t ticks = 0;
    std::optional<int64_t> offset = {};
    std::string format = "yyyy";
};

Parsed parsed(std::string_view text) {
    DateReader in(text);
    Parsed date;
    const int year = in.number(4, 1, 9999);
    int month = 1;
    int day = 1;
    if (in.take('-')) {
        month = in.number(2, 1, 12);
        date.format += "-MM";
        if (in.take('-')) {
            day = in.number(2, 1, 31);
            date.format += "-dd";
        }
    }
    const std::chrono::year_month_day calendar{std::chrono::year(year),
                                               std::chrono::month(static_cast<unsigned>(month)),
                                               std::chrono::day(static_cast<unsigned>(day))};
    if (!calendar.ok()) {
        in.fail();
    }
    date.ticks = (std::chrono::sys_days(calendar) - kFirstDay).count() * kTicksPerDay;
    if (in.at_end()) {
        return date;
    }
    if (!date.format.ends_with("dd")) {  // a time is one of a day
        in.fail();
    }

    in.expect('T');
    date.ticks += in.number(2, 0, 23) * 60 * kTicksPerMinute;
    in.expect(':');
    date.ticks += in.number(2, 0, 59) * kTicksPerMinute;
    date.format += "THH:mm";
    if (in.take(':')) {
        date.ticks += in.number(2, 0, 59) * kTicksPerSecond;
        date.format += ":ss";
        if (in.take('.')) {
            date.ticks += in.fraction();
            date.format += ".FFFFFFF";
        }
    }
    if (in.take('Z')) {
        date.offset = 0;
        date.format += "zzz";
    } else if (in.next_is('+') || in.next_is('-')) {
        const int sign = in.take('-') ? -1 : 1;
        if (sign > 0) {
            in.expect('+');
        }
        int64_t minutes = in.number(2, 0, 14) * 60;
        in.expect(':');
        minutes += in.number(2, 0, 59);
        if (minutes > 14 * 60) {  // no DateTimeOffset is further away
            in.fail();
        }
        date.offset = sign * minutes * kTicksPerMinute;
        date.format += "zzz";
    }
    if (!in.at_end()) {
        in.fail();
    }
    return date;
}

std::string clock_text(int64_t ticks) {
    const std::chrono::year_month_day date(kFirstDay + std::chrono::days(ticks / kTicksPerDay));
    const int64_t second = ticks / kTicksPerSecond % 86'400;
    char text[64];
    std::snprintf(text, sizeof text, "%04d-%02u-%02uT%02d:%02d:%02d", static_cast<int>(date.year()),
                  static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()),
                  static_cast<int>(second / 3600), static_cast<int>(second / 60 % 60), static_cast<int>(second % 60));
    std::string clock = text;
    if (const int64_t fraction = ticks % kTicksPerSecond; fraction != 0) {
        std::snprintf(text, sizeof text, ".%07d", static_cast<int>(fraction));
        clock += text;
        while (clock.back() == '0') {
            clock.pop_back();
        }
    }
    return clock;
}

std::string offset_text(int64_t offset) {
    if (offset == 0) {
        return "Z";
    }
    const int64_t minutes = std::abs(offset) / kTicksPerMinute;
    char text[32];
    std::snprintf(text, sizeof text, "%c%02d:%02d", offset < 0 ? '-' : '+', static_cast<int>(minutes / 60),
                  static_cast<int>(minutes % 60));
    return text;
}

constexpr int kUtc = 1;
constexpr int kLocal = 2;

}  // namespace

Value parse_iso_date(std::string_view text) {
    const Parsed date = parsed(text);
    if (!date.offset) {
        return DateTimeValue{static_cast<uint64_t>(date.ticks), 0};
    }
    if (*date.offset == 0) {
        return DateTimeValue{static_cast<uint64_t>(date.ticks) | uint64_t{kUtc} << 62, 0};
    }
    return DateTimeOffsetValue{date.ticks, *date.offset};
}

std::string iso_date_format(std::string_view text) {
    return parsed(text).format;
}

std::string iso_date_text(const DateTimeValue& value) {
    std::string text = clock_text(value.ticks());
    if (value.kind() == kUtc) {
        text += "Z";
    }
    if (value.kind() == kLocal) {
        text += offset_text(value.offset);
    }
    return text;
}

std::string iso_date_text(const DateTimeOffsetValue& value) {
    return clock_text(value.ticks) + offset_text(value.offset);
}

std::optional<std::string> iso_date_text(const Value& value) {
    if (const auto* date = std::get_if<DateTimeValue>(&value)) {
        return iso_date_text(*date);
    }
    if (const auto* date = std::get_if<DateTimeOffsetValue>(&value)) {
        return iso_date_text(*date);
    }
    return std::nullopt;
}

}  // namespace zelmor::embed
