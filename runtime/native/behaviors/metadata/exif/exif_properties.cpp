// The named properties of EXIF data: which tag each is, and how its value is read and written.
//
// A property without its tag is None, or zero or the first member where it is a number or an enumeration. Setting None
// removes the tag.
#include <algorithm>
#include <cassert>
#include <string>

#include "generated/runtime/Zelmor.Imaging.Exif.Enums.h"
#include "generated/runtime/Zelmor.Imaging.Exif.h"
#include "runtime/native/behaviors/metadata/exif/exif_data.h"
#include "runtime/native/behaviors/metadata/tiff/rationals.h"
#include "runtime/native/behaviors/metadata/tiff/tag_values.h"
#include "runtime/native/core/entry.h"
#include "runtime/native/core/managed_exception.h"
#include "runtime/native/delegates/row_behavior.h"

namespace zelmor::embed {

namespace {

enum class ExifKind : uint8_t {
    kText,
    kBytes,
    kArray,     // of the element that the property has in the catalogue
    kRational,  // one fraction, of either kind
    kInteger,   // a number or an enumeration, in 32 bits
    kComment,   // text behind the name of its encoding
};

struct ExifProperty {
    const PropertyName& property;
    ExifDirectory directory;
    uint16_t id;
    TiffType type;  // that the tag is made with
    ExifKind kind;
    int32_t without_tag = 0;  // what the format states for a number without a tag; 0: nothing
};

using Exif = api::Exif::ExifData;
using JpegExif = api::Exif::JpegExifData;
using ExifTag = api::Exif::ExifProperties;
constexpr ExifDirectory kCommon = ExifDirectory::kCommon;
constexpr ExifDirectory kOfExif = ExifDirectory::kExif;
constexpr ExifDirectory kGps = ExifDirectory::kGps;

constexpr ExifProperty text(const PropertyName& property, ExifDirectory directory, ExifTag tag) {
    return {property, directory, number_of(tag), TiffType::kAscii, ExifKind::kText};
}
constexpr ExifProperty bytes(const PropertyName& property, ExifDirectory directory, ExifTag tag,
                             TiffType type = TiffType::kUndefined) {
    return {property, directory, number_of(tag), type, ExifKind::kBytes};
}
constexpr ExifProperty comment(const PropertyName& property, ExifDirectory directory, ExifTag tag) {
    return {property, directory, number_of(tag), TiffType::kUndefined, ExifKind::kComment};
}
constexpr ExifProperty fraction(const PropertyName& property, ExifDirectory directory, ExifTag tag) {
    return {property, directory, number_of(tag), TiffType::kRational, ExifKind::kRational};
}
constexpr ExifProperty signed_fraction(const PropertyName& property, ExifDirectory directory, ExifTag tag) {
    return {property, directory, number_of(tag), TiffType::kSrational, ExifKind::kRational};
}
constexpr ExifProperty fractions(const PropertyName& property, ExifDirectory directory, ExifTag tag) {
    return {property, directory, number_of(tag), TiffType::kRational, ExifKind::kArray};
}
constexpr ExifProperty shorts(const PropertyName& property, ExifDirectory directory, ExifTag tag) {
    return {property, directory, number_of(tag), TiffType::kShort, ExifKind::kArray};
}
constexpr ExifProperty number(const PropertyName& property, ExifDirectory directory, ExifTag tag,
                              TiffType type = TiffType::kShort) {
    return {property, directory, number_of(tag), type, ExifKind::kInteger};
}

// Of resolutions, which the format takes for inches if nothing is said.
constexpr ExifProperty unit(const PropertyName& property, ExifDirectory directory, ExifTag tag) {
    return {property,         directory,          number_of(tag),
            TiffType::kShort, ExifKind::kInteger, static_cast<int32_t>(api::Exif::Enums::ExifUnit::kInch)};
}

constexpr ExifProperty kExifProperties[] = {
    text(Exif::property_Make, kCommon, ExifTag::kMake),
    fractions(Exif::property_WhitePoint, kCommon, ExifTag::kWhitePoint),

    fraction(Exif::property_ApertureValue, kOfExif, ExifTag::kApertureValue),
    text(Exif::property_BodySerialNumber, kOfExif, ExifTag::kBodySerialNumber),
    signed_fraction(Exif::property_BrightnessValue, kOfExif, ExifTag::kBrightnessValue),
    bytes(Exif::property_CFAPattern, kOfExif, ExifTag::kCfaPattern),
    text(Exif::property_CameraOwnerName, kOfExif, ExifTag::kCameraOwnerName),
    number(Exif::property_ColorSpace, kOfExif, ExifTag::kColorSpace),
    bytes(Exif::property_ComponentsConfiguration, kOfExif, ExifTag::kComponentsConfiguration),
    fraction(Exif::property_CompressedBitsPerPixel, kOfExif, ExifTag::kCompressedBitsPerPixel),
    number(Exif::property_Contrast, kOfExif, ExifTag::kContrast),
    number(Exif::property_CustomRendered, kOfExif, ExifTag::kCustomRendered),
    text(Exif::property_DateTimeDigitized, kOfExif, ExifTag::kDateTimeDigitized),
    text(Exif::property_DateTimeOriginal, kOfExif, ExifTag::kDateTimeOriginal),
    bytes(Exif::property_DeviceSettingDescription, kOfExif, ExifTag::kDeviceSettingDescription),
    fraction(Exif::property_DigitalZoomRatio, kOfExif, ExifTag::kDigitalZoomRatio),
    bytes(Exif::property_ExifVersion, kOfExif, ExifTag::kExifVersion),
    signed_fraction(Exif::property_ExposureBiasValue, kOfExif, ExifTag::kExposureBiasValue),
    fraction(Exif::property_ExposureIndex, kOfExif, ExifTag::kExposureIndex),
    number(Exif::property_ExposureMode, kOfExif, ExifTag::kExposureMode),
    number(Exif::property_ExposureProgram, kOfExif, ExifTag::kExposureProgram),
    fraction(Exif::property_ExposureTime, kOfExif, ExifTag::kExposureTime),
    fraction(Exif::property_FNumber, kOfExif, ExifTag::kFNumber),
    number(Exif::property_FileSource, kOfExif, ExifTag::kFileSource, TiffType::kUndefined),
    number(Exif::property_Flash, kOfExif, ExifTag::kFlash),
    fraction(Exif::property_FlashEnergy, kOfExif, ExifTag::kFlashEnergy),
    bytes(Exif::property_FlashpixVersion, kOfExif, ExifTag::kFlashpixVersion),
    fraction(Exif::property_FocalLength, kOfExif, ExifTag::kFocalLength),
    number(Exif::property_FocalLengthIn35MmFilm, kOfExif, ExifTag::kFocalLengthIn35MmFilm),
    unit(Exif::property_FocalPlaneResolutionUnit, kOfExif, ExifTag::kFocalPlaneResolutionUnit),
    fraction(Exif::property_FocalPlaneXResolution, kOfExif, ExifTag::kFocalPlaneXResolution),
    fraction(Exif::property_FocalPlaneYResolution, kOfExif, ExifTag::kFocalPlaneYResolution),
    number(Exif::property_GainControl, kOfExif, ExifTag::kGainControl),
    fraction(Exif::property_Gamma, kOfExif, ExifTag::kGamma),
    number(Exif::property_IsoSpeed, kOfExif, ExifTag::kIsoSpeed, TiffType::kLong),
    number(Exif::property_IsoSpeedLatitudeYyy, kOfExif, ExifTag::kIsoSpeedLatitudeYyy, TiffType::kLong),
    number(Exif::property_IsoSpeedLatitudeZzz, kOfExif, ExifTag::kIsoSpeedLatitudeZzz, TiffType::kLong),
    number(Exif::property_PhotographicSensitivity, kOfExif, ExifTag::kPhotographicSensitivity),
    text(Exif::property_ImageUniqueId, kOfExif, ExifTag::kImageUniqueId),
    text(Exif::property_LensMake, kOfExif, ExifTag::kLensMake),
    text(Exif::property_LensModel, kOfExif, ExifTag::kLensModel),
    text(Exif::property_LensSerialNumber, kOfExif, ExifTag::kLensSerialNumber),
    fractions(Exif::property_LensSpecification, kOfExif, ExifTag::kLensSpecification),
    number(Exif::property_LightSource, kOfExif, ExifTag::kLightSource),
    bytes(Exif::property_MakerNoteRawData, kOfExif, ExifTag::kMakerNote),
    fraction(Exif::property_MaxApertureValue, kOfExif, ExifTag::kMaxApertureValue),
    number(Exif::property_MeteringMode, kOfExif, ExifTag::kMeteringMode),
    bytes(Exif::property_Oecf, kOfExif, ExifTag::kOecf),
    number(Exif::property_PixelXDimension, kOfExif, ExifTag::kPixelXDimension, TiffType::kLong),
    number(Exif::property_PixelYDimension, kOfExif, ExifTag::kPixelYDimension, TiffType::kLong),
    number(Exif::property_RecommendedExposureIndex, kOfExif, ExifTag::kRecommendedExposureIndex, TiffType::kLong),
    text(Exif::property_RelatedSoundFile, kOfExif, ExifTag::kRelatedSoundFile),
    number(Exif::property_Saturation, kOfExif, ExifTag::kSaturation),
    number(Exif::property_SceneCaptureType, kOfExif, ExifTag::kSceneCaptureType),
    number(Exif::property_SceneType, kOfExif, ExifTag::kSceneType, TiffType::kUndefined),
    number(Exif::property_SensingMethod, kOfExif, ExifTag::kSensingMethod),
    number(Exif::property_SensitivityType, kOfExif, ExifTag::kSensitivityType),
    number(Exif::property_Sharpness, kOfExif, ExifTag::kSharpness),
    signed_fraction(Exif::property_ShutterSpeedValue, kOfExif, ExifTag::kShutterSpeedValue),
    bytes(Exif::property_SpatialFrequencyResponse, kOfExif, ExifTag::kSpatialFrequencyResponse),
    text(Exif::property_SpectralSensitivity, kOfExif, ExifTag::kSpectralSensitivity),
    number(Exif::property_StandardOutputSensitivity, kOfExif, ExifTag::kStandardOutputSensitivity, TiffType::kLong),
    shorts(Exif::property_SubjectArea, kOfExif, ExifTag::kSubjectArea),
    fraction(Exif::property_SubjectDistance, kOfExif, ExifTag::kSubjectDistance),
    number(Exif::property_SubjectDistanceRange, kOfExif, ExifTag::kSubjectDistanceRange),
    shorts(Exif::property_SubjectLocation, kOfExif, ExifTag::kSubjectLocation),
    text(Exif::property_SubsecTime, kOfExif, ExifTag::kSubsecTime),
    text(Exif::property_SubsecTimeDigitized, kOfExif, ExifTag::kSubsecTimeDigitized),
    text(Exif::property_SubsecTimeOriginal, kOfExif, ExifTag::kSubsecTimeOriginal),
    comment(Exif::property_UserComment, kOfExif, ExifTag::kUserComment),
    number(Exif::property_WhiteBalance, kOfExif, ExifTag::kWhiteBalance),

    fraction(Exif::property_GpsAltitude, kGps, ExifTag::kGpsAltitude),
    number(Exif::property_GpsAltitudeRef, kGps, ExifTag::kGpsAltitudeRef, TiffType::kByte),
    bytes(Exif::property_GpsAreaInformation, kGps, ExifTag::kGpsAreaInformation),
    fraction(Exif::property_Gpsdop, kGps, ExifTag::kGpsdop),
    fraction(Exif::property_GpsDestBearing, kGps, ExifTag::kGpsDestBearing),
    text(Exif::property_GpsDestBearingRef, kGps, ExifTag::kGpsDestBearingRef),
    fraction(Exif::property_GpsDestDistance, kGps, ExifTag::kGpsDestDistance),
    text(Exif::property_GpsDestDistanceRef, kGps, ExifTag::kGpsDestDistanceRef),
    fractions(Exif::property_GpsDestLatitude, kGps, ExifTag::kGpsDestLatitude),
    text(Exif::property_GpsDestLatitudeRef, kGps, ExifTag::kGpsDestLatitudeRef),
    fractions(Exif::property_GpsDestLongitude, kGps, ExifTag::kGpsDestLongitude),
    text(Exif::property_GpsDestLongitudeRef, kGps, ExifTag::kGpsDestLongitudeRef),
    number(Exif::property_GpsDifferential, kGps, ExifTag::kGpsDifferential),
    fraction(Exif::property_GpsImgDirection, kGps, ExifTag::kGpsImgDirection),
    text(Exif::property_GpsImgDirectionRef, kGps, ExifTag::kGpsImgDirectionRef),
    text(Exif::property_GpsDateStamp, kGps, ExifTag::kGpsDateStamp),
    fractions(Exif::property_GpsLatitude, kGps, ExifTag::kGpsLatitude),
    text(Exif::property_GpsLatitudeRef, kGps, ExifTag::kGpsLatitudeRef),
    fractions(Exif::property_GpsLongitude, kGps, ExifTag::kGpsLongitude),
    text(Exif::property_GpsLongitudeRef, kGps, ExifTag::kGpsLongitudeRef),
    text(Exif::property_GpsMapDatum, kGps, ExifTag::kGpsMapDatum),
    text(Exif::property_GpsMeasureMode, kGps, ExifTag::kGpsMeasureMode),
    bytes(Exif::property_GpsProcessingMethod, kGps, ExifTag::kGpsProcessingMethod),
    text(Exif::property_GpsSatellites, kGps, ExifTag::kGpsSatellites),
    fraction(Exif::property_GpsSpeed, kGps, ExifTag::kGpsSpeed),
    text(Exif::property_GpsSpeedRef, kGps, ExifTag::kGpsSpeedRef),
    text(Exif::property_GpsStatus, kGps, ExifTag::kGpsStatus),
    fractions(Exif::property_GpsTimestamp, kGps, ExifTag::kGpsTimestamp),
    fractions(Exif::property_GpsTrack, kGps, ExifTag::kGpsTrack),
    text(Exif::property_GpsTrackRef, kGps, ExifTag::kGpsTrackRef),
    bytes(Exif::property_GpsVersionId, kGps, ExifTag::kGpsVersionId, TiffType::kByte),
};

constexpr ExifProperty kJpegProperties[] = {
    text(JpegExif::property_Artist, kCommon, ExifTag::kArtist),
    shorts(JpegExif::property_BitsPerSample, kCommon, ExifTag::kBitsPerSample),
    number(JpegExif::property_Compression, kCommon, ExifTag::kCompression),
    text(JpegExif::property_Copyright, kCommon, ExifTag::kCopyright),
    text(JpegExif::property_DateTime, kCommon, ExifTag::kDateTime),
    text(JpegExif::property_ImageDescription, kCommon, ExifTag::kImageDescription),
    number(JpegExif::property_ImageLength, kCommon, ExifTag::kImageLength, TiffType::kLong),
    number(JpegExif::property_ImageWidth, kCommon, ExifTag::kImageWidth, TiffType::kLong),
    text(JpegExif::property_Model, kCommon, ExifTag::kModel),
    number(JpegExif::property_Orientation, kCommon, ExifTag::kOrientation),
    number(JpegExif::property_PhotometricInterpretation, kCommon, ExifTag::kPhotometricInterpretation),
    number(JpegExif::property_PlanarConfiguration, kCommon, ExifTag::kPlanarConfiguration),
    fractions(JpegExif::property_PrimaryChromaticities, kCommon, ExifTag::kPrimaryChromaticities),
    fractions(JpegExif::property_ReferenceBlackWhite, kCommon, ExifTag::kReferenceBlackWhite),
    unit(JpegExif::property_ResolutionUnit, kCommon, ExifTag::kResolutionUnit),
    number(JpegExif::property_SamplesPerPixel, kCommon, ExifTag::kSamplesPerPixel),
    text(JpegExif::property_Software, kCommon, ExifTag::kSoftware),
    shorts(JpegExif::property_TransferFunction, kCommon, ExifTag::kTransferFunction),
    fraction(JpegExif::property_XResolution, kCommon, ExifTag::kXResolution),
    fractions(JpegExif::property_YCbCrCoefficients, kCommon, ExifTag::kYCbCrCoefficients),
    number(JpegExif::property_YCbCrPositioning, kCommon, ExifTag::kYCbCrPositioning),
    shorts(JpegExif::property_YCbCrSubSampling, kCommon, ExifTag::kYCbCrSubSampling),
    fraction(JpegExif::property_YResolution, kCommon, ExifTag::kYResolution),
};

void put_value(ExifObject& self, const ExifProperty& row, const Value& value) {
    if (is_null(value)) {
        return self.remove(row.directory, row.id);
    }
    self.put(row.directory, make_tag(row.type, row.id, value));
}

Value tag_value(const ExifObject& self, const ExifProperty& row) {
    const TagObject* tag = self.find(row.directory, row.id);
    return tag != nullptr ? tag->value() : Value(Ref<ManagedObject>());
}

const PropertyInfo& info_of(const ExifObject& self, const ExifProperty& row) {
    const auto slot = find_property(self.type(), row.property.name);
    assert(slot.has_value());
    return *slot->info;
}

// The element of a property that is an array.
const ElementType& element_of(const ExifObject& self, const ExifProperty& row) {
    assert(row.kind == ExifKind::kArray);
    return embed::element_of(info_of(self, row).collection);
}

std::optional<std::u16string> get_exif_text(const ExifProperty& row, ExifObject& self) {
    return text_of_tag(tag_value(self, row));
}
void set_exif_text(const ExifProperty& row, ExifObject& self, const std::optional<std::u16string>& value) {
    put_value(self, row, given_text(value));
}

std::optional<Bytes> get_bytes(const ExifProperty& row, ExifObject& self) {
    return bytes_of_tag(tag_value(self, row));
}
void set_bytes(const ExifProperty& row, ExifObject& self, const PyBytesArg* value) {
    put_value(self, row, given_bytes(value));
}

Collection get_exif_array(const ExifProperty& row, ExifObject& self) {
    return {Ref<ManagedObject>(array_of_tag(tag_value(self, row), element_of(self, row)))};
}
void set_exif_array(const ExifProperty& row, ExifObject& self, const VariantArg* value) {
    put_value(self, row, Ref<ManagedObject>(read_list(value, element_of(self, row))));
}

// A file may have a number of another kind in place of the fraction.
Ref<ManagedObject> get_exif_rational(const ExifProperty& row, ExifObject& self) {
    const TagObject* tag = self.find(row.directory, row.id);
    const auto values = tag != nullptr ? tag->values() : nullptr;
    if (!values || values->size() == 0) {
        return nullptr;
    }
    auto converted = make_tag(static_cast<uint16_t>(row.type), row.id);
    converted->assign(values->get(0));
    return std::get<Ref<ManagedObject>>(converted->values()->get(0));
}
void set_rational(const ExifProperty& row, ExifObject& self, RationalObject* value) {
    put_value(self, row, Ref<ManagedObject>(value));
}

int32_t get_number(const ExifProperty& row, ExifObject& self) {
    const TagObject* tag = self.find(row.directory, row.id);
    if (tag == nullptr || tag->count() == 0) {
        if (row.without_tag != 0) {
            return row.without_tag;
        }
        const PropertyInfo& info = info_of(self, row);
        return static_cast<int32_t>(std::get<int64_t>(zero_value(info.wire, type_at(info.type))));
    }
    if (const auto number = tag_integer(*tag)) {
        return static_cast<int32_t>(*number);
    }
    const Value value = tag->value();
    const auto* bytes = std::get_if<Bytes>(&value);
    if (bytes == nullptr) {
        throw_invalid_value_cast(value, "System.Int32");
    }
    return std::to_integer<int32_t>(bytes->front());
}
// The tag gets the type that the format states for it if the number fits in that type, otherwise the smallest larger
// type that can hold it.
void set_number(const ExifProperty& row, ExifObject& self, int32_t value) {
    const bool byte = row.type == TiffType::kByte || row.type == TiffType::kUndefined;
    const int32_t most = byte ? UINT8_MAX : row.type == TiffType::kShort ? UINT16_MAX : INT32_MAX;
    TiffType type = row.type;
    if (value > most) {
        type = TiffType::kLong;
    }
    if (value < 0) {
        type = TiffType::kSlong;
    }
    if (type == TiffType::kUndefined) {
        self.put(row.directory, make_tag(type, row.id, Bytes{static_cast<std::byte>(value)}));
    } else {
        self.put(row.directory, make_tag(type, row.id, int64_t{value}));
    }
}

// A comment begins with eight letters that name its encoding.
constexpr std::string_view kAsciiCode{"ASCII\0\0\0", 8};
constexpr std::string_view kUnicodeCode{"UNICODE\0", 8};
constexpr std::string_view kNoCode{"\0\0\0\0\0\0\0\0", 8};

std::optional<std::u16string> get_comment(const ExifProperty& row, ExifObject& self) {
    const Value stored = tag_value(self, row);
    const auto* bytes = std::get_if<Bytes>(&stored);
    if (bytes == nullptr) {
        return text_of_tag(stored);
    }
    std::string_view all(reinterpret_cast<const char*>(bytes->data()), bytes->size());
    const std::string_view code = all.substr(0, 8);
    std::string_view rest = all.substr(std::min<size_t>(8, all.size()));
    if (code == kUnicodeCode) {
        std::u16string wide;
        for (size_t at = 0; at + 2 <= rest.size(); at += 2) {
            const auto pair = std::span(*bytes).subspan(8 + at, 2);
            wide += static_cast<char16_t>(read_number(pair, self.big_endian()));
        }
        while (!wide.empty() && wide.back() == 0) {
            wide.pop_back();
        }
        return wide;
    }
    if (code != kAsciiCode && code != kNoCode) {
        throw_not_supported("ExifData.UserComment in an encoding other than ASCII and Unicode (its tag has the bytes)");
    }
    using namespace std::string_view_literals;
    rest = rest.substr(0, rest.find_last_not_of("\0 "sv) + 1);
    return to_utf16(rest);
}
void set_comment(const ExifProperty& row, ExifObject& self, const std::optional<std::u16string>& comment) {
    if (!comment) {
        return put_value(self, row, Ref<ManagedObject>());
    }
    const bool ascii = std::all_of(comment->begin(), comment->end(), [](char16_t c) { return c < 0x80; });
    Bytes bytes;
    for (const char c : ascii ? kAsciiCode : kUnicodeCode) {
        bytes.push_back(static_cast<std::byte>(c));
    }
    for (const char16_t c : *comment) {
        put_number(bytes, c, ascii ? 1 : 2, self.big_endian());
    }
    put_value(self, row, bytes);
}

BehaviorRow behavior_of(const ExifProperty& row) {
    switch (row.kind) {
        case ExifKind::kText:
            return row_property<&get_exif_text, &set_exif_text>(row.property, row);
        case ExifKind::kBytes:
            return row_property<&get_bytes, &set_bytes>(row.property, row);
        case ExifKind::kRational:
            return row_property<&get_exif_rational, &set_rational>(row.property, row);
        case ExifKind::kInteger:
            return row_property<&get_number, &set_number>(row.property, row);
        case ExifKind::kComment:
            return row_property<&get_comment, &set_comment>(row.property, row);
        case ExifKind::kArray:
            break;
    }
    return row_property<&get_exif_array, &set_exif_array>(row.property, row);
}

const BehaviorTable ZELMOR_UNNAMED(each_row(kExifProperties, behavior_of));
const BehaviorTable ZELMOR_UNNAMED(each_row(kJpegProperties, behavior_of));

}  // namespace

}  // namespace zelmor::embed
