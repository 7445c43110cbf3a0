// Two small string helpers of the host code.
#include "host/str_utils.h"

#include <algorithm>

std::string cxxaw_substr(const std::string& text, size_t pos, size_t count) {
    std::string part = text.substr(pos, count);
    const size_t end = part.find('\0');
    if (end != std::string::npos) {
        part.resize(end);
    }
    return part;
}

bool cxxaw_isdigitstr(const std::string& text) {
    return !text.empty() && std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; });
}
