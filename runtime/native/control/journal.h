// What was called, with every argument as it stood on the wire; and what a test wants the next call to do instead.
#ifndef ZELMOR_RUNTIME_NATIVE_CONTROL_JOURNAL_H
#define ZELMOR_RUNTIME_NATIVE_CONTROL_JOURNAL_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "runtime/native/delegates/closure.h"

namespace zelmor::embed::control {

// One delegate that was handed out.
struct HandedOut {
    Assembly assembly;
    std::string type;
    std::string method;
    const char* full_name;  // of the managed type behind a host class, or null
    const char* signature;
    void* address;  // of the entry point behind the journal
};

// Receives the slots of the arguments and that of the result, as libffi has them; runs in place of the entry point.
using Hook = void (*)(void** arguments, void* result);

// What the next call of an entry point does in place of the entry point.
struct Script {
    struct OutBytes {
        size_t argument;
        std::vector<unsigned char> bytes;
    };
    std::string type;
    std::string method;
    bool raises = false;
    std::optional<std::string> name;  // of the exception; nothing passes null
    std::optional<std::string> detail;
    uint64_t result = 0;
    std::vector<OutBytes> out;  // copied through the pointer of an argument
    Hook hook = nullptr;
};

void journal_start();
void journal_stop();
void journal_clear();
std::string journal_text();  // a JSON array of calls

// Scripts are used up in the order given, one for each call of their entry point.
void add_script(Script script);
void clear_scripts();
size_t script_count();

// Notes a delegate request, or a hand-over.
void note_request(const char* assembly, const char* type, const char* method, int status);
void note_hand_over(const HandedOut& called);
std::string order_text();  // a JSON array

// Runs a call: the script's part, or the entry point's, and the journal's entry of it.
void run_call(const HandedOut& called, CallFrame& frame);

}  // namespace zelmor::embed::control

#endif  // ZELMOR_RUNTIME_NATIVE_CONTROL_JOURNAL_H
