// Typed values, and how they are written in a packet; see xmp_types.h.
#include "runtime/native/behaviors/metadata/xmp/xmp_types.h"

#include <cassert>
#include <optional>

#include "generated/runtime/Zelmor.Imaging.Xmp.Types.Complex.Colorant.h"
#include "runtime/native/behaviors/metadata/xmp/iso_date.h"
#include "runtime/native/behaviors/metadata/xmp/xml_text.h"
#include "runtime/native/behaviors/metadata/xmp/xmp_arrays.h"
#include "runtime/native/behaviors/metadata/xmp/xmp_structures.h"
#include "runtime/native/collections/collection.h"
#include "runtime/native/core/managed_exception.h"
#include "runtime/native/core/text.h"
#include "runtime/native/core/type_system.h"

namespace zelmor::embed {

namespace {

using api::Xmp::Types::Complex::Colorant::ColorMode;

std::string plain_text(const Value& value) {
    if (const auto date = iso_date_text(value)) {
        return *date;
    }
    return to_utf8(text_of_value(value));
}

std::string number_of(const Record& record, const char* name) {
    const auto slot = find_property(record.type(), name);
    assert(slot.has_value());
    const Value& value = record.slot(slot->slot);
    const auto* real = std::get_if<double>(&value);
    if (real != nullptr && slot->info->wire == Wire::kSingle) {
        return to_utf8(number_text(static_cast<float>(*real)));
    }
    return to_utf8(text_of_value(value));
}

std::string date_text(const Record& record) {
    const Value& value = property(record, "Value");
    const auto whole = iso_date_text(value);
    assert(whole.has_value());  // the property of a date is never null
    // The format may end early: after the year, the day or the minutes.
    const std::string format = to_utf8(property_string(record, "Format").value_or(u""));
    const bool zone = format.ends_with("zzz");
    const size_t length = format.size() - (zone ? 3 : 0);
    if (length >= std::string_view("yyyy-MM-ddTHH:mm:ss").size()) {
        return *whole;
    }
    const size_t zone_at = whole->find_first_of("Z+-", std::string_view("yyyy-MM-dd").size());
    return whole->substr(0, length) + (zone && zone_at != std::string::npos ? whole->substr(zone_at) : std::string());
}

std::string rational_text(const Record& record) {
    return number_of(record, "Numerator") + "/" + number_of(record, "Denominator");
}

std::string prefixed(const Record& record, const char* first, const char* second) {
    const std::string head = plain_text(property(record, first));
    const std::string tail = plain_text(property(record, second));
    return head.empty() || tail.empty() ? head + tail : head + ":" + tail;
}

// The word of an enumerator. A number that is no enumerator stands for itself.
std::string choice_word(std::span<const XmpChoice> choices, int64_t number) {
    for (const XmpChoice& choice : choices) {
        if (choice.number == number) {
            return std::string(choice.word);
        }
    }
    return std::to_string(number);
}

// A list of texts as an ordered array.
std::string texts_content(const ManagedList& list) {
    XmpArrayObject array(XmpArrayKind::kOrdered);
    for (size_t i = 0; i < list.size(); ++i) {
        array.add(plain_text(list.get(i)));
    }
    return array.xml_value();
}

// The content of the element of a field; nothing if the property is null.
std::optional<std::string> field_content(const Record& record, const XmpField& field) {
    const Value value = property(record, field.property);  // held: reading a Python list may set the property
    if (is_null(value)) {
        return std::nullopt;
    }
    switch (field.kind) {
        case XmpFieldKind::kNumber:
            return number_of(record, field.property);
        case XmpFieldKind::kTexts:
            return texts_content(cast_object<ManagedList>(*std::get<Ref<ManagedObject>>(value)));
        case XmpFieldKind::kRational:
        case XmpFieldKind::kStructure:
            return cast_object<XmpTypeObject>(*std::get<Ref<ManagedObject>>(value)).representation();
        case XmpFieldKind::kChoice:
            return choice_word(field.choices, property_int(record, field.property));
        case XmpFieldKind::kText:
        case XmpFieldKind::kDate:
        case XmpFieldKind::kBool:
        case XmpFieldKind::kToken:
            break;
    }
    return xml_escaped(plain_text(value));
}

std::string structure_text(const Record& record, const XmpStructure& structure) {
    const std::string head =
        "<rdf:Description" + xml_attribute("xmlns:" + std::string(structure.prefix), structure.uri);
    std::string fields;
    for (const XmpField& field : structure.fields) {
        const auto content = field_content(record, field);
        if (!content) {
            continue;
        }
        const std::string name = std::string(structure.prefix) + ":" + field.name;
        fields.append("<").append(name).append(">").append(*content).append("</").append(name).append(">");
    }
    return fields.empty() ? head + "/>" : head + ">" + fields + "</rdf:Description>";
}

std::string empty_structure(const Record& record) {
    const auto prefix = property_string(record, "Prefix");
    const auto uri = property_string(record, "NamespaceUri");
    if (!prefix || !uri) {
        return "<rdf:Description/>";
    }
    return "<rdf:Description" + xml_attribute("xmlns:" + to_utf8(*prefix), to_utf8(*uri)) + "/>";
}

Ref<ManagedObject> make_type(const TypeInfo& type) {
    return make_ref<XmpTypeObject>(type);
}
const FactoryRegistration ZELMOR_UNNAMED(XmpTypeObject::kManagedName, make_type);

}  // namespace

XmpTypeObject::XmpTypeObject(const TypeInfo& type) : Record(type) {
    const auto set = [&](const char* name, Value value) {
        if (const auto slot = find_property(type, name)) {
            set_slot(slot->slot, std::move(value));
        }
    };
    const XmpStructure* structure = find_xmp_structure(type.full_name);
    if (structure != nullptr) {
        set("Prefix", to_utf16(structure->prefix));
        set("NamespaceUri", to_utf16(structure->uri));
        // A date that was not set is not written, although its property shows a default and never null.
        for (const XmpField& field : structure->fields) {
            if (field.kind == XmpFieldKind::kDate) {
                set(field.property, Ref<ManagedObject>());
            }
        }
    } else {
        set("Prefix", Ref<ManagedObject>());
        set("NamespaceUri", Ref<ManagedObject>());
    }
    const std::string_view name = type.name;
    const auto mode = name == "ColorantRgb"   ? ColorMode::kRgb
                      : name == "ColorantLab" ? ColorMode::kLab
                                              : ColorMode::kCmyk;
    set("Mode", static_cast<int64_t>(mode));
    set("Format", name == "XmpDate" ? Value(std::u16string(u"yyyy-MM-ddTHH:mm:sszzz")) : Value(Ref<ManagedObject>()));
    set("Numerator", int64_t{0});
    if (name == "Rational") {
        set("Denominator", int64_t{1});
    }
    if (name == "XmpGuid") {
        set("Prefix", std::u16string(u"uuid"));
    }
}

std::string XmpTypeObject::representation() const {
    if (node) {
        return node_content(*node);
    }
    if (const XmpStructure* structure = find_xmp_structure(type().full_name)) {
        return structure_text(*this, *structure);
    }
    const std::string_view name = type().name;
    if (name == "Rational") {
        return rational_text(*this);
    }
    if (name == "XmpDate") {
        return xml_escaped(date_text(*this));
    }
    if (name == "XmpReal") {
        return number_of(*this, "Value");
    }
    if (name == "XmpGuid") {
        return xml_escaped(prefixed(*this, "Prefix", "Value"));
    }
    if (name == "RenditionClass") {
        return xml_escaped(prefixed(*this, "Token", "Value"));
    }
    if (has_property(*this, "NamespaceUri")) {
        return empty_structure(*this);
    }
    return xml_escaped(plain_text(property(*this, "Value")));
}

bool XmpTypeObject::equals(const ManagedObject& other) const {
    const auto* same = dynamic_cast<const XmpTypeObject*>(&other);
    if (same == nullptr || &same->type() != &type() || !node != !same->node) {
        return false;
    }
    if (node) {
        return node_element(*node) == node_element(*same->node);
    }
    for (size_t i = 0; i < slot_count(); ++i) {
        if (!values_equal(slot(static_cast<int>(i)), same->slot(static_cast<int>(i)))) {
            return false;
        }
    }
    return true;
}

int32_t XmpTypeObject::hash_code() const {
    uint32_t hash = static_cast<uint32_t>(type_id(type()));
    if (node) {
        return static_cast<int32_t>(hash) ^ hash_of_value(to_utf16(node_element(*node)));
    }
    for (size_t i = 0; i < slot_count(); ++i) {
        hash = hash * 31 + static_cast<uint32_t>(hash_of_value(slot(static_cast<int>(i))));
    }
    return static_cast<int32_t>(hash);
}

std::u16string XmpTypeObject::to_text() const {
    return to_utf16(representation());
}

Ref<ManagedObject> XmpTypeObject::copy() const {
    auto twin = make_ref<XmpTypeObject>(type());
    twin->assign_from(*this);
    twin->node = node;
    return twin;
}

}  // namespace zelmor::embed
