// Packages of XMP properties; see xmp_package.h.
#include "runtime/native/behaviors/metadata/xmp/xmp_package.h"
#include "generated/runtime/Zelmor.Imaging.Xmp.h"

#include <algorithm>

#include "runtime/native/behaviors/metadata/xmp/iso_date.h"
#include "runtime/native/behaviors/metadata/xmp/xml_text.h"
#include "runtime/native/behaviors/metadata/xmp/xmp_arrays.h"
#include "runtime/native/behaviors/metadata/xmp/xmp_types.h"
#include "runtime/native/core/entry.h"
#include "runtime/native/core/managed_exception.h"
#include "runtime/native/core/references.h"

namespace zelmor::embed {

namespace {

// A list, as from Python, is an unordered array.
std::string list_content(const ManagedList& list) {
    XmpArrayObject array(XmpArrayKind::kUnordered);
    for (size_t i = 0; i < list.size(); ++i) {
        const Value item = list.get(i);
        array.add(iso_date_text(item).value_or(to_utf8(text_of_value(item))));
    }
    return array.xml_value();
}

std::string element_in(const std::string& key, const std::string& content) {
    return content.empty() ? "<" + key + "/>" : "<" + key + ">" + content + "</" + key + ">";
}

std::string property_element(const std::string& key, const Value& value) {
    if (const auto* object = std::get_if<Ref<ManagedObject>>(&value)) {
        if (!*object) {
            return element_in(key, {});
        }
        if (const auto* xml = dynamic_cast<const XmlValueObject*>(object->get())) {
            return element_in(key, xml->xml_value());
        }
        if (const auto* list = dynamic_cast<const ManagedList*>(object->get())) {
            return element_in(key, list_content(*list));
        }
        if (const auto* typed = dynamic_cast<const XmpTypeObject*>(object->get())) {
            if (!typed->node) {
                return element_in(key, typed->representation());
            }
            // As it was read, with a language that stands at the property itself.
            XmpNode node = *typed->node;
            const size_t colon = key.find(':');
            node.prefix = key.substr(0, colon);
            node.name = key.substr(colon + 1);
            return node_element(node);
        }
    }
    return element_in(key, xml_escaped(iso_date_text(value).value_or(to_utf8(text_of_value(value)))));
}

bool contains_key(XmpPackageObject& self, const std::string& key) {
    return self.find(key) != nullptr;
}

Value get_prop_value(XmpPackageObject& self, const std::string& key) {
    const Value* value = self.find(key);
    return value != nullptr ? *value : Value(Ref<ManagedObject>());
}

void set_prop_value(XmpPackageObject& self, const std::string& key, const VariantArg* value) {
    Value read = read_variant(value);
    if (const auto* object = std::get_if<Ref<ManagedObject>>(&read); object != nullptr && *object) {
        const bool fits = (dynamic_cast<const XmlValueObject*>(object->get()) != nullptr) ||
                          dynamic_cast<const ManagedList*>(object->get()) != nullptr ||
                          dynamic_cast<const XmpTypeObject*>(object->get()) != nullptr ||
                          dynamic_cast<const XmpTokenObject*>(object->get()) != nullptr ||
                          dynamic_cast<const EnumObject*>(object->get()) != nullptr;
        if (!fits) {
            throw_invalid_cast((*object)->type().full_name, api::Xmp::IXmlValue::kType.name);
        }
    }
    self.set(key, std::move(read));
}

void add_value(XmpPackageObject& self, const std::string& key, const std::string& value) {
    self.add(key, value);
}

bool remove_key(XmpPackageObject& self, const std::string& key) {
    return self.remove(key);
}

void clear(XmpPackageObject& self) {
    self.clear();
}

void set_value(XmpPackageObject& self, const std::string& key, const VariantArg* value) {
    Ref<ManagedObject> object = read_object(value);
    if (!object) {
        throw_argument_null("value");
    }
    cast_object<XmlValueObject>(*object);
    self.set(key, std::move(object));
}

void set_xmp_type_value(XmpPackageObject& self, const std::string& key, XmpTypeObject* value) {
    if (value == nullptr) {
        throw_argument_null("value");
    }
    self.set(key, Ref<ManagedObject>(value));
}

std::string xml_value_of_package(XmpPackageObject& self) {
    return self.xml_value();
}
std::string xml_namespace(XmpPackageObject& self) {
    return xml_attribute("xmlns:" + self.prefix(), self.uri()).substr(1);
}
std::string prefix(XmpPackageObject& self) {
    return self.prefix();
}
std::string namespace_uri(XmpPackageObject& self) {
    return self.uri();
}

using XmpPackageApi = api::Xmp::XmpPackage;

const BehaviorTable ZELMOR_UNNAMED({
    behavior<&contains_key, XmpPackageApi::call_000_ContainsKey>(),
    behavior<&get_prop_value, XmpPackageApi::call_000_GetPropValue>(),
    behavior<&set_prop_value, XmpPackageApi::call_000_SetPropValue>(),
    behavior<&add_value, XmpPackageApi::call_000_AddValue>(),
    behavior<&remove_key, XmpPackageApi::call_000_Remove>(),
    behavior<&clear, XmpPackageApi::call_000_Clear>(),
    behavior<&set_value, XmpPackageApi::call_000_SetValue>(),
    behavior<&set_xmp_type_value, XmpPackageApi::call_000_SetXmpTypeValue>(),
    behavior<&xml_value_of_package, XmpPackageApi::call_000_GetXmlValue>(),
    behavior<&xml_namespace, XmpPackageApi::get_XmlNamespace>(),
    behavior<&prefix, XmpPackageApi::get_Prefix>(),
    behavior<&namespace_uri, XmpPackageApi::get_NamespaceUri>(),
});

}  // namespace

XmpPackageObject::XmpPackageObject(const TypeInfo& type, std::string prefix, std::string uri)
    : ManagedEnumerable(type), m_prefix(std::move(prefix)), m_uri(std::move(uri)) {
    track();
}

void XmpPackageObject::references(ReferenceVisitor& visitor) {
    for (auto& [key, value] : m_values) {
        visitor(value);
    }
}

std::string XmpPackageObject::full_key(const std::string& key) const {
    const size_t colon = key.find(':');
    const std::string name = colon == std::string::npos ? key : key.substr(colon + 1);
    require_xml_name(name, "key");
    if (colon != std::string::npos && key.substr(0, colon) != m_prefix) {
        throw_argument("key: '" + key + "' is not of the schema of this package, whose prefix is '" + m_prefix + "'.");
    }
    return m_prefix + ":" + name;
}

std::vector<std::string> XmpPackageObject::keys() const {
    std::vector<std::string> keys;
    keys.reserve(m_values.size());
    for (const auto& entry : m_values) {
        keys.push_back(entry.first);
    }
    return keys;
}

const Value* XmpPackageObject::find(const std::string& key) const {
    const std::string full = full_key(key);
    for (const auto& [known, value] : m_values) {
        if (known == full) {
            return &value;
        }
    }
    return nullptr;
}

void XmpPackageObject::set(const std::string& key, Value value) {
    if (const Value* known = find(key)) {
        const_cast<Value&>(*known) = std::move(value);
    } else {
        m_values.emplace_back(full_key(key), std::move(value));
    }
}

void XmpPackageObject::add(const std::string& key, const std::string& text) {
    const Value* known = find(key);
    const auto* object = known != nullptr ? std::get_if<Ref<ManagedObject>>(known) : nullptr;
    if (object != nullptr && *object) {
        if (auto* array = dynamic_cast<XmpArrayObject*>(object->get())) {
            return array->add(text);
        }
        if (auto* texts = dynamic_cast<LangAltObject*>(object->get())) {
            return texts->set(std::string(LangAltObject::kDefault), text);
        }
    }
    const XmpContainer* container = find_xmp_container(m_uri, full_key(key).substr(m_prefix.size() + 1));
    if (container == nullptr) {
        return set(key, to_utf16(text));
    }
    if (container->language_alternative) {
        auto texts = make_ref<LangAltObject>();
        texts->set(std::string(LangAltObject::kDefault), text);
        return set(key, Ref<ManagedObject>(texts));
    }
    auto array = make_ref<XmpArrayObject>(container->kind);
    array->add(text);
    set(key, Ref<ManagedObject>(array));
}

bool XmpPackageObject::remove(const std::string& key) {
    const std::string full = full_key(key);
    return std::erase_if(m_values, [&](const auto& entry) { return entry.first == full; }) > 0;
}

std::string XmpPackageObject::xml_value() const {
    std::string xml =
        "<rdf:Description" + xml_attribute("rdf:about", "") + xml_attribute("xmlns:" + m_prefix, m_uri) + ">";
    // A list among them may run Python code, which may change this very package.
    for (const auto& [key, value] : std::vector(m_values)) {
        xml += property_element(key, value);
    }
    return xml + "</rdf:Description>";
}

const ElementType& XmpPackageObject::element() const {
    return variant_element();
}

Ref<ManagedEnumerator> XmpPackageObject::enumerator() {
    std::vector<Value> keys;
    for (const auto& [key, value] : m_values) {
        keys.emplace_back(to_utf16(key));
    }
    return make_ref<ListEnumerator>(make_ref<ValueList>(ListShape::kArray, variant_element(), std::move(keys)));
}

}  // namespace zelmor::embed
