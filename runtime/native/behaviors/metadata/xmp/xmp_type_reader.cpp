// Nodes of a packet as typed values; see xmp_types.h.
#include <cassert>
#include <charconv>
#include <cmath>
#include <optional>

#include "generated/runtime/Zelmor.Imaging.Xmp.Types.Complex.h"
#include "generated/runtime/Zelmor.Imaging.Xmp.Types.Derived.h"
#include "runtime/native/behaviors/metadata/xmp/iso_date.h"
#include "runtime/native/behaviors/metadata/xmp/xmp_arrays.h"
#include "runtime/native/behaviors/metadata/xmp/xmp_structures.h"
#include "runtime/native/behaviors/metadata/xmp/xmp_types.h"
#include "runtime/native/collections/collection.h"
#include "runtime/native/core/managed_exception.h"
#include "runtime/native/core/text.h"
#include "runtime/native/core/type_system.h"

namespace zelmor::embed {

namespace {

constexpr const char* kRational = api::Xmp::Types::Derived::Rational::kType.name;
constexpr const char* kComplexTypeBase = api::Xmp::Types::Complex::ComplexTypeBase::kType.name;

// The enumerator that a word of the format stands for.
std::optional<int64_t> choice_number(std::span<const XmpChoice> choices, const std::string& word) {
    for (const XmpChoice& choice : choices) {
        if (choice.word == word) {
            return choice.number;
        }
    }
    return std::nullopt;
}

// Set the property of a new structure from the text of a field; false if the text does not fit.
template <class Number>
bool whole_number(const std::string& text, Number& number) {
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    return error == std::errc() && end == text.data() + text.size();
}

const PropertyInfo& info_of(const Record& record, const XmpField& field) {
    const auto slot = find_property(record.type(), field.property);
    assert(slot.has_value());
    return *slot->info;
}

bool set_number(Record& record, const XmpField& field, const std::string& text) {
    const PropertyInfo& info = info_of(record, field);
    if (info.wire == Wire::kSingle) {
        double number = 0;
        double written = 0;
        // One that has more digits than the property holds would be written as another number.
        if (!whole_number(text, number) || !std::isfinite(number) ||
            !whole_number(to_utf8(number_text(static_cast<float>(number))), written) || written != number) {
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
        // A date is accepted only if it would be written with the same letters again.
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
        const TypeInfo* type = type_at(info_of(record, field).type);
        const XmpStructure* inner = type != nullptr ? find_xmp_structure(type->full_name) : nullptr;
        auto object = inner != nullptr ? structure_of(node, *inner) : nullptr;
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
            const auto number = choice_number(field.choices, node.text);
            if (number) {
                set_property(record, field.property, *number);
            }
            return number.has_value();
        }
        case XmpFieldKind::kToken: {
            const TypeInfo* type = type_at(info_of(record, field).type);
            auto token = type != nullptr ? find_xmp_token(*type, node.text) : nullptr;
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
        if (known == nullptr || !set_field(cast_object<Record>(*object), *known, child)) {
            return nullptr;
        }
    }
    // A property that is never null would be written as zero although the packet did not have it.
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

}  // namespace

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
