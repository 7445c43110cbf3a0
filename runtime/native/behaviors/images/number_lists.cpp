// Reading lists of numbers; see number_lists.h.
#include "runtime/native/behaviors/images/number_lists.h"

#include "exchange/wire/tags.h"
#include "runtime/native/collections/collection.h"
#include "runtime/native/core/managed_exception.h"
#include "runtime/native/core/text.h"

namespace zelmor::embed {

namespace {

// Nothing for null. `of_bytes` tells whether bytes are a list of numbers.
std::optional<std::vector<Value>> elements_of(const Value& value, const char* list_type, bool of_bytes) {
    if (is_null(value)) {
        return std::nullopt;
    }
    std::vector<Value> elements;
    if (const auto* held = std::get_if<PyHeld>(&value)) {
        const VariantArg arg{kHandlePySequence, held->get()};
        return read_elements(&arg, variant_element(), "value");
    }
    if (const auto* reference = std::get_if<Ref<ManagedObject>>(&value)) {
        const auto& list = cast_object<ManagedList>(**reference);
        for (size_t i = 0; i < list.size(); ++i) {
            elements.push_back(list.get(i));
        }
        return elements;
    }
    const auto* bytes = std::get_if<Bytes>(&value);
    if (bytes == nullptr || !of_bytes) {
        throw_invalid_value_cast(value, list_type);
    }
    for (const std::byte byte : *bytes) {
        elements.emplace_back(std::to_integer<int64_t>(byte));
    }
    return elements;
}

}  // namespace

std::optional<std::vector<int64_t>> numbers_of(const ManagedObject& object, std::string_view name) {
    const Value value = property(object, name);  // held: reading a Python list may set the property
    const auto elements = elements_of(value, "System.UInt16[]", true);
    if (!elements) {
        return std::nullopt;
    }
    std::vector<int64_t> numbers;
    for (const Value& element : *elements) {
        const auto* number = std::get_if<int64_t>(&element);
        if (number == nullptr) {
            throw_invalid_value_cast(element, "System.UInt16");
        }
        numbers.push_back(*number);
    }
    return numbers;
}

std::vector<std::string> texts_of(const ManagedObject& object, std::string_view name) {
    const Value value = property(object, name);
    std::vector<std::string> texts;
    const auto elements = elements_of(value, "System.String[]", false);
    for (const Value& element : elements.value_or(std::vector<Value>())) {
        const auto* text = std::get_if<std::u16string>(&element);
        if (text == nullptr) {
            throw_invalid_value_cast(element, "System.String");
        }
        texts.push_back(to_utf8(*text));
    }
    return texts;
}

Value array_of_texts(const std::vector<std::string>& texts) {
    if (texts.empty()) {
        return Ref<ManagedObject>();
    }
    std::vector<Value> items;
    for (const std::string& text : texts) {
        items.emplace_back(to_utf16(text));
    }
    return Ref<ManagedObject>(make_ref<ValueList>(ListShape::kArray, element_of(Wire::kString), std::move(items)));
}

}  // namespace zelmor::embed
