// Objects whose properties are stored values, and how C++ code reads and writes these by their managed names.
//
// A record has one slot per property of its type and of all bases; a property that a derived type declares again
// shares the slot of the base's. Behavior that needs more state derives from Record and keeps it in members.
#ifndef ZELMOR_RUNTIME_NATIVE_CORE_RECORDS_H
#define ZELMOR_RUNTIME_NATIVE_CORE_RECORDS_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "runtime/native/core/object.h"
#include "runtime/native/core/unnamed.h"
#include "runtime/native/core/value.h"

namespace zelmor::embed {

// A property of a type: where it is stored and how it is declared.
struct PropertySlot {
    int slot;
    const PropertyInfo* info;
};

// The instance property with this managed name, of the type or of a base.
std::optional<PropertySlot> find_property(const TypeInfo& type, std::string_view managed_name);
// The same by the keyword of a constructor argument: "expected_format" finds "ExpectedFormat".
std::optional<PropertySlot> find_property_by_keyword(const TypeInfo& type, std::string_view keyword);
// The slot of the property at an index of its declaring type, valid for all derived types; -1 for a static one.
int slot_of(const TypeInfo& declaring, int property_index);

// Zero, empty, null or the first enumerator, as the property's type has it; a struct of zeros for a struct.
Value zero_value(Wire wire, const TypeInfo* type);

class Record : public ManagedObject {
 public:
    explicit Record(const TypeInfo& type);

    // The stored value of a slot, unset where nothing was stored and the type has no default for it.
    const Value& slot(int index) const { return m_slots[static_cast<size_t>(index)]; }
    // The old value goes when the new one is in its place.
    void set_slot(int index, Value value);
    size_t slot_count() const { return m_slots.size(); }

    // A record of a value type compares by its slots, one of a class by identity.
    bool equals(const ManagedObject& other) const override;
    int32_t hash_code() const override;
    std::u16string to_text() const override;
    Ref<ManagedObject> copy() const override;
    void references(ReferenceVisitor& visitor) override;
    // Takes the values of all properties that both types have; structs are copied, objects shared.
    void assign_from(const Record& other);

 private:
    std::vector<Value> m_slots;
};

// Makes an object of the type with its default values, by the factory of the type or of its nearest base.
Ref<ManagedObject> make_instance(const TypeInfo& type);
Ref<ManagedObject> make_instance(std::string_view full_name);

// Names a factory for a type and, unless they have their own, the types derived from it. Static objects of this kind
// stand in the file of the behavior; the chain is read when the first object is made.
struct FactoryRegistration {
    using Factory = Ref<ManagedObject> (*)(const TypeInfo&);
    FactoryRegistration(const char* full_name, Factory make);
    const char* full_name;
    Factory make;
    const FactoryRegistration* next;
};

// Reading and writing by managed name; a name that the type does not have raises MissingMemberException.
const Value& property(const ManagedObject& object, std::string_view name);
void set_property(ManagedObject& object, std::string_view name, Value value);
int64_t property_int(const ManagedObject& object, std::string_view name);  // integers, enumerations, bool
bool property_bool(const ManagedObject& object, std::string_view name);
double property_double(const ManagedObject& object, std::string_view name);  // also of an integer
std::optional<std::u16string> property_string(const ManagedObject& object, std::string_view name);  // nothing for null
Ref<ManagedObject> property_object(const ManagedObject& object, std::string_view name);             // may be empty
bool has_property(const ManagedObject& object, std::string_view name);

// Static properties, by type.
const Value& static_property(const TypeInfo& type, std::string_view name);
void set_static_property(const TypeInfo& type, std::string_view name, Value value);

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_CORE_RECORDS_H
