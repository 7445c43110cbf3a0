// PNG and animated PNG in the API: their classes, and save options from and to the settings of a file.
#include <algorithm>
#include <string>

#include "generated/runtime/Zelmor.Imaging.FileFormats.Apng.h"
#include "generated/runtime/Zelmor.Imaging.FileFormats.Png.h"
#include "generated/runtime/Zelmor.Imaging.ImageOptions.h"
#include "runtime/native/behaviors/images/format_members.h"
#include "runtime/native/behaviors/images/image_object.h"
#include "runtime/native/behaviors/images/option_checks.h"
#include "runtime/native/behaviors/images/setting_values.h"
#include "runtime/native/formats/png/png_checks.h"
#include "runtime/native/formats/png/png_enumerations.h"
#include "runtime/native/formats/png/png_options.h"
#include "runtime/native/imagework/picture_error.h"

namespace zelmor::embed {

using namespace imagework;

namespace {

FormatEncoding settings_of(const ManagedObject& options) {
    PngEncoding result;
    if (own_color_type(options)) {
        result.color = supported(options, "ColorType", kPngColors);
    }
    constexpr int kMostOfIndices = 8;
    result.bit_depth = own_bit_depth(options).value_or(result.color == PngColor::kIndexed ? kMostOfIndices : 0);
    result.interlaced = property_bool(options, "Progressive");
    if (has_property(options, "NumPlays")) {
        result.plays = setting(options, "NumPlays");
    }
    ranged(options, "FilterType", number_of(PngFilterType::kNone), number_of(PngFilterType::kAdaptive));
    result.filter = supported(options, "FilterType", kPngFilters);
    result.compression_level = setting(options, "CompressionLevel");
    return result;
}

void fill_options(ManagedObject& options, const FileFacts& facts) {
    const auto& png = facts.encoding->get<PngEncoding>();
    put_setting(options, "ColorType", api_value(kPngColors, png.color).value_or(PngColorType::kTruecolorWithAlpha));
    if (png.bit_depth != 0) {
        put_setting(options, "BitDepth", png.bit_depth);
    }
    set_property(options, "Progressive", png.interlaced);
    if (facts.variant == Variant::kApng) {
        put_setting(options, "NumPlays", png.plays);
    }
}

NewPixels new_pixels(const FormatEncoding& settings) {
    const auto& png = settings.get<PngEncoding>();
    const int depth = png.bit_depth == 0 ? 8 : png.bit_depth;
    const int whole = std::max(8, depth);
    switch (png.color) {
        case PngColor::kGray:
            return pixels_of(ColorModel::kGray, false, depth);
        case PngColor::kTruecolor:
            return {pixel_form(ColorModel::kRgb, false, whole), 3 * depth};
        case PngColor::kIndexed:
            return {pixel_form(ColorModel::kRgb, true), depth};
        case PngColor::kGrayAlpha:
            return {pixel_form(ColorModel::kGray, true, whole), 2 * depth};
        default:
            return {pixel_form(ColorModel::kRgb, true, whole), 4 * depth};
    }
}

bool is_indexed(const FormatEncoding& settings) {
    return settings.get<PngEncoding>().color == PngColor::kIndexed;
}

void renew(FormatEncoding& settings) {
    auto& png = settings.get<PngEncoding>();
    if (png.color != PngColor::kIndexed) {
        png.color = PngColor::kAuto;
        png.bit_depth = 0;
    }
}

void take_image(const ImageObject& image, Encoding& encoding) {
    if (has_property(image, "NumPlays")) {
        encoding.format.get<PngEncoding>().plays = static_cast<int>(property_int(image, "NumPlays"));
    }
}

void take_file(ImageObject& image) {
    if (has_property(image, "NumPlays")) {
        set_property(image, "NumPlays", int64_t{image.facts().encoding->get<PngEncoding>().plays});
    }
}

void take_creation(ImageObject& image, const Record& options) {
    for (const char* property : {"NumPlays", "DefaultFrameTime"}) {
        if (has_property(options, property)) {  // of an animation
            set_property(image, property, property_int(options, property));
        }
    }
}

void check_load_options(const Record& load_options, const SharedSource& file) {
    if (has_property(load_options, "StrictMode") && property_bool(load_options, "StrictMode")) {
        if (const std::string fault = png_fault(file); !fault.empty()) {
            throw PictureError(Failure::kDamaged, fault + ", which PngLoadOptions.StrictMode refuses");
        }
    }
}

namespace classes = api::FileFormats;
namespace save_options = api::ImageOptions;

constexpr FormatClasses kClasses[] = {
    {FileFormat::kPng, Format::kPng, "Png", classes::Png::PngImage::kType, save_options::PngOptions::kType, nullptr,
     false},
    {FileFormat::kApng, Format::kPng, "Apng", classes::Apng::ApngImage::kType, save_options::ApngOptions::kType,
     &classes::Apng::ApngFrame::kType, true},
};

}  // namespace

extern const FormatMembers kPngMembers;
const FormatMembers kPngMembers{
    .format = Format::kPng,
    .classes = kClasses,
    .settings = &settings_of,
    .fill_options = &fill_options,
    .new_pixels = &new_pixels,
    .is_indexed = &is_indexed,
    .renew = &renew,
    .take_image = &take_image,
    .take_creation = &take_creation,
    .take_file = &take_file,
    .check_load_options = &check_load_options,
};

}  // namespace zelmor::embed
