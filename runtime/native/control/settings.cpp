// Parsing and querying the settings.
#include "runtime/native/control/settings.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>

namespace zelmor::embed::control {

namespace {

constexpr const char* kVariable = "ZELMOR_EMBED_CONTROL";

std::string add_missing(Settings& to, const std::string& value) {
    const size_t mark = value.find("::");
    if (mark == std::string::npos || mark == 0 || mark + 2 == value.size()) {
        return "missing wants <type>::<method>, not '" + value + "'";
    }
    MissingEntry entry{value.substr(0, mark), value.substr(mark + 2)};
    if (entry.method[0] == '#') {
        entry.nth = std::atoi(entry.method.c_str() + 1);
        if (entry.nth < 1) {
            return "missing wants a number from 1 behind '#', not '" + entry.method + "'";
        }
        entry.method.clear();
    }
    to.missing.push_back(std::move(entry));
    return {};
}

std::string add_setting(Settings& to, const std::string& text) {
    const size_t equals = text.find('=');
    const std::string name = text.substr(0, equals);
    const std::string value = equals == std::string::npos ? "" : text.substr(equals + 1);
    if (name == "missing") {
        return add_missing(to, value);
    }
    if (name == "init_status") {
        char* end = nullptr;
        to.initialize_status = static_cast<int>(std::strtoul(value.c_str(), &end, 0));
        return value.empty() || *end ? "init_status wants a number, not '" + value + "'" : "";
    }
    if (name == "journal") {
        to.journal = value == "1";
        return {};
    }
    if (name == "collect") {
        to.collect = value == "1";
        return {};
    }
    return "there is no setting '" + name + "'";
}

}  // namespace

Settings& settings() {
    static Settings& instance = *new Settings;  // used under the interpreter lock
    return instance;
}

std::string add_settings(Settings& to, const std::string& text) {
    for (size_t first = 0; first <= text.size();) {
        const size_t end = std::min(text.find(';', first), text.size());
        if (end > first) {
            std::string error = add_setting(to, text.substr(first, end - first));
            if (!error.empty()) {
                return error;
            }
        }
        first = end + 1;
    }
    return {};
}

void read_environment() {
    const char* text = std::getenv(kVariable);
    if (text == nullptr) {
        return;
    }
    const std::string error = add_settings(settings(), text);
    if (error.empty()) {
        return;
    }
    std::fprintf(stderr, "%s: %s\n", kVariable, error.c_str());
    std::abort();
}

bool is_missing(const std::string& type, const char* full_name, const std::string& method, int nth) {
    for (const MissingEntry& entry : settings().missing) {
        if (entry.type != type && (full_name == nullptr || entry.type != full_name)) {
            continue;
        }
        if (entry.nth ? entry.nth == nth : entry.method == method) {
            return true;
        }
    }
    return false;
}

}  // namespace zelmor::embed::control
