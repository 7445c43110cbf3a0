// An XMP packet: header, metadata element, packages and trailer, and the whole as text.
#ifndef ZELMOR_RUNTIME_NATIVE_BEHAVIORS_METADATA_XMP_XMP_PACKET_H
#define ZELMOR_RUNTIME_NATIVE_BEHAVIORS_METADATA_XMP_XMP_PACKET_H

#include <span>
#include <string>
#include <utility>
#include <vector>

#include "generated/runtime/Zelmor.Imaging.Xmp.h"
#include "runtime/native/behaviors/metadata/xmp/xmp_package.h"
#include "runtime/native/core/records.h"

namespace zelmor::embed {

// The identifier that every packet has.
constexpr const char* kXmpPacketId = "W5M0MpCehiHzreSzNTczkc9d";
// The class of the element around everything.
constexpr const char* kXmpMeta = api::Xmp::XmpMeta::kType.name;

// The header or the trailer, each a processing instruction.
class XmpInstructionObject final : public Record {
 public:
    static constexpr const char* kManagedName = api::Xmp::XmpHeaderPi::kType.name;
    explicit XmpInstructionObject(const TypeInfo& type);
    std::string xml_value() const;
    bool equals(const ManagedObject& other) const override;
    int32_t hash_code() const override;
};

// An element with attributes: XmpMeta or XmpRdfRoot.
class XmpElementObject final : public ManagedObject {
 public:
    static constexpr const char* kManagedName = api::Xmp::XmpElementBase::kType.name;
    using ManagedObject::ManagedObject;

    // Sets an attribute; its name may have a prefix.
    void set(const std::string& attribute, std::string value);
    const std::string* find(std::string_view attribute) const;
    void remove(std::string_view attribute);
    void clear() { m_attributes.clear(); }

    // "<x:xmpmeta ...", without the bracket that ends the tag.
    std::string open_tag() const;
    bool is_meta() const;

    bool equals(const ManagedObject& other) const override;
    int32_t hash_code() const override;

 private:
    std::vector<std::pair<std::string, std::string>> m_attributes;
};

// Packages by namespace: each is there once.
class XmpPackages {
 public:
    // ArgumentNullException for null, ArgumentException where there is one of that namespace already.
    void add(XmpPackageObject* package);
    void remove(const XmpPackageObject* package);
    XmpPackageObject* find(std::string_view uri) const;
    void clear() { m_packages.clear(); }
    const std::vector<Ref<XmpPackageObject>>& all() const { return m_packages; }
    Ref<ManagedList> to_array() const;
    void references(ReferenceVisitor& visitor);

 private:
    std::vector<Ref<XmpPackageObject>> m_packages;
};

// XmpPackageBaseCollection.
class XmpPackageCollectionObject final : public ManagedEnumerable {
 public:
    static constexpr const char* kManagedName = api::Xmp::XmpPackageBaseCollection::kType.name;
    explicit XmpPackageCollectionObject(const TypeInfo& type) : ManagedEnumerable(type) { track(); }
    XmpPackages packages;
    const ElementType& element() const override;
    Ref<ManagedEnumerator> enumerator() override;
    void references(ReferenceVisitor& visitor) override { packages.references(visitor); }
};

class XmpPacketObject final : public Record {
 public:
    static constexpr const char* kManagedName = api::Xmp::XmpPacketWrapper::kType.name;
    explicit XmpPacketObject(const TypeInfo& type);
    XmpPackages packages;

    // Whether no package has a property.
    bool is_empty() const;
    // The packet as it stands in a file, in UTF-8.
    std::string text() const;
    // The packages are shared with the copy.
    Ref<ManagedObject> copy() const override;
    void references(ReferenceVisitor& visitor) override;
};

Ref<XmpPacketObject> make_xmp_packet();

// Reads a packet. XmlException where it is no well-formed XML, with the line; InvalidOperationException where there is
// no rdf:RDF in it.
Ref<XmpPacketObject> read_xmp_packet(std::span<const std::byte> packet);

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_BEHAVIORS_METADATA_XMP_XMP_PACKET_H
