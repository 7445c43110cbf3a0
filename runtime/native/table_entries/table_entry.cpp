// Making the delegate of a table entry, and the functions that all roles share.
#include "runtime/native/table_entries/table_entry.h"

#include <memory>

#include "runtime/native/core/entry.h"
#include "runtime/native/core/handles.h"
#include "runtime/native/core/managed_exception.h"

namespace zelmor::embed {

namespace {

bool is_instance_member(EntryRole role) {
    return role == EntryRole::kCall || role == EntryRole::kGet || role == EntryRole::kSet;
}

// Overloads are numbered anew in each class, so that a member is recognized by what it takes.
bool same_member(const EntryInfo& a, const EntryInfo& b) {
    if (a.role != b.role || std::strcmp(a.member, b.member) != 0 || std::strcmp(a.signature, b.signature) != 0 ||
        a.params.size() != b.params.size()) {
        return false;
    }
    for (size_t i = 0; i < a.params.size(); ++i) {
        if (!same_parameter(a.params[i], b.params[i])) {
            return false;
        }
    }
    return true;
}

void run(void* context, CallFrame& frame) {
    auto& entry = *static_cast<TableEntry*>(context);
    entry.run(entry, frame);
}

}  // namespace

bool same_collection(const CollectionInfo& a, const CollectionInfo& b) {
    return a.shape == b.shape && std::strcmp(a.element, b.element) == 0;
}

bool same_parameter(const ParamInfo& a, const ParamInfo& b) {
    return a.wire == b.wire && a.type == b.type && same_collection(a.collection, b.collection);
}

std::string TableEntry::member_name() const {
    std::string name = std::string(type->name) + "." + info->member;
    if (info->role == EntryRole::kCtor || info->role == EntryRole::kCall || info->role == EntryRole::kStaticCall) {
        name += '(';
        for (size_t i = 0; i < info->params.size(); ++i) {
            name += (i ? ", " : "") + std::string(info->params[i].name);
        }
        name += ')';
    }
    return name;
}

void run_not_supported(TableEntry& self, CallFrame& frame) {
    if (is_instance_member(self.info->role)) {
        const ManagedObject& instance = instance_of(self, frame);
        if (run_override(self, frame, instance)) {
            return;
        }
    }
    throw_not_supported(self.member_name());
}

ManagedObject& instance_of(TableEntry& self, CallFrame& frame) {
    const Handle handle = frame.argument<Handle>(0);
    if (handle == nullptr) {
        throw_null_reference("Object reference not set to an instance of an object: " + self.member_name());
    }
    ManagedObject& object = require_object(handle);
    if (&object.type() != self.type && !is_assignable(*self.type, object.type())) {
        throw_invalid_cast(object.type().full_name, self.type->full_name);
    }
    if (self.guards_disposal) {
        object.require_live();
    }
    return object;
}

void* find_override(const TypeInfo& type, const TypeInfo& declaring, const EntryInfo& info) {
    for (const TypeInfo* t = &type; t != nullptr; t = base_of(*t)) {
        if (t == &declaring) {
            continue;  // what that one has itself was looked for already
        }
        for (const EntryInfo& candidate : t->entries) {
            if (!same_member(candidate, info)) {
                continue;
            }
            void* address = find_behavior(t->full_name, candidate.name).address;
            if (address != nullptr) {
                return address;
            }
        }
    }
    return nullptr;
}

bool run_override(TableEntry& self, CallFrame& frame, const ManagedObject& instance) {
    void* address = nullptr;
    bool known = false;
    for (const TableEntry::Override& candidate : self.overrides) {
        if (candidate.type != &instance.type()) {
            continue;
        }
        address = candidate.address;
        known = true;
        break;
    }
    if (!known) {
        address = find_override(instance.type(), *self.type, *self.info);
        self.overrides.push_back({&instance.type(), address});
    }
    if (address == nullptr) {
        return false;
    }
    call_delegate(address, frame);
    return true;
}

void* make_table_delegate(const TypeInfo& type, const EntryInfo& info) {
    auto entry = std::make_shared<TableEntry>();
    entry->type = &type;
    entry->info = &info;
    entry->assembly = find_assembly(type.assembly).value_or(Assembly::kImaging);
    entry->run = run_not_supported;
    // Objects with resources behind them refuse to work once disposed; settings stay readable.
    static const TypeInfo* const resource = find_type("Zelmor.Imaging.DataStreamSupporter");
    entry->guards_disposal = resource != nullptr && is_instance_member(info.role) && is_assignable(*resource, type);
    switch (info.role) {
        case EntryRole::kCtor:
            plan_constructor(*entry);
            break;
        case EntryRole::kGet:
        case EntryRole::kSet:
        case EntryRole::kGetStatic:
        case EntryRole::kSetStatic:
            plan_property(*entry);
            break;
        case EntryRole::kCall:
        case EntryRole::kStaticCall:
            plan_call(*entry);
            break;
        default:
            plan_cast(*entry);
            break;
    }
    return make_delegate(info.signature, entry->assembly, run, entry);
}

}  // namespace zelmor::embed
