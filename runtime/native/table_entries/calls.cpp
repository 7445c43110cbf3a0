// Methods that a rule serves: the copies, tests and factories that many classes have under the same name.
#include <string_view>

#include "runtime/native/core/entry.h"
#include "runtime/native/core/handles.h"
#include "runtime/native/core/managed_exception.h"
#include "runtime/native/core/marshal.h"
#include "runtime/native/table_entries/table_entry.h"
#include "runtime/native/table_entries/wire_values.h"

namespace zelmor::embed {

namespace {

// Clone(): a copy of the instance.
void run_clone(TableEntry& self, CallFrame& frame) {
    ManagedObject& instance = instance_of(self, frame);
    if (run_override(self, frame, instance)) {
        return;
    }
    write_wire(frame, Value(instance.copy()), self.info->result, type_at(self.info->result_type));
}

// CopyTo(other): the other object takes the properties over.
void run_copy_to(TableEntry& self, CallFrame& frame) {
    ManagedObject& instance = instance_of(self, frame);
    if (run_override(self, frame, instance)) {
        return;
    }
    const Handle other = frame.argument<Handle>(1);
    if (other == nullptr) {
        throw_argument_null(self.info->params[0].name);
    }
    target<Record>(other).assign_from(cast_object<Record>(instance));
}

Ref<ManagedObject> boxed_argument(CallFrame& frame) {
    const Value value = read_variant(frame.argument<const VariantArg*>(0));
    const auto* object = std::get_if<Ref<ManagedObject>>(&value);
    return object != nullptr ? *object : nullptr;
}

// IsInstance(value): whether the value is of the type.
void run_is_instance(TableEntry& self, CallFrame& frame) {
    const auto object = boxed_argument(frame);
    frame.set_result<uint8_t>(object && is_assignable(*self.type, object->type()) ? 1 : 0);
}

// CastTo(value): the value as the type.
void run_cast_to(TableEntry& self, CallFrame& frame) {
    const Value value = read_variant(frame.argument<const VariantArg*>(0));
    const auto* object = std::get_if<Ref<ManagedObject>>(&value);
    if (object == nullptr) {
        throw_invalid_value_cast(value, self.type->full_name);
    }
    if (*object && !is_assignable(*self.type, (*object)->type())) {
        throw_invalid_cast((*object)->type().full_name, self.type->full_name);
    }
    write_wire(frame, value, self.info->result, type_at(self.info->result_type));
}

// CreateWith...(...): the constructor with the same parameters.
void run_forward(TableEntry& self, CallFrame& frame) {
    static const auto entry_address = [](const TypeInfo& type, const EntryInfo& info) {
        void* address = find_behavior(type.full_name, info.name).address;
        return address != nullptr ? address : make_table_delegate(type, info);
    };
    if (self.overrides.empty()) {
        self.overrides.push_back({self.type, entry_address(*self.type, *self.forwarded)});
    }
    call_delegate(self.overrides.front().address, frame);
}

const EntryInfo* constructor_like(const TypeInfo& type, const EntryInfo& info) {
    for (const EntryInfo& candidate : type.entries) {
        if (candidate.role != EntryRole::kCtor || candidate.params.size() != info.params.size()) {
            continue;
        }
        bool same = std::strcmp(candidate.signature, info.signature) == 0;
        for (size_t i = 0; same && i < info.params.size(); ++i) {
            same = same_parameter(candidate.params[i], info.params[i]) &&
                   std::strcmp(candidate.params[i].name, info.params[i].name) == 0;
        }
        if (same) {
            return &candidate;
        }
    }
    return nullptr;
}

void run_inherited_static(TableEntry& self, CallFrame& frame) {
    call_delegate(self.overrides.front().address, frame);
}

}  // namespace

void plan_call(TableEntry& entry) {
    const EntryInfo& info = *entry.info;
    const TypeInfo& type = *entry.type;
    const std::string_view member = info.member;
    if (info.role == EntryRole::kCall) {
        const bool plain = type.kind != TypeKind::kInterface;
        if (plain && member == "Clone" && info.params.empty() && info.result == Wire::kClass) {
            entry.run = run_clone;
        } else if (plain && member == "CopyTo" && info.params.size() == 1 && info.params[0].wire == Wire::kClass &&
                   info.params[0].type != kNoType && is_assignable(*type_at(info.params[0].type), type)) {
            entry.run = run_copy_to;
        }
        return;
    }
    // A static member listed again by a derived class is the base's.
    if (void* address = find_override(type, type, info); address != nullptr) {
        entry.overrides.push_back({&type, address});
        entry.run = run_inherited_static;
        return;
    }
    const bool takes_object = info.params.size() == 1 && info.params[0].wire == Wire::kObject;
    const bool gives_own = type_at(info.result_type) == &type;
    if (takes_object && member == "IsInstance" && info.result == Wire::kBool) {
        entry.run = run_is_instance;
    } else if (takes_object && member == "CastTo" && gives_own) {
        entry.run = run_cast_to;
    } else if (gives_own && member.starts_with("Create")) {
        entry.forwarded = constructor_like(type, info);
        if (entry.forwarded != nullptr) {
            entry.run = run_forward;
        }
    }
}

}  // namespace zelmor::embed
