// Parsing of the names of runtime directories. It is strict: a directory with a similar name belongs to another
// program.
#include "host/netcore_version_parser.h"

#include <cassert>
#include <cstring>

#include "host/str_utils.h"

namespace {

constexpr const char* kPrefix = "netcore";

}  // namespace

bool try_parse(const std::string& name, NetcoreVersion& version) {
    const size_t prefix_length = std::strlen(kPrefix);
    if (name.compare(0, prefix_length, kPrefix) != 0) {
        return false;
    }
    const std::string rest = cxxaw_substr(name, prefix_length, std::string::npos);

    std::string parts[2];
    if (!split(rest, parts)) {
        return false;
    }

    int major = 0;
    int minor = 0;
    if (!try_parse_int(parts[0], major) || !try_parse_int(parts[1], minor)) {
        return false;
    }
    version = NetcoreVersion(major, minor);
    return true;
}

bool split(const std::string& text, std::string* parts) {
    assert(parts != nullptr);
    const size_t dot = text.find('.');
    if (dot == std::string::npos || text.find('.', dot + 1) != std::string::npos) {
        return false;
    }
    parts[0] = cxxaw_substr(text, 0, dot);
    parts[1] = cxxaw_substr(text, dot + 1, std::string::npos);
    return true;
}

bool try_parse_int(const std::string& text, int& value) {
    if (!cxxaw_isdigitstr(text)) {
        return false;
    }
    // A number out of range means a broken installation: the exception is not caught and ends the process.
    value = std::stoi(text);
    return true;
}
