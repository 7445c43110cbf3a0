// Properties without behavior: a stored value.
#include "runtime/native/collections/collection.h"
#include "runtime/native/core/entry.h"
#include "runtime/native/core/managed_exception.h"
#include "runtime/native/table_entries/table_entry.h"
#include "runtime/native/table_entries/wire_values.h"

namespace zelmor::embed {

namespace {

// The record and slot behind an instance: by number for a class, by name for an interface, whose implementations store
// the property each in a place of their own.
Record* record_of(TableEntry& self, ManagedObject& instance, int& slot) {
    auto* record = dynamic_cast<Record*>(&instance);
    slot = self.slot;
    if (record != nullptr && self.type->kind == TypeKind::kInterface) {
        const auto found = find_property(record->type(), self.property->name);
        slot = found ? found->slot : -1;
    }
    return slot < 0 ? nullptr : record;
}

void run_get(TableEntry& self, CallFrame& frame) {
    ManagedObject& instance = instance_of(self, frame);
    if (run_override(self, frame, instance)) {
        return;
    }
    int slot = -1;
    const Record* record = record_of(self, instance, slot);
    // Nothing stored means that nothing in this runtime works the value out.
    if (record == nullptr || is_unset(record->slot(slot))) {
        throw_not_supported(self.member_name());
    }
    write_wire(frame, record->slot(slot), self.property->wire, type_at(self.property->type));
}

Value read_property(const TableEntry& self, CallFrame& frame, size_t index) {
    return read_wire(frame, index, self.property->wire, type_at(self.property->type), self.property->collection);
}

void run_set(TableEntry& self, CallFrame& frame) {
    ManagedObject& instance = instance_of(self, frame);
    if (run_override(self, frame, instance)) {
        return;
    }
    int slot = -1;
    Record* record = record_of(self, instance, slot);
    if (record == nullptr) {
        throw_not_supported(self.member_name());
    }
    record->set_slot(slot, read_property(self, frame, 1));
}

void run_get_static(TableEntry& self, CallFrame& frame) {
    const Value& value = static_property(*self.type, self.property->name);
    if (is_unset(value)) {
        throw_not_supported(self.member_name());
    }
    write_wire(frame, value, self.property->wire, type_at(self.property->type));
}

void run_set_static(TableEntry& self, CallFrame& frame) {
    set_static_property(*self.type, self.property->name, read_property(self, frame, 0));
}

}  // namespace

void plan_property(TableEntry& entry) {
    const int index = entry.info->property;
    if (index < 0) {
        return;
    }
    entry.property = &entry.type->properties[static_cast<size_t>(index)];
    switch (entry.info->role) {
        case EntryRole::kGet:
            entry.run = run_get;
            break;
        case EntryRole::kSet:
            entry.run = run_set;
            break;
        case EntryRole::kGetStatic:
            entry.run = run_get_static;
            return;
        default:
            entry.run = run_set_static;
            return;
    }
    if (entry.type->kind != TypeKind::kInterface) {
        entry.slot = slot_of(*entry.type, index);
    }
}

}  // namespace zelmor::embed
