// Members of the packet, its parts and the collection of packages.
#include "runtime/native/behaviors/metadata/xmp/xmp_packet.h"
#include "runtime/native/core/entry.h"
#include "runtime/native/core/managed_exception.h"

namespace zelmor::embed {

namespace {

#define ZELMOR_XMP "Zelmor.Imaging.Xmp."
constexpr const char* kHeader = XmpInstructionObject::kManagedName;
constexpr const char* kTrailer = ZELMOR_XMP "XmpTrailerPi";
constexpr const char* kElement = XmpElementObject::kManagedName;
constexpr const char* kMeta = ZELMOR_XMP "XmpMeta";
constexpr const char* kRdfRoot = ZELMOR_XMP "XmpRdfRoot";
constexpr const char* kCollection = XmpPackageCollectionObject::kManagedName;
constexpr const char* kPacket = XmpPacketObject::kManagedName;
constexpr const char* kToolkit = "x:xmptk";

using Text = std::optional<std::string>;

std::string instruction_xml(XmpInstructionObject& self) {
    return self.xml_value();
}
bool instruction_equals(XmpInstructionObject& self, XmpInstructionObject* other) {
    return other && self.equals(*other);
}

void add_attribute(XmpElementObject& self, const std::string& attribute, const std::string& value) {
    self.set(attribute, value);
}
Text get_attribute(XmpElementObject& self, const std::string& attribute) {
    const std::string* value = self.find(attribute);
    return value ? Text(*value) : std::nullopt;
}
void clear_attributes(XmpElementObject& self) {
    self.clear();
}
bool element_equals(XmpElementObject& self, XmpElementObject* other) {
    return other && self.equals(*other);
}
std::string element_xml(XmpElementObject& self) {
    return self.open_tag() + "/>";
}

Ref<ManagedObject> meta_of_toolkit(const std::string& toolkit_version) {
    auto meta = make_ref<XmpElementObject>(require_type(kMeta));
    meta->set(kToolkit, toolkit_version);
    return meta;
}
Text get_toolkit(XmpElementObject& self) {
    return get_attribute(self, kToolkit);
}
void set_toolkit(XmpElementObject& self, const Text& value) {
    if (!value) {
        return self.remove(kToolkit);
    }
    self.set(kToolkit, *value);
}

void register_namespace(XmpElementObject& self, const std::string& prefix, const std::string& namespace_uri) {
    self.set("xmlns:" + prefix, namespace_uri);
}
Text registered_namespace(XmpElementObject& self, const std::string& prefix) {
    if (prefix == "rdf" && !self.find("xmlns:rdf")) {
        return std::string(kRdfNamespace);
    }
    return get_attribute(self, "xmlns:" + prefix);
}

void collection_add(XmpPackageCollectionObject& self, XmpPackageObject* package) {
    self.packages.add(package);
}
void collection_remove(XmpPackageCollectionObject& self, XmpPackageObject* package) {
    self.packages.remove(package);
}
Collection collection_packages(XmpPackageCollectionObject& self) {
    return {Ref<ManagedObject>(self.packages.to_array())};
}
Ref<ManagedObject> collection_package(XmpPackageCollectionObject& self, const std::string& namespace_uri) {
    return Ref<ManagedObject>(self.packages.find(namespace_uri));
}
void collection_clear(XmpPackageCollectionObject& self) {
    self.packages.clear();
}
int32_t collection_count(XmpPackageCollectionObject& self) {
    return static_cast<int32_t>(self.packages.all().size());
}

Ref<ManagedObject> packet_of_parts(XmpInstructionObject* header, XmpInstructionObject* trailer,
                                   XmpElementObject* xmp_meta) {
    if (!header) {
        throw_argument_null("header");
    }
    if (!trailer) {
        throw_argument_null("trailer");
    }
    if (!xmp_meta) {
        throw_argument_null("xmp_meta");
    }
    auto packet = make_xmp_packet();
    set_property(*packet, "HeaderPi", Ref<ManagedObject>(header));
    set_property(*packet, "TrailerPi", Ref<ManagedObject>(trailer));
    set_property(*packet, "Meta", Ref<ManagedObject>(xmp_meta));
    return packet;
}
void packet_add(XmpPacketObject& self, XmpPackageObject* package) {
    self.packages.add(package);
}
Ref<ManagedObject> packet_package(XmpPacketObject& self, const std::string& namespace_uri) {
    return Ref<ManagedObject>(self.packages.find(namespace_uri));
}
bool packet_contains(XmpPacketObject& self, const std::string& namespace_uri) {
    return self.packages.find(namespace_uri) != nullptr;
}
void packet_remove(XmpPacketObject& self, XmpPackageObject* package) {
    self.packages.remove(package);
}
void packet_clear(XmpPacketObject& self) {
    self.packages.clear();
}
Collection packet_packages(XmpPacketObject& self) {
    return {Ref<ManagedObject>(self.packages.to_array())};
}
int32_t packet_count(XmpPacketObject& self) {
    return static_cast<int32_t>(self.packages.all().size());
}

const BehaviorTable table(Assembly::kImaging,
                          {
                              {kHeader, "call_000_GetXmlValue", entry<&instruction_xml>()},
                              {kHeader, "call_000_Equals", entry<&instruction_equals>()},
                              {kTrailer, "call_000_GetXmlValue", entry<&instruction_xml>()},
                              {kTrailer, "call_000_Equals", entry<&instruction_equals>()},
                              {kElement, "call_000_AddAttribute", entry<&add_attribute>()},
                              {kElement, "call_000_GetAttribute", entry<&get_attribute>()},
                              {kElement, "call_000_ClearAttributes", entry<&clear_attributes>()},
                              {kElement, "call_000_Equals", entry<&element_equals>()},
                              {kMeta, "ctor_000_XmpMeta", entry<&meta_of_toolkit>()},
                              {kMeta, "call_000_Equals", entry<&element_equals>()},
                              {kMeta, "call_000_GetXmlValue", entry<&element_xml>()},
                              {kMeta, "get_AdobeXmpToolkit", entry<&get_toolkit>()},
                              {kMeta, "set_AdobeXmpToolkit", entry<&set_toolkit>()},
                              {kRdfRoot, "call_000_RegisterNamespaceUri", entry<&register_namespace>()},
                              {kRdfRoot, "call_000_GetNamespaceUri", entry<&registered_namespace>()},
                              {kRdfRoot, "call_000_GetXmlValue", entry<&element_xml>()},
                              {kCollection, "call_000_Add", entry<&collection_add>()},
                              {kCollection, "call_000_Remove", entry<&collection_remove>()},
                              {kCollection, "call_000_GetPackages", entry<&collection_packages>()},
                              {kCollection, "call_000_GetPackage", entry<&collection_package>()},
                              {kCollection, "call_000_Clear", entry<&collection_clear>()},
                              {kCollection, "get_Count", entry<&collection_count>()},
                              {kPacket, "ctor_000_XmpPacketWrapper", entry<&packet_of_parts>()},
                              {kPacket, "call_000_AddPackage", entry<&packet_add>()},
                              {kPacket, "call_000_GetPackage", entry<&packet_package>()},
                              {kPacket, "call_000_ContainsPackage", entry<&packet_contains>()},
                              {kPacket, "call_000_RemovePackage", entry<&packet_remove>()},
                              {kPacket, "call_000_ClearPackages", entry<&packet_clear>()},
                              {kPacket, "get_Packages", entry<&packet_packages>()},
                              {kPacket, "get_PackagesCount", entry<&packet_count>()},
                          });

}  // namespace

}  // namespace zelmor::embed
