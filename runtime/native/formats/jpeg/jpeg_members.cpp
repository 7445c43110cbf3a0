// JPEG in the API: its classes, and save options from and to the settings of a file.

#include "generated/runtime/Zelmor.Imaging.FileFormats.Jpeg.h"
#include "generated/runtime/Zelmor.Imaging.ImageOptions.h"
#include "runtime/native/behaviors/images/color_profiles.h"
#include "runtime/native/behaviors/images/format_members.h"
#include "runtime/native/behaviors/images/image_object.h"
#include "runtime/native/behaviors/images/setting_values.h"
#include "runtime/native/core/text.h"
#include "runtime/native/formats/jpeg/jpeg_enumerations.h"

namespace zelmor::embed {

using namespace imagework;

namespace {

FormatEncoding settings_of(const ManagedObject& options) {
    JpegEncoding result;
    result.quality = setting(options, "Quality");
    result.progressive = supported(options, "CompressionType", kJpegProgressive);
    result.color = supported(options, "ColorType", kJpegColors);
    return result;  // comment, JFIF, EXIF and XMP go into the file with the metadata
}

void take_options(const ManagedObject& options, Encoding& encoding) {
    take_target_profiles(options, "RgbColorProfile", "CmykColorProfile", encoding);
}

void fill_options(ManagedObject& options, const FileFacts& facts) {
    const auto& jpeg = facts.encoding->get<JpegEncoding>();
    put_setting(options, "Quality", jpeg.quality);
    put_setting(options, "CompressionType",
                jpeg.progressive ? JpegCompressionMode::kProgressive : JpegCompressionMode::kBaseline);
    put_setting(options, "ColorType", api_value(kJpegColors, jpeg.color).value_or(JpegCompressionColorMode::kYCbCr));
    if (!jpeg.comment.empty()) {
        set_property(options, "Comment", to_utf16(jpeg.comment));
    }
}

NewPixels new_pixels(const FormatEncoding& settings) {
    const JpegColor color = settings.get<JpegEncoding>().color;
    return pixels_of(color == JpegColor::kGray   ? ColorModel::kGray
                     : color == JpegColor::kCmyk ? ColorModel::kCmyk
                                                 : ColorModel::kRgb,
                     false);
}

void renew(FormatEncoding& settings) {
    auto& jpeg = settings.get<JpegEncoding>();
    if (jpeg.color == JpegColor::kGray) {
        jpeg.color = JpegColor::kAuto;
    }
}

void take_image(const ImageObject& image, Encoding& encoding) {
    if (has_property(image, "DestinationRgbColorProfile")) {
        take_target_profiles(image, "DestinationRgbColorProfile", "DestinationCmykColorProfile", encoding);
    }
}

namespace classes = api::FileFormats;
namespace save_options = api::ImageOptions;

constexpr FormatClasses kClasses[] = {
    {FileFormat::kJpeg, Format::kJpeg, "Jpeg", classes::Jpeg::JpegImage::kType, save_options::JpegOptions::kType,
     nullptr, false},
};

}  // namespace

extern const FormatMembers kJpegMembers;
const FormatMembers kJpegMembers{
    .format = Format::kJpeg,
    .classes = kClasses,
    .settings = &settings_of,
    .take_options = &take_options,
    .fill_options = &fill_options,
    .new_pixels = &new_pixels,
    .renew = &renew,
    .take_image = &take_image,
};

}  // namespace zelmor::embed
