// Properties of TiffOptions and the tags that they are; see tiff_option_tags.h.
#include "runtime/native/behaviors/metadata/tiff/tiff_option_tags.h"

#include "runtime/native/behaviors/metadata/tiff/tiff_option_properties.h"
#include "runtime/native/collections/collection.h"
#include "runtime/native/core/managed_exception.h"
#include "runtime/native/core/references.h"

namespace zelmor::embed {

namespace {

using TagKind = TiffOptionKind;
const TiffOptionProperty* find_option(uint16_t id) {
    for (const TiffOptionProperty& property : tiff_option_properties()) {
        if (property.id() == id) {
            return &property;
        }
    }
    return nullptr;
}

// The value of a property in a new object.
const Value& baseline(const TypeInfo& type, const char* name) {
    // Shared by all threads: each record is made once and only read.
    static auto& fresh = *new std::map<const TypeInfo*, Ref<Record>>;
    auto& record = fresh[&type];
    if (!record) {
        record = make_ref<Record>(type);
    }
    return property(*record, name);
}

Value tag_value_of(const TiffOptionProperty& property, const Value& value) {
    const auto* text = std::get_if<std::u16string>(&value);
    if (property.kind != TagKind::kWideText || text == nullptr) {
        return value;
    }
    Bytes bytes;
    for (const char16_t c : *text) {
        put_number(bytes, c, 2, false);
    }
    put_number(bytes, 0, 2, false);
    return bytes;
}

Value property_value_of(const TiffOptionProperty& property, const TagObject& tag) {
    const auto values = tag.values();
    switch (property.kind) {
        case TagKind::kInteger:
        case TagKind::kChoice: {
            const auto number = tag_integer(tag);
            if (!number) {
                throw_invalid_value_cast(tag.value(), "System.Int32");
            }
            return *number;
        }
        case TagKind::kRational:
            if (!values || values->size() == 0) {
                return Ref<ManagedObject>();
            }
            return values->get(0);
        case TagKind::kWideText: {
            const Bytes bytes = tag.encoded(false);
            std::u16string text;
            for (size_t at = 0; at + 2 <= bytes.size(); at += 2) {
                text += static_cast<char16_t>(read_number(std::span(bytes).subspan(at, 2), false));
            }
            while (!text.empty() && text.back() == 0) {
                text.pop_back();
            }
            return text;
        }
        case TagKind::kText:
        case TagKind::kArray:
            break;
    }
    return tag.value();
}

// The lists of a property and of a tag may have different classes: their elements are compared.
bool same_value(const Value& a, const Value& b) {
    const auto* x = std::get_if<Ref<ManagedObject>>(&a);
    const auto* y = std::get_if<Ref<ManagedObject>>(&b);
    const auto* first = x != nullptr ? dynamic_cast<const ManagedList*>(x->get()) : nullptr;
    const auto* second = y != nullptr ? dynamic_cast<const ManagedList*>(y->get()) : nullptr;
    if (first == nullptr || second == nullptr) {
        return values_equal(a, b);
    }
    if (first->size() != second->size()) {
        return false;
    }
    for (size_t i = 0; i < first->size(); ++i) {
        if (!values_equal(first->get(i), second->get(i))) {
            return false;
        }
    }
    return true;
}

// A copy of a list, for comparing later: the program may change the original.
Value snapshot(const Value& value) {
    const auto* object = std::get_if<Ref<ManagedObject>>(&value);
    const auto* list = object != nullptr ? dynamic_cast<const ManagedList*>(object->get()) : nullptr;
    if (list == nullptr) {
        return value;
    }
    std::vector<Value> items;
    for (size_t i = 0; i < list->size(); ++i) {
        items.push_back(list->get(i));
    }
    return Ref<ManagedObject>(make_ref<ValueList>(ListShape::kArray, variant_element(), std::move(items)));
}

}  // namespace

TiffOptionsObject::TiffOptionsObject(const TypeInfo& type) : Record(type) {
    track();
}

void TiffOptionsObject::references(ReferenceVisitor& visitor) {
    Record::references(visitor);
    visitor(shown);
    for (auto& [id, known] : m_known) {
        visitor(known.tag);
        visitor(known.property);
    }
}

bool TiffOptionsObject::is_present(const TiffOptionProperty& option) const {
    if (m_put.count(option.id()) != 0) {
        return true;
    }
    const Value& value = property(*this, option.property.name);
    if (!same_value(value, baseline(type(), option.property.name))) {
        return true;
    }
    return option.always && m_removed.count(option.id()) == 0;
}

void TiffOptionsObject::synchronize(const TiffOptionProperty& option) {
    const auto found = m_known.find(option.id());
    const Value& value = property(*this, option.property.name);
    if (found == m_known.end()) {
        auto tag = make_tag(option.type, option.id(), tag_value_of(option, value));
        m_known[option.id()] = {tag, snapshot(value), tag->encoded(false)};
        return;
    }
    Known& known = found->second;
    if (!same_value(value, known.property)) {
        known.tag->assign(tag_value_of(option, value));
    } else if (known.tag->encoded(false) != known.encoded) {
        set_property(*this, option.property.name, property_value_of(option, *known.tag));
    } else {
        return;
    }
    known.property = snapshot(property(*this, option.property.name));
    known.encoded = known.tag->encoded(false);
}

void TiffOptionsObject::synchronize() {
    for (const TiffOptionProperty& option : tiff_option_properties()) {
        const bool known = m_known.find(option.id()) != m_known.end();
        if (known || is_present(option)) {
            synchronize(option);
        }
    }
}

void TiffOptionsObject::synchronize_known(const TiffOptionProperty& option) {
    if (m_known.count(option.id()) != 0) {
        synchronize(option);
    }
}

void TiffOptionsObject::set(const TiffOptionProperty& option, Value value) {
    synchronize_known(option);
    if (const auto found = m_known.find(option.id()); found != m_known.end()) {
        const Ref<ManagedObject> trial = found->second.tag->copy();
        cast_object<TagObject>(*trial).assign(tag_value_of(option, value));
    }
    set_property(*this, option.property.name, std::move(value));
    synchronize_known(option);
}

std::vector<Ref<TagObject>> TiffOptionsObject::tags() {
    synchronize();
    std::vector<Ref<TagObject>> tags;
    for (const auto& [id, known] : m_known) {
        const TiffOptionProperty* option = find_option(id);
        if (option == nullptr || is_present(*option)) {
            tags.push_back(known.tag);
        }
    }
    return tags;
}

Ref<TagObject> TiffOptionsObject::find(uint16_t id) {
    for (const auto& tag : tags()) {
        if (tag->id() == id) {
            return tag;
        }
    }
    return nullptr;
}

void TiffOptionsObject::put(Ref<TagObject> tag) {
    const uint16_t id = tag->id();
    const TiffOptionProperty* option = find_option(id);
    Known known{tag, {}, tag->encoded(false)};
    if (option != nullptr) {
        const bool empty = tag->count() == 0;
        Value value = empty ? baseline(type(), option->property.name) : property_value_of(*option, *tag);
        known.property = snapshot(value);
        set_property(*this, option->property.name, std::move(value));
    }
    m_known[id] = std::move(known);
    m_put.insert(id);
    m_removed.erase(id);
}

bool TiffOptionsObject::remove(uint16_t id) {
    const bool there = static_cast<bool>(find(id));
    if (const TiffOptionProperty* option = find_option(id)) {
        set_property(*this, option->property.name, baseline(type(), option->property.name));
    }
    m_known.erase(id);
    m_put.erase(id);
    m_removed.insert(id);
    return there;
}

void TiffOptionsObject::assign_options(const Record& other) {
    auto* options = dynamic_cast<TiffOptionsObject*>(const_cast<Record*>(&other));
    if (options != nullptr) {
        options->synchronize();
    }
    assign_from(other);
    if (options == nullptr) {
        return;
    }
    m_put = options->m_put;
    m_removed = options->m_removed;
    m_known.clear();
    // Tags of the copy are objects of their own.
    for (const auto& [id, known] : options->m_known) {
        const Ref<ManagedObject> twin = known.tag->copy();
        m_known[id] = {Ref<TagObject>(&cast_object<TagObject>(*twin)), known.property, known.encoded};
    }
}

Ref<ManagedObject> TiffOptionsObject::copy() const {
    auto twin = make_ref<TiffOptionsObject>(type());
    twin->assign_options(*this);
    return twin;
}

}  // namespace zelmor::embed
