// The built-in services of every type: typeof, casts, `as`, assignability, boxed enumerations.
//
// A cast answers 0 where there is no such cast, and -1 where the attempt itself failed with an exception.
#include "runtime/native/core/conversions.h"
#include "runtime/native/core/handles.h"
#include "runtime/native/core/managed_exception.h"
#include "runtime/native/core/marshal.h"
#include "runtime/native/table_entries/table_entry.h"

namespace zelmor::embed {

namespace {

bool is_enum(const TableEntry& self) {
    return self.type->kind == TypeKind::kEnum;
}
bool is_struct(const TableEntry& self) {
    return self.type->kind == TypeKind::kStruct;
}

// Stores an enumeration's value through the out slot, at the enumeration's width.
void store_enum(const TableEntry& self, void* out, int64_t value) {
    switch (self.type->width) {
        case Wire::kInt8:
        case Wire::kUInt8:
            *static_cast<uint8_t*>(out) = static_cast<uint8_t>(value);
            return;
        case Wire::kInt16:
        case Wire::kUInt16:
            *static_cast<uint16_t*>(out) = static_cast<uint16_t>(value);
            return;
        case Wire::kInt64:
        case Wire::kUInt64:
            *static_cast<int64_t*>(out) = value;
            return;
        default:
            *static_cast<uint32_t*>(out) = static_cast<uint32_t>(value);
            return;
    }
}

int64_t read_enum(const TableEntry& self, CallFrame& frame) {
    switch (self.type->width) {
        case Wire::kInt8:
            return frame.argument<int8_t>(0);
        case Wire::kUInt8:
            return frame.argument<uint8_t>(0);
        case Wire::kInt16:
            return frame.argument<int16_t>(0);
        case Wire::kUInt16:
            return frame.argument<uint16_t>(0);
        case Wire::kUInt32:
            return frame.argument<uint32_t>(0);
        case Wire::kInt64:
        case Wire::kUInt64:
            return frame.argument<int64_t>(0);
        default:
            return frame.argument<int32_t>(0);
    }
}

// Delivers an object that is of the type: a new handle to it, to a copy of it, or its number.
int deliver(const TableEntry& self, const Ref<ManagedObject>& object, void* out) {
    if (is_enum(self)) {
        store_enum(self, out, cast_object<EnumObject>(*object).value());
    } else {
        *static_cast<Handle*>(out) = make_handle(is_struct(self) ? object->copy() : object);
    }
    return kCastMade;
}

bool takes_variant(const TableEntry& self) {
    return self.info->signature[1] == 'V';
}

// The object to cast or test: behind a handle or a tagged argument, whichever the entry point takes.
Ref<ManagedObject> cast_source(const TableEntry& self, CallFrame& frame) {
    if (takes_variant(self)) {
        const auto* arg = frame.argument<const VariantArg*>(0);
        return arg->tag > kHandleStruct ? nullptr : read_object(arg);
    }
    return Ref<ManagedObject>(object_of(frame.argument<Handle>(0)));
}

void run_type_of(TableEntry& self, CallFrame& frame) {
    *frame.argument<Handle*>(0) = make_handle(type_object(*self.type));
    frame.set_result<int32_t>(1);
}

void run_cast_entry(TableEntry& self, CallFrame& frame) {
    frame.fails_with(kCastFailed);
    void* out = frame.argument<void*>(1);
    const auto object = cast_source(self, frame);
    int status = kCastImpossible;
    if (!object) {
        // A null reference is of every reference type; a value type has none.
        if (!is_struct(self) && !is_enum(self)) {
            *static_cast<Handle*>(out) = nullptr;
            status = kCastMade;
        }
    } else if (is_assignable(*self.type, object->type())) {
        status = deliver(self, object, out);
    } else if (const auto convert = find_conversion(object->type(), *self.type); convert != nullptr) {
        *static_cast<Handle*>(out) = make_handle(convert(*object));
        status = kCastMade;
    }
    frame.set_result<int32_t>(status);
}

void run_cast_as(TableEntry& self, CallFrame& frame) {
    frame.fails_with(kCastFailed);
    const auto object = cast_source(self, frame);
    const bool fits = object && is_assignable(*self.type, object->type());
    frame.set_result<int32_t>(fits ? deliver(self, object, frame.argument<void*>(1)) : kCastImpossible);
}

void run_is_assignable(TableEntry& self, CallFrame& frame) {
    const auto object = cast_source(self, frame);
    frame.set_result<int32_t>(object && is_assignable(*self.type, object->type()) ? 1 : 0);
}

void run_cast_from(TableEntry& self, CallFrame& frame) {
    frame.fails_with(kCastFailed);
    ManagedObject& object = instance_of(self, frame);
    const TypeInfo& wanted = target<TypeObject>(frame.argument<Handle>(1)).described();
    auto* out = frame.argument<Handle*>(2);
    int status = kCastImpossible;
    if (is_assignable(wanted, object.type())) {
        *out = make_handle(is_struct(self) ? object.copy() : Ref<ManagedObject>(&object));
        status = kCastMade;
    } else if (const auto convert = find_conversion(object.type(), wanted); convert != nullptr) {
        *out = make_handle(convert(object));
        status = kCastMade;
    }
    frame.set_result<int32_t>(status);
}

void run_reinterpret(TableEntry& self, CallFrame& frame) {
    ManagedObject& object = require_object(frame.argument<Handle>(0));
    if (!is_assignable(*self.type, object.type())) {
        throw_invalid_cast(object.type().full_name, self.type->full_name);
    }
    frame.set_result<int32_t>(deliver(self, Ref<ManagedObject>(&object), frame.argument<void*>(1)));
}

void run_as_uni_enum(TableEntry& self, CallFrame& frame) {
    *frame.argument<Handle*>(1) = make_handle(make_ref<EnumObject>(*self.type, read_enum(self, frame)));
    frame.set_result<int32_t>(1);
}

void run_get_type(TableEntry& self, CallFrame& frame) {
    *frame.argument<Handle*>(1) = make_handle(type_object(*self.type));
    frame.set_result<int32_t>(1);
}

}  // namespace

void plan_cast(TableEntry& entry) {
    switch (entry.info->role) {
        case EntryRole::kTypeOf:
            entry.run = run_type_of;
            break;
        case EntryRole::kCastTo:
            entry.run = run_cast_entry;
            break;
        case EntryRole::kCastFrom:
            entry.run = run_cast_from;
            break;
        case EntryRole::kReinterpretObj:
            entry.run = run_reinterpret;
            break;
        case EntryRole::kAsUniEnum:
            entry.run = run_as_uni_enum;
            break;
        case EntryRole::kCastAs:
            entry.run = run_cast_as;
            break;
        case EntryRole::kIsAssignable:
            entry.run = run_is_assignable;
            break;
        case EntryRole::kGetType:
            entry.run = run_get_type;
            break;
        default:
            break;
    }
}

}  // namespace zelmor::embed
