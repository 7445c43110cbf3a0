// The published schemas: their namespaces and the properties that hold several values.
#include "generated/runtime/Zelmor.Imaging.Xmp.h"
#include "runtime/native/behaviors/metadata/xmp/xml_text.h"
#include "runtime/native/behaviors/metadata/xmp/xmp_arrays.h"
#include "runtime/native/behaviors/metadata/xmp/xmp_namespaces.h"
#include "runtime/native/behaviors/metadata/xmp/xmp_package.h"
#include "runtime/native/behaviors/metadata/xmp/xmp_schema_names.h"
#include "runtime/native/core/entry.h"
#include "runtime/native/core/managed_exception.h"
#include "runtime/native/delegates/row_behavior.h"

namespace zelmor::embed {

namespace {

namespace ns = xmp_namespaces;

using Namespaces = api::Xmp::Namespaces;
using namespace xmp_schema_names;

struct Schema {
    const TypeName& type;
    const char* prefix;
    const char* uri;
};
constexpr Schema kSchemas[] = {
    {Dicom::kType, "DICOM", ns::kDicom},
    {DublinCore::kType, "dc", ns::kDublinCore},
    {Pdf::kType, "pdf", ns::kPdf},
    {Photoshop::kType, "photoshop", ns::kPhotoshop},
    {Basic::kType, "xmp", ns::kXmpBasic},
    {DynamicMedia::kType, "xmpDM", ns::kXmpDm},
    {MediaManagement::kType, "xmpMM", ns::kXmpMm},
    {RightsManagement::kType, "xmpRights", ns::kXmpRights},
};

// Which properties hold several values. "alt" is a language alternative.
struct Several {
    const char* uri;
    const char* name;
    XmpContainer container;
};
constexpr XmpContainer kBag{false, XmpArrayKind::kUnordered};
constexpr XmpContainer kSeq{false, XmpArrayKind::kOrdered};
constexpr XmpContainer kAlt{true, XmpArrayKind::kAlternative};
constexpr Several kSeveral[] = {
    {ns::kDublinCore, "contributor", kBag},
    {ns::kDublinCore, "creator", kSeq},
    {ns::kDublinCore, "date", kSeq},
    {ns::kDublinCore, "description", kAlt},
    {ns::kDublinCore, "language", kBag},
    {ns::kDublinCore, "publisher", kBag},
    {ns::kDublinCore, "relation", kBag},
    {ns::kDublinCore, "rights", kAlt},
    {ns::kDublinCore, "subject", kBag},
    {ns::kDublinCore, "title", kAlt},
    {ns::kDublinCore, "type", kBag},
    {ns::kXmpBasic, "Advisory", kBag},
    {ns::kXmpBasic, "Identifier", kBag},
    {ns::kXmpRights, "Owner", kBag},
    {ns::kXmpRights, "UsageTerms", kAlt},
    {ns::kPhotoshop, "DocumentAncestors", kBag},
    {ns::kPhotoshop, "SupplementalCategories", kBag},
};

Ref<ManagedObject> custom_package(const std::string& prefix, const std::string& namespace_uri) {
    require_xml_name(prefix, "prefix");
    if (namespace_uri.empty()) {
        throw_argument("namespace_uri: a schema has a namespace.");
    }
    return make_ref<XmpPackageObject>(require_type(Basic::kType.name), prefix, namespace_uri);
}

Ref<ManagedObject> make_package(const TypeInfo& type) {
    for (const Schema& schema : kSchemas) {
        if (std::string_view(schema.type.name) == type.full_name) {
            return make_ref<XmpPackageObject>(type, schema.prefix, schema.uri);
        }
    }
    throw_not_supported(std::string(type.name) + "()");
}
const FactoryRegistration ZELMOR_UNNAMED(XmpPackageObject::kManagedName, make_package);

// The constants of the static class of namespaces.
struct NamespaceConstant {
    const PropertyName& property;
    const char* uri;
};
constexpr NamespaceConstant kConstants[] = {
    {Namespaces::property_Dicom, ns::kDicom},
    {Namespaces::property_DublinCore, ns::kDublinCore},
    {Namespaces::property_Pdf, ns::kPdf},
    {Namespaces::property_Photoshop, ns::kPhotoshop},
    {Namespaces::property_Rdf, ns::kRdf},
    {Namespaces::property_Xml, ns::kXml},
    {Namespaces::property_XmpBasic, ns::kXmpBasic},
    {Namespaces::property_XmpDm, ns::kXmpDm},
    {Namespaces::property_XmpGraphics, ns::kXmpGraphics},
    {Namespaces::property_XmpGraphicsThumbnail, ns::kXmpGraphicsThumbnail},
    {Namespaces::property_XmpMm, ns::kXmpMm},
    {Namespaces::property_XmpRights, ns::kXmpRights},
    {Namespaces::property_XmpTypeDimensions, ns::kTypeDimensions},
    {Namespaces::property_XmpTypeFont, ns::kTypeFont},
    {Namespaces::property_XmpTypeResourceEvent, ns::kTypeResourceEvent},
    {Namespaces::property_XmpTypeResourceRef, ns::kTypeResourceRef},
    {Namespaces::property_XmpTypeVersion, ns::kTypeVersion},
};

std::string namespace_constant(const NamespaceConstant& row) {
    return row.uri;
}

const BehaviorTable ZELMOR_UNNAMED(each_row(kConstants, [](const NamespaceConstant& row) {
    return row_property<&namespace_constant>(row.property, row);
}));
const BehaviorTable ZELMOR_UNNAMED({
    behavior<&custom_package, Basic::ctor_001_XmpBasicPackage>(),
});

}  // namespace

Ref<XmpPackageObject> make_xmp_package(const std::string& prefix, const std::string& uri) {
    for (const Schema& schema : kSchemas) {
        // The schema's own prefix replaces that of the file, which has no meaning.
        if (uri == schema.uri) {
            return make_ref<XmpPackageObject>(require_type(schema.type.name), schema.prefix, uri);
        }
    }
    return make_ref<XmpPackageObject>(require_type(Basic::kType.name), prefix, uri);
}

const XmpContainer* find_xmp_container(std::string_view uri, std::string_view name) {
    for (const Several& several : kSeveral) {
        if (uri == several.uri && name == several.name) {
            return &several.container;
        }
    }
    return nullptr;
}

}  // namespace zelmor::embed
