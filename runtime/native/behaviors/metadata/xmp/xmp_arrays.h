// XmpArray and LangAlt: the containers of XMP that have classes of their own.
#ifndef ZELMOR_RUNTIME_NATIVE_BEHAVIORS_METADATA_XMP_XMP_ARRAYS_H
#define ZELMOR_RUNTIME_NATIVE_BEHAVIORS_METADATA_XMP_XMP_ARRAYS_H

#include <string>
#include <utility>
#include <vector>

#include "generated/runtime/Zelmor.Imaging.Xmp.h"
#include "runtime/native/behaviors/metadata/xmp/xmp_node.h"
#include "runtime/native/core/object.h"
#include "runtime/native/core/value.h"

namespace zelmor::embed {

// What can stand as the value of a property: it writes itself as XML.
class XmlValueObject : public ManagedObject {
 public:
    static constexpr const char* kManagedName = api::Xmp::IXmlValue::kType.name;
    using ManagedObject::ManagedObject;
    virtual std::string xml_value() const = 0;
};

class XmpArrayObject final : public XmlValueObject {
 public:
    static constexpr const char* kManagedName = api::Xmp::XmpArray::kType.name;
    explicit XmpArrayObject(XmpArrayKind kind);
    explicit XmpArrayObject(XmpNode array);

    void add(std::string text);
    XmpArrayKind kind() const { return m_node.array; }
    // The items in their order; one that is not plain text as its XML.
    std::vector<Value> values() const;
    std::string xml_value() const override { return node_content(m_node); }
    bool equals(const ManagedObject& other) const override;
    int32_t hash_code() const override;

 private:
    XmpNode m_node;
};

class LangAltObject final : public XmlValueObject {
 public:
    static constexpr const char* kManagedName = api::Xmp::LangAlt::kType.name;
    static constexpr std::string_view kDefault = "x-default";
    LangAltObject();
    explicit LangAltObject(const XmpNode& alternatives);

    // Sets the text of a language; the default comes first.
    void set(std::string language, std::string text);
    std::string xml_value() const override;
    std::u16string to_text() const override;  // the default
    bool equals(const ManagedObject& other) const override;
    int32_t hash_code() const override;

 private:
    std::vector<std::pair<std::string, std::string>> m_texts;
};

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_BEHAVIORS_METADATA_XMP_XMP_ARRAYS_H
