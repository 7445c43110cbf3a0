// Numbers as text, for files that consist of text.
#ifndef ZELMOR_RUNTIME_NATIVE_DRAWWORK_DECIMAL_TEXT_H
#define ZELMOR_RUNTIME_NATIVE_DRAWWORK_DECIMAL_TEXT_H

#include <array>
#include <cassert>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <string>
#include <string_view>

namespace zelmor::drawwork {

// Appends a number in the decimal system with as many digits behind the point as are needed, at most so many; "-0" is
// "0". A number that is not finite is 0.
inline void append_decimal(std::string& text, double value, int digits = 4) {
    assert(digits >= 0 && digits <= 9);
    constexpr std::array<double, 10> kScales{1, 1e1, 1e2, 1e3, 1e4, 1e5, 1e6, 1e7, 1e8, 1e9};
    constexpr double kMostUnits = 9e15;  // below it each whole number is one of the type
    std::array<char, 32> buffer{};
    const auto scaled = [&] { return value * kScales[static_cast<size_t>(digits)]; };
    if (!(std::abs(value) < kMostUnits)) {
        value = 0;
    }
    while (!(std::abs(scaled()) < kMostUnits)) {
        digits--;
    }
    // The units of the last digit as a whole number take a fraction of the time of a number with a point.
    int64_t units = std::llround(scaled());
    if (units < 0) {
        text += '-';
        units = -units;
    }
    for (; digits > 0 && units % 10 == 0; digits--) {
        units /= 10;
    }
    const auto [end, error] = std::to_chars(buffer.data(), buffer.data() + buffer.size(), units);
    assert(error == std::errc());
    const std::string_view number(buffer.data(), static_cast<size_t>(end - buffer.data()));
    if (digits == 0) {
        text += number;
        return;
    }
    const size_t before = number.size() > static_cast<size_t>(digits) ? number.size() - static_cast<size_t>(digits) : 0;
    text += before > 0 ? number.substr(0, before) : "0";
    text += '.';
    text.append(static_cast<size_t>(digits) - (number.size() - before), '0');
    text += number.substr(before);
}

inline std::string decimal_text(double value, int digits = 4) {
    std::string text;
    append_decimal(text, value, digits);
    return text;
}

}  // namespace zelmor::drawwork

#endif  // ZELMOR_RUNTIME_NATIVE_DRAWWORK_DECIMAL_TEXT_H
