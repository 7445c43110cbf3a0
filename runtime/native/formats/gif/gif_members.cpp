// GIF in the API: its classes, and save options from and to the settings of a file.
#include <algorithm>

#include "generated/runtime/Zelmor.Imaging.FileFormats.Gif.Blocks.h"
#include "generated/runtime/Zelmor.Imaging.FileFormats.Gif.h"
#include "generated/runtime/Zelmor.Imaging.ImageOptions.h"
#include "runtime/native/behaviors/images/format_members.h"
#include "runtime/native/behaviors/images/image_object.h"
#include "runtime/native/behaviors/images/setting_values.h"
#include "runtime/native/formats/gif/gif_details.h"
#include "runtime/native/formats/gif/gif_encoding.h"
#include "runtime/native/formats/gif/gif_saving.h"

namespace zelmor::embed {

using namespace imagework;

namespace {

FormatEncoding settings_of(const ManagedObject& options) {
    GifEncoding result;
    result.palette_bits = setting(options, "ColorResolution") + 1;
    result.color_resolution = result.palette_bits;
    result.interlaced = property_bool(options, "Interlaced");
    result.aspect_ratio = static_cast<uint8_t>(setting(options, "PixelAspectRatio"));
    result.background_index = static_cast<uint8_t>(setting(options, "BackgroundColorIndex"));
    result.trailer = property_bool(options, "HasTrailer");
    if (const int loops = setting(options, "LoopsCount")) {
        result.loops = loops;
    }
    return result;
}

// A background color in the options is the transparent color, or stands behind transparent pixels.
void take_options(const ManagedObject& options, Encoding& encoding) {
    const Ref<ManagedObject> background = property_object(options, "BackgroundColor");
    if (!background || unbox<ColorValue>(*background).state == 0) {
        return;
    }
    const Argb color = unbox<ColorValue>(*background).argb;
    if (property_bool(options, "HasTransparentColor")) {
        encoding.transparent_color = color;
    } else {
        encoding.flatten = color;
    }
}

void fill_options(ManagedObject& options, const FileFacts& facts) {
    const auto& gif = facts.encoding->get<GifEncoding>();
    put_setting(options, "ColorResolution", gif.palette_bits - 1);
    set_property(options, "Interlaced", gif.interlaced);
    set_property(options, "HasTransparentColor", facts.has_alpha);
    put_setting(options, "LoopsCount", gif.loops.value_or(0));
    put_setting(options, "PixelAspectRatio", gif.aspect_ratio);
    put_setting(options, "BackgroundColorIndex", gif.background_index);
    set_property(options, "HasTrailer", gif.trailer);
}

// What the file says of its animation and its screen.
void take_file(ImageObject& image) {
    const auto& gif = image.facts().encoding->get<GifEncoding>();
    if (!has_property(image, "LoopsCount")) {
        return;
    }
    set_property(image, "LoopsCount", int64_t{gif.loops.value_or(0)});
    set_property(image, "PaletteColorResolutionBits", int64_t{gif.color_resolution});
    set_property(image, "IsPaletteSorted", gif.sorted_palette);
    set_property(image, "BackgroundColorIndex", int64_t{gif.background_index});
    set_property(image, "PixelAspectRatio", int64_t{gif.aspect_ratio});
    set_property(image, "HasTrailer", gif.trailer);
}

NewPixels new_pixels(const FormatEncoding&) {
    return {pixel_form(ColorModel::kRgb, true), 8};
}

bool is_indexed(const FormatEncoding&) {
    return true;
}

void take_image(const ImageObject& image, Encoding& encoding) {
    if (!has_property(image, "LoopsCount")) {
        return;
    }
    auto& gif = encoding.format.get<GifEncoding>();
    if (const int64_t loops = property_int(image, "LoopsCount")) {
        gif.loops = static_cast<int>(loops);
    }
    if (image.facts().format == Format::kGif) {
        gif.color_resolution = std::clamp(static_cast<int>(property_int(image, "PaletteColorResolutionBits")), 1, 8);
        gif.sorted_palette = property_bool(image, "IsPaletteSorted");
        gif.background_index = static_cast<uint8_t>(property_int(image, "BackgroundColorIndex"));
        gif.aspect_ratio = static_cast<uint8_t>(property_int(image, "PixelAspectRatio"));
        gif.trailer = property_bool(image, "HasTrailer");
    }
}

namespace classes = api::FileFormats;
namespace save_options = api::ImageOptions;

constexpr FormatClasses kClasses[] = {
    {FileFormat::kGif, Format::kGif, "Gif", classes::Gif::GifImage::kType, save_options::GifOptions::kType,
     &classes::Gif::Blocks::GifFrameBlock::kType, true},
};

}  // namespace

extern const FormatMembers kGifMembers;
const FormatMembers kGifMembers{
    .format = Format::kGif,
    .classes = kClasses,
    .settings = &settings_of,
    .take_options = &take_options,
    .fill_options = &fill_options,
    .options_have_resolution = false,
    .new_pixels = &new_pixels,
    .is_indexed = &is_indexed,
    .take_image = &take_image,
    .drop_descriptions = &drop_gif_descriptions,
    .encode_frames = &encode_gif_image,
    .is_described = &is_described_gif_frame,
    .describe_frame = &describe_gif_frame,
    .take_file = &take_file,
};

}  // namespace zelmor::embed
