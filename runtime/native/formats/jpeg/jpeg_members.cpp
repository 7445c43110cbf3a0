// JPEG in the API: its classes, and save options from and to the settings of a file.
#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include "generated/runtime/Zelmor.Imaging.FileFormats.Jpeg.h"
#include "generated/runtime/Zelmor.Imaging.ImageOptions.h"
#include "runtime/native/behaviors/images/color_profiles.h"
#include "runtime/native/behaviors/images/format_members.h"
#include "runtime/native/behaviors/images/image_object.h"
#include "runtime/native/behaviors/images/number_lists.h"
#include "runtime/native/behaviors/images/option_checks.h"
#include "runtime/native/behaviors/images/setting_values.h"
#include "runtime/native/core/managed_exception.h"
#include "runtime/native/core/text.h"
#include "runtime/native/formats/jpeg/jpeg_enumerations.h"

namespace zelmor::embed {

using namespace imagework;

namespace {

// One factor for each component of the file, of which the greatest is a multiple of all others. Empty for null.
std::vector<uint8_t> sampling_of(const ManagedObject& options, const char* property, JpegColor color) {
    constexpr int64_t kMost = 4;
    const auto factors = numbers_of(options, property);
    if (!factors) {
        return {};
    }
    const size_t components = color == JpegColor::kGray ? 1 : has_inks(color) ? 4 : 3;
    if (factors->size() != components) {
        throw_argument(member_name(options, property) + " has " + std::to_string(factors->size()) +
                       " values; these colors have " + std::to_string(components) + " components. (Parameter '" +
                       property + "')");
    }
    std::vector<uint8_t> result;
    for (const int64_t factor : *factors) {
        if (factor < 1 || factor > kMost) {
            throw_out_of_range(property,
                               "The values of " + member_name(options, property) + " have to be 1, 2, 3 or 4.");
        }
        result.push_back(static_cast<uint8_t>(factor));
    }
    const uint8_t most = *std::max_element(result.begin(), result.end());
    if (std::any_of(result.begin(), result.end(), [&](uint8_t factor) { return most % factor != 0; })) {
        throw_not_supported("A value of " + member_name(options, property) + " that does not divide the greatest one");
    }
    return result;
}

// Settings that only JPEG-LS has are refused beside another coding.
void require_ls(const ManagedObject& options, const char* property, bool is_ls, bool is_usual) {
    if (!is_ls && !is_usual) {
        throw_not_supported(member_name(options, property) + " without JpegCompressionMode.JPEG_LS");
    }
}

// 2 to 16 bits, which the codings with a loss do not have.
int bits_of(const ManagedObject& options, JpegCoding coding) {
    const int bits = setting(options, "BitsPerChannel");
    if (bits != 8 && coding != JpegCoding::kLs && coding != JpegCoding::kLossless) {
        throw_not_supported(member_name(options, "BitsPerChannel") +
                            " without JpegCompressionMode.LOSSLESS or JpegCompressionMode.JPEG_LS");
    }
    return bits;
}

JpegLsSettings ls_settings_of(const ManagedObject& options, bool is_ls) {
    JpegLsSettings ls;
    ls.greatest_error = setting(options, "JpegLsAllowedLossyError");
    require_ls(options, "JpegLsAllowedLossyError", is_ls, ls.greatest_error == 0);
    ls.interleaving = supported(options, "JpegLsInterleaveMode", kJpegLsInterleavings);
    require_ls(options, "JpegLsInterleaveMode", is_ls, ls.interleaving == JpegLsInterleaving::kNone);
    const auto preset = property_object(options, "JpegLsPreset");
    require_ls(options, "JpegLsPreset", is_ls, !preset);
    if (preset) {
        ls.maximum = setting(*preset, "MaximumSampleValue");
        ls.thresholds = {setting(*preset, "Threshold1"), setting(*preset, "Threshold2"),
                         setting(*preset, "Threshold3")};
        ls.reset = setting(*preset, "ResetValue");
    }
    return ls;
}

// Codings that keep every sample have no colors that are computed, and JPEG-LS no inks.
void require_suits_samples(const ManagedObject& options, const JpegEncoding& jpeg) {
    const std::string beside = std::string(" beside JpegCompressionMode.") + (jpeg.is_ls ? "JPEG_LS" : "LOSSLESS");
    if (jpeg.color == JpegColor::kYcck || (jpeg.is_ls && jpeg.color == JpegColor::kCmyk)) {
        throw_not_supported("The value " + std::to_string(jpeg.color == JpegColor::kCmyk ? 2 : 3) + " of " +
                            member_name(options, "ColorType") + beside);
    }
    for (const char* sampling : {"HorizontalSampling", "VerticalSampling"}) {
        if (!is_null(property(options, sampling))) {
            throw_not_supported("A value of " + member_name(options, sampling) + beside);
        }
    }
}

FormatEncoding settings_of(const ManagedObject& options) {
    JpegEncoding result;
    result.quality = setting(options, "Quality");
    const JpegCoding coding = supported(options, "CompressionType", kJpegCodings);
    result.progressive = coding == JpegCoding::kProgressive;
    result.is_lossless = coding == JpegCoding::kLossless;
    result.is_ls = coding == JpegCoding::kLs;
    result.color = supported(options, "ColorType", kJpegColors);
    result.horizontal_sampling = sampling_of(options, "HorizontalSampling", result.color);
    result.vertical_sampling = sampling_of(options, "VerticalSampling", result.color);
    result.bits = bits_of(options, coding);
    result.ls = ls_settings_of(options, result.is_ls);
    if (result.is_ls) {
        result.ls.bits = std::exchange(result.bits, 8);
    }
    if (result.is_ls || result.is_lossless) {
        require_suits_samples(options, result);
    }
    return result;  // comment, JFIF, EXIF and XMP go into the file with the metadata
}

void take_options(const ManagedObject& options, Encoding& encoding) {
    take_target_profiles(options, "RgbColorProfile", "CmykColorProfile", encoding);
}

void fill_options(ManagedObject& options, const FileFacts& facts) {
    const auto& jpeg = facts.encoding->get<JpegEncoding>();
    put_setting(options, "Quality", jpeg.quality);
    put_setting(options, "CompressionType",
                jpeg.is_ls         ? JpegCompressionMode::kJpegLs
                : jpeg.is_lossless ? JpegCompressionMode::kLossless
                : jpeg.progressive ? JpegCompressionMode::kProgressive
                                   : JpegCompressionMode::kBaseline);
    if (jpeg.is_lossless) {
        put_setting(options, "BitsPerChannel", jpeg.bits);
    }
    if (jpeg.is_ls) {
        put_setting(options, "BitsPerChannel", jpeg.ls.bits);
        put_setting(options, "JpegLsAllowedLossyError", jpeg.ls.greatest_error);
        put_setting(options, "JpegLsInterleaveMode", static_cast<JpegLsInterleaveMode>(jpeg.ls.interleaving));
    }
    put_setting(options, "ColorType", api_value(kJpegColors, jpeg.color).value_or(JpegCompressionColorMode::kYCbCr));
    if (!jpeg.comment.empty()) {
        set_property(options, "Comment", to_utf16(jpeg.comment));
    }
}

NewPixels new_pixels(const FormatEncoding& settings) {
    const JpegColor color = settings.get<JpegEncoding>().color;
    return pixels_of(color == JpegColor::kGray ? ColorModel::kGray
                     : has_inks(color)         ? ColorModel::kCmyk
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
