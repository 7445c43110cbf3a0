// Table entries: entry points without a C++ function of their own, which are served from the catalogue's tables.
//
// The role of an entry point decides what it does: store a value, fill a new object, cast. An entry point for which no
// rule says anything raises NotSupportedException naming the member.
#ifndef ZELMOR_RUNTIME_NATIVE_TABLE_ENTRIES_TABLE_ENTRY_H
#define ZELMOR_RUNTIME_NATIVE_TABLE_ENTRIES_TABLE_ENTRY_H

#include <vector>

#include "runtime/native/core/callbacks.h"
#include "runtime/native/core/records.h"
#include "runtime/native/core/type_system.h"
#include "runtime/native/delegates/closure.h"

namespace zelmor::embed {

struct TableEntry;
using TailFunction = void (*)(TableEntry& self, CallFrame& frame);

// One table entry. It lives as long as its delegate.
struct TableEntry {
    const TypeInfo* type;
    const EntryInfo* info;
    Assembly assembly;
    TailFunction run = nullptr;
    int slot = -1;  // of a property, or -1
    const PropertyInfo* property = nullptr;
    bool guards_disposal = false;          // a disposed instance is refused
    std::vector<PropertySlot> filled;      // by a constructor, one for each parameter
    const EntryInfo* forwarded = nullptr;  // a constructor that a factory method stands for

    // Answers of overridden members, by the run-time type of the instance; null where the table entry answers itself.
    struct Override {
        const TypeInfo* type;
        void* address;
    };
    std::vector<Override> overrides;

    std::string member_name() const;  // "Image.Resize", for messages
};

// The choices, by role. Each sets `run` and what it needs.
void plan_property(TableEntry& entry);
void plan_constructor(TableEntry& entry);
void plan_call(TableEntry& entry);
void plan_cast(TableEntry& entry);
// Raises NotSupportedException naming the member.
void run_not_supported(TableEntry& self, CallFrame& frame);

// Runs the behavior that the instance's own type, or a base of it, has for this member; false where there is none.
bool run_override(TableEntry& self, CallFrame& frame, const ManagedObject& instance);
// The behavior that a type or a base has for the member that `info` of `declaring` describes, or null.
void* find_override(const TypeInfo& type, const TypeInfo& declaring, const EntryInfo& info);

// The instance of an instance member: NullReferenceException naming the member for null, InvalidCastException for an
// object of another type, ObjectDisposedException where the member minds.
ManagedObject& instance_of(TableEntry& self, CallFrame& frame);

// Whether two members name the same collection, and two parameters the same type.
bool same_collection(const CollectionInfo& a, const CollectionInfo& b);
bool same_parameter(const ParamInfo& a, const ParamInfo& b);

// The delegate of a table entry.
void* make_table_delegate(const TypeInfo& type, const EntryInfo& info);

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_TABLE_ENTRIES_TABLE_ENTRY_H
