// The journal of calls, the scripts, and the record of the order of the start-up.
#include "runtime/native/control/journal.h"

#include <algorithm>
#include <cstring>
#include <deque>

#include "exchange/wire/entry_points.h"
#include "exchange/wire/records.h"
#include "runtime/native/control/callback_access.h"
#include "runtime/native/control/control.h"
#include "runtime/native/control/settings.h"
#include "runtime/native/control/text_writer.h"
#include "runtime/native/core/text.h"

namespace zelmor::embed::control {

namespace {

struct Snapshot {
    std::string record;   // what the argument points to
    std::string content;  // what that points to: characters, bytes
    bool has_record = false;
    bool has_content = false;
};

struct Call {
    const HandedOut* called;
    std::vector<uint64_t> words;
    std::vector<Snapshot> before;
    std::vector<Snapshot> after;
    uint64_t result = 0;
};

struct State {
    bool recording = false;
    std::vector<Call> calls;
    std::deque<Script> scripts;
    TextWriter order;
    State() { order.open('['); }
};

State& state() {
    static State& instance = *new State;  // used under the interpreter lock
    return instance;
}

size_t record_size(char code) {
    switch (code) {
        case 'V':
            return sizeof(VariantArg);
        case 'T':
            return sizeof(PyStringArg);
        case 'B':
            return sizeof(PyBytesArg);
        case 'o':
            return sizeof(PyObjectOutArg);
        case 'k':
            return sizeof(PyCollectionArg);
        case 'r':
            return sizeof(void*);
        case 't':
        case 'D':
        case 'G':
            return 16;
        default:
            return 0;
    }
}

// An out slot can be narrower than the word that the journal shows; the bytes after it belong to the same frame.
__attribute__((no_sanitize("address"))) std::string bytes_at(const void* data, size_t size) {
    std::string copy(size, '\0');
    const auto* from = static_cast<const volatile char*>(data);
    for (size_t i = 0; i < size; ++i) {
        copy[i] = from[i];
    }
    return copy;
}

Snapshot snapshot(char code, uint64_t word) {
    Snapshot shot;
    const size_t size = record_size(code);
    const auto* record = reinterpret_cast<const void*>(word);
    if (size == 0 || record == nullptr) {
        return shot;
    }
    shot.has_record = true;
    shot.record = bytes_at(record, size);
    if (code == 'T') {
        const auto& text = *static_cast<const PyStringArg*>(record);
        shot.has_content = text.length >= 0;
        if (text.length > 0) {
            shot.content = bytes_at(text.data, static_cast<size_t>(text.length) * static_cast<size_t>(text.char_size));
        }
    } else if (code == 'B') {
        const auto& bytes = *static_cast<const PyBytesArg*>(record);
        shot.has_content = bytes.length >= 0;
        if (bytes.length > 0) {
            shot.content = bytes_at(bytes.data, static_cast<size_t>(bytes.length));
        }
    }
    return shot;
}

std::vector<Snapshot> snapshots(const HandedOut& called, const std::vector<uint64_t>& words) {
    std::vector<Snapshot> shots;
    for (size_t i = 0; i < words.size(); ++i) {
        shots.push_back(snapshot(called.signature[i + 1], words[i]));
    }
    return shots;
}

std::vector<uint64_t> argument_words(const HandedOut& called, CallFrame& frame) {
    std::vector<uint64_t> words(frame.count());
    for (size_t i = 0; i < words.size(); ++i) {
        std::memcpy(&words[i], frame.arguments()[i], width_of_code(called.signature[i + 1]));
    }
    return words;
}

bool matches(const Script& script, const HandedOut& called) {
    const bool type = script.type == called.type || (called.full_name != nullptr && script.type == called.full_name);
    return type && script.method == called.method;
}

PyObject* python_text(const Callbacks& to, const std::optional<std::string>& text) {
    if (!text) {
        return nullptr;
    }
    const std::u16string wide = to_utf16(*text);
    return to.py_unraisable_string(wide.data(), static_cast<int>(wide.size()));
}

void play(const Script& script, const HandedOut& called, CallFrame& frame) {
    if (script.hook != nullptr) {
        frame.set_zero_result();
        script.hook(frame.arguments(), frame.result());
        return;
    }
    for (const Script::OutBytes& out : script.out) {
        void* target = frame.argument<void*>(out.argument);
        std::memcpy(target, out.bytes.data(), out.bytes.size());
    }
    if (script.raises) {
        const Callbacks& to = handed_over(called.assembly);
        to.exception(python_text(to, script.name), python_text(to, script.detail));
    }
    if (called.signature[0] != 'v') {
        *static_cast<uint64_t*>(frame.result()) = script.result;
    }
}

void write_shots(TextWriter& writer, const char* key, const std::vector<Snapshot>& shots) {
    writer.key(key).open('[');
    for (const Snapshot& shot : shots) {
        shot.has_record ? writer.bytes(shot.record.data(), shot.record.size()) : writer.null();
    }
    writer.close(']');
}

void write_call(TextWriter& writer, const Call& call) {
    writer.open('{');
    writer.key("assembly").text(call.called->assembly);
    writer.key("type").text(call.called->type);
    writer.key("name").text_or_null(call.called->full_name);
    writer.key("method").text(call.called->method);
    writer.key("signature").text(call.called->signature);
    writer.key("arguments").open('[');
    for (const uint64_t word : call.words) {
        writer.word(word);
    }
    writer.close(']');
    write_shots(writer, "records", call.before);
    writer.key("contents").open('[');
    for (const Snapshot& shot : call.before) {
        shot.has_content ? writer.bytes(shot.content.data(), shot.content.size()) : writer.null();
    }
    writer.close(']');
    write_shots(writer, "after", call.after);
    writer.key("result").word(call.result);
    writer.close('}');
}

}  // namespace

void journal_start() {
    state().recording = true;
}
void journal_stop() {
    state().recording = false;
}
void journal_clear() {
    state().calls.clear();
}

std::string journal_text() {
    TextWriter writer;
    writer.open('[');
    for (const Call& call : state().calls) {
        write_call(writer, call);
    }
    return writer.close(']').result();
}

void add_script(Script script) {
    state().scripts.push_back(std::move(script));
}
void clear_scripts() {
    state().scripts.clear();
}
size_t script_count() {
    return state().scripts.size();
}

void note_request(const char* assembly, const char* type, const char* method, int status) {
    state().order.open('{').key("event").text("create_delegate").key("assembly").text(assembly);
    state().order.key("type").text(type).key("method").text(method).key("status").number(status).close('}');
}

void note_hand_over(const HandedOut& called) {
    state().order.open('{').key("event").text("call").key("assembly").text(called.assembly);
    state().order.key("type").text(called.type).key("method").text(called.method).close('}');
}

std::string order_text() {
    return state().order.result() + "]";
}

void run_call(const HandedOut& called, CallFrame& frame) {
    const bool hands_over =
        called.type == kExchangeHostType && (called.method.starts_with("Set") || called.method == "InitServices");
    if (hands_over) {
        note_hand_over(called);
        if (frame.count() == 1) {
            keep_callback(called.assembly, called.method, frame.argument<void*>(0));
        }
    }
    if (settings().collect) {
        collect_garbage();
    }

    const bool recording = state().recording;
    Call call{&called, {}, {}, {}, 0};
    if (recording) {
        call.words = argument_words(called, frame);
        call.before = snapshots(called, call.words);
    }
    auto& scripts = state().scripts;
    const auto script =
        std::find_if(scripts.begin(), scripts.end(), [&](const Script& s) { return matches(s, called); });
    if (script != scripts.end()) {
        const Script played = std::move(*script);
        scripts.erase(script);  // before it runs, since the script may call scripted entry points
        play(played, called, frame);
    } else {
        call_delegate(called.address, frame);
    }
    if (recording) {
        call.after = snapshots(called, call.words);
        call.result = frame.result_word();
        state().calls.push_back(std::move(call));
    }
}

}  // namespace zelmor::embed::control
