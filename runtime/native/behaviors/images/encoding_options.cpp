// Reading save options; see encoding_options.h.
#include "runtime/native/behaviors/images/encoding_options.h"

#include <algorithm>
#include <cmath>

#include "exchange/wire/tags.h"
#include "runtime/native/behaviors/images/palettes.h"
#include "runtime/native/collections/collection.h"
#include "runtime/native/core/managed_exception.h"
#include "runtime/native/core/text.h"
#include "runtime/native/core/type_system.h"

namespace zelmor::embed {

using namespace imagework;

namespace {

constexpr const char* kApngOptions = "Zelmor.Imaging.ImageOptions.ApngOptions";

struct OptionsClass {
    const char* name;
    Format format;
};

constexpr OptionsClass kOptionsClasses[] = {
    {"Zelmor.Imaging.ImageOptions.BmpOptions", Format::kBmp},
    {"Zelmor.Imaging.ImageOptions.GifOptions", Format::kGif},
    {"Zelmor.Imaging.ImageOptions.JpegOptions", Format::kJpeg},
    {"Zelmor.Imaging.ImageOptions.PngOptions", Format::kPng},
    {kApngOptions, Format::kPng},
    {"Zelmor.Imaging.ImageOptions.TiffOptions", Format::kTiff},
    {"Zelmor.Imaging.ImageOptions.BigTiffOptions", Format::kTiff},
    {"Zelmor.Imaging.ImageOptions.WebPOptions", Format::kWebp},
};

std::string member(const ManagedObject& options, const char* property) {
    return std::string(options.type().name) + "." + property;
}

[[noreturn]] void throw_value_not_supported(const ManagedObject& options, const char* property, int64_t value) {
    throw_not_supported("The value " + std::to_string(value) + " of " + member(options, property));
}

int ranged(const ManagedObject& options, const char* property, int least, int most) {
    const int64_t value = property_int(options, property);
    if (value < least || value > most) {
        throw_out_of_range(property, "The value " + std::to_string(value) + " of " + member(options, property) +
                                         " is not between " + std::to_string(least) + " and " + std::to_string(most) +
                                         ".");
    }
    return static_cast<int>(value);
}

// The settings named have no effect here, so that only their absence can be honored.
void require_unset(const ManagedObject& options, std::initializer_list<const char*> properties) {
    for (const char* name : properties) {
        if (has_property(options, name) && !is_null(property(options, name))) {
            throw_not_supported("A value of " + member(options, name));
        }
    }
}
void require_value(const ManagedObject& options, const char* property, int64_t value) {
    if (!has_property(options, property)) {
        return;
    }
    const int64_t actual = property_int(options, property);
    if (actual != value) {
        throw_value_not_supported(options, property, actual);
    }
}

BmpEncoding bmp(const ManagedObject& options) {
    BmpEncoding result;
    result.bits_per_pixel = ranged(options, "BitsPerPixel", 1, 32);
    switch (const int64_t compression = property_int(options, "Compression")) {
        case 0:
            result.compression = BmpCompression::kRgb;
            break;
        case 1:
            result.compression = BmpCompression::kRle8;
            break;
        case 2:
            result.compression = BmpCompression::kRle4;
            break;
        case 3:
            result.compression = BmpCompression::kBitFields;
            break;
        default:
            throw_value_not_supported(options, "Compression", compression);
    }
    return result;
}

GifEncoding gif(const ManagedObject& options) {
    require_value(options, "PixelAspectRatio", 0);
    require_value(options, "BackgroundColorIndex", 0);
    require_value(options, "MaxDiff", 0);
    require_value(options, "HasTrailer", 1);
    GifEncoding result;
    result.palette_bits = ranged(options, "ColorResolution", 0, 7) + 1;
    result.interlaced = property_bool(options, "Interlaced");
    if (const int loops = ranged(options, "LoopsCount", 0, 65535)) {
        result.loops = loops;
    }
    return result;
}

JpegEncoding jpeg(const ManagedObject& options) {
    require_unset(options, {"Jfif", "RdOptSettings", "RgbColorProfile", "CmykColorProfile", "JpegLsPreset",
                            "HorizontalSampling", "VerticalSampling"});
    require_value(options, "BitsPerChannel", 8);
    require_value(options, "JpegLsAllowedLossyError", 0);
    require_value(options, "ResolutionUnit", 1);
    JpegEncoding result;
    result.quality = ranged(options, "Quality", 1, 100);
    const int64_t mode = property_int(options, "CompressionType");
    if (mode > 1) {
        throw_value_not_supported(options, "CompressionType", mode);
    }
    result.progressive = mode == 1;
    switch (const int64_t color = property_int(options, "ColorType")) {
        case 0:
            result.color = JpegColor::kGray;
            break;
        case 1:
            result.color = JpegColor::kYcc;
            break;
        case 2:
            result.color = JpegColor::kCmyk;
            break;
        default:
            throw_value_not_supported(options, "ColorType", color);
    }
    if (const auto comment = property_string(options, "Comment")) {
        result.comment = to_utf8(*comment);
    }
    return result;
}

PngEncoding png(const ManagedObject& options) {
    PngEncoding result;
    switch (const int64_t color = property_int(options, "ColorType")) {
        case 0:
            result.color = PngColor::kGray;
            break;
        case 2:
            result.color = PngColor::kTruecolor;
            break;
        case 3:
            result.color = PngColor::kIndexed;
            break;
        case 4:
            result.color = PngColor::kGrayAlpha;
            break;
        case 6:
            result.color = PngColor::kTruecolorAlpha;
            break;
        default:
            throw_value_not_supported(options, "ColorType", color);
    }
    result.bit_depth = ranged(options, "BitDepth", 1, 16);
    if ((result.bit_depth & (result.bit_depth - 1)) != 0) {
        throw_out_of_range("BitDepth", "The value " + std::to_string(result.bit_depth) +
                                           " of PngOptions.BitDepth is none of 1, 2, 4, 8 and 16.");
    }
    result.interlaced = property_bool(options, "Progressive");
    if (has_property(options, "NumPlays")) {
        result.plays = ranged(options, "NumPlays", 0, 0x7FFFFFFF);
    }
    result.filter = static_cast<PngFilter>(ranged(options, "FilterType", 0, 5));
    result.compression_level = ranged(options, "CompressionLevel", 0, 9);
    return result;
}

TiffColor tiff_color(const ManagedObject& options, int& depth) {
    const auto bits = numbers_of(options, "BitsPerSample");
    if (!bits || bits->empty()) {
        return TiffColor::kAuto;
    }
    depth = static_cast<int>(bits->front());
    const bool alike = std::all_of(bits->begin(), bits->end(), [&](int64_t value) { return value == bits->front(); });
    if (!alike || (depth != 1 && depth != 8 && depth != 16)) {
        throw_not_supported("Any form of " + member(options, "BitsPerSample") + " but 1, 8 or 16 for each sample");
    }
    const int64_t photometric = property_int(options, "Photometric");
    const size_t samples = bits->size();
    constexpr int64_t kMinIsWhite = 0, kMinIsBlack = 1, kRgb = 2, kSeparated = 5, kYcbcr = 6;
    if (photometric == kMinIsWhite || photometric == kMinIsBlack) {
        if (samples == 1) {
            return depth == 1 ? TiffColor::kBilevel : TiffColor::kGray;
        }
    } else if (photometric == kRgb && depth > 1) {
        if (samples == 3) {
            return TiffColor::kRgb;
        }
        if (samples == 4) {
            return TiffColor::kRgba;
        }
    } else if (photometric == kYcbcr && depth == 8 && samples == 3) {
        return TiffColor::kRgb;  // how JPEG keeps the colors inside the file
    } else if (photometric == kSeparated && depth == 8 && samples == 4) {
        return TiffColor::kCmyk;
    }
    throw_not_supported("TiffOptions.Photometric " + std::to_string(photometric) + " with " + std::to_string(samples) +
                        " samples of " + std::to_string(depth) + " bits");
}

TiffEncoding tiff(const ManagedObject& options) {
    // What else is a tag goes into the file with the metadata.
    require_unset(options, {"ColorMap"});
    TiffEncoding result;
    result.premultiplied = property_bool(options, "PremultiplyComponents");
    switch (const int64_t compression = property_int(options, "Compression")) {
        case 1:
            result.compression = TiffCompression::kNone;
            break;
        case 4:
            result.compression = TiffCompression::kFax4;
            break;
        case 5:
            result.compression = TiffCompression::kLzw;
            break;
        case 7:
            result.compression = TiffCompression::kJpeg;
            break;
        case 8:
        case 32946:
            result.compression = TiffCompression::kDeflate;
            break;
        case 32773:
            result.compression = TiffCompression::kPackBits;
            break;
        default:
            throw_value_not_supported(options, "Compression", compression);
    }
    result.color = tiff_color(options, result.bit_depth);
    result.rgb_jpeg = property_int(options, "Photometric") == 2;
    result.quality = ranged(options, "CompressedQuality", 1, 100);
    result.predictor = property_int(options, "Predictor") == 2;
    result.min_is_white = result.color != TiffColor::kAuto && property_int(options, "Photometric") == 0;
    result.big_tiff = std::string_view(options.type().name) == "BigTiffOptions";
    result.big_endian = property_int(options, "ByteOrder") == 0x4D4D;
    const int64_t tile_width = property_int(options, "TileWidth");
    const int64_t tile_height = property_int(options, "TileLength");
    if (tile_width != 0 || tile_height != 0) {
        if (tile_width <= 0 || tile_height <= 0 || tile_width % 16 != 0 || tile_height % 16 != 0 ||
            tile_width > 1 << 15 || tile_height > 1 << 15) {
            throw_out_of_range("TileWidth", "The tile size " + size_text(tile_width, tile_height) +
                                                " is not of multiples of 16 up to 32768.");
        }
        result.tile_width = static_cast<int>(tile_width);
        result.tile_height = static_cast<int>(tile_height);
    }
    return result;
}

WebpEncoding webp(const ManagedObject& options) {
    WebpEncoding result;
    if (const int loops = ranged(options, "AnimLoopCount", 0, 65535)) {
        result.loops = loops;
    }
    if (const int64_t background = property_int(options, "AnimBackgroundColor")) {
        result.background = static_cast<Argb>(background);
    }
    result.lossless = property_bool(options, "Lossless");
    const double quality = property_double(options, "Quality");
    if (!(quality >= 0.0 && quality <= 100.0)) {
        throw_out_of_range("Quality", "The value " + to_utf8(number_text(quality)) +
                                          " of WebPOptions.Quality is not between 0 and 100.");
    }
    result.quality = static_cast<int>(std::lround(quality));
    return result;
}

bool is_indexed(const Encoding& encoding) {
    if (const auto* png = std::get_if<PngEncoding>(&encoding.format)) {
        return png->color == PngColor::kIndexed;
    }
    if (const auto* bmp = std::get_if<BmpEncoding>(&encoding.format)) {
        return bmp->bits_per_pixel <= 8;
    }
    return std::holds_alternative<GifEncoding>(encoding.format);
}

// A background color that is named is the transparent one, or stands behind what is transparent.
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

FormatEncoding format_encoding(const ManagedObject& options, Format format) {
    switch (format) {
        case Format::kBmp:
            return bmp(options);
        case Format::kGif:
            return gif(options);
        case Format::kJpeg:
            return jpeg(options);
        case Format::kPng:
            return png(options);
        case Format::kTiff:
            return tiff(options);
        case Format::kWebp:
            return webp(options);
        case Format::kUnknown:
            break;
    }
    throw_not_supported(std::string("Saving with ") + options.type().name);
}

}  // namespace

std::optional<std::vector<int64_t>> numbers_of(const ManagedObject& object, std::string_view name) {
    const Value value = property(object, name);  // held: reading a Python list may set the property
    if (is_null(value)) {
        return std::nullopt;
    }
    std::vector<Value> elements;
    if (const auto* held = std::get_if<PyHeld>(&value)) {
        const VariantArg arg{kHandlePySequence, held->get()};
        elements = read_elements(&arg, variant_element(), "value");
    } else if (const auto* reference = std::get_if<Ref<ManagedObject>>(&value)) {
        const auto& list = cast_object<ManagedList>(**reference);
        for (size_t i = 0; i < list.size(); ++i) {
            elements.push_back(list.get(i));
        }
    } else if (const auto* bytes = std::get_if<Bytes>(&value)) {
        for (const std::byte byte : *bytes) {
            elements.emplace_back(std::to_integer<int64_t>(byte));
        }
    } else {
        throw_invalid_value_cast(value, "System.UInt16[]");
    }
    std::vector<int64_t> numbers;
    for (const Value& element : elements) {
        const auto* number = std::get_if<int64_t>(&element);
        if (!number) {
            throw_invalid_value_cast(element, "System.UInt16");
        }
        numbers.push_back(*number);
    }
    return numbers;
}

Format format_of_options(const ManagedObject& options) {
    for (const OptionsClass& known : kOptionsClasses) {
        if (std::string_view(known.name) == options.type().full_name) {
            return known.format;
        }
    }
    return Format::kUnknown;
}

Encoding encoding_of_options(const ManagedObject& options) {
    Encoding encoding;
    encoding.format = format_encoding(options, format_of_options(options));
    if (std::holds_alternative<BmpEncoding>(encoding.format)) {
        require_unset(options, {"XmpData"});
    }
    if (const Ref<PaletteObject> palette = palette_property(options, "Palette")) {
        if (!is_indexed(encoding)) {
            throw_not_supported("A palette in " + std::string(options.type().name) +
                                " for a form of the format that has no indexed colors");
        }
        encoding.palette = palette->entries;
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

// What an image of several frames itself says of its animation.
void apply_animation(const ImageObject& image, Encoding& encoding) {
    if (auto* gif = std::get_if<GifEncoding>(&encoding.format); gif && has_property(image, "LoopsCount")) {
        if (const int64_t loops = property_int(image, "LoopsCount")) {
            gif->loops = static_cast<int>(loops);
        }
    }
    if (auto* png = std::get_if<PngEncoding>(&encoding.format); png && has_property(image, "NumPlays")) {
        png->plays = static_cast<int>(property_int(image, "NumPlays"));
    }
}

Encoding completed(const ImageObject& image, Encoding encoding) {
    encoding.background = image.flat_background();
    if (!encoding.transparent_color) {
        encoding.transparent_color = image.transparent_color();
    }
    return encoding;
}

}  // namespace

Encoding encoding_for(const ImageObject& image, const ManagedObject& options) {
    return completed(image, encoding_of_options(options));
}

Encoding encoding_for(const ImageObject& image, Format format) {
    return encoding_for(image, format, image);
}

bool is_animation_options(const ManagedObject& options) {
    return std::string_view(kApngOptions) == options.type().full_name;
}

int32_t usual_duration(const ImageObject& image, const ManagedObject* options) {
    if (options && is_animation_options(*options)) {
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
        // A kind of colors that fits the picture as it is now: saving again must not lose what was worked into it.
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
    if (auto* bmp = std::get_if<BmpEncoding>(&encoding.format); bmp && facts.format != format) {
        bmp->bits_per_pixel = page.picture().has_alpha() ? 32 : 24;
    }
    if (is_indexed(encoding)) {
        encoding.palette = page.palette;  // as long as the picture has no other colors
    }
    apply_animation(image, encoding);
    return completed(image, encoding);
}

Format format_of_extension(const std::string& path) {
    const size_t dot = path.find_last_of("./");
    if (dot == std::string::npos || path[dot] == '/') {
        return Format::kUnknown;
    }
    std::string extension = path.substr(dot + 1);
    std::transform(extension.begin(), extension.end(), extension.begin(),
                   [](unsigned char c) { return static_cast<char>(c >= 'A' && c <= 'Z' ? c - 'A' + 'a' : c); });
    struct Extension {
        const char* text;
        Format format;
    };
    static constexpr Extension kExtensions[] = {
        {"bmp", Format::kBmp},   {"dib", Format::kBmp},   {"gif", Format::kGif},   {"jpg", Format::kJpeg},
        {"jpeg", Format::kJpeg}, {"jpe", Format::kJpeg},  {"jfif", Format::kJpeg}, {"png", Format::kPng},
        {"tif", Format::kTiff},  {"tiff", Format::kTiff}, {"webp", Format::kWebp},
    };
    for (const Extension& known : kExtensions) {
        if (extension == known.text) {
            return known.format;
        }
    }
    return Format::kUnknown;
}

}  // namespace zelmor::embed
