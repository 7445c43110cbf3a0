// Types at run time: finding them, how they relate, and the object that stands for a type in Python (System.Type).
//
// Works from the catalogue's tables and a few types that every runtime has (System.Object, System.Type, arrays).
#ifndef ZELMOR_RUNTIME_NATIVE_CORE_TYPE_SYSTEM_H
#define ZELMOR_RUNTIME_NATIVE_CORE_TYPE_SYSTEM_H

#include <cstdint>
#include <string>
#include <string_view>

#include "runtime/native/core/object.h"

namespace zelmor::embed {

// The type with this full managed name, or null.
const TypeInfo* find_type(std::string_view full_name);
// The same; a name that is not there is a defect of the runtime's own tables and raises TypeLoadException.
const TypeInfo& require_type(std::string_view full_name);
// The type whose host class has this name ("WrpNs_Zelmor.WrpNs_Imaging.WrpCs_Image_4B725488"), or null.
const TypeInfo* find_host_class(std::string_view host_class);
// The type at an index of the tables; null for kNoType.
const TypeInfo* type_at(int16_t index);

const TypeInfo& object_type();      // System.Object
const TypeInfo& type_type();        // System.Type
const TypeInfo& enum_type();        // System.Enum
const TypeInfo& disposable_type();  // System.IDisposable
const TypeInfo& string_type();      // System.String

// Adds a type that no catalogue has (an array, an enumerator); the name must stay alive. Same name, same type.
const TypeInfo& intern_type(std::string_view full_name, TypeKind kind = TypeKind::kClass,
                            const TypeInfo* base = nullptr);
// The same for a class whose objects can be disposed of.
const TypeInfo& intern_disposable_type(std::string_view full_name);
// The base of a type; null for System.Object and for interfaces.
const TypeInfo* base_of(const TypeInfo& type);

// Key of the run-time type on the wire: the position in the tables plus one, or a number behind these.
int64_t type_id(const TypeInfo& type);

// True where a `from` may stand for a `to`: the same type, a base of it, or an interface of it or of a base.
bool is_assignable(const TypeInfo& to, const TypeInfo& from);

// The member of an enumeration with this value, or null.
const EnumMember* find_enum_member(const TypeInfo& type, int64_t value);

// A System.Type.
class TypeObject final : public ManagedObject {
 public:
    static constexpr const char* kManagedName = "System.Type";
    explicit TypeObject(const TypeInfo& described) : ManagedObject(type_type()), m_described(&described) {}
    const TypeInfo& described() const { return *m_described; }
    std::u16string to_text() const override;
    bool equals(const ManagedObject& other) const override;
    int32_t hash_code() const override;

 private:
    const TypeInfo* m_described;
};

// The one TypeObject of a type.
Ref<TypeObject> type_object(const TypeInfo& type);

// A boxed enumeration value, a System.Enum.
class EnumObject final : public ManagedObject {
 public:
    static constexpr const char* kManagedName = "System.Enum";
    EnumObject(const TypeInfo& type, int64_t value) : ManagedObject(type), m_value(value) {}
    int64_t value() const { return m_value; }
    std::u16string to_text() const override;
    bool equals(const ManagedObject& other) const override;
    int32_t hash_code() const override;
    Ref<ManagedObject> copy() const override { return make_ref<EnumObject>(type(), m_value); }

 private:
    int64_t m_value;
};

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_CORE_TYPE_SYSTEM_H
