// The published schemas: their namespaces, the properties that hold several values, and the setters of their packages.
#include <array>
#include <utility>

#include "runtime/native/behaviors/metadata/xmp/iso_date.h"
#include "runtime/native/behaviors/metadata/xmp/xml_text.h"
#include "runtime/native/behaviors/metadata/xmp/xmp_arrays.h"
#include "runtime/native/behaviors/metadata/xmp/xmp_namespaces.h"
#include "runtime/native/behaviors/metadata/xmp/xmp_package.h"
#include "runtime/native/behaviors/metadata/xmp/xmp_types.h"
#include "runtime/native/core/entry.h"
#include "runtime/native/core/managed_exception.h"

namespace zelmor::embed {

namespace {

namespace ns = xmp_namespaces;

#define ZELMOR_SCHEMAS "Zelmor.Imaging.Xmp.Schemas."
constexpr const char* kDicom = ZELMOR_SCHEMAS "Dicom.DicomPackage";
constexpr const char* kDublinCore = ZELMOR_SCHEMAS "DublinCore.DublinCorePackage";
constexpr const char* kPdf = ZELMOR_SCHEMAS "Pdf.PdfPackage";
constexpr const char* kPhotoshop = ZELMOR_SCHEMAS "Photoshop.PhotoshopPackage";
constexpr const char* kBasic = ZELMOR_SCHEMAS "XmpBaseSchema.XmpBasicPackage";
constexpr const char* kMedia = ZELMOR_SCHEMAS "XmpDm.XmpDynamicMediaPackage";
constexpr const char* kManagement = ZELMOR_SCHEMAS "XmpMm.XmpMediaManagementPackage";
constexpr const char* kRights = ZELMOR_SCHEMAS "XmpRm.XmpRightsManagementPackage";

struct Schema {
    const char* type;
    const char* prefix;
    const char* uri;
};
constexpr Schema kSchemas[] = {
    {kDicom, "DICOM", ns::kDicom},
    {kDublinCore, "dc", ns::kDublinCore},
    {kPdf, "pdf", ns::kPdf},
    {kPhotoshop, "photoshop", ns::kPhotoshop},
    {kBasic, "xmp", ns::kXmpBasic},
    {kMedia, "xmpDM", ns::kXmpDm},
    {kManagement, "xmpMM", ns::kXmpMm},
    {kRights, "xmpRights", ns::kXmpRights},
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

// A string literal as a template argument: the property that a setter sets.
template <size_t kSize>
struct Key {
    char text[kSize];
    constexpr Key(const char (&literal)[kSize]) {  // NOLINT(google-explicit-constructor)
        for (size_t i = 0; i < kSize; ++i) {
            text[i] = literal[i];
        }
    }
};

template <Key kKey>
void set_text(XmpPackageObject& self, const std::u16string& value) {
    self.set(kKey.text, value);
}

template <Key kKey>
void set_bool(XmpPackageObject& self, bool value) {
    self.set(kKey.text, value);
}

template <Key kKey>
void set_int(XmpPackageObject& self, int32_t value) {
    self.set(kKey.text, int64_t{value});
}

// Text that is a date; what is no date is refused before it gets into a file.
template <Key kKey>
void set_date_text(XmpPackageObject& self, const std::string& value) {
    parse_iso_date(value);
    self.set(kKey.text, to_utf16(value));
}

template <Key kKey>
void set_date(XmpPackageObject& self, const DateTimeValue& value) {
    self.set(kKey.text, value);
}

template <Key kKey>
void set_alternative(XmpPackageObject& self, const std::string& value) {
    auto texts = make_ref<LangAltObject>();
    texts->set(std::string(LangAltObject::kDefault), value);
    self.set(kKey.text, Ref<ManagedObject>(texts));
}

template <Key kKey>
void set_alternatives(XmpPackageObject& self, LangAltObject* value) {
    if (!value) {
        throw_argument_null("a LangAlt");
    }
    self.set(kKey.text, Ref<ManagedObject>(value));
}

template <Key kKey>
void set_one_of_array(XmpPackageObject& self, const std::string& value) {
    self.remove(kKey.text);
    self.add(kKey.text, value);
}

template <Key kKey>
void set_array(XmpPackageObject& self, const VariantArg* items) {
    const auto texts = read_elements(items, element_of(Wire::kString), "an array of texts");
    const XmpContainer* container = find_xmp_container(self.uri(), kKey.text);
    auto array = make_ref<XmpArrayObject>(container ? container->kind : XmpArrayKind::kUnordered);
    for (const Value& text : texts) {
        array->add(to_utf8(text_of_value(text)));
    }
    self.set(kKey.text, Ref<ManagedObject>(array));
}

template <Key kKey>
void set_typed(XmpPackageObject& self, XmpTypeObject* value) {
    if (!value) {
        throw_argument_null("a value of XMP");
    }
    self.set(kKey.text, Ref<ManagedObject>(value));
}

template <Key kKey>
void set_token(XmpPackageObject& self, XmpTokenObject* value) {
    if (!value) {
        throw_argument_null("a ready-made value");
    }
    self.set(kKey.text, to_utf16(value->token()));
}

template <Key kKey>
void set_guid(XmpPackageObject& self, const GuidValue& value) {
    self.set(kKey.text, u"uuid:" + text_of(value));
}

constexpr int32_t kUrgencyMin = 1, kUrgencyMax = 8;
constexpr int32_t kRatingRejected = -1, kRatingMin = 0, kRatingMax = 5;

void set_urgency(XmpPackageObject& self, int32_t urgency) {
    if (urgency < kUrgencyMin || urgency > kUrgencyMax) {
        throw_out_of_range("urgency", "An urgency is a number from 1, the highest, to 8, the lowest.");
    }
    self.set("Urgency", int64_t{urgency});
}

void set_rating(XmpPackageObject& self, int32_t rating) {
    if (rating != kRatingRejected && (rating < kRatingMin || rating > kRatingMax)) {
        throw_out_of_range("choise", "A rating is a number from 0 to 5, or -1 for what was rejected.");
    }
    self.set("Rating", int64_t{rating});
}

template <int32_t kNumber>
int32_t constant() {
    return kNumber;
}

Ref<ManagedObject> custom_package(const std::string& prefix, const std::string& namespace_uri) {
    require_xml_name(prefix, "prefix");
    if (namespace_uri.empty()) {
        throw_argument("namespace_uri: a schema has a namespace.");
    }
    return make_ref<XmpPackageObject>(require_type(kBasic), prefix, namespace_uri);
}

Ref<ManagedObject> make_package(const TypeInfo& type) {
    for (const Schema& schema : kSchemas) {
        if (std::string_view(schema.type) == type.full_name) {
            return make_ref<XmpPackageObject>(type, schema.prefix, schema.uri);
        }
    }
    throw_not_supported(std::string(type.name) + "()");
}
const FactoryRegistration factory(XmpPackageObject::kManagedName, make_package);

const BehaviorTable core_tables(
    Assembly::kImaging,
    {
        {kDicom, "call_000_SetEquipmentInstitution", entry<&set_text<"EquipmentInstitution">>()},
        {kDicom, "call_000_SetEquipmentManufacturer", entry<&set_text<"EquipmentManufacturer">>()},
        {kDicom, "call_000_SetPatientBirthDate", entry<&set_text<"PatientDOB">>()},
        {kDicom, "call_000_SetPatientId", entry<&set_text<"PatientID">>()},
        {kDicom, "call_000_SetPatientName", entry<&set_text<"PatientName">>()},
        {kDicom, "call_000_SetPatientSex", entry<&set_text<"PatientSex">>()},
        {kDicom, "call_000_SetSeriesDateTime", entry<&set_text<"SeriesDateTime">>()},
        {kDicom, "call_000_SetSeriesDescription", entry<&set_text<"SeriesDescription">>()},
        {kDicom, "call_000_SetSeriesModality", entry<&set_text<"SeriesModality">>()},
        {kDicom, "call_000_SetSeriesNumber", entry<&set_text<"SeriesNumber">>()},
        {kDicom, "call_000_SetStudyDateTime", entry<&set_text<"StudyDateTime">>()},
        {kDicom, "call_000_SetStudyDescription", entry<&set_text<"StudyDescription">>()},
        {kDicom, "call_000_SetStudyId", entry<&set_text<"StudyID">>()},
        {kDicom, "call_000_SetStudyPhysician", entry<&set_text<"StudyPhysician">>()},

        {kDublinCore, "call_000_SetTitle", entry<&set_alternative<"title">>()},
        {kDublinCore, "call_001_SetTitle", entry<&set_alternatives<"title">>()},
        {kDublinCore, "call_000_SetDescription", entry<&set_alternative<"description">>()},
        {kDublinCore, "call_001_SetDescription", entry<&set_alternatives<"description">>()},
        {kDublinCore, "call_000_SetSubject", entry<&set_one_of_array<"subject">>()},
        {kDublinCore, "call_001_SetSubject", entry<&set_array<"subject">>()},
        {kDublinCore, "call_000_SetAuthor", entry<&set_one_of_array<"creator">>()},
        {kDublinCore, "call_001_SetAuthor", entry<&set_array<"creator">>()},
        {kDublinCore, "call_000_SetPublisher", entry<&set_one_of_array<"publisher">>()},
        {kDublinCore, "call_001_SetPublisher", entry<&set_array<"publisher">>()},
        {kDublinCore, "call_000_SetTitleStr", entry<&set_alternative<"title">>()},
        {kDublinCore, "call_000_SetTitleLangAlt", entry<&set_alternatives<"title">>()},
        {kDublinCore, "call_000_SetDescriptionStr", entry<&set_alternative<"description">>()},
        {kDublinCore, "call_000_SetDescriptionLangAlt", entry<&set_alternatives<"description">>()},
        {kDublinCore, "call_000_SetSubjectArray", entry<&set_array<"subject">>()},
        {kDublinCore, "call_000_SetAuthorArray", entry<&set_array<"creator">>()},
        {kDublinCore, "call_000_SetPublisherArray", entry<&set_array<"publisher">>()},

        {kPdf, "call_000_SetKeywords", entry<&set_text<"Keywords">>()},
        {kPdf, "call_000_SetPdfVersion", entry<&set_text<"PDFVersion">>()},
        {kPdf, "call_000_SetProducer", entry<&set_text<"Producer">>()},
        {kPdf, "call_000_SetTrapped", entry<&set_bool<"Trapped">>()},

        {kPhotoshop, "call_000_SetAuthorsPosition", entry<&set_text<"AuthorsPosition">>()},
        {kPhotoshop, "call_000_SetCaptionWriter", entry<&set_text<"CaptionWriter">>()},
        {kPhotoshop, "call_000_SetCategory", entry<&set_text<"Category">>()},
        {kPhotoshop, "call_000_SetCity", entry<&set_text<"City">>()},
        {kPhotoshop, "call_000_SetColorMode", entry<&set_int<"ColorMode">>()},
        {kPhotoshop, "call_000_SetCountry", entry<&set_text<"Country">>()},
        {kPhotoshop, "call_000_SetCredit", entry<&set_text<"Credit">>()},
        {kPhotoshop, "call_000_SetCreatedDate", entry<&set_date<"DateCreated">>()},
        {kPhotoshop, "call_000_SetDocumentAncestors", entry<&set_array<"DocumentAncestors">>()},
        {kPhotoshop, "call_000_SetHeadline", entry<&set_text<"Headline">>()},
        {kPhotoshop, "call_000_SetHistory", entry<&set_text<"History">>()},
        {kPhotoshop, "call_000_SetIccProfile", entry<&set_text<"ICCProfile">>()},
        {kPhotoshop, "call_000_SetInstructions", entry<&set_text<"Instructions">>()},
        {kPhotoshop, "call_000_SetSource", entry<&set_text<"Source">>()},
        {kPhotoshop, "call_000_SetState", entry<&set_text<"State">>()},
        {kPhotoshop, "call_000_SetSupplementalCategories", entry<&set_array<"SupplementalCategories">>()},
        {kPhotoshop, "call_000_SetTransmissionReference", entry<&set_text<"TransmissionReference">>()},
        {kPhotoshop, "call_000_SetUrgency", entry<&set_urgency>()},
        {kPhotoshop, "getsa_UrgencyMax", entry<&constant<kUrgencyMax>>()},
        {kPhotoshop, "getsa_UrgencyMin", entry<&constant<kUrgencyMin>>()},
    });

const BehaviorTable xmp_tables(
    Assembly::kImaging,
    {
        {kBasic, "ctor_001_XmpBasicPackage", entry<&custom_package>()},
        {kBasic, "call_000_SetCreatedDate", entry<&set_date<"CreateDate">>()},
        {kBasic, "call_000_SetMetadataDate", entry<&set_date<"MetadataDate">>()},
        {kBasic, "call_000_SetModifyDate", entry<&set_date<"ModifyDate">>()},
        {kBasic, "call_001_SetCreatedDate", entry<&set_date_text<"CreateDate">>()},
        {kBasic, "call_001_SetMetadataDate", entry<&set_date_text<"MetadataDate">>()},
        {kBasic, "call_001_SetModifyDate", entry<&set_date_text<"ModifyDate">>()},
        {kBasic, "call_000_SetCreatedDateStr", entry<&set_date_text<"CreateDate">>()},
        {kBasic, "call_000_SetMetadataDateStr", entry<&set_date_text<"MetadataDate">>()},
        {kBasic, "call_000_SetModifyDateStr", entry<&set_date_text<"ModifyDate">>()},
        {kBasic, "call_000_SetCreatorTool", entry<&set_text<"CreatorTool">>()},
        {kBasic, "call_000_SetIdentifier", entry<&set_array<"Identifier">>()},
        {kBasic, "call_000_SetLabel", entry<&set_text<"Label">>()},
        {kBasic, "call_000_SetRating", entry<&set_rating>()},
        {kBasic, "getsa_RatingMax", entry<&constant<kRatingMax>>()},
        {kBasic, "getsa_RatingMin", entry<&constant<kRatingMin>>()},
        {kBasic, "getsa_RatingRejected", entry<&constant<kRatingRejected>>()},

        {kMedia, "call_000_SetAbsPeakAudioFilePath", entry<&set_text<"absPeakAudioFilePath">>()},
        {kMedia, "call_000_SetAlblum", entry<&set_text<"album">>()},
        {kMedia, "call_000_SetAltTapeName", entry<&set_text<"altTapeName">>()},
        {kMedia, "call_000_SetAltTimeCode", entry<&set_typed<"altTimecode">>()},
        {kMedia, "call_000_SetArtist", entry<&set_text<"artist">>()},
        {kMedia, "call_000_SetAudioChannelType", entry<&set_token<"audioChannelType">>()},
        {kMedia, "call_000_SetAudioSampleRate", entry<&set_int<"audioSampleRate">>()},
        {kMedia, "call_000_SetAudioSampleType", entry<&set_token<"audioSampleType">>()},
        {kMedia, "call_000_SetCameraAngle", entry<&set_text<"cameraAngle">>()},
        {kMedia, "call_000_SetCameraLabel", entry<&set_text<"cameraLabel">>()},
        {kMedia, "call_000_SetCameraMove", entry<&set_text<"cameraMove">>()},
        {kMedia, "call_000_SetClient", entry<&set_text<"client">>()},
        {kMedia, "call_000_SetComment", entry<&set_text<"comment">>()},
        {kMedia, "call_000_SetComposer", entry<&set_text<"composer">>()},
        {kMedia, "call_000_SetDirector", entry<&set_text<"director">>()},
        {kMedia, "call_000_SetDirectorPhotography", entry<&set_text<"directorPhotography">>()},
        {kMedia, "call_000_SetDuration", entry<&set_typed<"duration">>()},
        {kMedia, "call_000_SetEngineer", entry<&set_text<"engineer">>()},
        {kMedia, "call_000_SetFileDataRate", entry<&set_typed<"fileDataRate">>()},
        {kMedia, "call_000_SetGenre", entry<&set_text<"genre">>()},
        {kMedia, "call_000_SetGood", entry<&set_bool<"good">>()},
        {kMedia, "call_000_SetInstrument", entry<&set_text<"instrument">>()},
        {kMedia, "call_000_SetIntroTime", entry<&set_typed<"introTime">>()},
        {kMedia, "call_000_SetKey", entry<&set_text<"key">>()},
        {kMedia, "call_000_SetLogComment", entry<&set_text<"logComment">>()},

        {kManagement, "call_000_SetDocumentId", entry<&set_guid<"DocumentID">>()},
        {kManagement, "call_000_SetInstanceId", entry<&set_guid<"InstanceID">>()},
        {kManagement, "call_000_SetOriginalDocumentId", entry<&set_guid<"OriginalDocumentID">>()},
        {kManagement, "call_000_SetDocumentIdAsGuid", entry<&set_guid<"DocumentID">>()},
        {kManagement, "call_000_SetInstanceIdAsGuid", entry<&set_guid<"InstanceID">>()},
        {kManagement, "call_000_SetOriginalDocumentIdAsGuid", entry<&set_guid<"OriginalDocumentID">>()},
        {kManagement, "call_001_SetDocumentId", entry<&set_text<"DocumentID">>()},
        {kManagement, "call_001_SetInstanceId", entry<&set_text<"InstanceID">>()},
        {kManagement, "call_001_SetOriginalDocumentId", entry<&set_text<"OriginalDocumentID">>()},
        {kManagement, "call_000_SetDerivedFrom", entry<&set_typed<"DerivedFrom">>()},

        {kRights, "call_000_SetCertificate", entry<&set_text<"Certificate">>()},
        {kRights, "call_000_SetMarkedAsRightManagement", entry<&set_bool<"Marked">>()},
        {kRights, "call_000_SetOwners", entry<&set_array<"Owner">>()},
        {kRights, "call_000_SetUsageTerms", entry<&set_alternatives<"UsageTerms">>()},
        {kRights, "call_000_SetWebStatement", entry<&set_text<"WebStatement">>()},
    });

// The constants of the static class of namespaces.
struct NamespaceConstant {
    const char* getter;
    const char* uri;
};
constexpr NamespaceConstant kConstants[] = {
    {"getsa_Dicom", ns::kDicom},
    {"getsa_DublinCore", ns::kDublinCore},
    {"getsa_Pdf", ns::kPdf},
    {"getsa_Photoshop", ns::kPhotoshop},
    {"getsa_Rdf", ns::kRdf},
    {"getsa_Xml", ns::kXml},
    {"getsa_XmpBasic", ns::kXmpBasic},
    {"getsa_XmpDm", ns::kXmpDm},
    {"getsa_XmpGraphics", ns::kXmpGraphics},
    {"getsa_XmpGraphicsThumbnail", ns::kXmpGraphicsThumbnail},
    {"getsa_XmpMm", ns::kXmpMm},
    {"getsa_XmpRights", ns::kXmpRights},
    {"getsa_XmpTypeDimensions", ns::kTypeDimensions},
    {"getsa_XmpTypeFont", ns::kTypeFont},
    {"getsa_XmpTypeResourceEvent", ns::kTypeResourceEvent},
    {"getsa_XmpTypeResourceRef", ns::kTypeResourceRef},
    {"getsa_XmpTypeVersion", ns::kTypeVersion},
};

template <size_t kIndex>
std::string namespace_constant() {
    return kConstants[kIndex].uri;
}

template <size_t... kIndex>
std::array<Behavior, sizeof...(kIndex)> namespace_behaviors(std::index_sequence<kIndex...>) {
    return {
        Behavior{"Zelmor.Imaging.Xmp.Namespaces", kConstants[kIndex].getter, entry<&namespace_constant<kIndex>>()}...};
}
const auto kNamespaceBehaviors = namespace_behaviors(std::make_index_sequence<std::size(kConstants)>());
const BehaviorTable namespace_table(Assembly::kImaging, std::span<const Behavior>(kNamespaceBehaviors));

}  // namespace

Ref<XmpPackageObject> make_xmp_package(const std::string& prefix, const std::string& uri) {
    for (const Schema& schema : kSchemas) {
        // The schema's own prefix: which one a file had means nothing.
        if (uri == schema.uri) {
            return make_ref<XmpPackageObject>(require_type(schema.type), schema.prefix, uri);
        }
    }
    return make_ref<XmpPackageObject>(require_type(kBasic), prefix, uri);
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
