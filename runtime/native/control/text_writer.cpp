// Writing of JSON text.
#include "runtime/native/control/text_writer.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

namespace zelmor::embed::control {

void TextWriter::separate() {
    if (m_comma) {
        m_result += ',';
    }
    m_comma = true;
}

TextWriter& TextWriter::open(char bracket) {
    separate();
    m_result += bracket;
    m_comma = false;
    return *this;
}

TextWriter& TextWriter::close(char bracket) {
    m_result += bracket;
    m_comma = true;
    return *this;
}

TextWriter& TextWriter::key(std::string_view name) {
    text(name);
    m_result += ':';
    m_comma = false;
    return *this;
}

TextWriter& TextWriter::text(std::string_view value) {
    separate();
    m_result += '"';
    for (const char c : value) {
        if (c == '"' || c == '\\') {
            (m_result += '\\') += c;
        } else if (static_cast<unsigned char>(c) < 0x20) {
            char escaped[8];
            std::snprintf(escaped, sizeof escaped, "\\u%04x", static_cast<unsigned>(c));
            m_result += escaped;
        } else {
            m_result += c;
        }
    }
    m_result += '"';
    return *this;
}

TextWriter& TextWriter::text_or_null(const char* value) {
    return value != nullptr ? text(value) : null();
}

TextWriter& TextWriter::number(int64_t value) {
    separate();
    m_result += std::to_string(value);
    return *this;
}

TextWriter& TextWriter::word(uint64_t value) {
    char digits[24];
    std::snprintf(digits, sizeof digits, "0x%llx", static_cast<unsigned long long>(value));
    return text(digits);
}

TextWriter& TextWriter::bytes(const void* data, size_t size) {
    constexpr char kDigits[] = "0123456789abcdef";
    separate();
    m_result += '"';
    for (size_t i = 0; i < size; ++i) {
        const auto byte = static_cast<const unsigned char*>(data)[i];
        (m_result += kDigits[byte >> 4]) += kDigits[byte & 0xF];
    }
    m_result += '"';
    return *this;
}

TextWriter& TextWriter::null() {
    separate();
    m_result += "null";
    return *this;
}

size_t deliver(const std::string& text, char* buffer, size_t size) {
    const size_t needed = text.size() + 1;
    if (buffer != nullptr && size > 0) {
        const size_t fits = std::min(needed, size) - 1;
        std::memcpy(buffer, text.data(), fits);
        buffer[fits] = '\0';
    }
    return needed;
}

}  // namespace zelmor::embed::control
