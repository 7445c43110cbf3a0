// Two small string helpers of the host code, on plain ASCII bytes.
#ifndef ZELMOR_HOST_STR_UTILS_H
#define ZELMOR_HOST_STR_UTILS_H

#include <cstddef>
#include <string>

/// Up to `count` characters from `pos` on, ended early by an embedded NUL. `npos` means as many as there are;
/// a position behind the end throws std::out_of_range.
std::string cxxaw_substr(const std::string& text, size_t pos, size_t count);

/// True if the text is not empty and consists of ASCII digits alone, whatever the locale.
bool cxxaw_isdigitstr(const std::string& text);

#endif  // ZELMOR_HOST_STR_UTILS_H
