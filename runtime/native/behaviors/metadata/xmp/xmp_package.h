// A package: the properties of one XMP schema, by name.
//
// Keys have the prefix of the schema ("dc:title"); one without a prefix gets it. The order is that in which properties
// came in. A package is enumerated by its keys, as a Python dictionary is.
#ifndef ZELMOR_RUNTIME_NATIVE_BEHAVIORS_METADATA_XMP_XMP_PACKAGE_H
#define ZELMOR_RUNTIME_NATIVE_BEHAVIORS_METADATA_XMP_XMP_PACKAGE_H

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "generated/runtime/Zelmor.Imaging.Xmp.h"
#include "runtime/native/behaviors/metadata/xmp/xmp_node.h"
#include "runtime/native/collections/collection.h"

namespace zelmor::embed {

class XmpPackageObject final : public ManagedEnumerable {
 public:
    static constexpr const char* kManagedName = api::Xmp::XmpPackage::kType.name;
    XmpPackageObject(const TypeInfo& type, std::string prefix, std::string uri);

    const std::string& prefix() const { return m_prefix; }
    const std::string& uri() const { return m_uri; }
    bool empty() const { return m_values.empty(); }

    // The key as it is stored. ArgumentException for one of another schema or one that is no name.
    std::string full_key(const std::string& key) const;
    // All keys, with the prefix, in their order.
    std::vector<std::string> keys() const;
    // The value, or null where there is none.
    const Value* find(const std::string& key) const;
    void set(const std::string& key, Value value);
    // Adds text to what is there: an item to an array, the default to a LangAlt. A property that the schema has as an
    // array or LangAlt becomes one.
    void add(const std::string& key, const std::string& text);
    bool remove(const std::string& key);
    void clear() { m_values.clear(); }

    // <rdf:Description> with all properties.
    std::string xml_value() const;

    const ElementType& element() const override;
    Ref<ManagedEnumerator> enumerator() override;
    void references(ReferenceVisitor& visitor) override;

 private:
    std::string m_prefix;
    std::string m_uri;
    std::vector<std::pair<std::string, Value>> m_values;
};

// A package of the class for a schema, or a basic one if the schema has no class.
Ref<XmpPackageObject> make_xmp_package(const std::string& prefix, const std::string& uri);

// What an array property of a published schema is: nothing for one that holds a single value.
struct XmpContainer {
    bool language_alternative;
    XmpArrayKind kind;
};
const XmpContainer* find_xmp_container(std::string_view uri, std::string_view name);

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_BEHAVIORS_METADATA_XMP_XMP_PACKAGE_H
