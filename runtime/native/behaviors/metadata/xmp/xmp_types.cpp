// Typed values as text of a packet, and back; see xmp_types.h.
#include "runtime/native/behaviors/metadata/xmp/xmp_types.h"

#include <charconv>
#include <cmath>
#include <optional>
#include <sstream>

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

constexpr const char* kRational = "Zelmor.Imaging.Xmp.Types.Derived.Rational";
constexpr const char* kComplexTypeBase = "Zelmor.Imaging.Xmp.Types.Complex.ComplexTypeBase";

std::string plain_text(const Value& value) {
    if (const auto date = iso_date_text(value)) {
        return *date;
    }
    return to_utf8(text_of_value(value));
}

std::string number_of(const Record& record, const char* name) {
    const auto slot = find_property(record.type(), name);
    const Value& value = record.slot(slot->slot);
    const auto* real = std::get_if<double>(&value);
    if (real && slot->info->wire == Wire::kSingle) {
        return to_utf8(number_text(static_cast<float>(*real)));
    }
    return to_utf8(text_of_value(value));
}

std::string date_text(const Record& record) {
    const Value& value = property(record, "Value");
    const auto whole = iso_date_text(value);
    if (!whole) {
        return to_utf8(text_of_value(value));
    }
    // As much of it as the format has: a year alone, a day, minutes.
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

// The word of a choice's number, and the number of a word.
std::string choice_word(const char* words, int64_t number) {
    std::istringstream in(words);
    int64_t known = 0;
    for (std::string word; in >> known >> word;) {
        if (known == number) {
            return word;
        }
    }
    return std::to_string(number);
}
std::optional<int64_t> choice_number(const char* words, const std::string& text) {
    std::istringstream in(words);
    int64_t known = 0;
    for (std::string word; in >> known >> word;) {
        if (word == text) {
            return known;
        }
    }
    return std::nullopt;
}

// Text, a list of texts, or an XmpArray, as an ordered array.
std::string texts_content(const Value& value) {
    if (const auto* object = std::get_if<Ref<ManagedObject>>(&value)) {
        if (const auto* array = dynamic_cast<const XmpArrayObject*>(object->get())) {
            return array->xml_value();
        }
        if (const auto* list = dynamic_cast<const ManagedList*>(object->get())) {
            XmpArrayObject array(XmpArrayKind::kOrdered);
            for (size_t i = 0; i < list->size(); ++i) {
                array.add(plain_text(list->get(i)));
            }
            return array.xml_value();
        }
    }
    XmpArrayObject one(XmpArrayKind::kOrdered);
    one.add(plain_text(value));
    return one.xml_value();
}

// What stands in the element of a field; nothing where the property is null.
std::optional<std::string> field_content(const Record& record, const XmpField& field) {
    const Value value = property(record, field.property);  // held: reading a Python list may set the property
    if (is_null(value)) {
        return std::nullopt;
    }
    switch (field.kind) {
        case XmpFieldKind::kNumber:
            return number_of(record, field.property);
        case XmpFieldKind::kTexts:
            return texts_content(value);
        case XmpFieldKind::kRational:
        case XmpFieldKind::kStructure:
            return cast_object<XmpTypeObject>(*std::get<Ref<ManagedObject>>(value)).representation();
        case XmpFieldKind::kChoice:
            return choice_word(field.words, property_int(record, field.property));
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
        fields += "<" + name + ">" + *content + "</" + name + ">";
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

// Reading a field's text into the property of a new structure; false where it does not fit.
template <class Number>
bool whole_number(const std::string& text, Number& number) {
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    return error == std::errc() && end == text.data() + text.size();
}

bool set_number(Record& record, const XmpField& field, const std::string& text) {
    const PropertyInfo& info = *find_property(record.type(), field.property)->info;
    if (info.wire == Wire::kSingle || info.wire == Wire::kDouble) {
        double number = 0;
        if (!whole_number(text, number)) {
            return false;
        }
        set_property(record, field.property, number);
        return true;
    }
    int64_t number = 0;
    if (!whole_number(text, number)) {
        return false;
    }
    const bool byte = info.wire == Wire::kUInt8;
    if (byte ? number < 0 || number > 255 : number < INT32_MIN || number > INT32_MAX) {
        return false;
    }
    set_property(record, field.property, number);
    return true;
}

bool set_rational(Record& record, const XmpField& field, const std::string& text) {
    const size_t slash = text.find('/');
    int32_t numerator = 0;
    int32_t denominator = 0;
    if (slash == std::string::npos || !whole_number(text.substr(0, slash), numerator) ||
        !whole_number(text.substr(slash + 1), denominator)) {
        return false;
    }
    auto rational = make_instance(kRational);
    set_property(*rational, "Numerator", int64_t{numerator});
    set_property(*rational, "Denominator", int64_t{denominator});
    set_property(record, field.property, std::move(rational));
    return true;
}

bool set_date(Record& record, const XmpField& field, const std::string& text) {
    try {
        const Value date = parse_iso_date(text);
        // Only a date that is written again as it was read, to the letter.
        if (iso_date_text(date) != text) {
            return false;
        }
        set_property(record, field.property, date);
        return true;
    } catch (const ManagedException& error) {
        if (error.name() != "FormatException") {
            throw;
        }
        return false;
    }
}

Ref<ManagedObject> structure_of(const XmpNode& node, const XmpStructure& structure);

bool set_field(Record& record, const XmpField& field, const XmpNode& node) {
    if (field.kind == XmpFieldKind::kTexts) {
        if (!node.is_plain_array() || node.array != XmpArrayKind::kOrdered) {
            return false;
        }
        set_property(record, field.property,
                     Ref<ManagedObject>(make_ref<ValueList>(ListShape::kArray, element_of(Wire::kString),
                                                            XmpArrayObject(node).values())));
        return true;
    }
    if (field.kind == XmpFieldKind::kStructure) {
        const TypeInfo* type = type_at(find_property(record.type(), field.property)->info->type);
        const XmpStructure* inner = type ? find_xmp_structure(type->full_name) : nullptr;
        auto object = inner ? structure_of(node, *inner) : nullptr;
        if (!object) {
            return false;
        }
        set_property(record, field.property, std::move(object));
        return true;
    }
    if (!node.is_plain_text()) {
        return false;
    }
    switch (field.kind) {
        case XmpFieldKind::kNumber:
            return set_number(record, field, node.text);
        case XmpFieldKind::kBool:
            if (node.text != "True" && node.text != "False") {
                return false;
            }
            set_property(record, field.property, node.text == "True");
            return true;
        case XmpFieldKind::kRational:
            return set_rational(record, field, node.text);
        case XmpFieldKind::kChoice: {
            const auto number = choice_number(field.words, node.text);
            if (number) {
                set_property(record, field.property, *number);
            }
            return number.has_value();
        }
        case XmpFieldKind::kToken: {
            const TypeInfo* type = type_at(find_property(record.type(), field.property)->info->type);
            auto token = type ? find_xmp_token(*type, node.text) : nullptr;
            if (!token) {
                return false;
            }
            set_property(record, field.property, std::move(token));
            return true;
        }
        case XmpFieldKind::kDate:
            return set_date(record, field, node.text);
        default:
            set_property(record, field.property, to_utf16(node.text));
            return true;
    }
}

// The object of a structure, or null where the node has a field that it does not know or cannot hold.
Ref<ManagedObject> structure_of(const XmpNode& node, const XmpStructure& structure) {
    if (node.kind != XmpNode::Kind::kStruct || node.children.empty() || !node.language.empty() ||
        !node.qualifiers.empty()) {
        return nullptr;
    }
    auto object = make_instance(structure.type);
    for (const XmpNode& child : node.children) {
        const XmpField* known = nullptr;
        for (const XmpField& field : structure.fields) {
            if (child.uri == structure.uri && child.name == field.name) {
                known = &field;
            }
        }
        if (!known || !set_field(cast_object<Record>(*object), *known, child)) {
            return nullptr;
        }
    }
    // What has no value of its own would be written with a zero that the packet did not have.
    for (const XmpField& field : structure.fields) {
        bool there = is_null(property(*object, field.property));
        for (const XmpNode& child : node.children) {
            there = there || child.name == field.name;
        }
        if (!there) {
            return nullptr;
        }
    }
    return object;
}

Ref<ManagedObject> make_type(const TypeInfo& type) {
    return make_ref<XmpTypeObject>(type);
}
const FactoryRegistration factory(XmpTypeObject::kManagedName, make_type);

}  // namespace

XmpTypeObject::XmpTypeObject(const TypeInfo& type) : Record(type) {
    const auto set = [&](const char* name, Value value) {
        if (const auto slot = find_property(type, name)) {
            set_slot(slot->slot, std::move(value));
        }
    };
    const XmpStructure* structure = find_xmp_structure(type.full_name);
    if (structure) {
        set("Prefix", to_utf16(structure->prefix));
        set("NamespaceUri", to_utf16(structure->uri));
        // A date that nobody gave is not written, whatever a property that is never null shows in its place.
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
    set("Mode", int64_t{name == "ColorantRgb" ? 2 : name == "ColorantLab" ? 3 : 1});
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
    if (!same || &same->type() != &type() || !node != !same->node) {
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

Value value_of_node(XmpNode node) {
    if (node.is_plain_text()) {
        return to_utf16(node.text);
    }
    if (node.is_language_alternative()) {
        return Ref<ManagedObject>(make_ref<LangAltObject>(node));
    }
    if (node.kind == XmpNode::Kind::kArray && node.language.empty() && node.qualifiers.empty()) {
        return Ref<ManagedObject>(make_ref<XmpArrayObject>(std::move(node)));
    }
    for (const XmpStructure& structure : xmp_structures()) {
        if (auto object = structure_of(node, structure)) {
            return object;
        }
    }
    auto generic = make_ref<XmpTypeObject>(require_type(kComplexTypeBase));
    if (!node.children.empty() && node.kind == XmpNode::Kind::kStruct) {
        set_property(*generic, "Prefix", to_utf16(node.children.front().prefix));
        set_property(*generic, "NamespaceUri", to_utf16(node.children.front().uri));
    }
    generic->node = std::make_shared<const XmpNode>(std::move(node));
    return Ref<ManagedObject>(generic);
}

}  // namespace zelmor::embed
