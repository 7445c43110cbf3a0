// Numbers as text, for files that consist of text.
#ifndef ZELMOR_RUNTIME_NATIVE_DRAWWORK_DECIMAL_TEXT_H
#define ZELMOR_RUNTIME_NATIVE_DRAWWORK_DECIMAL_TEXT_H

#include <array>
#include <cassert>
#include <charconv>
#include <cmath>
#include <string>

namespace zelmor::drawwork {

// In the decimal system with as many digits behind the point as are needed, at most so many; "-0" is "0". A number that
// is not finite is 0.
inline std::string decimal_text(double value, int digits = 4) {
    if (!std::isfinite(value) || std::abs(value) > 1e15) {
        return "0";
    }
    std::array<char, 64> buffer{};
    const auto [end, error] =
        std::to_chars(buffer.data(), buffer.data() + buffer.size(), value, std::chars_format::fixed, digits);
    assert(error == std::errc());
    std::string text(buffer.data(), end);
    if (text.find('.') != std::string::npos) {
        text.erase(text.find_last_not_of('0') + 1);
        text.erase(text.find_last_not_of('.') + 1);
    }
    return text == "-0" ? "0" : text;
}

}  // namespace zelmor::drawwork

#endif  // ZELMOR_RUNTIME_NATIVE_DRAWWORK_DECIMAL_TEXT_H
