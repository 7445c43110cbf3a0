// Members of the packet, its parts and the collection of packages.
#include "generated/runtime/Zelmor.Imaging.Xmp.h"
#include "runtime/native/behaviors/metadata/xmp/xmp_packet.h"
#include "runtime/native/core/entry.h"
#include "runtime/native/core/managed_exception.h"

namespace zelmor::embed {

namespace {

constexpr const char* kToolkit = "x:xmptk";

using Text = std::optional<std::string>;

std::string instruction_xml(XmpInstructionObject& self) {
    return self.xml_value();
}
bool instruction_equals(XmpInstructionObject& self, XmpInstructionObject* other) {
    return other != nullptr && self.equals(*other);
}

void add_attribute(XmpElementObject& self, const std::string& attribute, const std::string& value) {
    self.set(attribute, value);
}
Text get_attribute(XmpElementObject& self, const std::string& attribute) {
    const std::string* value = self.find(attribute);
    return value != nullptr ? Text(*value) : std::nullopt;
}
void clear_attributes(XmpElementObject& self) {
    self.clear();
}
bool element_equals(XmpElementObject& self, XmpElementObject* other) {
    return other != nullptr && self.equals(*other);
}
std::string element_xml(XmpElementObject& self) {
    return self.open_tag() + "/>";
}

Ref<ManagedObject> meta_of_toolkit(const std::string& toolkit_version) {
    auto meta = make_ref<XmpElementObject>(require_type(kXmpMeta));
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
    if (prefix == "rdf" && self.find("xmlns:rdf") == nullptr) {
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
    if (header == nullptr) {
        throw_argument_null("header");
    }
    if (trailer == nullptr) {
        throw_argument_null("trailer");
    }
    if (xmp_meta == nullptr) {
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

using XmpElementBaseApi = api::Xmp::XmpElementBase;
using XmpHeaderPiApi = api::Xmp::XmpHeaderPi;
using XmpMetaApi = api::Xmp::XmpMeta;
using XmpPackageBaseCollectionApi = api::Xmp::XmpPackageBaseCollection;
using XmpPacketWrapperApi = api::Xmp::XmpPacketWrapper;
using XmpRdfRootApi = api::Xmp::XmpRdfRoot;
using XmpTrailerPiApi = api::Xmp::XmpTrailerPi;

const BehaviorTable ZELMOR_UNNAMED({
    behavior<&instruction_xml, XmpHeaderPiApi::call_000_GetXmlValue, XmpTrailerPiApi::call_000_GetXmlValue>(),
    behavior<&instruction_equals, XmpHeaderPiApi::call_000_Equals, XmpTrailerPiApi::call_000_Equals>(),
    behavior<&add_attribute, XmpElementBaseApi::call_000_AddAttribute>(),
    behavior<&get_attribute, XmpElementBaseApi::call_000_GetAttribute>(),
    behavior<&clear_attributes, XmpElementBaseApi::call_000_ClearAttributes>(),
    behavior<&element_equals, XmpElementBaseApi::call_000_Equals, XmpMetaApi::call_000_Equals>(),
    behavior<&meta_of_toolkit, XmpMetaApi::ctor_000_XmpMeta>(),
    behavior<&element_xml, XmpMetaApi::call_000_GetXmlValue, XmpRdfRootApi::call_000_GetXmlValue>(),
    behavior<&get_toolkit, XmpMetaApi::get_AdobeXmpToolkit>(),
    behavior<&set_toolkit, XmpMetaApi::set_AdobeXmpToolkit>(),
    behavior<&register_namespace, XmpRdfRootApi::call_000_RegisterNamespaceUri>(),
    behavior<&registered_namespace, XmpRdfRootApi::call_000_GetNamespaceUri>(),
    behavior<&collection_add, XmpPackageBaseCollectionApi::call_000_Add>(),
    behavior<&collection_remove, XmpPackageBaseCollectionApi::call_000_Remove>(),
    behavior<&collection_packages, XmpPackageBaseCollectionApi::call_000_GetPackages>(),
    behavior<&collection_package, XmpPackageBaseCollectionApi::call_000_GetPackage>(),
    behavior<&collection_clear, XmpPackageBaseCollectionApi::call_000_Clear>(),
    behavior<&collection_count, XmpPackageBaseCollectionApi::get_Count>(),
    behavior<&packet_of_parts, XmpPacketWrapperApi::ctor_000_XmpPacketWrapper>(),
    behavior<&packet_add, XmpPacketWrapperApi::call_000_AddPackage>(),
    behavior<&packet_package, XmpPacketWrapperApi::call_000_GetPackage>(),
    behavior<&packet_contains, XmpPacketWrapperApi::call_000_ContainsPackage>(),
    behavior<&packet_remove, XmpPacketWrapperApi::call_000_RemovePackage>(),
    behavior<&packet_clear, XmpPacketWrapperApi::call_000_ClearPackages>(),
    behavior<&packet_packages, XmpPacketWrapperApi::get_Packages>(),
    behavior<&packet_count, XmpPacketWrapperApi::get_PackagesCount>(),
});

}  // namespace

}  // namespace zelmor::embed
