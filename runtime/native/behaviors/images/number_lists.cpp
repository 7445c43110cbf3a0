// Reading lists of numbers; see number_lists.h.
#include "runtime/native/behaviors/images/number_lists.h"

#include "exchange/wire/tags.h"
#include "runtime/native/collections/collection.h"
#include "runtime/native/core/managed_exception.h"

namespace zelmor::embed {

std::optional<std::vector<int64_t>> numbers_of(const ManagedObject& object, std::string_view name) {
    const Value value = property(object, name);  // held: reading a Python list may set the property
    if (is_null(value)) {
        return std::nullopt;
    }
    std::vector<Value> elements;
    if (const auto* held = std::get_if<PyHeld>(&value)) {
        const VariantArg arg{kHandlePySequence, held->get()};
        elements = read_elements(&arg, variant_element(), "value");
    } else if (const auto* reference = std::get_if<Ref<ManagedObject>>(&value)) {
        const auto& list = cast_object<ManagedList>(**reference);
        for (size_t i = 0; i < list.size(); ++i) {
            elements.push_back(list.get(i));
        }
    } else if (const auto* bytes = std::get_if<Bytes>(&value)) {
        for (const std::byte byte : *bytes) {
            elements.emplace_back(std::to_integer<int64_t>(byte));
        }
    } else {
        throw_invalid_value_cast(value, "System.UInt16[]");
    }
    std::vector<int64_t> numbers;
    for (const Value& element : elements) {
        const auto* number = std::get_if<int64_t>(&element);
        if (number == nullptr) {
            throw_invalid_value_cast(element, "System.UInt16");
        }
        numbers.push_back(*number);
    }
    return numbers;
}

}  // namespace zelmor::embed
