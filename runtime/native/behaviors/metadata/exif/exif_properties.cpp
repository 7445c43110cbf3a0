// The named properties of EXIF data: which tag each is, and how its value is read and written.
//
// A property without its tag is None, or zero or the first member where it is a number or an enumeration. Setting None
// removes the tag.
#include <algorithm>
#include <array>
#include <string>
#include <utility>

#include "runtime/native/behaviors/metadata/entry_names.h"
#include "runtime/native/behaviors/metadata/exif/exif_data.h"
#include "runtime/native/behaviors/metadata/tiff/rationals.h"
#include "runtime/native/behaviors/metadata/tiff/tag_values.h"
#include "runtime/native/core/entry.h"
#include "runtime/native/core/managed_exception.h"

namespace zelmor::embed {

namespace {

enum class Kind : uint8_t {
    kText,
    kBytes,
    kArray,     // of the element that the property has in the catalogue
    kRational,  // one fraction, of either kind
    kInteger,   // a number or an enumeration, in 32 bits
    kComment,   // text behind the name of its encoding
};

struct ExifProperty {
    const char* name;  // managed
    ExifDirectory directory;
    uint16_t id;
    TiffType type;  // that the tag is made with
    Kind kind;
};

constexpr ExifDirectory kCommon = ExifDirectory::kCommon;
constexpr ExifDirectory kOfExif = ExifDirectory::kExif;
constexpr ExifDirectory kGps = ExifDirectory::kGps;

constexpr ExifProperty text(const char* name, ExifDirectory directory, uint16_t id) {
    return {name, directory, id, TiffType::kAscii, Kind::kText};
}
constexpr ExifProperty bytes(const char* name, ExifDirectory directory, uint16_t id,
                             TiffType type = TiffType::kUndefined) {
    return {name, directory, id, type, Kind::kBytes};
}
constexpr ExifProperty fraction(const char* name, ExifDirectory directory, uint16_t id) {
    return {name, directory, id, TiffType::kRational, Kind::kRational};
}
constexpr ExifProperty signed_fraction(const char* name, ExifDirectory directory, uint16_t id) {
    return {name, directory, id, TiffType::kSRational, Kind::kRational};
}
constexpr ExifProperty fractions(const char* name, ExifDirectory directory, uint16_t id) {
    return {name, directory, id, TiffType::kRational, Kind::kArray};
}
constexpr ExifProperty shorts(const char* name, ExifDirectory directory, uint16_t id) {
    return {name, directory, id, TiffType::kShort, Kind::kArray};
}
constexpr ExifProperty number(const char* name, ExifDirectory directory, uint16_t id,
                              TiffType type = TiffType::kShort) {
    return {name, directory, id, type, Kind::kInteger};
}

constexpr ExifProperty kProperties[] = {
    text("Make", kCommon, 271),
    fractions("WhitePoint", kCommon, 318),

    fraction("ApertureValue", kOfExif, 37378),
    text("BodySerialNumber", kOfExif, 42033),
    signed_fraction("BrightnessValue", kOfExif, 37379),
    bytes("CFAPattern", kOfExif, 41730),
    text("CameraOwnerName", kOfExif, 42032),
    number("ColorSpace", kOfExif, 40961),
    bytes("ComponentsConfiguration", kOfExif, 37121),
    fraction("CompressedBitsPerPixel", kOfExif, 37122),
    number("Contrast", kOfExif, 41992),
    number("CustomRendered", kOfExif, 41985),
    text("DateTimeDigitized", kOfExif, 36868),
    text("DateTimeOriginal", kOfExif, 36867),
    bytes("DeviceSettingDescription", kOfExif, 41995),
    fraction("DigitalZoomRatio", kOfExif, 41988),
    bytes("ExifVersion", kOfExif, 36864),
    signed_fraction("ExposureBiasValue", kOfExif, 37380),
    fraction("ExposureIndex", kOfExif, 41493),
    number("ExposureMode", kOfExif, 41986),
    number("ExposureProgram", kOfExif, 34850),
    fraction("ExposureTime", kOfExif, 33434),
    fraction("FNumber", kOfExif, 33437),
    number("FileSource", kOfExif, 41728, TiffType::kUndefined),
    number("Flash", kOfExif, 37385),
    fraction("FlashEnergy", kOfExif, 41483),
    bytes("FlashpixVersion", kOfExif, 40960),
    fraction("FocalLength", kOfExif, 37386),
    number("FocalLengthIn35MmFilm", kOfExif, 41989),
    number("FocalPlaneResolutionUnit", kOfExif, 41488),
    fraction("FocalPlaneXResolution", kOfExif, 41486),
    fraction("FocalPlaneYResolution", kOfExif, 41487),
    number("GainControl", kOfExif, 41991),
    fraction("Gamma", kOfExif, 42240),
    number("IsoSpeed", kOfExif, 34867, TiffType::kLong),
    number("IsoSpeedLatitudeYyy", kOfExif, 34868, TiffType::kLong),
    number("IsoSpeedLatitudeZzz", kOfExif, 34869, TiffType::kLong),
    number("PhotographicSensitivity", kOfExif, 34855),
    text("ImageUniqueId", kOfExif, 42016),
    text("LensMake", kOfExif, 42035),
    text("LensModel", kOfExif, 42036),
    text("LensSerialNumber", kOfExif, 42037),
    fractions("LensSpecification", kOfExif, 42034),
    number("LightSource", kOfExif, 37384),
    bytes("MakerNoteRawData", kOfExif, exif_tags::kMakerNote),
    fraction("MaxApertureValue", kOfExif, 37381),
    number("MeteringMode", kOfExif, 37383),
    bytes("Oecf", kOfExif, 34856),
    number("PixelXDimension", kOfExif, 40962, TiffType::kLong),
    number("PixelYDimension", kOfExif, 40963, TiffType::kLong),
    number("RecommendedExposureIndex", kOfExif, 34866, TiffType::kLong),
    text("RelatedSoundFile", kOfExif, 40964),
    number("Saturation", kOfExif, 41993),
    number("SceneCaptureType", kOfExif, 41990),
    number("SceneType", kOfExif, 41729, TiffType::kUndefined),
    number("SensingMethod", kOfExif, 41495),
    number("SensitivityType", kOfExif, 34864),
    number("Sharpness", kOfExif, 41994),
    signed_fraction("ShutterSpeedValue", kOfExif, 37377),
    bytes("SpatialFrequencyResponse", kOfExif, 41484),
    text("SpectralSensitivity", kOfExif, 34852),
    number("StandardOutputSensitivity", kOfExif, 34865, TiffType::kLong),
    shorts("SubjectArea", kOfExif, 37396),
    fraction("SubjectDistance", kOfExif, 37382),
    number("SubjectDistanceRange", kOfExif, 41996),
    shorts("SubjectLocation", kOfExif, 41492),
    text("SubsecTime", kOfExif, 37520),
    text("SubsecTimeDigitized", kOfExif, 37522),
    text("SubsecTimeOriginal", kOfExif, 37521),
    {"UserComment", kOfExif, 37510, TiffType::kUndefined, Kind::kComment},
    number("WhiteBalance", kOfExif, 41987),

    fraction("GpsAltitude", kGps, 6),
    number("GpsAltitudeRef", kGps, 5, TiffType::kByte),
    bytes("GpsAreaInformation", kGps, 28),
    fraction("Gpsdop", kGps, 11),
    fraction("GpsDestBearing", kGps, 24),
    text("GpsDestBearingRef", kGps, 23),
    fraction("GpsDestDistance", kGps, 26),
    text("GpsDestDistanceRef", kGps, 25),
    fractions("GpsDestLatitude", kGps, 20),
    text("GpsDestLatitudeRef", kGps, 19),
    fractions("GpsDestLongitude", kGps, 22),
    text("GpsDestLongitudeRef", kGps, 21),
    number("GpsDifferential", kGps, 30),
    fraction("GpsImgDirection", kGps, 17),
    text("GpsImgDirectionRef", kGps, 16),
    text("GpsDateStamp", kGps, 29),
    fractions("GpsLatitude", kGps, 2),
    text("GpsLatitudeRef", kGps, 1),
    fractions("GpsLongitude", kGps, 4),
    text("GpsLongitudeRef", kGps, 3),
    text("GpsMapDatum", kGps, 18),
    text("GpsMeasureMode", kGps, 10),
    bytes("GpsProcessingMethod", kGps, 27),
    text("GpsSatellites", kGps, 8),
    fraction("GpsSpeed", kGps, 13),
    text("GpsSpeedRef", kGps, 12),
    text("GpsStatus", kGps, 9),
    fractions("GpsTimestamp", kGps, 7),
    fractions("GpsTrack", kGps, 15),
    text("GpsTrackRef", kGps, 14),
    bytes("GpsVersionId", kGps, 0, TiffType::kByte),
};

constexpr ExifProperty kJpegProperties[] = {
    text("Artist", kCommon, 315),
    shorts("BitsPerSample", kCommon, 258),
    number("Compression", kCommon, 259),
    text("Copyright", kCommon, 33432),
    text("DateTime", kCommon, 306),
    text("ImageDescription", kCommon, 270),
    number("ImageLength", kCommon, 257, TiffType::kLong),
    number("ImageWidth", kCommon, 256, TiffType::kLong),
    text("Model", kCommon, 272),
    number("Orientation", kCommon, 274),
    number("PhotometricInterpretation", kCommon, 262),
    number("PlanarConfiguration", kCommon, 284),
    fractions("PrimaryChromaticities", kCommon, 319),
    fractions("ReferenceBlackWhite", kCommon, 532),
    number("ResolutionUnit", kCommon, 296),
    number("SamplesPerPixel", kCommon, 277),
    text("Software", kCommon, 305),
    shorts("TransferFunction", kCommon, 301),
    fraction("XResolution", kCommon, 282),
    fractions("YCbCrCoefficients", kCommon, 529),
    number("YCbCrPositioning", kCommon, 531),
    shorts("YCbCrSubSampling", kCommon, 530),
    fraction("YResolution", kCommon, 283),
};

void put_value(ExifObject& self, const ExifProperty& property, const Value& value) {
    if (is_null(value)) {
        return self.remove(property.directory, property.id);
    }
    self.put(property.directory, make_tag(property.type, property.id, value));
}

Value tag_value(const ExifObject& self, const ExifProperty& property) {
    const TagObject* tag = self.find(property.directory, property.id);
    return tag ? tag->value() : Value(Ref<ManagedObject>());
}

// One fraction; a file may have a number of another kind in its place.
Ref<ManagedObject> rational_value(const ExifObject& self, const ExifProperty& property) {
    const TagObject* tag = self.find(property.directory, property.id);
    const auto values = tag ? tag->values() : nullptr;
    if (!values || values->size() == 0) {
        return nullptr;
    }
    auto converted = make_tag(static_cast<uint16_t>(property.type), property.id);
    converted->assign(values->get(0));
    return std::get<Ref<ManagedObject>>(converted->values()->get(0));
}

int32_t integer_value(const ExifObject& self, const ExifProperty& property) {
    const TagObject* tag = self.find(property.directory, property.id);
    if (!tag || tag->count() == 0) {
        const PropertyInfo& info = *find_property(self.type(), property.name)->info;
        return static_cast<int32_t>(std::get<int64_t>(zero_value(info.wire, type_at(info.type))));
    }
    if (const auto number = tag_integer(*tag)) {
        return static_cast<int32_t>(*number);
    }
    const Value value = tag->value();
    const auto* bytes = std::get_if<Bytes>(&value);
    if (!bytes) {
        throw_invalid_value_cast(value, "System.Int32");
    }
    return std::to_integer<int32_t>(bytes->front());
}

// The type that the format has for the tag where the number fits in it, otherwise the nearest that can hold it.
void set_integer(ExifObject& self, const ExifProperty& property, int32_t value) {
    const bool byte = property.type == TiffType::kByte || property.type == TiffType::kUndefined;
    const int32_t most = byte ? 255 : property.type == TiffType::kShort ? UINT16_MAX : INT32_MAX;
    TiffType type = property.type;
    if (value > most) {
        type = TiffType::kLong;
    }
    if (value < 0) {
        type = TiffType::kSLong;
    }
    if (type == TiffType::kUndefined) {
        self.put(property.directory, make_tag(type, property.id, Bytes{static_cast<std::byte>(value)}));
    } else {
        self.put(property.directory, make_tag(type, property.id, int64_t{value}));
    }
}

// A comment begins with eight letters that name its encoding.
constexpr std::string_view kAsciiCode{"ASCII\0\0\0", 8};
constexpr std::string_view kUnicodeCode{"UNICODE\0", 8};
constexpr std::string_view kNoCode{"\0\0\0\0\0\0\0\0", 8};

std::optional<std::u16string> comment_value(const ExifObject& self, const ExifProperty& property) {
    const Value stored = tag_value(self, property);
    const auto* bytes = std::get_if<Bytes>(&stored);
    if (!bytes) {
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
    rest = rest.substr(0, rest.find_last_not_of(std::string_view("\0 ", 2)) + 1);
    return to_utf16(rest);
}

void put_comment(ExifObject& self, const ExifProperty& property, const std::optional<std::u16string>& comment) {
    if (!comment) {
        return put_value(self, property, Ref<ManagedObject>());
    }
    const bool ascii = std::all_of(comment->begin(), comment->end(), [](char16_t c) { return c < 0x80; });
    Bytes bytes;
    for (const char c : ascii ? kAsciiCode : kUnicodeCode) {
        bytes.push_back(static_cast<std::byte>(c));
    }
    for (const char16_t c : *comment) {
        put_number(bytes, c, ascii ? 1 : 2, self.big_endian());
    }
    put_value(self, property, bytes);
}

// The element of a property that is an array.
const ElementType& element_of(const ExifObject& self, const ExifProperty& property) {
    return embed::element_of(find_property(self.type(), property.name)->info->collection);
}

template <const auto& kTable, size_t kIndex>
void set_text(ExifObject& self, const std::optional<std::u16string>& value) {
    put_value(self, kTable[kIndex], given_text(value));
}
template <const auto& kTable, size_t kIndex>
std::optional<std::u16string> get_text(ExifObject& self) {
    return text_of_tag(tag_value(self, kTable[kIndex]));
}
template <const auto& kTable, size_t kIndex>
void set_comment(ExifObject& self, const std::optional<std::u16string>& value) {
    put_comment(self, kTable[kIndex], value);
}
template <const auto& kTable, size_t kIndex>
std::optional<std::u16string> get_comment(ExifObject& self) {
    return comment_value(self, kTable[kIndex]);
}
template <const auto& kTable, size_t kIndex>
void set_bytes(ExifObject& self, const PyBytesArg* value) {
    put_value(self, kTable[kIndex], given_bytes(value));
}
template <const auto& kTable, size_t kIndex>
std::optional<Bytes> get_bytes(ExifObject& self) {
    return bytes_of_tag(tag_value(self, kTable[kIndex]));
}
template <const auto& kTable, size_t kIndex>
void set_array(ExifObject& self, const VariantArg* value) {
    put_value(self, kTable[kIndex], Ref<ManagedObject>(read_list(value, element_of(self, kTable[kIndex]))));
}
template <const auto& kTable, size_t kIndex>
Collection get_array(ExifObject& self) {
    const ExifProperty& property = kTable[kIndex];
    return {Ref<ManagedObject>(array_of_tag(tag_value(self, property), element_of(self, property)))};
}
template <const auto& kTable, size_t kIndex>
void set_rational(ExifObject& self, RationalObject* value) {
    put_value(self, kTable[kIndex], Ref<ManagedObject>(value));
}
template <const auto& kTable, size_t kIndex>
Ref<ManagedObject> get_rational(ExifObject& self) {
    return rational_value(self, kTable[kIndex]);
}
template <const auto& kTable, size_t kIndex>
void set_number(ExifObject& self, int32_t value) {
    set_integer(self, kTable[kIndex], value);
}
template <const auto& kTable, size_t kIndex>
int32_t get_number(ExifObject& self) {
    return integer_value(self, kTable[kIndex]);
}

template <const auto& kTable, size_t kIndex>
void add_property(BehaviorTable& table, const char* type) {
    constexpr Kind kind = kTable[kIndex].kind;
    const char* getter = entry_name("get_", kTable[kIndex].name);
    const char* setter = entry_name("set_", kTable[kIndex].name);
    const auto add = [&](EntryPoint get, EntryPoint set) {
        table.add({type, getter, get});
        table.add({type, setter, set});
    };
    if constexpr (kind == Kind::kRational) {
        add(entry<&get_rational<kTable, kIndex>>(), entry<&set_rational<kTable, kIndex>>());
    } else if constexpr (kind == Kind::kInteger) {
        add(entry<&get_number<kTable, kIndex>>(), entry<&set_number<kTable, kIndex>>());
    } else if constexpr (kind == Kind::kText) {
        add(entry<&get_text<kTable, kIndex>>(), entry<&set_text<kTable, kIndex>>());
    } else if constexpr (kind == Kind::kComment) {
        add(entry<&get_comment<kTable, kIndex>>(), entry<&set_comment<kTable, kIndex>>());
    } else if constexpr (kind == Kind::kBytes) {
        add(entry<&get_bytes<kTable, kIndex>>(), entry<&set_bytes<kTable, kIndex>>());
    } else {
        add(entry<&get_array<kTable, kIndex>>(), entry<&set_array<kTable, kIndex>>());
    }
}

template <const auto& kTable, size_t... kIndex>
void add_properties(BehaviorTable& table, const char* type, std::index_sequence<kIndex...>) {
    (add_property<kTable, kIndex>(table, type), ...);
}

[[maybe_unused]] const bool registered = [] {
    static auto& table = *new BehaviorTable(Assembly::kImaging, std::span<const Behavior>());
    add_properties<kProperties>(table, ExifObject::kManagedName, std::make_index_sequence<std::size(kProperties)>());
    add_properties<kJpegProperties>(table, ExifObject::kJpegName,
                                    std::make_index_sequence<std::size(kJpegProperties)>());
    return true;
}();

}  // namespace

}  // namespace zelmor::embed
