// The setters of the packages of the published schemas: each writes one property of XMP.
#include "runtime/native/behaviors/metadata/xmp/iso_date.h"
#include "runtime/native/behaviors/metadata/xmp/xml_text.h"
#include "runtime/native/behaviors/metadata/xmp/xmp_arrays.h"
#include "runtime/native/behaviors/metadata/xmp/xmp_package.h"
#include "runtime/native/behaviors/metadata/xmp/xmp_schema_names.h"
#include "runtime/native/behaviors/metadata/xmp/xmp_types.h"
#include "runtime/native/core/entry.h"
#include "runtime/native/core/managed_exception.h"
#include "runtime/native/delegates/row_behavior.h"

namespace zelmor::embed {

namespace {

struct Setter;
// The kind of a setter is the function that makes its behavior.
using Kind = Behavior (*)(const EntryName* const& name, const Setter& row);

struct Setter {
    const EntryName* entry;
    Kind kind;
    const char* property;  // of XMP, without the prefix of its schema
};

void set_text(const Setter& row, XmpPackageObject& self, const std::u16string& value) {
    self.set(row.property, value);
}

void set_boolean(const Setter& row, XmpPackageObject& self, bool value) {
    self.set(row.property, value);
}

void set_integer(const Setter& row, XmpPackageObject& self, int32_t value) {
    self.set(row.property, int64_t{value});
}

// Text that has to be a date: other text is refused.
void set_date_text(const Setter& row, XmpPackageObject& self, const std::string& value) {
    parse_iso_date(value);
    self.set(row.property, to_utf16(value));
}

void set_date(const Setter& row, XmpPackageObject& self, const DateTimeValue& value) {
    self.set(row.property, value);
}

void set_default_text(const Setter& row, XmpPackageObject& self, const std::string& value) {
    auto texts = make_ref<LangAltObject>();
    texts->set(std::string(LangAltObject::kDefault), value);
    self.set(row.property, Ref<ManagedObject>(texts));
}

void set_texts(const Setter& row, XmpPackageObject& self, LangAltObject* value) {
    if (value == nullptr) {
        throw_argument_null("a LangAlt");
    }
    self.set(row.property, Ref<ManagedObject>(value));
}

void set_one_item(const Setter& row, XmpPackageObject& self, const std::string& value) {
    self.remove(row.property);
    self.add(row.property, value);
}

void set_items(const Setter& row, XmpPackageObject& self, const VariantArg* items) {
    const auto texts = read_elements(items, element_of(Wire::kString), "an array of texts");
    const XmpContainer* container = find_xmp_container(self.uri(), row.property);
    auto array = make_ref<XmpArrayObject>(container != nullptr ? container->kind : XmpArrayKind::kUnordered);
    for (const Value& text : texts) {
        array->add(to_utf8(text_of_value(text)));
    }
    self.set(row.property, Ref<ManagedObject>(array));
}

void set_structure(const Setter& row, XmpPackageObject& self, XmpTypeObject* value) {
    if (value == nullptr) {
        throw_argument_null("a value of XMP");
    }
    self.set(row.property, Ref<ManagedObject>(value));
}

void set_token(const Setter& row, XmpPackageObject& self, XmpTokenObject* value) {
    if (value == nullptr) {
        throw_argument_null("a ready-made value");
    }
    self.set(row.property, to_utf16(value->token()));
}

void set_guid(const Setter& row, XmpPackageObject& self, const GuidValue& value) {
    self.set(row.property, u"uuid:" + text_of(value));
}

constexpr Kind kText = &row_behavior<&set_text>;
constexpr Kind kBoolean = &row_behavior<&set_boolean>;
constexpr Kind kInteger = &row_behavior<&set_integer>;
constexpr Kind kDate = &row_behavior<&set_date>;
constexpr Kind kDateText = &row_behavior<&set_date_text>;
constexpr Kind kDefaultText = &row_behavior<&set_default_text>;  // of a language alternative
constexpr Kind kTexts = &row_behavior<&set_texts>;               // a language alternative
constexpr Kind kOneItem = &row_behavior<&set_one_item>;          // of an array
constexpr Kind kItems = &row_behavior<&set_items>;               // an array
constexpr Kind kStructure = &row_behavior<&set_structure>;
constexpr Kind kToken = &row_behavior<&set_token>;
constexpr Kind kGuid = &row_behavior<&set_guid>;

using namespace xmp_schema_names;

constexpr Setter kSetters[] = {
    {&Dicom::call_000_SetEquipmentInstitution, kText, "EquipmentInstitution"},
    {&Dicom::call_000_SetEquipmentManufacturer, kText, "EquipmentManufacturer"},
    {&Dicom::call_000_SetPatientBirthDate, kText, "PatientDOB"},
    {&Dicom::call_000_SetPatientId, kText, "PatientID"},
    {&Dicom::call_000_SetPatientName, kText, "PatientName"},
    {&Dicom::call_000_SetPatientSex, kText, "PatientSex"},
    {&Dicom::call_000_SetSeriesDateTime, kText, "SeriesDateTime"},
    {&Dicom::call_000_SetSeriesDescription, kText, "SeriesDescription"},
    {&Dicom::call_000_SetSeriesModality, kText, "SeriesModality"},
    {&Dicom::call_000_SetSeriesNumber, kText, "SeriesNumber"},
    {&Dicom::call_000_SetStudyDateTime, kText, "StudyDateTime"},
    {&Dicom::call_000_SetStudyDescription, kText, "StudyDescription"},
    {&Dicom::call_000_SetStudyId, kText, "StudyID"},
    {&Dicom::call_000_SetStudyPhysician, kText, "StudyPhysician"},

    {&DublinCore::call_000_SetTitle, kDefaultText, "title"},
    {&DublinCore::call_000_SetTitleStr, kDefaultText, "title"},
    {&DublinCore::call_001_SetTitle, kTexts, "title"},
    {&DublinCore::call_000_SetTitleLangAlt, kTexts, "title"},
    {&DublinCore::call_000_SetDescription, kDefaultText, "description"},
    {&DublinCore::call_000_SetDescriptionStr, kDefaultText, "description"},
    {&DublinCore::call_001_SetDescription, kTexts, "description"},
    {&DublinCore::call_000_SetDescriptionLangAlt, kTexts, "description"},
    {&DublinCore::call_000_SetSubject, kOneItem, "subject"},
    {&DublinCore::call_001_SetSubject, kItems, "subject"},
    {&DublinCore::call_000_SetSubjectArray, kItems, "subject"},
    {&DublinCore::call_000_SetAuthor, kOneItem, "creator"},
    {&DublinCore::call_001_SetAuthor, kItems, "creator"},
    {&DublinCore::call_000_SetAuthorArray, kItems, "creator"},
    {&DublinCore::call_000_SetPublisher, kOneItem, "publisher"},
    {&DublinCore::call_001_SetPublisher, kItems, "publisher"},
    {&DublinCore::call_000_SetPublisherArray, kItems, "publisher"},

    {&Pdf::call_000_SetKeywords, kText, "Keywords"},
    {&Pdf::call_000_SetPdfVersion, kText, "PDFVersion"},
    {&Pdf::call_000_SetProducer, kText, "Producer"},
    {&Pdf::call_000_SetTrapped, kBoolean, "Trapped"},

    {&Photoshop::call_000_SetAuthorsPosition, kText, "AuthorsPosition"},
    {&Photoshop::call_000_SetCaptionWriter, kText, "CaptionWriter"},
    {&Photoshop::call_000_SetCategory, kText, "Category"},
    {&Photoshop::call_000_SetCity, kText, "City"},
    {&Photoshop::call_000_SetColorMode, kInteger, "ColorMode"},
    {&Photoshop::call_000_SetCountry, kText, "Country"},
    {&Photoshop::call_000_SetCredit, kText, "Credit"},
    {&Photoshop::call_000_SetCreatedDate, kDate, "DateCreated"},
    {&Photoshop::call_000_SetDocumentAncestors, kItems, "DocumentAncestors"},
    {&Photoshop::call_000_SetHeadline, kText, "Headline"},
    {&Photoshop::call_000_SetHistory, kText, "History"},
    {&Photoshop::call_000_SetIccProfile, kText, "ICCProfile"},
    {&Photoshop::call_000_SetInstructions, kText, "Instructions"},
    {&Photoshop::call_000_SetSource, kText, "Source"},
    {&Photoshop::call_000_SetState, kText, "State"},
    {&Photoshop::call_000_SetSupplementalCategories, kItems, "SupplementalCategories"},
    {&Photoshop::call_000_SetTransmissionReference, kText, "TransmissionReference"},

    {&Basic::call_000_SetCreatedDate, kDate, "CreateDate"},
    {&Basic::call_000_SetMetadataDate, kDate, "MetadataDate"},
    {&Basic::call_000_SetModifyDate, kDate, "ModifyDate"},
    {&Basic::call_001_SetCreatedDate, kDateText, "CreateDate"},
    {&Basic::call_000_SetCreatedDateStr, kDateText, "CreateDate"},
    {&Basic::call_001_SetMetadataDate, kDateText, "MetadataDate"},
    {&Basic::call_000_SetMetadataDateStr, kDateText, "MetadataDate"},
    {&Basic::call_001_SetModifyDate, kDateText, "ModifyDate"},
    {&Basic::call_000_SetModifyDateStr, kDateText, "ModifyDate"},
    {&Basic::call_000_SetCreatorTool, kText, "CreatorTool"},
    {&Basic::call_000_SetIdentifier, kItems, "Identifier"},
    {&Basic::call_000_SetLabel, kText, "Label"},

    {&DynamicMedia::call_000_SetAbsPeakAudioFilePath, kText, "absPeakAudioFilePath"},
    {&DynamicMedia::call_000_SetAlblum, kText, "album"},
    {&DynamicMedia::call_000_SetAltTapeName, kText, "altTapeName"},
    {&DynamicMedia::call_000_SetAltTimeCode, kStructure, "altTimecode"},
    {&DynamicMedia::call_000_SetArtist, kText, "artist"},
    {&DynamicMedia::call_000_SetAudioChannelType, kToken, "audioChannelType"},
    {&DynamicMedia::call_000_SetAudioSampleRate, kInteger, "audioSampleRate"},
    {&DynamicMedia::call_000_SetAudioSampleType, kToken, "audioSampleType"},
    {&DynamicMedia::call_000_SetCameraAngle, kText, "cameraAngle"},
    {&DynamicMedia::call_000_SetCameraLabel, kText, "cameraLabel"},
    {&DynamicMedia::call_000_SetCameraMove, kText, "cameraMove"},
    {&DynamicMedia::call_000_SetClient, kText, "client"},
    {&DynamicMedia::call_000_SetComment, kText, "comment"},
    {&DynamicMedia::call_000_SetComposer, kText, "composer"},
    {&DynamicMedia::call_000_SetDirector, kText, "director"},
    {&DynamicMedia::call_000_SetDirectorPhotography, kText, "directorPhotography"},
    {&DynamicMedia::call_000_SetDuration, kStructure, "duration"},
    {&DynamicMedia::call_000_SetEngineer, kText, "engineer"},
    {&DynamicMedia::call_000_SetFileDataRate, kStructure, "fileDataRate"},
    {&DynamicMedia::call_000_SetGenre, kText, "genre"},
    {&DynamicMedia::call_000_SetGood, kBoolean, "good"},
    {&DynamicMedia::call_000_SetInstrument, kText, "instrument"},
    {&DynamicMedia::call_000_SetIntroTime, kStructure, "introTime"},
    {&DynamicMedia::call_000_SetKey, kText, "key"},
    {&DynamicMedia::call_000_SetLogComment, kText, "logComment"},

    {&MediaManagement::call_000_SetDocumentId, kGuid, "DocumentID"},
    {&MediaManagement::call_000_SetDocumentIdAsGuid, kGuid, "DocumentID"},
    {&MediaManagement::call_000_SetInstanceId, kGuid, "InstanceID"},
    {&MediaManagement::call_000_SetInstanceIdAsGuid, kGuid, "InstanceID"},
    {&MediaManagement::call_000_SetOriginalDocumentId, kGuid, "OriginalDocumentID"},
    {&MediaManagement::call_000_SetOriginalDocumentIdAsGuid, kGuid, "OriginalDocumentID"},
    {&MediaManagement::call_001_SetDocumentId, kText, "DocumentID"},
    {&MediaManagement::call_001_SetInstanceId, kText, "InstanceID"},
    {&MediaManagement::call_001_SetOriginalDocumentId, kText, "OriginalDocumentID"},
    {&MediaManagement::call_000_SetDerivedFrom, kStructure, "DerivedFrom"},

    {&RightsManagement::call_000_SetCertificate, kText, "Certificate"},
    {&RightsManagement::call_000_SetMarkedAsRightManagement, kBoolean, "Marked"},
    {&RightsManagement::call_000_SetOwners, kItems, "Owner"},
    {&RightsManagement::call_000_SetUsageTerms, kTexts, "UsageTerms"},
    {&RightsManagement::call_000_SetWebStatement, kText, "WebStatement"},
};

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

const BehaviorTable ZELMOR_UNNAMED(each_row(kSetters, [](const Setter& row) { return row.kind(row.entry, row); }));
const BehaviorTable ZELMOR_UNNAMED({
    behavior<&set_urgency, Photoshop::call_000_SetUrgency>(),
    behavior<&constant<kUrgencyMax>, Photoshop::getsa_UrgencyMax>(),
    behavior<&constant<kUrgencyMin>, Photoshop::getsa_UrgencyMin>(),
    behavior<&set_rating, Basic::call_000_SetRating>(),
    behavior<&constant<kRatingMax>, Basic::getsa_RatingMax>(),
    behavior<&constant<kRatingMin>, Basic::getsa_RatingMin>(),
    behavior<&constant<kRatingRejected>, Basic::getsa_RatingRejected>(),
});

}  // namespace

}  // namespace zelmor::embed
