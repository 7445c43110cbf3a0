// Reading save options, format by format; see format_settings.h.
#include "runtime/native/behaviors/images/format_settings.h"

#include <algorithm>
#include <cmath>

#include "runtime/native/behaviors/images/encoding_options.h"
#include "runtime/native/behaviors/images/format_enumerations.h"
#include "runtime/native/behaviors/images/option_checks.h"
#include "runtime/native/behaviors/images/png_options.h"
#include "runtime/native/behaviors/images/tiff_settings.h"
#include "runtime/native/core/enumeration_properties.h"
#include "runtime/native/core/managed_exception.h"

namespace zelmor::embed {

using namespace imagework;

namespace {

[[noreturn]] void throw_value_not_supported(const ManagedObject& options, const char* property, int64_t value) {
    throw_not_supported("The value " + std::to_string(value) + " of " + member_name(options, property));
}

// A number whose range was checked when it was set.
int setting(const ManagedObject& options, const char* property) {
    return static_cast<int>(property_int(options, property));
}

// The backend's value for a setting whose type is an enumeration.
template <class Api, class Backend, size_t N>
Backend supported(const ManagedObject& options, const char* property, const Counterpart<Api, Backend> (&table)[N]) {
    const auto value = property_enum<Api>(options, property);
    if (const auto known = backend_value(table, value)) {
        return *known;
    }
    throw_value_not_supported(options, property, number_of(value));
}

BmpEncoding bmp(const ManagedObject& options) {
    BmpEncoding result;
    result.bits_per_pixel = setting(options, "BitsPerPixel");
    result.compression = supported(options, "Compression", kBmpCompressions);
    return result;
}

GifEncoding gif(const ManagedObject& options) {
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

JpegEncoding jpeg(const ManagedObject& options) {
    JpegEncoding result;
    result.quality = setting(options, "Quality");
    result.progressive = supported(options, "CompressionType", kJpegProgressive);
    result.color = supported(options, "ColorType", kJpegColors);
    return result;  // comment, JFIF, EXIF and XMP go into the file with the metadata
}

PngEncoding png(const ManagedObject& options) {
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

WebpEncoding webp(const ManagedObject& options) {
    WebpEncoding result;
    if (const int loops = setting(options, "AnimLoopCount")) {
        result.loops = loops;
    }
    if (const int64_t background = property_int(options, "AnimBackgroundColor")) {
        result.background = static_cast<Argb>(background);
    }
    result.lossless = property_bool(options, "Lossless");
    result.quality = static_cast<int>(std::lround(property_double(options, "Quality")));
    return result;
}

}  // namespace

FormatEncoding settings_of_options(const ManagedObject& options) {
    switch (format_of_options(options)) {
        case Format::kBmp:
            return bmp(options);
        case Format::kGif:
            return gif(options);
        case Format::kJpeg:
            return jpeg(options);
        case Format::kPng:
            return png(options);
        case Format::kTiff:
            return tiff_settings(options);
        case Format::kWebp:
            return webp(options);
        case Format::kUnknown:
            break;
    }
    throw_not_supported(std::string("Saving with ") + options.type().name);
}

}  // namespace zelmor::embed
