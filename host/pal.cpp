// The part of the platform layer that needs the C++ library alone: formatted output, error texts, paths and lists of
// paths. The calls of the operating system are in pal.nix.cpp.
#include "host/pal.h"

#include <algorithm>
#include <cassert>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>

namespace pal {

namespace {

constexpr char kPathSeparator = '/';
constexpr const char* kLineEnd = "\r\n";

}  // namespace

void err_vprintf(const char* format, va_list args) {
    assert(format != nullptr);
    std::vfprintf(stderr, format, args);
    std::fputs(kLineEnd, stderr);
}

void out_vprintf(const char* format, va_list args) {
    assert(format != nullptr);
    std::vfprintf(stdout, format, args);
    std::fputs(kLineEnd, stdout);
}

bool getenv(const char* name, std::string& value) {
    assert(name != nullptr);
    value.clear();
    if (const char* text = std::getenv(name); text != nullptr) {
        value = text;
    }
    return !value.empty();
}

int to_int(const std::string& text) {
    return static_cast<int>(std::strtol(text.c_str(), nullptr, 10));
}

std::string to_error_string(int code) {
    return std::strerror(code);
}

std::string to_error_string_with_status_code(const std::string& prefix, int code, const std::string& suffix) {
    char digits[sizeof "0x" + 8];
    std::snprintf(digits, sizeof digits, "0x%x", static_cast<unsigned int>(code));
    return prefix + digits + suffix;
}

bool is_file_exists(const std::string& path) {
    return std::ifstream(path).good();
}

void path_append(std::string& path, const std::string& part) {
    if (path.empty()) {
        path = part;
        return;
    }
    path.push_back(kPathSeparator);
    path.append(part);
}

std::string path_get_directory(const std::string& path) {
    const size_t end = path.rfind(kPathSeparator);
    return end == std::string::npos ? std::string() : path.substr(0, end);
}

bool path_is_relative(const std::string& path) {
    return path.empty() || path.front() != kPathSeparator;
}

std::string join(const std::vector<std::string>& parts, char separator, bool unique) {
    std::string text;
    for (auto part = parts.begin(); part != parts.end(); ++part) {
        if (unique && std::find(parts.begin(), part, *part) != part) {
            continue;
        }
        if (part != parts.begin()) {
            text.push_back(separator);
        }
        text.append(*part);
    }
    return text;
}

std::string join_unique(const std::vector<std::string>& parts, char separator) {
    return join(parts, separator, true);
}

std::string join_to_full_path(const std::string& base, const std::vector<std::string>& parts, char separator) {
    std::string text;
    for (const std::string& part : parts) {
        text.append(path_is_relative(part) ? build_path(base, part) : part);
        text.push_back(separator);
    }
    const size_t last = text.find_last_not_of(separator);
    if (last != std::string::npos) {
        text.resize(last + 1);
    }
    return text;
}

}  // namespace pal
