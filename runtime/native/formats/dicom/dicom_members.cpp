// DICOM in the API: its classes, and save options from and to the settings of a file.
#include <string>

#include "generated/runtime/Zelmor.Imaging.FileFormats.Dicom.h"
#include "generated/runtime/Zelmor.Imaging.ImageOptions.h"
#include "runtime/native/behaviors/images/encoding_options.h"
#include "runtime/native/behaviors/images/format_members.h"
#include "runtime/native/behaviors/images/image_object.h"
#include "runtime/native/behaviors/images/option_checks.h"
#include "runtime/native/behaviors/images/setting_values.h"
#include "runtime/native/core/managed_exception.h"
#include "runtime/native/core/type_system.h"
#include "runtime/native/formats/dicom/dicom_encoding.h"

namespace zelmor::embed {

using namespace imagework;

namespace {

namespace classes = api::FileFormats::Dicom;
namespace save_options = api::ImageOptions;

constexpr Counterpart<classes::CompressionType, DicomCompression> kCompressions[] = {
    {classes::CompressionType::kNone, DicomCompression::kNone},
    {classes::CompressionType::kJpeg, DicomCompression::kJpeg},
    {classes::CompressionType::kJpeg2000, DicomCompression::kJpeg2000},
    {classes::CompressionType::kRle, DicomCompression::kRle},
};
constexpr Counterpart<classes::ColorType, DicomSamples> kSamples[] = {
    {classes::ColorType::kGrayscale8Bit, DicomSamples::kGray8},
    {classes::ColorType::kGrayscale16Bit, DicomSamples::kGray16},
    {classes::ColorType::kRgb24Bit, DicomSamples::kRgb24},
};

// The options of the frames' coding say nothing of the file around them: other properties than these have no effect.
void require_only(const ManagedObject& options, std::initializer_list<std::string_view> effective) {
    const Ref<ManagedObject> fresh = make_instance(options.type());
    for (const TypeInfo* type = &options.type(); type != nullptr; type = type_at(type->base)) {
        for (const PropertyInfo& declared : type->properties) {
            if (declared.is_static || !declared.writable ||
                std::find(effective.begin(), effective.end(), declared.name) != effective.end()) {
                continue;
            }
            const Value& value = property(options, declared.name);
            if (!is_unset(value) && !values_equal(value, property(*fresh, declared.name))) {
                throw_not_supported(member_name(options, declared.name) + " for the frames of a DICOM file");
            }
        }
    }
}

// The settings that the options of another format hold.
template <class Settings>
Settings settings_of_frames(const ManagedObject& options, std::initializer_list<std::string_view> effective) {
    const Encoding encoding = encoding_of_options(options);
    require_only(options, effective);
    return encoding.format.get<Settings>();
}

FormatEncoding settings_of(const ManagedObject& options) {
    DicomEncoding result;
    result.samples = supported(options, "ColorType", kSamples);
    const Ref<ManagedObject> compression = property_object(options, "Compression");
    if (!compression) {
        return result;
    }
    result.compression = supported(*compression, "Type", kCompressions);
    if (result.compression == DicomCompression::kJpeg) {
        if (const Ref<ManagedObject> jpeg = property_object(*compression, "Jpeg")) {
            result.jpeg = settings_of_frames<JpegEncoding>(*jpeg, {"Quality", "CompressionType", "ColorType"});
            const bool gray = result.samples == DicomSamples::kGray8;
            if (has_inks(result.jpeg.color) || (result.jpeg.color == JpegColor::kGray && !gray)) {
                throw_not_supported("A JpegOptions.ColorType that is not that of DicomOptions");
            }
            if (result.jpeg.is_ls) {
                throw_not_supported("JpegOptions.CompressionType JpegLs for the frames of a DICOM file");
            }
        }
        if (result.samples == DicomSamples::kGray16 && !result.jpeg.is_lossless) {
            throw_not_supported("DicomOptions.ColorType Grayscale16Bit with Compression.Type Jpeg, which has 8 bits,");
        }
    }
    result.jpeg2000.codec = Jpeg2000Codec::kJ2k;
    if (result.compression == DicomCompression::kJpeg2000) {
        if (const Ref<ManagedObject> jpeg2000 = property_object(*compression, "Jpeg2000")) {
            result.jpeg2000 = settings_of_frames<Jpeg2000Encoding>(
                *jpeg2000, {"Codec", "CompressionRatios", "Irreversible", "Comments"});
        }
    }
    return result;
}

classes::ColorType color_type_of(const FileFacts& facts) {
    const auto& dicom = facts.encoding->get<DicomEncoding>();
    if (dicom.samples != DicomSamples::kAuto) {
        return api_value(kSamples, dicom.samples).value_or(classes::ColorType::kRgb24Bit);
    }
    if (dicom.file == nullptr || dicom.file->header.samples > 1 || dicom.file->header.color == DicomColor::kPalette) {
        return classes::ColorType::kRgb24Bit;
    }
    return dicom.file->header.stored > 8 ? classes::ColorType::kGrayscale16Bit : classes::ColorType::kGrayscale8Bit;
}

void fill_options(ManagedObject& options, const FileFacts& facts) {
    const auto& dicom = facts.encoding->get<DicomEncoding>();
    put_setting(options, "ColorType", color_type_of(facts));
    const Ref<ManagedObject> compression = make_instance(classes::Compression::kType.name);
    put_setting(*compression, "Type",
                api_value(kCompressions, dicom.compression).value_or(classes::CompressionType::kNone));
    if (dicom.compression == DicomCompression::kJpeg) {
        const Ref<ManagedObject> jpeg = make_instance(save_options::JpegOptions::kType.name);
        FileFacts inner;
        inner.encoding = dicom.jpeg;
        members_of(Format::kJpeg)->fill_options(*jpeg, inner);
        set_property(*compression, "Jpeg", jpeg);
    }
    if (dicom.compression == DicomCompression::kJpeg2000) {
        const Ref<ManagedObject> jpeg2000 = make_instance(save_options::Jpeg2000Options::kType.name);
        FileFacts inner;
        inner.encoding = dicom.jpeg2000;
        members_of(Format::kJpeg2000)->fill_options(*jpeg2000, inner);
        set_property(*compression, "Jpeg2000", jpeg2000);
    }
    set_property(options, "Compression", compression);
}

NewPixels new_pixels(const FormatEncoding& settings) {
    switch (settings.get<DicomEncoding>().samples) {
        case DicomSamples::kGray8:
            return pixels_of(ColorModel::kGray, false);
        case DicomSamples::kGray16:
            return pixels_of(ColorModel::kGray, false, 16);
        case DicomSamples::kAuto:
        case DicomSamples::kRgb24:
            break;
    }
    return pixels_of(ColorModel::kRgb, false);
}

// What a file says besides the picture goes into the next one, in whatever way the image is saved.
void complete(const ImageObject& image, FormatEncoding& settings) {
    auto& dicom = settings.get<DicomEncoding>();
    const auto* own = settings_as<DicomEncoding>(image.facts());
    if (own != nullptr && dicom.file == nullptr) {
        dicom.file = own->file;
    }
}

constexpr FormatClasses kClasses[] = {
    {FileFormat::kDicom, Format::kDicom, "Dicom", classes::DicomImage::kType, save_options::DicomOptions::kType,
     &classes::DicomPage::kType, true},
};

}  // namespace

extern const FormatMembers kDicomMembers;
const FormatMembers kDicomMembers{
    .format = Format::kDicom,
    .classes = kClasses,
    .settings = &settings_of,
    .fill_options = &fill_options,
    .new_pixels = &new_pixels,
    .complete = &complete,
    .has_pages = true,
};

}  // namespace zelmor::embed
