// A tag's value as the type that a property has; see tag_values.h.
#include "runtime/native/behaviors/metadata/tiff/tag_values.h"

#include "generated/runtime/System.h"
#include "runtime/native/core/managed_exception.h"

namespace zelmor::embed {

namespace {

const ManagedList* list_in(const Value& value) {
    const auto* object = std::get_if<Ref<ManagedObject>>(&value);
    return object != nullptr ? dynamic_cast<const ManagedList*>(object->get()) : nullptr;
}

[[noreturn]] void refuse(const Value& value, const std::string& wanted) {
    std::string found = api::System::Object::kType.name;
    if (const auto* list = list_in(value)) {
        found = std::string(list->element().name) + "[]";
    }
    if (std::holds_alternative<std::u16string>(value)) {
        found = "System.String";
    }
    if (std::holds_alternative<Bytes>(value)) {
        found = "System.Byte[]";
    }
    throw_invalid_cast(found, wanted);
}

}  // namespace

std::optional<std::u16string> text_of_tag(const Value& value) {
    if (is_null(value)) {
        return std::nullopt;
    }
    const auto* text = std::get_if<std::u16string>(&value);
    if (text == nullptr) {
        refuse(value, "System.String");
    }
    return *text;
}

std::optional<Bytes> bytes_of_tag(const Value& value) {
    if (is_null(value)) {
        return std::nullopt;
    }
    const auto* bytes = std::get_if<Bytes>(&value);
    if (bytes == nullptr) {
        refuse(value, "System.Byte[]");
    }
    return *bytes;
}

Ref<ManagedList> array_of_tag(const Value& value, const ElementType& element) {
    if (is_null(value)) {
        return nullptr;
    }
    const auto* list = list_in(value);
    if (list == nullptr) {
        refuse(value, std::string(element.name) + "[]");
    }
    if (&list->element() == &element) {
        return Ref<ManagedList>(const_cast<ManagedList*>(list));
    }
    auto made = make_list(ListShape::kArray, element, list->size());
    for (size_t i = 0; i < list->size(); ++i) {
        made->set(i, list->get(i));
    }
    return made;
}

Value given_text(const std::optional<std::u16string>& text) {
    return text ? Value(*text) : Value(Ref<ManagedObject>());
}

Value given_bytes(const PyBytesArg* bytes) {
    if (bytes->length < 0) {
        return Ref<ManagedObject>();
    }
    const auto* data = static_cast<const std::byte*>(bytes->data);
    return Bytes(data, data + bytes->length);
}

}  // namespace zelmor::embed
