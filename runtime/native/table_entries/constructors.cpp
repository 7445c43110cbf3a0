// Constructors without behavior: a new object with its defaults, with properties filled from the arguments of the
// same name, or with the properties of another object.
#include "runtime/native/core/handles.h"
#include "runtime/native/core/managed_exception.h"
#include "runtime/native/table_entries/table_entry.h"
#include "runtime/native/table_entries/wire_values.h"

namespace zelmor::embed {

namespace {

// A number may fill a number of another width, text an `object`; otherwise the wires have to agree.
bool may_fill(const ParamInfo& param, const PropertyInfo& property) {
    const auto number = [](Wire wire) { return wire >= Wire::kBool && wire <= Wire::kChar; };
    if (param.by_ref) {
        return false;
    }
    if (property.wire == Wire::kObject) {
        return true;
    }
    if (param.wire == Wire::kCollection && !same_collection(param.collection, property.collection)) {
        return false;
    }
    if (number(param.wire) && number(property.wire)) {
        return param.type == property.type || property.type == kNoType;
    }
    return param.wire == property.wire;
}

void run_default(TableEntry& self, CallFrame& frame) {
    frame.set_result(make_handle(make_instance(*self.type)));
}

void run_fill(TableEntry& self, CallFrame& frame) {
    Ref<ManagedObject> object = make_instance(*self.type);
    Record& record = cast_object<Record>(*object);
    for (size_t i = 0, argument = 0; i < self.filled.size(); ++i, ++argument) {
        const ParamInfo& param = self.info->params[i];
        record.set_slot(self.filled[i].slot,
                        read_wire(frame, argument, param.wire, type_at(param.type), param.collection));
        if (param.wire == Wire::kNullableDateTime) {
            ++argument;
        }
    }
    frame.set_result(make_handle(std::move(object)));
}

void run_copy(TableEntry& self, CallFrame& frame) {
    const ParamInfo& param = self.info->params[0];
    const Value source = read_wire(frame, 0, Wire::kClass, type_at(param.type));
    if (is_null(source)) {
        throw_argument_null(param.name);
    }
    Ref<ManagedObject> object = make_instance(*self.type);
    cast_object<Record>(*object).assign_from(cast_object<Record>(*std::get<Ref<ManagedObject>>(source)));
    frame.set_result(make_handle(std::move(object)));
}

bool copies(const TypeInfo& type, const EntryInfo& info) {
    if (info.params.size() != 1 || info.params[0].wire != Wire::kClass) {
        return false;
    }
    const TypeInfo* source = type_at(info.params[0].type);
    return source != nullptr && source->kind == TypeKind::kClass &&
           (is_assignable(*source, type) || is_assignable(type, *source));
}

}  // namespace

void plan_constructor(TableEntry& entry) {
    const auto params = entry.info->params;
    if (params.empty()) {
        entry.run = run_default;
        return;
    }
    for (const ParamInfo& param : params) {
        const auto property = find_property_by_keyword(*entry.type, param.name);
        if (!property || !may_fill(param, *property->info)) {
            break;
        }
        entry.filled.push_back(*property);
    }
    if (entry.filled.size() == params.size()) {
        entry.run = run_fill;
    } else if (copies(*entry.type, *entry.info)) {
        entry.run = run_copy;
    }
}

}  // namespace zelmor::embed
