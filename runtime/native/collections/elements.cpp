// Finding the element types of collections.
#include <algorithm>

#include "runtime/native/collections/collection.h"
#include "runtime/native/core/managed_exception.h"

namespace zelmor::embed {

namespace {

// Any value. The identifier is that of object[], an array of the same elements.
constexpr ElementType kVariantElement = {"F372CE9B", Wire::kObject, "System.Object", kNoType};

// Elements that only C++ code makes arrays of; no typed wrapper shows them.
constexpr ElementType kOtherElements[] = {
    {"", Wire::kUInt8, "System.Byte", kNoType},
    {"", Wire::kBool, "System.Boolean", kNoType},
};

}  // namespace

const TypeInfo* ElementType::type() const {
    if (type_index != kNoType) {
        return type_at(type_index);
    }
    return wire == Wire::kClass ? find_type(name) : nullptr;  // of another assembly
}

const ElementType* ElementType::inner() const {
    return wire == Wire::kCollection ? find_element(name) : nullptr;
}

const ElementType* find_element(std::string_view id) {
    const auto all = elements();
    const auto found = std::lower_bound(
        all.begin(), all.end(), id, [](const ElementType& element, std::string_view key) { return element.id < key; });
    return found != all.end() && id == found->id ? &*found : nullptr;
}

const ElementType& variant_element() {
    static const ElementType* const known = find_element(kVariantElement.id);
    return known != nullptr ? *known : kVariantElement;
}

const ElementType& element_of(Wire wire, std::string_view type_name) {
    const auto matches = [&](const ElementType& element) {
        if (element.wire != wire) {
            return false;
        }
        // A number without a name is none of the enumerations that cross like it.
        const TypeInfo* type = element.type();
        return type_name.empty() ? type == nullptr || type->kind != TypeKind::kEnum : type_name == element.name;
    };
    for (const auto& element : elements()) {
        if (matches(element)) {
            return element;
        }
    }
    for (const auto& element : kOtherElements) {
        if (matches(element)) {
            return element;
        }
    }
    if (wire == Wire::kObject) {
        return variant_element();
    }
    throw ManagedException("TypeLoadException",
                           "There is no collection with elements of type '" + std::string(type_name) + "'.");
}

const ElementType& element_of(const CollectionInfo& collection) {
    if (!*collection.element) {
        return variant_element();
    }
    const ElementType* element = find_element(collection.element);
    if (element == nullptr) {
        throw ManagedException("TypeLoadException",
                               std::string("There is no collection element '") + collection.element + "'.");
    }
    return *element;
}

}  // namespace zelmor::embed
