// The control interface of the test flavor, as C functions that tests/python/support/control.py calls.
//
// A function that returns text takes a buffer and its size, and returns the size of the whole text, including its
// terminating zero. The product contains none of these functions.
#include <map>
#include <string>

#include "runtime/native/collections/collection.h"
#include "runtime/native/control/callback_access.h"
#include "runtime/native/control/journal.h"
#include "runtime/native/control/settings.h"
#include "runtime/native/control/startup.h"
#include "runtime/native/control/text_writer.h"
#include "runtime/native/core/callbacks.h"
#include "runtime/native/core/collector.h"
#include "runtime/native/core/handles.h"
#include "runtime/native/core/managed_exception.h"
#include "runtime/native/core/records.h"
#include "runtime/native/core/type_system.h"
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

// A new object, or null for a type that cannot be instantiated without arguments.
Handle try_make(const TypeInfo& type) {
    try {
        return make_handle(make_instance(type));
    } catch (const ManagedException&) {
        return nullptr;
    }
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

// Kinds: 0 all, 1 objects, 2 structs, 3 types.
ZELMOR_CONTROL int64_t zelmor_control_live_handles(int kind) {
    return live_handles(static_cast<HandleKind>(kind));
}
// The number of live handles for each managed type, as a JSON object.
ZELMOR_CONTROL size_t zelmor_control_live_describe(char* buffer, size_t size) {
    std::map<std::string, int64_t> counts;
    for_each_live_handle(
        [](const ManagedObject& object, void* context) {
            ++(*static_cast<std::map<std::string, int64_t>*>(context))[object.type().full_name];
        },
        &counts);
    TextWriter writer;
    writer.open('{');
    for (const auto& [name, count] : counts) {
        writer.key(name).number(count);
    }
    return deliver(writer.close('}').result(), buffer, size);
}

// The objects that the cycle collector knows, and a run over all of them; how many it ended.
ZELMOR_CONTROL size_t zelmor_control_tracked_objects() {
    return Collector::tracked();
}
ZELMOR_CONTROL size_t zelmor_control_collect() {
    const AssemblyScope scope(Assembly::kImaging);
    return Collector::collect(Collector::kGenerations - 1);
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
    const auto found = find_assembly(assembly);
    return found ? find_callback(callbacks_of(*found), table, slot) : nullptr;
}

// The entry point with a name, without the journal; null if there is none.
ZELMOR_CONTROL void* zelmor_control_delegate(const char* assembly, const char* type, const char* method) {
    return resolve_delegate(assembly, type, method).address;
}

// A handle to a new object of a managed type, which the caller has to release; null if there is no such type, or if it
// is abstract.
ZELMOR_CONTROL void* zelmor_control_new_object(const char* full_name) {
    const TypeInfo* type = find_type(full_name);
    return type != nullptr ? try_make(*type) : nullptr;
}
// A handle to a new list of a shape ("array", "arraylist", "list", "colbase", "rocolbase") with `count` empty elements
// of the type with this identifier, "" for any type; null if there is no such shape or type. The caller has to release
// it.
ZELMOR_CONTROL void* zelmor_control_new_list(const char* shape, const char* element_id, size_t count) {
    static const std::map<std::string, ListShape> kShapes = {{"array", ListShape::kArray},
                                                             {"arraylist", ListShape::kArrayList},
                                                             {"list", ListShape::kList},
                                                             {"colbase", ListShape::kCollectionBase},
                                                             {"rocolbase", ListShape::kReadOnlyCollectionBase}};
    const auto found = kShapes.find(shape);
    const ElementType* element = *element_id != '\0' ? find_element(element_id) : &variant_element();
    return found != kShapes.end() && element != nullptr ? make_handle(make_list(found->second, *element, count))
                                                        : nullptr;
}
ZELMOR_CONTROL int64_t zelmor_control_type_id(const char* full_name) {
    const TypeInfo* type = find_type(full_name);
    return type != nullptr ? type_id(*type) : 0;
}
