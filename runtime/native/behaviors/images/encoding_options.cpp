// The settings that an image is saved with, from save options or from the image alone; see encoding_options.h.
#include "runtime/native/behaviors/images/encoding_options.h"

#include <algorithm>
#include <cmath>

#include "runtime/native/behaviors/images/color_profiles.h"
#include "runtime/native/behaviors/images/format_settings.h"
#include "runtime/native/behaviors/images/option_rules.h"
#include "runtime/native/behaviors/images/palettes.h"
#include "runtime/native/core/managed_exception.h"
#include "runtime/native/core/text.h"
#include "runtime/native/core/type_system.h"

namespace zelmor::embed {

using namespace imagework;

namespace {

bool is_indexed(const Encoding& encoding) {
    if (const auto* png = std::get_if<PngEncoding>(&encoding.format)) {
        return png->color == PngColor::kIndexed;
    }
    if (const auto* bmp = std::get_if<BmpEncoding>(&encoding.format)) {
        return bmp->bits_per_pixel <= 8;
    }
    if (const auto* tiff = std::get_if<TiffEncoding>(&encoding.format)) {
        return tiff->color == TiffColor::kIndexed && !tiff->of_file;
    }
    return std::holds_alternative<GifEncoding>(encoding.format);
}

// A background color in the options is the transparent color, or stands behind transparent pixels.
void apply_gif_background(const ManagedObject& options, Encoding& encoding) {
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

}  // namespace

Format format_of_options(const ManagedObject& options) {
    const FormatClasses* known = classes_of(file_format_of_options(options));
    return known != nullptr ? known->codec : Format::kUnknown;
}

Encoding encoding_of_options(const ManagedObject& options) {
    Encoding encoding;
    encoding.format = settings_of_options(options);
    require_effective_options(options);
    if (const Ref<PaletteObject> palette = palette_property(options, "Palette")) {
        if (!is_indexed(encoding)) {
            throw_not_supported("A palette in " + std::string(options.type().name) +
                                " for a form of the format that has no indexed colors");
        }
        encoding.palette = palette->entries;
    }
    if (std::holds_alternative<JpegEncoding>(encoding.format)) {
        take_target_profiles(options, "RgbColorProfile", "CmykColorProfile", encoding);
    }
    if (std::holds_alternative<GifEncoding>(encoding.format)) {
        apply_gif_background(options, encoding);
    }
    if (has_property(options, "PreblendAlphaIfPresent")) {
        encoding.blend_alpha = property_bool(options, "PreblendAlphaIfPresent");
    }
    if (const Ref<ManagedObject> setting = property_object(options, "ResolutionSettings")) {
        const Resolution resolution{property_double(*setting, "HorizontalResolution"),
                                    property_double(*setting, "VerticalResolution")};
        for (const double value : {resolution.horizontal, resolution.vertical}) {
            if (!(value > 0.0) || std::isinf(value)) {
                throw_out_of_range("ResolutionSettings", "The resolution " + to_utf8(number_text(value)) +
                                                             " is no positive number of dots per inch.");
            }
        }
        encoding.resolution = resolution;
    }
    return encoding;
}

namespace {

// The properties of an image that concern its animation.
void apply_animation(const ImageObject& image, Encoding& encoding) {
    if (auto* gif = std::get_if<GifEncoding>(&encoding.format); gif != nullptr && has_property(image, "LoopsCount")) {
        if (const int64_t loops = property_int(image, "LoopsCount")) {
            gif->loops = static_cast<int>(loops);
        }
        if (image.facts().format == Format::kGif) {
            gif->color_resolution =
                std::clamp(static_cast<int>(property_int(image, "PaletteColorResolutionBits")), 1, 8);
            gif->sorted_palette = property_bool(image, "IsPaletteSorted");
            gif->background_index = static_cast<uint8_t>(property_int(image, "BackgroundColorIndex"));
            gif->aspect_ratio = static_cast<uint8_t>(property_int(image, "PixelAspectRatio"));
            gif->trailer = property_bool(image, "HasTrailer");
        }
    }
    if (auto* png = std::get_if<PngEncoding>(&encoding.format); png != nullptr && has_property(image, "NumPlays")) {
        png->plays = static_cast<int>(property_int(image, "NumPlays"));
    }
}

Encoding completed(const ImageObject& image, Encoding encoding) {
    encoding.background = image.flat_background();
    if (!encoding.transparent_color) {
        encoding.transparent_color = image.transparent_color();
    }
    if (auto* webp = std::get_if<WebpEncoding>(&encoding.format); webp != nullptr && !webp->loops) {
        if (const auto* own = settings_as<WebpEncoding>(image.facts())) {
            webp->loops = own->loops;
        }
    }
    return encoding;
}

}  // namespace

Encoding encoding_for(const ImageObject& image, const ManagedObject& options) {
    Encoding encoding = encoding_of_options(options);
    const bool wants_transparent_color =
        has_property(options, "HasTransparentColor") && property_bool(options, "HasTransparentColor");
    if (wants_transparent_color && !encoding.transparent_color && !image.picture().has_alpha()) {
        throw_not_supported(
            "GifOptions.HasTransparentColor without a GifOptions.BackgroundColor that is to be "
            "transparent, for an image without transparent pixels,");
    }
    return completed(image, std::move(encoding));
}

Encoding encoding_for(const ImageObject& image, Format format) {
    return encoding_for(image, format, image);
}

bool is_animation_options(const ManagedObject& options) {
    return file_format_of_options(options) == FileFormat::kApng;
}

int32_t usual_duration(const ImageObject& image, const ManagedObject* options) {
    if (options != nullptr && is_animation_options(*options)) {
        return static_cast<int32_t>(property_int(*options, "DefaultFrameTime"));
    }
    if (has_property(image, "DefaultFrameTime")) {
        if (const int64_t time = property_int(image, "DefaultFrameTime")) {
            return static_cast<int32_t>(time);
        }
    }
    return 100;
}

Encoding encoding_for(const ImageObject& page, Format format, const ImageObject& image) {
    const FileFacts& facts = page.facts();
    Encoding encoding = default_encoding(format);
    encoding.may_widen = true;
    if (facts.format == format && facts.encoding) {
        encoding.format = *facts.encoding;
        // The kind of colors follows the picture as it is now: saving again must not lose changes since it was loaded.
        if (auto* png = std::get_if<PngEncoding>(&encoding.format)) {
            if (png->color != PngColor::kIndexed) {
                png->color = PngColor::kAuto;
                png->bit_depth = 0;
            }
        } else if (auto* jpeg = std::get_if<JpegEncoding>(&encoding.format)) {
            if (jpeg->color == JpegColor::kGray) {
                jpeg->color = JpegColor::kAuto;
            }
        }
    } else if (auto* webp = std::get_if<WebpEncoding>(&encoding.format)) {
        webp->lossless = true;
    }
    if (auto* bmp = std::get_if<BmpEncoding>(&encoding.format); bmp != nullptr && facts.format != format) {
        bmp->bits_per_pixel = page.picture().has_alpha() ? 32 : 24;
    }
    if (is_indexed(encoding)) {
        encoding.palette = page.palette();
    }
    apply_animation(image, encoding);
    if (format == Format::kJpeg && has_property(image, "DestinationRgbColorProfile")) {
        take_target_profiles(image, "DestinationRgbColorProfile", "DestinationCmykColorProfile", encoding);
    }
    return completed(image, encoding);
}

}  // namespace zelmor::embed
