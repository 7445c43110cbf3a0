// The journal records each call of a delegate with its arguments; a script replaces the next call of an entry point.
#ifndef ZELMOR_RUNTIME_NATIVE_CONTROL_JOURNAL_H
#define ZELMOR_RUNTIME_NATIVE_CONTROL_JOURNAL_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "runtime/native/delegates/wire_call.h"

namespace zelmor::embed::control {

// A delegate that the bridge requested.
struct HandedOut {
    std::string assembly;
    std::string type;
    std::string method;
    const char* full_name;  // of the managed type behind a host class, or null
    const char* signature;
    void* address;  // of the entry point behind the journal
};

// A function that runs instead of an entry point, with the slots of the arguments and of the result as libffi has them.
using Hook = void (*)(void** arguments, void* result);

// A script: the effect of the next call of an entry point, instead of running it.
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

// Each call of an entry point uses up one of its scripts, in the order in which they were added.
void add_script(Script script);
void clear_scripts();
size_t script_count();

// Records a request for a delegate, or a hand-over of callbacks.
void note_request(const char* assembly, const char* type, const char* method, int status);
void note_hand_over(const HandedOut& called);
std::string order_text();  // a JSON array

// Runs a call, by its script or by the entry point, and records it in the journal.
void run_call(const HandedOut& called, CallFrame& frame);

}  // namespace zelmor::embed::control

#endif  // ZELMOR_RUNTIME_NATIVE_CONTROL_JOURNAL_H
