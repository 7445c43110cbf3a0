// The published schemas: their namespaces, the properties that hold several values, and the setters of their packages.
#include <array>
#include <utility>

#include "generated/runtime/Zelmor.Imaging.Xmp.Schemas.Dicom.h"
#include "generated/runtime/Zelmor.Imaging.Xmp.Schemas.DublinCore.h"
#include "generated/runtime/Zelmor.Imaging.Xmp.Schemas.Pdf.h"
#include "generated/runtime/Zelmor.Imaging.Xmp.Schemas.Photoshop.h"
#include "generated/runtime/Zelmor.Imaging.Xmp.Schemas.XmpBaseSchema.h"
#include "generated/runtime/Zelmor.Imaging.Xmp.Schemas.XmpDm.h"
#include "generated/runtime/Zelmor.Imaging.Xmp.Schemas.XmpMm.h"
#include "generated/runtime/Zelmor.Imaging.Xmp.Schemas.XmpRm.h"
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

constexpr const char* kDicom = "Zelmor.Imaging.Xmp.Schemas.Dicom.DicomPackage";
constexpr const char* kDublinCore = "Zelmor.Imaging.Xmp.Schemas.DublinCore.DublinCorePackage";
constexpr const char* kPdf = "Zelmor.Imaging.Xmp.Schemas.Pdf.PdfPackage";
constexpr const char* kPhotoshop = "Zelmor.Imaging.Xmp.Schemas.Photoshop.PhotoshopPackage";
constexpr const char* kBasic = "Zelmor.Imaging.Xmp.Schemas.XmpBaseSchema.XmpBasicPackage";
constexpr const char* kMedia = "Zelmor.Imaging.Xmp.Schemas.XmpDm.XmpDynamicMediaPackage";
constexpr const char* kManagement = "Zelmor.Imaging.Xmp.Schemas.XmpMm.XmpMediaManagementPackage";
constexpr const char* kRights = "Zelmor.Imaging.Xmp.Schemas.XmpRm.XmpRightsManagementPackage";

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

using DicomPackageApi = api::Xmp::Schemas::Dicom::DicomPackage;
using DublinCorePackageApi = api::Xmp::Schemas::DublinCore::DublinCorePackage;
using PdfPackageApi = api::Xmp::Schemas::Pdf::PdfPackage;
using PhotoshopPackageApi = api::Xmp::Schemas::Photoshop::PhotoshopPackage;
using XmpBasicPackageApi = api::Xmp::Schemas::XmpBaseSchema::XmpBasicPackage;
using XmpDynamicMediaPackageApi = api::Xmp::Schemas::XmpDm::XmpDynamicMediaPackage;
using XmpMediaManagementPackageApi = api::Xmp::Schemas::XmpMm::XmpMediaManagementPackage;
using XmpRightsManagementPackageApi = api::Xmp::Schemas::XmpRm::XmpRightsManagementPackage;

const BehaviorTable core_tables({
    behavior<&set_text<"EquipmentInstitution">, DicomPackageApi::call_000_SetEquipmentInstitution>(),
    behavior<&set_text<"EquipmentManufacturer">, DicomPackageApi::call_000_SetEquipmentManufacturer>(),
    behavior<&set_text<"PatientDOB">, DicomPackageApi::call_000_SetPatientBirthDate>(),
    behavior<&set_text<"PatientID">, DicomPackageApi::call_000_SetPatientId>(),
    behavior<&set_text<"PatientName">, DicomPackageApi::call_000_SetPatientName>(),
    behavior<&set_text<"PatientSex">, DicomPackageApi::call_000_SetPatientSex>(),
    behavior<&set_text<"SeriesDateTime">, DicomPackageApi::call_000_SetSeriesDateTime>(),
    behavior<&set_text<"SeriesDescription">, DicomPackageApi::call_000_SetSeriesDescription>(),
    behavior<&set_text<"SeriesModality">, DicomPackageApi::call_000_SetSeriesModality>(),
    behavior<&set_text<"SeriesNumber">, DicomPackageApi::call_000_SetSeriesNumber>(),
    behavior<&set_text<"StudyDateTime">, DicomPackageApi::call_000_SetStudyDateTime>(),
    behavior<&set_text<"StudyDescription">, DicomPackageApi::call_000_SetStudyDescription>(),
    behavior<&set_text<"StudyID">, DicomPackageApi::call_000_SetStudyId>(),
    behavior<&set_text<"StudyPhysician">, DicomPackageApi::call_000_SetStudyPhysician>(),
    behavior<&set_alternative<"title">, DublinCorePackageApi::call_000_SetTitle,
             DublinCorePackageApi::call_000_SetTitleStr>(),
    behavior<&set_alternatives<"title">, DublinCorePackageApi::call_001_SetTitle,
             DublinCorePackageApi::call_000_SetTitleLangAlt>(),
    behavior<&set_alternative<"description">, DublinCorePackageApi::call_000_SetDescription,
             DublinCorePackageApi::call_000_SetDescriptionStr>(),
    behavior<&set_alternatives<"description">, DublinCorePackageApi::call_001_SetDescription,
             DublinCorePackageApi::call_000_SetDescriptionLangAlt>(),
    behavior<&set_one_of_array<"subject">, DublinCorePackageApi::call_000_SetSubject>(),
    behavior<&set_array<"subject">, DublinCorePackageApi::call_001_SetSubject,
             DublinCorePackageApi::call_000_SetSubjectArray>(),
    behavior<&set_one_of_array<"creator">, DublinCorePackageApi::call_000_SetAuthor>(),
    behavior<&set_array<"creator">, DublinCorePackageApi::call_001_SetAuthor,
             DublinCorePackageApi::call_000_SetAuthorArray>(),
    behavior<&set_one_of_array<"publisher">, DublinCorePackageApi::call_000_SetPublisher>(),
    behavior<&set_array<"publisher">, DublinCorePackageApi::call_001_SetPublisher,
             DublinCorePackageApi::call_000_SetPublisherArray>(),
    behavior<&set_text<"Keywords">, PdfPackageApi::call_000_SetKeywords>(),
    behavior<&set_text<"PDFVersion">, PdfPackageApi::call_000_SetPdfVersion>(),
    behavior<&set_text<"Producer">, PdfPackageApi::call_000_SetProducer>(),
    behavior<&set_bool<"Trapped">, PdfPackageApi::call_000_SetTrapped>(),
    behavior<&set_text<"AuthorsPosition">, PhotoshopPackageApi::call_000_SetAuthorsPosition>(),
    behavior<&set_text<"CaptionWriter">, PhotoshopPackageApi::call_000_SetCaptionWriter>(),
    behavior<&set_text<"Category">, PhotoshopPackageApi::call_000_SetCategory>(),
    behavior<&set_text<"City">, PhotoshopPackageApi::call_000_SetCity>(),
    behavior<&set_int<"ColorMode">, PhotoshopPackageApi::call_000_SetColorMode>(),
    behavior<&set_text<"Country">, PhotoshopPackageApi::call_000_SetCountry>(),
    behavior<&set_text<"Credit">, PhotoshopPackageApi::call_000_SetCredit>(),
    behavior<&set_date<"DateCreated">, PhotoshopPackageApi::call_000_SetCreatedDate>(),
    behavior<&set_array<"DocumentAncestors">, PhotoshopPackageApi::call_000_SetDocumentAncestors>(),
    behavior<&set_text<"Headline">, PhotoshopPackageApi::call_000_SetHeadline>(),
    behavior<&set_text<"History">, PhotoshopPackageApi::call_000_SetHistory>(),
    behavior<&set_text<"ICCProfile">, PhotoshopPackageApi::call_000_SetIccProfile>(),
    behavior<&set_text<"Instructions">, PhotoshopPackageApi::call_000_SetInstructions>(),
    behavior<&set_text<"Source">, PhotoshopPackageApi::call_000_SetSource>(),
    behavior<&set_text<"State">, PhotoshopPackageApi::call_000_SetState>(),
    behavior<&set_array<"SupplementalCategories">, PhotoshopPackageApi::call_000_SetSupplementalCategories>(),
    behavior<&set_text<"TransmissionReference">, PhotoshopPackageApi::call_000_SetTransmissionReference>(),
    behavior<&set_urgency, PhotoshopPackageApi::call_000_SetUrgency>(),
    behavior<&constant<kUrgencyMax>, PhotoshopPackageApi::getsa_UrgencyMax>(),
    behavior<&constant<kUrgencyMin>, PhotoshopPackageApi::getsa_UrgencyMin>(),
});

const BehaviorTable xmp_tables({
    behavior<&custom_package, XmpBasicPackageApi::ctor_001_XmpBasicPackage>(),
    behavior<&set_date<"CreateDate">, XmpBasicPackageApi::call_000_SetCreatedDate>(),
    behavior<&set_date<"MetadataDate">, XmpBasicPackageApi::call_000_SetMetadataDate>(),
    behavior<&set_date<"ModifyDate">, XmpBasicPackageApi::call_000_SetModifyDate>(),
    behavior<&set_date_text<"CreateDate">, XmpBasicPackageApi::call_001_SetCreatedDate,
             XmpBasicPackageApi::call_000_SetCreatedDateStr>(),
    behavior<&set_date_text<"MetadataDate">, XmpBasicPackageApi::call_001_SetMetadataDate,
             XmpBasicPackageApi::call_000_SetMetadataDateStr>(),
    behavior<&set_date_text<"ModifyDate">, XmpBasicPackageApi::call_001_SetModifyDate,
             XmpBasicPackageApi::call_000_SetModifyDateStr>(),
    behavior<&set_text<"CreatorTool">, XmpBasicPackageApi::call_000_SetCreatorTool>(),
    behavior<&set_array<"Identifier">, XmpBasicPackageApi::call_000_SetIdentifier>(),
    behavior<&set_text<"Label">, XmpBasicPackageApi::call_000_SetLabel>(),
    behavior<&set_rating, XmpBasicPackageApi::call_000_SetRating>(),
    behavior<&constant<kRatingMax>, XmpBasicPackageApi::getsa_RatingMax>(),
    behavior<&constant<kRatingMin>, XmpBasicPackageApi::getsa_RatingMin>(),
    behavior<&constant<kRatingRejected>, XmpBasicPackageApi::getsa_RatingRejected>(),
    behavior<&set_text<"absPeakAudioFilePath">, XmpDynamicMediaPackageApi::call_000_SetAbsPeakAudioFilePath>(),
    behavior<&set_text<"album">, XmpDynamicMediaPackageApi::call_000_SetAlblum>(),
    behavior<&set_text<"altTapeName">, XmpDynamicMediaPackageApi::call_000_SetAltTapeName>(),
    behavior<&set_typed<"altTimecode">, XmpDynamicMediaPackageApi::call_000_SetAltTimeCode>(),
    behavior<&set_text<"artist">, XmpDynamicMediaPackageApi::call_000_SetArtist>(),
    behavior<&set_token<"audioChannelType">, XmpDynamicMediaPackageApi::call_000_SetAudioChannelType>(),
    behavior<&set_int<"audioSampleRate">, XmpDynamicMediaPackageApi::call_000_SetAudioSampleRate>(),
    behavior<&set_token<"audioSampleType">, XmpDynamicMediaPackageApi::call_000_SetAudioSampleType>(),
    behavior<&set_text<"cameraAngle">, XmpDynamicMediaPackageApi::call_000_SetCameraAngle>(),
    behavior<&set_text<"cameraLabel">, XmpDynamicMediaPackageApi::call_000_SetCameraLabel>(),
    behavior<&set_text<"cameraMove">, XmpDynamicMediaPackageApi::call_000_SetCameraMove>(),
    behavior<&set_text<"client">, XmpDynamicMediaPackageApi::call_000_SetClient>(),
    behavior<&set_text<"comment">, XmpDynamicMediaPackageApi::call_000_SetComment>(),
    behavior<&set_text<"composer">, XmpDynamicMediaPackageApi::call_000_SetComposer>(),
    behavior<&set_text<"director">, XmpDynamicMediaPackageApi::call_000_SetDirector>(),
    behavior<&set_text<"directorPhotography">, XmpDynamicMediaPackageApi::call_000_SetDirectorPhotography>(),
    behavior<&set_typed<"duration">, XmpDynamicMediaPackageApi::call_000_SetDuration>(),
    behavior<&set_text<"engineer">, XmpDynamicMediaPackageApi::call_000_SetEngineer>(),
    behavior<&set_typed<"fileDataRate">, XmpDynamicMediaPackageApi::call_000_SetFileDataRate>(),
    behavior<&set_text<"genre">, XmpDynamicMediaPackageApi::call_000_SetGenre>(),
    behavior<&set_bool<"good">, XmpDynamicMediaPackageApi::call_000_SetGood>(),
    behavior<&set_text<"instrument">, XmpDynamicMediaPackageApi::call_000_SetInstrument>(),
    behavior<&set_typed<"introTime">, XmpDynamicMediaPackageApi::call_000_SetIntroTime>(),
    behavior<&set_text<"key">, XmpDynamicMediaPackageApi::call_000_SetKey>(),
    behavior<&set_text<"logComment">, XmpDynamicMediaPackageApi::call_000_SetLogComment>(),
    behavior<&set_guid<"DocumentID">, XmpMediaManagementPackageApi::call_000_SetDocumentId,
             XmpMediaManagementPackageApi::call_000_SetDocumentIdAsGuid>(),
    behavior<&set_guid<"InstanceID">, XmpMediaManagementPackageApi::call_000_SetInstanceId,
             XmpMediaManagementPackageApi::call_000_SetInstanceIdAsGuid>(),
    behavior<&set_guid<"OriginalDocumentID">, XmpMediaManagementPackageApi::call_000_SetOriginalDocumentId,
             XmpMediaManagementPackageApi::call_000_SetOriginalDocumentIdAsGuid>(),
    behavior<&set_text<"DocumentID">, XmpMediaManagementPackageApi::call_001_SetDocumentId>(),
    behavior<&set_text<"InstanceID">, XmpMediaManagementPackageApi::call_001_SetInstanceId>(),
    behavior<&set_text<"OriginalDocumentID">, XmpMediaManagementPackageApi::call_001_SetOriginalDocumentId>(),
    behavior<&set_typed<"DerivedFrom">, XmpMediaManagementPackageApi::call_000_SetDerivedFrom>(),
    behavior<&set_text<"Certificate">, XmpRightsManagementPackageApi::call_000_SetCertificate>(),
    behavior<&set_bool<"Marked">, XmpRightsManagementPackageApi::call_000_SetMarkedAsRightManagement>(),
    behavior<&set_array<"Owner">, XmpRightsManagementPackageApi::call_000_SetOwners>(),
    behavior<&set_alternatives<"UsageTerms">, XmpRightsManagementPackageApi::call_000_SetUsageTerms>(),
    behavior<&set_text<"WebStatement">, XmpRightsManagementPackageApi::call_000_SetWebStatement>(),
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
