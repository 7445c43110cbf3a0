// The control interface of the embedded runtime's test flavor: its handles, objects and types. Beside .NET the assembly
// Zelmor.WrpGen.Control has these functions.
#include <map>
#include <string>

#include "runtime/native/collections/collection.h"
#include "runtime/native/control/control.h"
#include "runtime/native/control/text_writer.h"
#include "runtime/native/core/callbacks.h"
#include "runtime/native/core/collector.h"
#include "runtime/native/core/handles.h"
#include "runtime/native/core/managed_exception.h"
#include "runtime/native/core/records.h"
#include "runtime/native/core/type_system.h"

#define ZELMOR_CONTROL extern "C" __attribute__((visibility("default")))

namespace {

using namespace zelmor::embed;
using namespace zelmor::embed::control;

// A new object, or null for a type that cannot be instantiated without arguments.
Handle try_make(const TypeInfo& type) {
    try {
        return make_handle(make_instance(type));
    } catch (const ManagedException&) {
        return nullptr;
    }
}

}  // namespace

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
void zelmor::embed::control::collect_garbage() {
    zelmor_control_collect();
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
