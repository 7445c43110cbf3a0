// XmpArray, LangAlt and the helper of arrays.
#include "runtime/native/behaviors/metadata/xmp/xmp_arrays.h"
#include "generated/runtime/Zelmor.Imaging.Xmp.h"

#include <algorithm>

#include "runtime/native/behaviors/metadata/xmp/xml_text.h"
#include "runtime/native/collections/collection.h"
#include "runtime/native/core/entry.h"
#include "runtime/native/core/managed_exception.h"

namespace zelmor::embed {

namespace {

XmpArrayKind checked_kind(int32_t type) {
    if (type < 0 || type > static_cast<int32_t>(XmpArrayKind::kAlternative)) {
        throw_out_of_range("type", "The value " + std::to_string(type) + " is not one of XmpArrayType.");
    }
    return static_cast<XmpArrayKind>(type);
}

Ref<ManagedObject> make_array_of_kind(int32_t type) {
    return make_ref<XmpArrayObject>(checked_kind(type));
}

Ref<ManagedObject> make_array_with_items(int32_t type, const VariantArg* items) {
    auto array = make_ref<XmpArrayObject>(checked_kind(type));
    for (const Value& item : read_elements(items, element_of(Wire::kString), "items")) {
        array->add(to_utf8(text_of_value(item)));
    }
    return array;
}

void add_item(XmpArrayObject& self, const std::string& item) {
    self.add(item);
}

Collection values(XmpArrayObject& self) {
    return {Ref<ManagedObject>(make_ref<ValueList>(ListShape::kArray, element_of(Wire::kString), self.values()))};
}

std::string xml_value(XmlValueObject& self) {
    return self.xml_value();
}

std::string rdf_code_of(int32_t type) {
    return rdf_code(checked_kind(type));
}

Ref<ManagedObject> make_lang_alt() {
    return make_ref<LangAltObject>();
}

Ref<ManagedObject> make_lang_alt_of(const std::string& default_value) {
    auto texts = make_ref<LangAltObject>();
    texts->set(std::string(LangAltObject::kDefault), default_value);
    return texts;
}

void add_language(LangAltObject& self, const std::string& language, const std::string& value) {
    self.set(language, value);
}

using LangAltApi = api::Xmp::LangAlt;
using XmpArrayApi = api::Xmp::XmpArray;
using XmpArrayHelperApi = api::Xmp::XmpArrayHelper;

const BehaviorTable ZELMOR_UNNAMED({
    behavior<&make_array_with_items, XmpArrayApi::ctor_000_XmpArray>(),
    behavior<&make_array_of_kind, XmpArrayApi::ctor_001_XmpArray>(),
    behavior<&add_item, XmpArrayApi::call_000_AddItem>(),
    behavior<&xml_value, XmpArrayApi::call_000_GetXmlValue, LangAltApi::call_000_GetXmlValue>(),
    behavior<&values, XmpArrayApi::get_Values>(),
    behavior<&rdf_code_of, XmpArrayHelperApi::call_000_GetRdfCode>(),
    behavior<&make_lang_alt_of, LangAltApi::ctor_000_LangAlt>(),
    behavior<&make_lang_alt, LangAltApi::ctor_001_LangAlt>(),
    behavior<&add_language, LangAltApi::call_000_AddLanguage>(),
});

// A language tag: letters and digits in parts of at most eight, as RFC 3066 has it.
bool is_language(std::string_view text) {
    size_t part = 0;
    for (const char c : text) {
        const bool letter = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9');
        if (c == '-' ? part == 0 : !letter || part == 8) {
            return false;
        }
        part = c == '-' ? 0 : part + 1;
    }
    return part > 0;
}

bool same_language(std::string_view a, std::string_view b) {
    const auto lower = [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; };
    return std::equal(a.begin(), a.end(), b.begin(), b.end(), [&](char x, char y) { return lower(x) == lower(y); });
}

}  // namespace

XmpArrayObject::XmpArrayObject(XmpArrayKind kind) : XmlValueObject(require_type(kManagedName)) {
    m_node.kind = XmpNode::Kind::kArray;
    m_node.array = kind;
}

XmpArrayObject::XmpArrayObject(XmpNode array) : XmlValueObject(require_type(kManagedName)), m_node(std::move(array)) {}

void XmpArrayObject::add(std::string text) {
    XmpNode item;
    item.text = std::move(text);
    m_node.children.push_back(std::move(item));
}

std::vector<Value> XmpArrayObject::values() const {
    std::vector<Value> values;
    for (const XmpNode& item : m_node.children) {
        values.emplace_back(to_utf16(item.is_plain_text() ? item.text : node_content(item)));
    }
    return values;
}

bool XmpArrayObject::equals(const ManagedObject& other) const {
    const auto* same = dynamic_cast<const XmpArrayObject*>(&other);
    return same != nullptr && same->xml_value() == xml_value();
}

int32_t XmpArrayObject::hash_code() const {
    return hash_of_value(to_utf16(xml_value()));
}

LangAltObject::LangAltObject() : XmlValueObject(require_type(kManagedName)) {}

LangAltObject::LangAltObject(const XmpNode& alternatives) : LangAltObject() {
    for (const XmpNode& item : alternatives.children) {
        m_texts.emplace_back(item.language, item.text);
    }
}

void LangAltObject::set(std::string language, std::string text) {
    if (!is_language(language)) {
        throw_argument("language: '" + language + "' is not the tag of a language, such as 'de' or 'en-US'.");
    }
    for (auto& [known, known_text] : m_texts) {
        if (!same_language(known, language)) {
            continue;
        }
        known_text = std::move(text);
        return;
    }
    const auto place = same_language(language, kDefault) ? m_texts.begin() : m_texts.end();
    m_texts.emplace(place, std::move(language), std::move(text));
}

std::string LangAltObject::xml_value() const {
    std::string items;
    for (const auto& [language, text] : m_texts) {
        items += "<rdf:li" + xml_attribute("xml:lang", language) + ">" + xml_escaped(text) + "</rdf:li>";
    }
    return items.empty() ? "<rdf:Alt/>" : "<rdf:Alt>" + items + "</rdf:Alt>";
}

std::u16string LangAltObject::to_text() const {
    return m_texts.empty() ? std::u16string() : to_utf16(m_texts.front().second);
}

bool LangAltObject::equals(const ManagedObject& other) const {
    const auto* same = dynamic_cast<const LangAltObject*>(&other);
    return same != nullptr && same->m_texts == m_texts;
}

int32_t LangAltObject::hash_code() const {
    return hash_of_value(to_utf16(xml_value()));
}

}  // namespace zelmor::embed
