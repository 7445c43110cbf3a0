// Type lookup, relations, System.Type and boxed enumerations.
#include "runtime/native/core/type_system.h"

#include <deque>
#include <unordered_map>

#include "runtime/native/core/managed_exception.h"
#include "runtime/native/core/text.h"

namespace zelmor::embed {

namespace {

// A type that no catalogue has. The deque keeps addresses and the order, which gives the type id.
struct InternedType {
    std::string name;
    std::string simple_name;
    TypeInfo info{};
    const TypeInfo* base = nullptr;
    int64_t id = 0;
};

struct Registry {
    std::unordered_map<std::string_view, const TypeInfo*> by_name;
    std::unordered_map<std::string_view, const TypeInfo*> by_host_class;
    std::deque<InternedType> interned;
    std::unordered_map<const TypeInfo*, InternedType*> interned_by_info;
    std::unordered_map<const TypeInfo*, Ref<TypeObject>> type_objects;

    Registry() {
        const auto all = types();
        by_name.reserve(all.size() + 64);
        by_host_class.reserve(all.size());
        for (const TypeInfo& type : all) {
            by_name.emplace(type.full_name, &type);
            by_host_class.emplace(type.host_class, &type);
        }
    }
};

// Built at the first question and kept until the process ends, like the object table. The types are the same for all
// threads; nothing of Python is called while one is added.
Registry& registry() {
    static Registry& instance = *new Registry;
    return instance;
}

bool in_tables(const TypeInfo& type) {
    const auto all = types();
    return &type >= all.data() && &type < all.data() + all.size();
}

const InternedType* interned(const TypeInfo& type) {
    const auto& map = registry().interned_by_info;
    const auto found = map.find(&type);
    return found == map.end() ? nullptr : found->second;
}

bool implements(const TypeInfo& interface, const TypeInfo& type) {
    for (const int16_t index : type.interfaces) {
        const TypeInfo& own = types()[static_cast<size_t>(index)];
        if (&own == &interface || implements(interface, own)) {
            return true;
        }
    }
    return false;
}

// A type that the catalogue may or may not have.
const TypeInfo& well_known(const char* full_name, TypeKind kind) {
    const TypeInfo* found = find_type(full_name);
    return found != nullptr ? *found : intern_type(full_name, kind);
}

}  // namespace

const TypeInfo* find_type(std::string_view full_name) {
    const auto& map = registry().by_name;
    const auto found = map.find(full_name);
    return found == map.end() ? nullptr : found->second;
}

const TypeInfo& require_type(std::string_view full_name) {
    const TypeInfo* type = find_type(full_name);
    if (type == nullptr) {
        throw ManagedException("TypeLoadException",
                               "Could not load type '" + std::string(full_name) + "': the catalogue does not have it.");
    }
    return *type;
}

const TypeInfo* find_host_class(std::string_view host_class) {
    const auto& map = registry().by_host_class;
    const auto found = map.find(host_class);
    return found == map.end() ? nullptr : found->second;
}

const TypeInfo* type_at(int16_t index) {
    return index == kNoType ? nullptr : &types()[static_cast<size_t>(index)];
}

const TypeInfo& object_type() {
    static const TypeInfo& type = well_known("System.Object", TypeKind::kClass);
    return type;
}

const TypeInfo& type_type() {
    static const TypeInfo& type = well_known("System.Type", TypeKind::kClass);
    return type;
}

const TypeInfo& enum_type() {
    static const TypeInfo& type = well_known("System.Enum", TypeKind::kClass);
    return type;
}

const TypeInfo& disposable_type() {
    static const TypeInfo& type = well_known("System.IDisposable", TypeKind::kInterface);
    return type;
}

const TypeInfo& string_type() {
    static const TypeInfo& type = well_known("System.String", TypeKind::kClass);
    return type;
}

const TypeInfo& intern_type(std::string_view full_name, TypeKind kind, const TypeInfo* base) {
    if (const TypeInfo* known = find_type(full_name)) {
        return *known;
    }
    Registry& r = registry();
    InternedType& added = r.interned.emplace_back();
    added.name = full_name;
    added.simple_name = full_name.substr(full_name.rfind('.') + 1);
    added.base = base;
    added.id = static_cast<int64_t>(types().size() + r.interned.size());
    added.info.full_name = added.name.c_str();
    added.info.name = added.simple_name.c_str();
    added.info.host_class = "";
    added.info.assembly = "mscorlib";
    added.info.kind = kind;
    added.info.base = kNoType;
    // Those derived from it find that at their base.
    added.info.disposable = full_name == "System.IO.Stream";
    r.by_name.emplace(added.name, &added.info);
    r.interned_by_info.emplace(&added.info, &added);
    return added.info;
}

const TypeInfo& intern_disposable_type(std::string_view full_name) {
    const TypeInfo& type = intern_type(full_name);
    auto& own = registry().interned_by_info;
    if (const auto found = own.find(&type); found != own.end()) {
        found->second->info.disposable = true;
    }
    return type;
}

const TypeInfo* base_of(const TypeInfo& type) {
    if (type.base != kNoType) {
        return type_at(type.base);
    }
    if (type.kind == TypeKind::kInterface || &type == &object_type()) {
        return nullptr;
    }
    if (type.kind == TypeKind::kEnum) {
        return &enum_type();
    }
    if (!in_tables(type)) {
        if (const InternedType* own = interned(type); own != nullptr && own->base != nullptr) {
            return own->base;
        }
    }
    return &object_type();
}

int64_t type_id(const TypeInfo& type) {
    if (in_tables(type)) {
        return &type - types().data() + 1;
    }
    const InternedType* own = interned(type);
    return own != nullptr ? own->id : 0;
}

bool is_assignable(const TypeInfo& to, const TypeInfo& from) {
    if (&to == &from || &to == &object_type()) {
        return true;
    }
    const bool to_interface = to.kind == TypeKind::kInterface;
    const bool to_disposable = &to == &disposable_type();
    for (const TypeInfo* type = &from; type != nullptr; type = base_of(*type)) {
        if (type == &to || (to_disposable && type->disposable) || (to_interface && implements(to, *type))) {
            return true;
        }
    }
    return false;
}

const EnumMember* find_enum_member(const TypeInfo& type, int64_t value) {
    for (const EnumMember& member : type.members) {
        if (member.value == value) {
            return &member;
        }
    }
    return nullptr;
}

std::u16string TypeObject::to_text() const {
    return to_utf16(m_described->full_name);
}

bool TypeObject::equals(const ManagedObject& other) const {
    const auto* type = dynamic_cast<const TypeObject*>(&other);
    return type != nullptr && type->m_described == m_described;
}

int32_t TypeObject::hash_code() const {
    return static_cast<int32_t>(embed::type_id(*m_described) * 2654435761);
}

Ref<TypeObject> type_object(const TypeInfo& type) {
    Ref<TypeObject>& known = registry().type_objects[&type];
    if (!known) {
        known = make_ref<TypeObject>(type);
    }
    return known;
}

std::u16string EnumObject::to_text() const {
    if (const EnumMember* member = find_enum_member(type(), m_value)) {
        return to_utf16(member->name);
    }
    if (type().flags && m_value != 0) {
        // A combination: the members that make it up, unless some bit has none.
        std::u16string text;
        auto rest = static_cast<uint64_t>(m_value);
        for (const EnumMember& member : type().members) {
            const auto bits = static_cast<uint64_t>(member.value);
            if (bits == 0 || (rest & bits) != bits) {
                continue;
            }
            rest &= ~bits;
            if (!text.empty()) {
                text += u", ";
            }
            text += to_utf16(member.name);
        }
        if (rest == 0) {
            return text;
        }
    }
    if (type().width == Wire::kUInt64) {
        return to_utf16(std::to_string(static_cast<uint64_t>(m_value)));
    }
    return number_text(m_value);
}

bool EnumObject::equals(const ManagedObject& other) const {
    return &other.type() == &type() && static_cast<const EnumObject&>(other).m_value == m_value;
}

int32_t EnumObject::hash_code() const {
    return static_cast<int32_t>(m_value ^ (m_value >> 32));
}

}  // namespace zelmor::embed
