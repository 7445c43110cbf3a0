// The object table: slots in one vector, the free ones chained through it.
#include "runtime/native/core/handles.h"

#include <array>
#include <cstdio>
#include <vector>

#include "runtime/native/core/type_system.h"

namespace zelmor::embed {

namespace {

// Handle layout: slot number plus one in the low word, generation in the high word. Never zero, and never an address
// that a stray dereference would find mapped.
struct Slot {
    ManagedObject* object = nullptr;  // owns one count while the slot is taken
    uint32_t generation = 1;
    uint32_t next_free = 0;  // slot number plus one; 0 ends the chain
};

struct Table {
    std::vector<Slot> slots;
    uint32_t first_free = 0;
    std::array<int64_t, 4> live{};  // by HandleKind
};

// Lives until the process ends: Python may give handles back after the static objects of this library are gone. One for
// all threads, as an object may pass from one to another; it is whole whenever a callback or the end of an object runs.
Table& table() {
    static Table& instance = *new Table;
    return instance;
}

HandleKind kind_of(const ManagedObject& object) {
    if (object.type().kind == TypeKind::kStruct) {
        return HandleKind::kStruct;
    }
    if (&object.type() == &type_type()) {
        return HandleKind::kType;
    }
    return HandleKind::kObject;
}

void count(const ManagedObject& object, int64_t by) {
    Table& t = table();
    t.live[static_cast<size_t>(HandleKind::kAny)] += by;
    t.live[static_cast<size_t>(kind_of(object))] += by;
}

[[noreturn]] void throw_stale(Handle handle) {
    char text[160];
    std::snprintf(text, sizeof text, "The handle %p is not live: it was given back already or never handed out.",
                  handle);
    throw_invalid_operation(text);
}

Slot& live_slot(Handle handle) {
    const auto word = reinterpret_cast<uint64_t>(handle);
    const auto index = static_cast<uint32_t>(word) - 1;
    Table& t = table();
    if (index >= t.slots.size()) {
        throw_stale(handle);
    }
    Slot& slot = t.slots[index];
    if (slot.generation != word >> 32 || slot.object == nullptr) {
        throw_stale(handle);
    }
    return slot;
}

}  // namespace

Handle make_handle(Ref<ManagedObject> object) {
    if (!object) {
        return nullptr;
    }
    Table& t = table();
    if (t.first_free == 0) {
        t.slots.emplace_back();
        t.first_free = static_cast<uint32_t>(t.slots.size());
    }
    const uint32_t number = t.first_free;
    Slot& slot = t.slots[number - 1];
    t.first_free = slot.next_free;
    count(*object, 1);
    slot.object = object.detach();
    return reinterpret_cast<Handle>(static_cast<uint64_t>(slot.generation) << 32 | number);
}

ManagedObject* object_of(Handle handle) {
    return handle != nullptr ? live_slot(handle).object : nullptr;
}

ManagedObject& require_object(Handle handle) {
    if (handle == nullptr) {
        throw_null_reference("Object reference not set to an instance of an object.");
    }
    return *live_slot(handle).object;
}

void free_handle(Handle handle) {
    if (handle == nullptr) {
        return;
    }
    Slot& slot = live_slot(handle);
    count(*slot.object, -1);
    const auto number = static_cast<uint32_t>(reinterpret_cast<uint64_t>(handle));
    const auto object = Ref<ManagedObject>::attach(slot.object);
    slot.object = nullptr;
    // Generation 0 would let slot and number alone look like a handle that was never made.
    if (++slot.generation == 0) {
        slot.generation = 1;
    }
    slot.next_free = table().first_free;
    table().first_free = number;
}  // the object may go here and may itself give handles or Python references back: the table is consistent by then

int64_t live_handles(HandleKind kind) {
    return table().live[static_cast<size_t>(kind)];
}

void for_each_live_handle(void (*visit)(const ManagedObject&, void*), void* context) {
    for (const Slot& slot : table().slots) {
        if (slot.object != nullptr) {
            visit(*slot.object, context);
        }
    }
}

}  // namespace zelmor::embed
