// The faults that a test sets: missing entry points, and a status that makes the start fail.
//
// Set through the control interface or, for a process that a test starts, by the variable ZELMOR_EMBED_CONTROL:
//     missing=<type>::<method>   makes an entry point missing; <type> is the requested class or the managed type
//     missing=<type>::#<n>       makes the n-th requested entry point of the type missing, counted from 1
//     init_status=<number>       makes coreclr_initialize return this status
//     journal=1                  starts the journal before the first call
//     collect=1                  collects the garbage of the managed side before each call
// separated by semicolons. Any other text ends the process with a message, so that a test with a typo cannot pass.
#ifndef ZELMOR_RUNTIME_NATIVE_CONTROL_SETTINGS_H
#define ZELMOR_RUNTIME_NATIVE_CONTROL_SETTINGS_H

#include <string>
#include <vector>

namespace zelmor::embed::control {

struct MissingEntry {
    std::string type;
    std::string method;  // empty where `nth` counts
    int nth = 0;
};

struct Settings {
    std::vector<MissingEntry> missing;
    int initialize_status = 0;
    bool journal = false;
    bool collect = false;
};

Settings& settings();
// Adds the settings in a text; returns an error message, or an empty text.
std::string add_settings(Settings& to, const std::string& text);
// Adds the settings in the environment variable.
void read_environment();

// Whether the request, the n-th one of its type, has to fail because the entry point is missing.
bool is_missing(const std::string& type, const char* full_name, const std::string& method, int nth);

}  // namespace zelmor::embed::control

#endif  // ZELMOR_RUNTIME_NATIVE_CONTROL_SETTINGS_H
