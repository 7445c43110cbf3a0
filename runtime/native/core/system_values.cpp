// Comparing, hashing and showing the .NET library's own value types.
#include "runtime/native/core/system_values.h"

#include <algorithm>
#include <chrono>
#include <cstdio>

#include "runtime/native/core/text.h"

namespace zelmor::embed {

namespace {

using Mantissa = unsigned __int128;

Mantissa mantissa_of(const DecimalValue& value) {
    return static_cast<Mantissa>(value.words[2]) << 64 | static_cast<uint64_t>(value.words[1]) << 32 | value.words[0];
}

// A decimal without the zeros at its end, which say nothing of its value.
struct Reduced {
    Mantissa mantissa;
    int scale;
    bool negative;
    bool operator==(const Reduced&) const = default;
};

Reduced reduced(const DecimalValue& value) {
    Reduced result{mantissa_of(value), value.scale(), value.negative()};
    if (result.mantissa == 0) {
        return {0, 0, false};
    }
    while (result.scale > 0 && result.mantissa % 10 == 0) {
        result.mantissa /= 10;
        --result.scale;
    }
    return result;
}

template <class... Args>
std::string formatted(const char* format, Args... args) {
    char text[64];
    std::snprintf(text, sizeof text, format, args...);
    return text;
}

std::string clock_text(int64_t ticks) {
    // .NET counts from the first day of its calendar, which is the proleptic Gregorian one.
    const std::chrono::sys_days first = std::chrono::year(1) / 1 / 1;
    const std::chrono::year_month_day date(first + std::chrono::days(ticks / kTicksPerDay));
    const int64_t second = ticks / kTicksPerSecond % 86'400;
    return formatted("%02u/%02u/%04d %02d:%02d:%02d", static_cast<unsigned>(date.month()),
                     static_cast<unsigned>(date.day()), static_cast<int>(date.year()), static_cast<int>(second / 3600),
                     static_cast<int>(second / 60 % 60), static_cast<int>(second % 60));
}

}  // namespace

bool DecimalValue::operator==(const DecimalValue& other) const {
    return reduced(*this) == reduced(other);
}

int32_t hash_of(const DecimalValue& value) {
    const Reduced parts = reduced(value);
    const int32_t mantissa = fold(static_cast<uint64_t>(parts.mantissa) ^ static_cast<uint64_t>(parts.mantissa >> 64));
    return mantissa ^ parts.scale << 16 ^ (parts.negative ? INT32_MIN : 0);
}

int32_t hash_of(const DateTimeValue& value) {
    return fold(static_cast<uint64_t>(value.ticks()));
}
int32_t hash_of(const DateTimeOffsetValue& value) {
    return fold(static_cast<uint64_t>(value.utc_ticks()));
}
int32_t hash_of(const TimeSpanValue& value) {
    return fold(static_cast<uint64_t>(value.ticks));
}

int32_t hash_of(const GuidValue& value) {
    uint32_t hash = 0;
    for (const uint8_t byte : value.bytes) {
        hash = hash * 31 + byte;
    }
    return static_cast<int32_t>(hash);
}

std::u16string text_of(const DecimalValue& value) {
    Mantissa mantissa = mantissa_of(value);
    const auto scale = static_cast<size_t>(value.scale());
    std::string digits;
    while (mantissa != 0 || digits.size() <= scale) {
        digits += static_cast<char>('0' + static_cast<int>(mantissa % 10));
        mantissa /= 10;
        if (digits.size() == scale) {
            digits += '.';
        }
    }
    if (scale > 0 && digits.back() == '.') {
        digits += '0';
    }
    if (value.negative() && mantissa_of(value) != 0) {
        digits += '-';
    }
    std::reverse(digits.begin(), digits.end());
    return to_utf16(digits);
}

std::u16string text_of(const DateTimeValue& value) {
    return to_utf16(clock_text(value.ticks()));
}

std::u16string text_of(const DateTimeOffsetValue& value) {
    const int64_t minutes = std::abs(value.offset) / (60 * kTicksPerSecond);
    return to_utf16(clock_text(value.ticks) + formatted(" %c%02d:%02d", value.offset < 0 ? '-' : '+',
                                                        static_cast<int>(minutes / 60),
                                                        static_cast<int>(minutes % 60)));
}

std::u16string text_of(const TimeSpanValue& value) {
    // The most negative span has no positive counterpart in 64 bits with a sign.
    const uint64_t ticks =
        value.ticks < 0 ? uint64_t{0} - static_cast<uint64_t>(value.ticks) : static_cast<uint64_t>(value.ticks);
    const auto days = static_cast<unsigned>(ticks / kTicksPerDay);
    const auto second = static_cast<unsigned>(ticks / kTicksPerSecond % 86'400);
    const auto fraction = static_cast<unsigned>(ticks % kTicksPerSecond);
    std::string text = value.ticks < 0 ? "-" : "";
    if (days != 0) {
        text += formatted("%u.", days);
    }
    text += formatted("%02u:%02u:%02u", second / 3600, second / 60 % 60, second % 60);
    if (fraction != 0) {
        text += formatted(".%07u", fraction);
    }
    return to_utf16(text);
}

std::u16string text_of(const GuidValue& value) {
    constexpr int kOrder[16] = {3, 2, 1, 0, 5, 4, 7, 6, 8, 9, 10, 11, 12, 13, 14, 15};
    std::string text;
    for (size_t i = 0; i < 16; ++i) {
        if (i == 4 || i == 6 || i == 8 || i == 10) {
            text += '-';
        }
        text += formatted("%02x", value.bytes[static_cast<size_t>(kOrder[i])]);
    }
    return to_utf16(text);
}

}  // namespace zelmor::embed
