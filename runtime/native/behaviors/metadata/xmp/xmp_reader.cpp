// Makes packages from the elements of RDF. XMP has several forms for the same value; all of them become the same node.
#include <algorithm>

#include "runtime/native/behaviors/metadata/xmp/xml_reader.h"
#include "runtime/native/behaviors/metadata/xmp/xmp_packet.h"
#include "runtime/native/behaviors/metadata/xmp/xmp_types.h"
#include "runtime/native/core/managed_exception.h"
#include "runtime/native/core/text.h"

namespace zelmor::embed {

namespace {

bool is_rdf(const XmlName& name, std::string_view local) {
    return name.is(kRdfNamespace, local);
}

const std::string* find_attribute(const XmlElement& element, std::string_view uri, std::string_view local) {
    for (const auto& [name, value] : element.attributes) {
        if (name.is(uri, local)) {
            return &value;
        }
    }
    return nullptr;
}

// Attributes that are fields in a shorter form: all but those that RDF and XML have for themselves.
bool is_field(const XmlName& name) {
    if (name.uri.empty() || name.uri == kXmlNamespace) {
        return false;
    }
    return name.uri != kRdfNamespace || name.name == "value";
}

XmpNode named_node(const XmlName& name) {
    XmpNode node;
    node.uri = name.uri;
    // A default namespace has no prefix, which attributes and keys need.
    node.prefix = name.prefix.empty() ? "ns0" : name.prefix;
    node.name = name.name;
    return node;
}

XmpNode read_property(const XmlElement& element);

std::vector<XmpNode> read_fields(const XmlElement& element) {
    std::vector<XmpNode> fields;
    for (const auto& [name, value] : element.attributes) {
        if (!is_field(name)) {
            continue;
        }
        fields.push_back(named_node(name));
        fields.back().text = value;
    }
    for (const XmlElement& child : element.children) {
        fields.push_back(read_property(child));
    }
    return fields;
}

// Fields make a structure, unless one is rdf:value: then the others qualify that.
void take_fields(XmpNode& node, std::vector<XmpNode> fields) {
    const auto value = std::find_if(fields.begin(), fields.end(), [](const XmpNode& field) {
        return field.uri == kRdfNamespace && field.name == "value";
    });
    if (value == fields.end()) {
        node.kind = XmpNode::Kind::kStruct;
        node.children = std::move(fields);
        return;
    }
    node.kind = value->kind;
    node.array = value->array;
    node.text = std::move(value->text);
    node.children = std::move(value->children);
    if (node.language.empty()) {
        node.language = value->language;
    }
    fields.erase(value);
    node.qualifiers = std::move(fields);
}

void read_array(XmpNode& node, const XmlElement& array) {
    node.kind = XmpNode::Kind::kArray;
    node.array = is_rdf(array.name, "Seq")   ? XmpArrayKind::kOrdered
                 : is_rdf(array.name, "Alt") ? XmpArrayKind::kAlternative
                                             : XmpArrayKind::kUnordered;
    for (const XmlElement& item : array.children) {
        if (!is_rdf(item.name, "li")) {
            continue;
        }
        XmpNode read = read_property(item);
        read.uri.clear();
        read.prefix.clear();
        read.name.clear();
        node.children.push_back(std::move(read));
    }
}

XmpNode read_property(const XmlElement& element) {
    XmpNode node = named_node(element.name);
    if (const std::string* language = find_attribute(element, kXmlNamespace, "lang")) {
        node.language = *language;
    }
    if (const std::string* resource = find_attribute(element, kRdfNamespace, "resource")) {
        node.text = *resource;
        return node;
    }
    const std::string* parse_type = find_attribute(element, kRdfNamespace, "parseType");
    if (parse_type != nullptr && *parse_type == "Resource") {
        take_fields(node, read_fields(element));
        return node;
    }
    const bool has_fields = std::any_of(element.attributes.begin(), element.attributes.end(),
                                        [](const auto& attribute) { return is_field(attribute.first); });
    if (element.children.empty()) {
        if (has_fields) {
            take_fields(node, read_fields(element));
        } else {
            node.text = element.text;
        }
        return node;
    }
    const XmlElement& inner = element.children.front();
    if (is_rdf(inner.name, "Bag") || is_rdf(inner.name, "Seq") || is_rdf(inner.name, "Alt")) {
        read_array(node, inner);
    } else {
        take_fields(node, read_fields(inner));
    }
    return node;
}

const XmlElement* find_rdf(const XmlElement& element) {
    if (is_rdf(element.name, "RDF")) {
        return &element;
    }
    for (const XmlElement& child : element.children) {
        if (const XmlElement* found = find_rdf(child)) {
            return found;
        }
    }
    return nullptr;
}

// The value of a pseudo-attribute of the packet's instructions: id="..." or end='w'.
std::string quoted(const std::string& data, const std::string& name) {
    const size_t at = data.find(name + "=");
    if (at == std::string::npos || at + name.size() + 2 > data.size()) {
        return {};
    }
    const size_t start = at + name.size() + 2;
    const size_t end = data.find(data[start - 1], start);
    return end == std::string::npos ? std::string() : data.substr(start, end - start);
}

void read_instructions(const XmlDocument& document, XmpPacketObject& packet) {
    for (const auto& [target, data] : document.instructions) {
        if (target != "xpacket") {
            continue;
        }
        if (const std::string id = quoted(data, "id"); !id.empty()) {
            set_property(*property_object(packet, "HeaderPi"), "Guid", to_utf16(id));
        }
        if (const std::string end = quoted(data, "end"); !end.empty()) {
            set_property(*property_object(packet, "TrailerPi"), "IsWritable", end != "r");
        }
    }
}

void add_property(XmpPacketObject& packet, XmpNode node) {
    XmpPackageObject* package = packet.packages.find(node.uri);
    if (package == nullptr) {
        auto made = make_xmp_package(node.prefix, node.uri);
        packet.packages.add(made.get());
        package = packet.packages.find(node.uri);
    }
    const std::string name = node.name;
    package->set(name, value_of_node(std::move(node)));
}

// Some files pad the text with bytes that are not text.
std::span<const std::byte> without_padding(std::span<const std::byte> packet) {
    while (!packet.empty() && packet.back() == std::byte{0}) {
        packet = packet.first(packet.size() - 1);
    }
    return packet;
}

}  // namespace

Ref<XmpPacketObject> read_xmp_packet(std::span<const std::byte> bytes) {
    const XmlDocument document = read_xml(without_padding(bytes));
    const XmlElement* rdf = find_rdf(document.root);
    if (rdf == nullptr) {
        throw_invalid_operation("There is no rdf:RDF element in the XMP packet.");
    }
    auto packet = make_xmp_packet();
    read_instructions(document, *packet);
    if (document.root.name.is(kXmpMetaNamespace, "xmpmeta")) {
        auto& meta = cast_object<XmpElementObject>(*property_object(*packet, "Meta"));
        for (const auto& [name, value] : document.root.attributes) {
            // An attribute of another namespace would need its declaration, which belongs to no class.
            if (name.uri == kXmpMetaNamespace) {
                meta.set("x:" + name.name, value);
            }
            if (name.uri.empty()) {
                meta.set(name.name, value);
            }
        }
    }
    for (const XmlElement& description : rdf->children) {
        for (XmpNode& node : read_fields(description)) {
            if (node.uri.empty() || node.uri == kRdfNamespace) {
                continue;
            }
            add_property(*packet, std::move(node));
        }
    }
    return packet;
}

}  // namespace zelmor::embed
