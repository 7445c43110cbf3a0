// What a test wants to go wrong: entry points to leave out and the status to fail the start with.
//
// Set through the control interface or, for a process that a test starts, by the variable ZELMOR_EMBED_CONTROL:
//     missing=<type>::<method>   leaves one entry point out; <type> is the class asked for or the managed type
//     missing=<type>::#<n>       leaves out the n-th entry point asked of the type, counted from 1
//     init_status=<number>       fails coreclr_initialize
//     journal=1                  starts the journal before anything is called
// parted by semicolons. Anything else in it ends the process with a message: a test with a typo must not pass.
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
};

Settings& settings();
// Adds what the text asks for; the error, or an empty text.
std::string add_settings(Settings& to, const std::string& text);
// Adds what the environment asks for.
void read_environment();

// Whether the request, the n-th of its type, is to be answered by "no such method".
bool is_missing(const std::string& type, const char* full_name, const std::string& method, int nth);

}  // namespace zelmor::embed::control

#endif  // ZELMOR_RUNTIME_NATIVE_CONTROL_SETTINGS_H
