// Layouts of records, their defaults, factories, and access by name.
#include "runtime/native/core/records.h"

#include <algorithm>
#include <cassert>
#include <memory>
#include <unordered_map>

#include "runtime/native/core/defaults.h"
#include "runtime/native/core/managed_exception.h"
#include "runtime/native/core/references.h"
#include "runtime/native/core/text.h"
#include "runtime/native/core/type_system.h"
#include "runtime/native/core/values.h"

namespace zelmor::embed {

namespace {

// Where the properties of a type are stored. A derived type's layout begins with its base's, so that a slot number
// means the same property in an object of any derived type.
// Whether the value refers to an object that may refer to others in its turn: without one no cycle can come about.
bool holder_in(const Value& value) {
    const auto* object = std::get_if<Ref<ManagedObject>>(&value);
    return object != nullptr && *object && (*object)->is_holder();
}

struct Layout {
    std::vector<const PropertyInfo*> slots;  // as the most derived type declares them
    std::vector<Value> defaults;             // structs are copied into each new object
    std::vector<int> own_slots;              // by property index of the type itself; -1 for static ones
    bool may_hold = false;                   // a slot may come to refer to an object that refers to others
    bool holds_from_the_start = false;       // a default is a structure of which this is true

    int find(std::string_view name) const {
        for (size_t i = 0; i < slots.size(); ++i) {
            if (name == slots[i]->name) {
                return static_cast<int>(i);
            }
        }
        return -1;
    }
};

Value value_of(const DefaultValue& entry) {
    switch (entry.kind) {
        case DefaultValue::Kind::kBool:
            return entry.integer != 0;
        case DefaultValue::Kind::kInt:
            return entry.integer;
        case DefaultValue::Kind::kFloat:
            return entry.number;
        case DefaultValue::Kind::kText:
            return to_utf16(entry.text);
        case DefaultValue::Kind::kColor:
            return box(ColorValue::from_argb(static_cast<uint32_t>(entry.integer)));
        case DefaultValue::Kind::kNull:
            return Ref<ManagedObject>();
        case DefaultValue::Kind::kUnset:
            break;
    }
    return {};
}

const DefaultTable*& default_chain() {
    static const DefaultTable* first = nullptr;  // complete once the library is loaded
    return first;
}

// By type, so that a layout looks only through the defaults of its own.
using TypeDefaults = std::unordered_map<std::string_view, std::vector<const DefaultValue*>>;

const TypeDefaults& defaults_by_type() {
    static const TypeDefaults& all = *new TypeDefaults([] {
        TypeDefaults defaults;
        for (const DefaultTable* table = DefaultTable::first(); table != nullptr; table = table->next()) {
            for (const DefaultValue& entry : table->values()) {
                defaults[entry.type].push_back(&entry);
            }
        }
        return defaults;
    }());
    return all;
}

const DefaultValue* find_default(const TypeInfo& type, std::string_view property) {
    const auto own = defaults_by_type().find(type.full_name);
    if (own == defaults_by_type().end()) {
        return nullptr;
    }
    for (const DefaultValue* entry : own->second) {
        if (property == entry->property) {
            return entry;
        }
    }
    return nullptr;
}

const Layout& layout_of(const TypeInfo& type);

bool may_hold_objects(const PropertyInfo* property) {
    const TypeInfo* type = type_at(property->type);
    switch (property->wire) {
        case Wire::kObject:
        case Wire::kClass:
        case Wire::kInterface:
        case Wire::kStream:
        case Wire::kCollection:
        case Wire::kRecord:
            return true;
        case Wire::kStruct:
            return type == nullptr || layout_of(*type).may_hold;
        default:
            return false;
    }
}

const Layout& layout_of(const TypeInfo& type) {
    // Shared by all threads and only added to; making one calls nothing of Python.
    static auto& layouts = *new std::unordered_map<const TypeInfo*, std::unique_ptr<Layout>>;
    if (const auto known = layouts.find(&type); known != layouts.end()) {
        return *known->second;
    }

    auto layout = std::make_unique<Layout>();
    if (const TypeInfo* base = type_at(type.base)) {
        *layout = layout_of(*base);
        layout->own_slots.clear();
    }
    for (const PropertyInfo& property : type.properties) {
        if (property.is_static) {
            layout->own_slots.push_back(-1);
            continue;
        }
        int slot = layout->find(property.name);
        if (slot < 0) {
            slot = static_cast<int>(layout->slots.size());
            layout->slots.push_back(&property);
            // What cannot be written and has no default stays unset: reading it is not supported, not zero.
            layout->defaults.push_back(property.writable ? zero_value(property.wire, type_at(property.type)) : Value());
        } else {
            const bool becomes_writable = property.writable && !layout->slots[static_cast<size_t>(slot)]->writable;
            layout->slots[static_cast<size_t>(slot)] = &property;
            auto& value = layout->defaults[static_cast<size_t>(slot)];
            if (becomes_writable && is_unset(value)) {
                value = zero_value(property.wire, type_at(property.type));
            }
        }
        layout->own_slots.push_back(slot);
    }
    for (size_t i = 0; i < layout->slots.size(); ++i) {
        if (const DefaultValue* entry = find_default(type, layout->slots[i]->name)) {
            layout->defaults[i] = value_of(*entry);
        }
    }
    layout->may_hold = std::any_of(layout->slots.begin(), layout->slots.end(), may_hold_objects);
    layout->holds_from_the_start = std::any_of(layout->defaults.begin(), layout->defaults.end(), holder_in);
    return *layouts.emplace(&type, std::move(layout)).first->second;
}

const FactoryRegistration*& factory_chain() {
    static const FactoryRegistration* first = nullptr;  // complete once the library is loaded
    return first;
}

FactoryRegistration::Factory factory_of(const TypeInfo& type) {
    // Shared by all threads and only added to, with no callback in between.
    static auto& known = *new std::unordered_map<const TypeInfo*, FactoryRegistration::Factory>;
    if (const auto found = known.find(&type); found != known.end()) {
        return found->second;
    }
    FactoryRegistration::Factory make = nullptr;
    for (const auto* entry = factory_chain(); entry != nullptr && make == nullptr; entry = entry->next) {
        if (std::string_view(entry->full_name) == type.full_name) {
            make = entry->make;
        }
    }
    if (make == nullptr && type.base != kNoType) {
        make = factory_of(*type_at(type.base));
    }
    known.emplace(&type, make);
    return make;
}

[[noreturn]] void throw_missing(const TypeInfo& type, std::string_view name) {
    throw ManagedException("MissingMemberException", std::string("The type '") + type.full_name +
                                                         "' has no property '" + std::string(name) + "'.");
}

struct NamedSlot {
    Record& record;
    int slot;
};

NamedSlot slot_with(const ManagedObject& object, std::string_view name) {
    auto* record = dynamic_cast<Record*>(const_cast<ManagedObject*>(&object));
    const int slot = record != nullptr ? layout_of(object.type()).find(name) : -1;
    if (slot < 0) {
        throw_missing(object.type(), name);
    }
    return {*record, slot};
}

Value& static_slot(const TypeInfo& type, std::string_view name) {
    // Static properties belong to the process, as in .NET: what one thread sets, all see.
    static auto& slots = *new std::unordered_map<const PropertyInfo*, Value>;
    for (const PropertyInfo& property : type.properties) {
        if (!property.is_static || name != property.name) {
            continue;
        }
        const auto [found, added] = slots.try_emplace(&property);
        if (added) {
            if (const DefaultValue* entry = find_default(type, property.name)) {
                found->second = value_of(*entry);
            } else if (property.writable) {
                found->second = zero_value(property.wire, type_at(property.type));
            }
        }
        return found->second;
    }
    throw_missing(type, name);
}

bool keyword_matches(std::string_view managed_name, std::string_view keyword) {
    size_t k = 0;
    for (const char c : managed_name) {
        while (k < keyword.size() && keyword[k] == '_') {
            ++k;
        }
        if (k == keyword.size()) {
            return false;
        }
        const char lower = c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
        if (keyword[k++] != lower) {
            return false;
        }
    }
    return k == keyword.size();
}

Value copied(const Value& value) {
    if (const auto* object = std::get_if<Ref<ManagedObject>>(&value)) {
        if (*object && (*object)->type().kind == TypeKind::kStruct) {
            return (*object)->copy();
        }
    }
    return value;
}

}  // namespace

std::optional<PropertySlot> find_property(const TypeInfo& type, std::string_view managed_name) {
    const Layout& layout = layout_of(type);
    const int slot = layout.find(managed_name);
    if (slot < 0) {
        return std::nullopt;
    }
    return PropertySlot{slot, layout.slots[static_cast<size_t>(slot)]};
}

std::optional<PropertySlot> find_property_by_keyword(const TypeInfo& type, std::string_view keyword) {
    if (keyword == "from_address") {
        keyword = "from";  // a word that Python keeps for itself
    }
    const Layout& layout = layout_of(type);
    for (size_t i = 0; i < layout.slots.size(); ++i) {
        if (keyword_matches(layout.slots[i]->name, keyword)) {
            return PropertySlot{static_cast<int>(i), layout.slots[i]};
        }
    }
    return std::nullopt;
}

int slot_of(const TypeInfo& declaring, int property_index) {
    return layout_of(declaring).own_slots[static_cast<size_t>(property_index)];
}

Value zero_value(Wire wire, const TypeInfo* type) {
    if (type != nullptr && type->kind == TypeKind::kEnum) {
        if (type->flags || type->members.empty() || find_enum_member(*type, 0) != nullptr) {
            return int64_t{0};
        }
        return type->members.front().value;
    }
    switch (wire) {
        case Wire::kBool:
            return false;
        case Wire::kSingle:
        case Wire::kDouble:
            return 0.0;
        case Wire::kDateTime:
            return DateTimeValue{};
        case Wire::kDateTimeOffset:
            return DateTimeOffsetValue{};
        case Wire::kTimeSpan:
            return TimeSpanValue{};
        case Wire::kDecimal:
            return DecimalValue{};
        case Wire::kGuid:
            return GuidValue{};
        case Wire::kStruct:
            if (type != nullptr) {
                return make_instance(*type);
            }
            return Ref<ManagedObject>();
        case Wire::kVoid:
            return {};
        case Wire::kNullableDateTime:
        case Wire::kString:
        case Wire::kBytes:
        case Wire::kObject:
        case Wire::kClass:
        case Wire::kInterface:
        case Wire::kStream:
        case Wire::kCollection:
        case Wire::kRecord:
            return Ref<ManagedObject>();
        default:
            return int64_t{0};
    }
}

Record::Record(const TypeInfo& type) : ManagedObject(type) {
    const Layout& layout = layout_of(type);
    m_slots.reserve(layout.defaults.size());
    for (const Value& value : layout.defaults) {
        m_slots.push_back(copied(value));
        assert(layout.holds_from_the_start || !holder_in(m_slots.back()));
    }
    // Objects may have more than their slots.
    if (layout.may_hold || type.kind != TypeKind::kStruct) {
        may_hold_references();
    }
    if (layout.holds_from_the_start) {
        track();
    }
}

void Record::references(ReferenceVisitor& visitor) {
    visitor(m_slots);
}

void Record::set_slot(int index, Value value) {
    assert(index >= 0 && static_cast<size_t>(index) < m_slots.size());
    if (!is_tracked() && holder_in(value)) {
        track();
    }
    m_slots[static_cast<size_t>(index)].swap(value);  // the old value ends when the new one is in its place
}

bool Record::equals(const ManagedObject& other) const {
    if (type().kind != TypeKind::kStruct || &other.type() != &type()) {
        return ManagedObject::equals(other);
    }
    const auto& same = static_cast<const Record&>(other);
    return std::equal(m_slots.begin(), m_slots.end(), same.m_slots.begin(), same.m_slots.end(), values_equal);
}

int32_t Record::hash_code() const {
    if (type().kind != TypeKind::kStruct) {
        return ManagedObject::hash_code();
    }
    uint32_t hash = 17;
    for (const Value& value : m_slots) {
        hash = hash * 31 + static_cast<uint32_t>(hash_of_value(value));
    }
    return static_cast<int32_t>(hash);
}

std::u16string Record::to_text() const {
    if (type().kind != TypeKind::kStruct) {
        return ManagedObject::to_text();
    }
    std::u16string text = u"{";
    const Layout& layout = layout_of(type());
    for (size_t i = 0; i < m_slots.size(); ++i) {
        if (is_unset(m_slots[i])) {
            continue;
        }
        if (text.size() > 1) {
            text += u", ";
        }
        text += to_utf16(layout.slots[i]->name) + u"=" + text_of_value(m_slots[i]);
    }
    return text + u"}";
}

Ref<ManagedObject> Record::copy() const {
    Ref<ManagedObject> twin = make_instance(type());
    cast_object<Record>(*twin).assign_from(*this);
    return twin;
}

void Record::assign_from(const Record& other) {
    const Layout& mine = layout_of(type());
    const Layout& theirs = layout_of(other.type());
    for (size_t i = 0; i < theirs.slots.size(); ++i) {
        if (is_unset(other.m_slots[i])) {
            continue;
        }
        // A common base's properties stand at the same place; others are looked for by name.
        const bool same = i < mine.slots.size() && std::string_view(mine.slots[i]->name) == theirs.slots[i]->name;
        const int slot = same ? static_cast<int>(i) : mine.find(theirs.slots[i]->name);
        if (slot >= 0) {
            set_slot(slot, copied(other.m_slots[i]));
        }
    }
}

DefaultTable::DefaultTable(std::span<const DefaultValue> values) : m_values(values), m_next(default_chain()) {
    default_chain() = this;
}

const DefaultTable* DefaultTable::first() {
    return default_chain();
}

FactoryRegistration::FactoryRegistration(const char* full_name, Factory make)
    : full_name(full_name), make(make), next(factory_chain()) {
    factory_chain() = this;
}

Ref<ManagedObject> make_instance(const TypeInfo& type) {
    if (const auto make = factory_of(type)) {
        return make(type);
    }
    return make_ref<Record>(type);
}

Ref<ManagedObject> make_instance(std::string_view full_name) {
    return make_instance(require_type(full_name));
}

const Value& property(const ManagedObject& object, std::string_view name) {
    const auto [record, slot] = slot_with(object, name);
    return record.slot(slot);
}

void set_property(ManagedObject& object, std::string_view name, Value value) {
    const auto [record, slot] = slot_with(object, name);
    record.set_slot(slot, std::move(value));
}

int64_t property_int(const ManagedObject& object, std::string_view name) {
    const Value& value = property(object, name);
    if (const auto* x = std::get_if<int64_t>(&value)) {
        return *x;
    }
    if (const auto* x = std::get_if<uint64_t>(&value)) {
        return static_cast<int64_t>(*x);
    }
    if (const auto* x = std::get_if<bool>(&value)) {
        return *x ? 1 : 0;
    }
    if (const auto* x = std::get_if<double>(&value)) {
        return static_cast<int64_t>(*x);
    }
    if (is_null(value)) {
        return 0;
    }
    throw_invalid_value_cast(value, "System.Int64");
}

bool property_bool(const ManagedObject& object, std::string_view name) {
    return property_int(object, name) != 0;
}

double property_double(const ManagedObject& object, std::string_view name) {
    const Value& value = property(object, name);
    if (const auto* x = std::get_if<double>(&value)) {
        return *x;
    }
    return static_cast<double>(property_int(object, name));
}

std::optional<std::u16string> property_string(const ManagedObject& object, std::string_view name) {
    const Value& value = property(object, name);
    if (const auto* x = std::get_if<std::u16string>(&value)) {
        return *x;
    }
    if (is_null(value)) {
        return std::nullopt;
    }
    throw_invalid_value_cast(value, "System.String");
}

Ref<ManagedObject> property_object(const ManagedObject& object, std::string_view name) {
    const Value& value = property(object, name);
    if (const auto* x = std::get_if<Ref<ManagedObject>>(&value)) {
        return *x;
    }
    if (is_null(value)) {
        return {};
    }
    throw_invalid_value_cast(value, "System.Object");
}

bool has_property(const ManagedObject& object, std::string_view name) {
    return dynamic_cast<const Record*>(&object) != nullptr && layout_of(object.type()).find(name) >= 0;
}

const Value& static_property(const TypeInfo& type, std::string_view name) {
    return static_slot(type, name);
}

void set_static_property(const TypeInfo& type, std::string_view name, Value value) {
    static_slot(type, name).swap(value);
}

}  // namespace zelmor::embed
