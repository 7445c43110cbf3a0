// Conversions of managed text.
#include "runtime/native/core/text.h"

#include <charconv>
#include <cmath>
#include <cstdint>
#include <limits>
#include <string>
#include <string_view>

namespace zelmor::embed {

namespace {

void append_utf16(std::u16string& text, char32_t code) {
    if (code < 0x10000) {
        text.push_back(static_cast<char16_t>(code));
    } else {
        code -= 0x10000;
        text.push_back(static_cast<char16_t>(0xD800 + (code >> 10)));
        text.push_back(static_cast<char16_t>(0xDC00 + (code & 0x3FF)));
    }
}

void append_utf8(std::string& text, char32_t code) {
    if (code < 0x80) {
        text.push_back(static_cast<char>(code));
    } else if (code < 0x800) {
        text.push_back(static_cast<char>(0xC0 | code >> 6));
        text.push_back(static_cast<char>(0x80 | (code & 0x3F)));
    } else if (code < 0x10000) {
        text.push_back(static_cast<char>(0xE0 | code >> 12));
        text.push_back(static_cast<char>(0x80 | (code >> 6 & 0x3F)));
        text.push_back(static_cast<char>(0x80 | (code & 0x3F)));
    } else {
        text.push_back(static_cast<char>(0xF0 | code >> 18));
        text.push_back(static_cast<char>(0x80 | (code >> 12 & 0x3F)));
        text.push_back(static_cast<char>(0x80 | (code >> 6 & 0x3F)));
        text.push_back(static_cast<char>(0x80 | (code & 0x3F)));
    }
}

constexpr char32_t kReplacement = 0xFFFD;

// One code point from UTF-8 at `position`, which moves on; malformed bytes give U+FFFD one at a time.
char32_t next_code_point(std::string_view utf8, size_t& position) {
    const auto lead = static_cast<uint8_t>(utf8[position++]);
    if (lead < 0x80) {
        return lead;
    }
    const int more = lead >= 0xF0 && lead < 0xF5   ? 3
                     : lead >= 0xE0 && lead < 0xF0 ? 2
                     : lead >= 0xC2 && lead < 0xE0 ? 1
                                                   : 0;
    if (more == 0 || position + static_cast<size_t>(more) > utf8.size()) {
        return kReplacement;
    }
    char32_t code = static_cast<char32_t>(lead & (0x3F >> more));
    for (int i = 0; i < more; ++i) {
        const auto byte = static_cast<uint8_t>(utf8[position + static_cast<size_t>(i)]);
        if ((byte & 0xC0) != 0x80) {
            return kReplacement;
        }
        code = code << 6 | (byte & 0x3F);
    }
    constexpr char32_t kSmallest[] = {0, 0x80, 0x800, 0x10000};
    if (code < kSmallest[more] || code > 0x10FFFF || (code >= 0xD800 && code < 0xE000)) {
        return kReplacement;
    }
    position += static_cast<size_t>(more);
    return code;
}

template <class Char>
std::u16string widen(const void* data, size_t length) {
    const auto* chars = static_cast<const Char*>(data);
    std::u16string text;
    text.reserve(length);
    for (size_t i = 0; i < length; ++i) {
        append_utf16(text, chars[i]);
    }
    return text;
}

// A number as "-d.ddd" times a power of ten, written without the power. Digits that are not known are zeros.
std::u16string without_exponent(std::string_view mantissa, int exponent) {
    std::u16string out, digits;
    for (const char c : mantissa) {
        if (c == '-') {
            out += u'-';
        } else if (c != '.') {
            digits += static_cast<char16_t>(c);
        }
    }
    if (exponent < 0) {
        return out + u"0." + std::u16string(static_cast<size_t>(-exponent - 1), u'0') + digits;
    }
    const auto whole = static_cast<size_t>(exponent) + 1;
    if (digits.size() <= whole) {
        return out + digits + std::u16string(whole - digits.size(), u'0');
    }
    return out + digits.substr(0, whole) + u"." + digits.substr(whole);
}

// The invariant culture's general format: digits that read back as the same number, and an exponent of at least two
// digits where the number has more than `kMostDigits` integer digits, which is as many as any number may need.
template <class Float>
std::u16string general(Float value) {
    constexpr int kMostDigits = std::numeric_limits<Float>::max_digits10;
    if (std::isnan(value)) {
        return u"NaN";
    }
    if (std::isinf(value)) {
        return value > 0 ? u"Infinity" : u"-Infinity";
    }
    char buffer[64];
    const auto end = std::to_chars(buffer, buffer + sizeof buffer, value, std::chars_format::scientific).ptr;
    const std::string_view text(buffer, static_cast<size_t>(end - buffer));
    const size_t mark = text.find('e');
    const int exponent = std::stoi(std::string(text.substr(mark + 1)));
    if (exponent >= -4 && exponent < kMostDigits) {
        return without_exponent(text.substr(0, mark), exponent);
    }
    std::u16string out(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(mark));
    out += exponent < 0 ? u"E-" : u"E+";
    const std::string digits = std::to_string(std::abs(exponent));
    if (digits.size() < 2) {
        out += u'0';
    }
    out.append(digits.begin(), digits.end());
    return out;
}

}  // namespace

std::u16string to_utf16(std::string_view utf8) {
    std::u16string text;
    text.reserve(utf8.size());
    for (size_t position = 0; position < utf8.size();) {
        append_utf16(text, next_code_point(utf8, position));
    }
    return text;
}

std::string to_utf8(std::u16string_view text) {
    std::string utf8;
    utf8.reserve(text.size());
    for (size_t i = 0; i < text.size(); ++i) {
        char32_t code = text[i];
        if (code >= 0xD800 && code < 0xE000) {
            const bool pair = code < 0xDC00 && i + 1 < text.size() && text[i + 1] >= 0xDC00 && text[i + 1] < 0xE000;
            code = pair ? 0x10000 + ((code - 0xD800) << 10) + (text[++i] - 0xDC00u) : kReplacement;
        }
        append_utf8(utf8, code);
    }
    return utf8;
}

std::optional<std::u16string> read_string(const PyStringArg& arg) {
    if (arg.length < 0) {
        return std::nullopt;
    }
    const auto length = static_cast<size_t>(arg.length);
    switch (arg.char_size) {
        case sizeof(uint8_t):
            return widen<uint8_t>(arg.data, length);
        case sizeof(char16_t):
            return widen<char16_t>(arg.data, length);
        default:
            return widen<char32_t>(arg.data, length);
    }
}

std::optional<std::string> read_string_utf8(const PyStringArg& arg) {
    auto text = read_string(arg);
    if (!text) {
        return std::nullopt;
    }
    return to_utf8(*text);
}

std::u16string number_text(int64_t value) {
    const std::string text = std::to_string(value);
    return {text.begin(), text.end()};
}

std::u16string number_text(float value) {
    return general(value);
}

std::u16string number_text(double value) {
    return general(value);
}

}  // namespace zelmor::embed
