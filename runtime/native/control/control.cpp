// The test flavor at start-up and delegate creation: applies settings, keeps records, wraps each delegate in the
// journal.
#include "runtime/native/control/control.h"

#include <memory>
#include <unordered_map>

#include "runtime/native/control/journal.h"
#include "runtime/native/control/settings.h"
#include "runtime/native/control/startup.h"
#include "runtime/native/control/text_writer.h"

namespace zelmor::embed::control {

namespace {

TextWriter& startup() {
    static TextWriter& writer = *new TextWriter;  // written once, at the start
    return writer;
}

void run(void* context, CallFrame& frame) {
    run_call(*static_cast<const HandedOut*>(context), frame);
}

// The delegate that records its calls in the journal; the same entry point always gets the same delegate.
void* journaled(const Delegate& made, const char* assembly, const char* type, const char* method) {
    static auto& known = *new std::unordered_map<void*, std::unordered_map<std::string, void*>>;
    void*& address = known[made.address][std::string(assembly) + '\n' + type + '\n' + method];
    if (address == nullptr) {
        auto called = std::make_shared<HandedOut>();
        called->assembly = assembly;
        called->type = type;
        called->method = method;
        called->full_name = made.full_name;
        called->signature = made.signature;
        called->address = made.address;
        address = make_raw_delegate(made.signature, run, called);
    }
    return address;
}

}  // namespace

int on_initialize(const char* exe_path, const char* domain_name, int property_count, const char** keys,
                  const char** values) {
    TextWriter writer;
    writer.open('{').key("exe_path").text_or_null(exe_path).key("domain_name").text_or_null(domain_name);
    writer.key("properties").open('[');
    for (int i = 0; i < property_count; ++i) {
        writer.open('[').text_or_null(keys[i]).text_or_null(values[i]).close(']');
    }
    writer.close(']').close('}');
    startup() = writer;
    read_environment();
    if (settings().journal) {
        journal_start();
    }
    return settings().initialize_status;
}

Delegate on_create_delegate(const char* assembly, const char* type, const char* method) {
    // Types are built under the interpreter lock.
    static auto& requests = *new std::unordered_map<std::string, int>;
    const int nth = ++requests[std::string(assembly) + '\n' + type];
    Delegate made = resolve_delegate(assembly, type, method);
    if (is_missing(type, made.full_name, method, nth)) {
        made.status = kMethodNotFound;
    }
    note_request(assembly, type, method, made.status);
    if (made.status == kOk && made.signature != nullptr) {
        made.address = journaled(made, assembly, type, method);
    }
    return made;
}

std::string startup_text() {
    return startup().result();
}

}  // namespace zelmor::embed::control
