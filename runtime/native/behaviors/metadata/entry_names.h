// Names of entry points that are put together at run time, for tables of properties.
#ifndef ZELMOR_RUNTIME_NATIVE_BEHAVIORS_METADATA_ENTRY_NAMES_H
#define ZELMOR_RUNTIME_NATIVE_BEHAVIORS_METADATA_ENTRY_NAMES_H

#include <deque>
#include <string>

namespace zelmor::embed {

// "get_" and "Make" as one name, which stays for as long as the process.
inline const char* entry_name(const char* prefix, const char* property) {
    static auto& names = *new std::deque<std::string>;
    return names.emplace_back(std::string(prefix) + property).c_str();
}

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_BEHAVIORS_METADATA_ENTRY_NAMES_H
