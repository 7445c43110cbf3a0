// The services that every object has: text, hash, equality, type, disposal.
#include <array>

#include "runtime/native/hosts/host_entries.h"

namespace zelmor::embed {

namespace {

int32_t to_string(ManagedObject& self, Handle* out) {
    *out = py_string(self.to_text());
    return kToStringDelivered;
}

int32_t hash_code(ManagedObject& self) {
    return self.hash_code();
}

int32_t equals(ManagedObject& self, const VariantArg* other) {
    if (other->tag > kHandleStruct) {
        return 0;  // a Python object is never equal to a managed one
    }
    const ManagedObject* object = object_of(other->value);
    return object != nullptr && self.equals(*object) ? 1 : 0;
}

int32_t is_type_of(ManagedObject& self, const VariantArg* type) {
    const auto wanted = read_object(type);
    if (!wanted) {
        throw_argument_null("type");
    }
    return is_assignable(cast_object<TypeObject>(*wanted).described(), self.type()) ? 1 : 0;
}

int32_t get_object_type_name(const VariantArg* object, Handle* out) {
    const auto target = read_object(object);
    if (!target) {
        throw_argument_null("obj");
    }
    *out = py_string_utf8(target->type().full_name);
    return kToStringDelivered;
}

int32_t get_type(ManagedObject& self, Handle* out) {
    *out = make_handle(type_object(self.type()));
    return 1;
}

void dispose(ManagedObject& self) {
    if (!is_assignable(disposable_type(), self.type())) {
        throw_invalid_cast(self.type().full_name, disposable_type().full_name);
    }
    self.dispose();
}

template <Assembly A>
struct ObjectHost {
    static std::span<const HostEntry> entries() {
        static const std::array<HostEntry, 11> table = {{
            {"ToStringOfObj", entry<&to_string, A>()},
            {"ToStringOfStc", entry<&to_string, A>()},
            {"GetHashOfObj", entry<&hash_code, A>()},
            {"GetHashOfStc", entry<&hash_code, A>()},
            {"IsEqualsOfObj", entry<&equals, A>()},
            {"IsEqualsOfStc", entry<&equals, A>()},
            {"IsTypeOf", entry<&is_type_of, A>()},
            {"GetTypeName", entry<&get_object_type_name, A>()},
            {"GetObjType", entry<&get_type, A>()},
            {"GetStcType", entry<&get_type, A>()},
            {"Dispose", entry<&dispose, A>()},
        }};
        return table;
    }
};

}  // namespace

std::span<const HostEntry> object_host_entries(Assembly assembly) {
    return entries_of<ObjectHost>(assembly);
}

}  // namespace zelmor::embed
