// The parts of a packet and the whole as text; see xmp_packet.h.
#include "runtime/native/behaviors/metadata/xmp/xmp_packet.h"

#include <algorithm>
#include <map>

#include "generated/runtime/Zelmor.Imaging.Xmp.h"
#include "runtime/native/behaviors/metadata/xmp/xml_text.h"
#include "runtime/native/behaviors/metadata/xmp/xmp_node.h"
#include "runtime/native/core/managed_exception.h"
#include "runtime/native/core/references.h"
#include "runtime/native/core/text.h"

namespace zelmor::embed {

namespace {

constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

Ref<ManagedObject> make_instruction(const TypeInfo& type) {
    return make_ref<XmpInstructionObject>(type);
}
Ref<ManagedObject> make_element(const TypeInfo& type) {
    return make_ref<XmpElementObject>(type);
}
Ref<ManagedObject> make_collection(const TypeInfo& type) {
    return make_ref<XmpPackageCollectionObject>(type);
}
Ref<ManagedObject> make_packet(const TypeInfo& type) {
    return make_ref<XmpPacketObject>(type);
}
const FactoryRegistration ZELMOR_UNNAMED(XmpInstructionObject::kManagedName, make_instruction);
const FactoryRegistration ZELMOR_UNNAMED(api::Xmp::XmpTrailerPi::kType.name, make_instruction);
const FactoryRegistration ZELMOR_UNNAMED(XmpElementObject::kManagedName, make_element);
const FactoryRegistration ZELMOR_UNNAMED(XmpPackageCollectionObject::kManagedName, make_collection);
const FactoryRegistration ZELMOR_UNNAMED(XmpPacketObject::kManagedName, make_packet);

// Attributes by name: their order in an element means nothing.
std::map<std::string, std::string> by_name(const std::vector<std::pair<std::string, std::string>>& attributes) {
    return {attributes.begin(), attributes.end()};
}

std::vector<Value> items_of(const XmpPackages& packages) {
    std::vector<Value> items;
    for (const auto& package : packages.all()) {
        items.emplace_back(Ref<ManagedObject>(package));
    }
    return items;
}

}  // namespace

XmpInstructionObject::XmpInstructionObject(const TypeInfo& type) : Record(type) {
    if (const auto guid = find_property(type, "Guid")) {
        set_slot(guid->slot, to_utf16(kXmpPacketId));
    }
    if (const auto writable = find_property(type, "IsWritable")) {
        set_slot(writable->slot, true);
    }
}

std::string XmpInstructionObject::xml_value() const {
    if (!has_property(*this, "Guid")) {
        return property_bool(*this, "IsWritable") ? R"(<?xpacket end="w"?>)" : R"(<?xpacket end="r"?>)";
    }
    const std::string guid = to_utf8(text_of_value(property(*this, "Guid")));
    return "<?xpacket" + xml_attribute("begin", kByteOrderMark) + xml_attribute("id", guid) + "?>";
}

bool XmpInstructionObject::equals(const ManagedObject& other) const {
    const auto* same = dynamic_cast<const XmpInstructionObject*>(&other);
    return same != nullptr && &same->type() == &type() && same->xml_value() == xml_value();
}

int32_t XmpInstructionObject::hash_code() const {
    return hash_of_value(to_utf16(xml_value()));
}

void XmpElementObject::set(const std::string& attribute, std::string value) {
    require_xml_name(attribute, "attribute", true);
    for (auto& [name, known] : m_attributes) {
        if (name != attribute) {
            continue;
        }
        known = std::move(value);
        return;
    }
    m_attributes.emplace_back(attribute, std::move(value));
}

const std::string* XmpElementObject::find(std::string_view attribute) const {
    for (const auto& [name, value] : m_attributes) {
        if (name == attribute) {
            return &value;
        }
    }
    return nullptr;
}

void XmpElementObject::remove(std::string_view attribute) {
    std::erase_if(m_attributes, [&](const auto& entry) { return entry.first == attribute; });
}

bool XmpElementObject::is_meta() const {
    return std::string_view(type().full_name) == kXmpMeta;
}

std::string XmpElementObject::open_tag() const {
    const std::string own = is_meta() ? "xmlns:x" : "xmlns:rdf";
    std::string tag = is_meta() ? "<x:xmpmeta" : "<rdf:RDF";
    if (find(own) == nullptr) {
        tag += xml_attribute(own, is_meta() ? kXmpMetaNamespace : kRdfNamespace);
    }
    for (const auto& [name, value] : m_attributes) {
        tag += xml_attribute(name, value);
    }
    return tag;
}

bool XmpElementObject::equals(const ManagedObject& other) const {
    const auto* same = dynamic_cast<const XmpElementObject*>(&other);
    return same != nullptr && &same->type() == &type() && by_name(same->m_attributes) == by_name(m_attributes);
}

int32_t XmpElementObject::hash_code() const {
    uint32_t hash = 17;
    for (const auto& [name, value] : by_name(m_attributes)) {
        hash = hash * 31 + static_cast<uint32_t>(hash_of_value(to_utf16(std::string(name).append("=").append(value))));
    }
    return static_cast<int32_t>(hash);
}

void XmpPackages::add(XmpPackageObject* package) {
    if (package == nullptr) {
        throw_argument_null("package");
    }
    if (find(package->uri()) != nullptr) {
        throw_argument("package: There is a package of the namespace '" + package->uri() +
                       "' already. Change that one, or remove it first.");
    }
    m_packages.emplace_back(package);
}

void XmpPackages::remove(const XmpPackageObject* package) {
    if (package == nullptr) {
        throw_argument_null("package");
    }
    std::erase_if(m_packages, [&](const auto& known) { return known.get() == package; });
}

XmpPackageObject* XmpPackages::find(std::string_view uri) const {
    for (const auto& package : m_packages) {
        if (package->uri() == uri) {
            return package.get();
        }
    }
    return nullptr;
}

Ref<ManagedList> XmpPackages::to_array() const {
    return make_ref<ValueList>(ListShape::kArray, element_of(Wire::kClass, XmpPackageObject::kManagedName),
                               items_of(*this));
}

const ElementType& XmpPackageCollectionObject::element() const {
    return variant_element();
}

Ref<ManagedEnumerator> XmpPackageCollectionObject::enumerator() {
    return make_ref<ListEnumerator>(make_ref<ValueList>(ListShape::kArray, variant_element(), items_of(packages)));
}

void XmpPackages::references(ReferenceVisitor& visitor) {
    visitor(m_packages);
}

void XmpPacketObject::references(ReferenceVisitor& visitor) {
    Record::references(visitor);
    packages.references(visitor);
}

XmpPacketObject::XmpPacketObject(const TypeInfo& type) : Record(type) {
    track();
    set_property(*this, "HeaderPi", make_instance(XmpInstructionObject::kManagedName));
    set_property(*this, "Meta", make_instance(kXmpMeta));
    set_property(*this, "TrailerPi", make_instance(api::Xmp::XmpTrailerPi::kType.name));
}

bool XmpPacketObject::is_empty() const {
    const auto& all = packages.all();
    return std::all_of(all.begin(), all.end(), [](const Ref<XmpPackageObject>& package) { return package->empty(); });
}

std::string XmpPacketObject::text() const {
    std::string text;
    const auto header = property_object(*this, "HeaderPi");
    const auto meta = property_object(*this, "Meta");
    const auto trailer = property_object(*this, "TrailerPi");
    if (header) {
        text += cast_object<XmpInstructionObject>(*header).xml_value() + "\n";
    }
    if (meta) {
        text += cast_object<XmpElementObject>(*meta).open_tag() + ">";
    }
    text += "<rdf:RDF" + xml_attribute("xmlns:rdf", kRdfNamespace) + ">";
    // A copy of the list: writing a package may run Python code that changes the packet.
    for (const auto& package : std::vector(packages.all())) {
        text += package->xml_value();
    }
    text += "</rdf:RDF>";
    if (meta) {
        text += "</x:xmpmeta>";
    }
    if (trailer) {
        text += "\n" + cast_object<XmpInstructionObject>(*trailer).xml_value();
    }
    return text;
}

Ref<ManagedObject> XmpPacketObject::copy() const {
    auto twin = make_ref<XmpPacketObject>(type());
    twin->assign_from(*this);
    twin->packages = packages;
    return twin;
}

Ref<XmpPacketObject> make_xmp_packet() {
    return make_ref<XmpPacketObject>(require_type(XmpPacketObject::kManagedName));
}

}  // namespace zelmor::embed
