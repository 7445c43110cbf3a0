// The control interface of the tests, as C functions that tests/python/support/control.py calls: the part that is the
// same in front of any runtime.
//
// A function that returns text takes a buffer and its size, and returns the size of the whole text, including its
// terminating zero. The product contains none of these functions.
#include <optional>
#include <string>

#include "runtime/native/control/callback_access.h"
#include "runtime/native/control/journal.h"
#include "runtime/native/control/settings.h"
#include "runtime/native/control/startup.h"
#include "runtime/native/control/text_writer.h"
#include "runtime/native/delegates/resolve.h"

#define ZELMOR_CONTROL extern "C" __attribute__((visibility("default")))

namespace {

using namespace zelmor::embed;
using namespace zelmor::embed::control;

Script script_for(const char* type, const char* method) {
    Script script;
    script.type = type;
    script.method = method;
    return script;
}

std::optional<std::string> optional_text(const char* text) {
    return text != nullptr ? std::optional<std::string>(text) : std::nullopt;
}

}  // namespace

ZELMOR_CONTROL void zelmor_control_journal_start() {
    journal_start();
}
ZELMOR_CONTROL void zelmor_control_journal_stop() {
    journal_stop();
}
ZELMOR_CONTROL void zelmor_control_journal_clear() {
    journal_clear();
}
ZELMOR_CONTROL size_t zelmor_control_journal_read(char* buffer, size_t size) {
    return deliver(journal_text(), buffer, size);
}
ZELMOR_CONTROL size_t zelmor_control_order_read(char* buffer, size_t size) {
    return deliver(order_text(), buffer, size);
}
ZELMOR_CONTROL size_t zelmor_control_startup_read(char* buffer, size_t size) {
    return deliver(startup_text(), buffer, size);
}

// Adds settings in the syntax of the environment variable. Returns 0, or -1 on a syntax error.
ZELMOR_CONTROL int zelmor_control_settings_add(const char* text) {
    return add_settings(settings(), text).empty() ? 0 : -1;
}
ZELMOR_CONTROL void zelmor_control_settings_clear() {
    settings() = Settings();
}

// The next call of an entry point raises this exception; a null name or detail is passed to the callback as null.
ZELMOR_CONTROL void zelmor_control_script_exception(const char* type, const char* method, const char* name,
                                                    const char* detail, uint64_t result) {
    Script script = script_for(type, method);
    script.raises = true;
    script.name = optional_text(name);
    script.detail = optional_text(detail);
    script.result = result;
    add_script(std::move(script));
}
// The next call of an entry point returns this word; `bytes` go through the pointer of argument `out`, unless negative.
ZELMOR_CONTROL void zelmor_control_script_result(const char* type, const char* method, uint64_t result, int out,
                                                 const unsigned char* bytes, size_t size) {
    Script script = script_for(type, method);
    script.result = result;
    if (out >= 0) {
        script.out.push_back({static_cast<size_t>(out), {bytes, bytes + size}});
    }
    add_script(std::move(script));
}
// The next call of an entry point runs this function instead.
ZELMOR_CONTROL void zelmor_control_script_hook(const char* type, const char* method, Hook hook) {
    Script script = script_for(type, method);
    script.hook = hook;
    add_script(std::move(script));
}
ZELMOR_CONTROL void zelmor_control_script_clear() {
    clear_scripts();
}
ZELMOR_CONTROL size_t zelmor_control_script_count() {
    return script_count();
}

ZELMOR_CONTROL void* zelmor_control_callback(const char* assembly, const char* table, int slot) {
    return find_callback(handed_over(assembly), table, slot);
}

// The entry point with a name, without the journal; null if there is none.
ZELMOR_CONTROL void* zelmor_control_delegate(const char* assembly, const char* type, const char* method) {
    return resolve_delegate(assembly, type, method).address;
}
