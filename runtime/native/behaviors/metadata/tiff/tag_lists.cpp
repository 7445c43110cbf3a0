// Lists of tags; see tag_lists.h.
#include "runtime/native/behaviors/metadata/tiff/tag_lists.h"

#include "runtime/native/core/managed_exception.h"
#include "runtime/native/core/marshal.h"

namespace zelmor::embed {

Ref<ManagedList> tag_array(const std::vector<Ref<TagObject>>& tags) {
    std::vector<Value> items;
    for (const auto& tag : tags) {
        items.emplace_back(Ref<ManagedObject>(tag));
    }
    return make_ref<ValueList>(ListShape::kArray, embed::element_of(Wire::kClass, TagObject::kManagedName),
                               std::move(items));
}

Ref<ManagedList> same_array(Ref<ManagedList>& shown, const std::vector<Ref<TagObject>>& tags) {
    bool same = shown && shown->size() == tags.size();
    for (size_t i = 0; same && i < tags.size(); ++i) {
        const Value item = shown->get(i);
        const auto* object = std::get_if<Ref<ManagedObject>>(&item);
        same = object != nullptr && object->get() == tags[i].get();
    }
    if (!same) {
        shown = tag_array(tags);
    }
    return shown;
}

std::vector<Ref<TagObject>> tags_of(const std::vector<Value>& elements) {
    std::vector<Ref<TagObject>> tags;
    for (const Value& element : elements) {
        if (is_null(element)) {
            throw_argument_null("an element of the tags");
        }
        const auto* object = std::get_if<Ref<ManagedObject>>(&element);
        if (object == nullptr) {
            throw_invalid_value_cast(element, TagObject::kManagedName);
        }
        tags.emplace_back(&cast_object<TagObject>(**object));
    }
    return tags;
}

std::vector<Value> elements_of_value(const Value& value) {
    std::vector<Value> elements;
    if (is_null(value)) {
        return elements;
    }
    const auto* object = std::get_if<Ref<ManagedObject>>(&value);
    auto* list = object != nullptr ? dynamic_cast<ManagedEnumerable*>(object->get()) : nullptr;
    if (list == nullptr) {
        throw_invalid_value_cast(value, "System.Collections.IEnumerable");
    }
    const auto enumerator = list->enumerator();
    for (Value element; enumerator->move_next(element);) {
        elements.push_back(element);
    }
    return elements;
}

}  // namespace zelmor::embed
