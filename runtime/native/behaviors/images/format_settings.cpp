// Reading save options, format by format; see format_settings.h.
#include "runtime/native/behaviors/images/format_settings.h"

#include <algorithm>
#include <cmath>

#include "generated/runtime/Zelmor.Imaging.h"
#include "runtime/native/behaviors/images/encoding_options.h"
#include "runtime/native/behaviors/images/format_enumerations.h"
#include "runtime/native/behaviors/images/number_lists.h"
#include "runtime/native/behaviors/images/option_checks.h"
#include "runtime/native/core/enumeration_properties.h"
#include "runtime/native/core/managed_exception.h"
#include "runtime/native/core/text.h"

namespace zelmor::embed {

using namespace imagework;

namespace {

[[noreturn]] void throw_value_not_supported(const ManagedObject& options, const char* property, int64_t value) {
    throw_not_supported("The value " + std::to_string(value) + " of " + member_name(options, property));
}

int ranged_int(const ManagedObject& options, const char* property, int least, int most) {
    return static_cast<int>(ranged(options, property, least, most));
}

// The one value that a setting may have, where the options have the setting at all.
void require_value(const ManagedObject& options, const char* property, int64_t value) {
    if (!has_property(options, property)) {
        return;
    }
    const int64_t actual = property_int(options, property);
    if (actual != value) {
        throw_value_not_supported(options, property, actual);
    }
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
    result.bits_per_pixel = ranged_int(options, "BitsPerPixel", 1, 32);
    result.compression = supported(options, "Compression", kBmpCompressions);
    return result;
}

GifEncoding gif(const ManagedObject& options) {
    require_value(options, "PixelAspectRatio", 0);
    require_value(options, "BackgroundColorIndex", 0);
    require_value(options, "MaxDiff", 0);
    require_value(options, "HasTrailer", int64_t{true});
    GifEncoding result;
    result.palette_bits = ranged_int(options, "ColorResolution", 0, 7) + 1;
    result.color_resolution = result.palette_bits;
    result.interlaced = property_bool(options, "Interlaced");
    if (const int loops = ranged_int(options, "LoopsCount", 0, 65535)) {
        result.loops = loops;
    }
    return result;
}

JpegEncoding jpeg(const ManagedObject& options) {
    require_unset(options, {"Jfif", "RdOptSettings", "RgbColorProfile", "CmykColorProfile", "JpegLsPreset",
                            "HorizontalSampling", "VerticalSampling"});
    require_value(options, "BitsPerChannel", 8);
    require_value(options, "JpegLsAllowedLossyError", 0);
    require_value(options, "ResolutionUnit", number_of(api::ResolutionUnit::kInch));
    JpegEncoding result;
    result.quality = ranged_int(options, "Quality", 1, 100);
    result.progressive = supported(options, "CompressionType", kJpegProgressive);
    result.color = supported(options, "ColorType", kJpegColors);
    if (const auto comment = property_string(options, "Comment")) {
        result.comment = to_utf8(*comment);
    }
    return result;
}

PngEncoding png(const ManagedObject& options) {
    PngEncoding result;
    result.color = supported(options, "ColorType", kPngColors);
    result.bit_depth = ranged_int(options, "BitDepth", 1, 16);
    if ((result.bit_depth & (result.bit_depth - 1)) != 0) {
        throw_out_of_range("BitDepth", "The value " + std::to_string(result.bit_depth) +
                                           " of PngOptions.BitDepth is none of 1, 2, 4, 8 and 16.");
    }
    result.interlaced = property_bool(options, "Progressive");
    if (has_property(options, "NumPlays")) {
        result.plays = ranged_int(options, "NumPlays", 0, 0x7FFFFFFF);
    }
    ranged(options, "FilterType", number_of(PngFilterType::kNone), number_of(PngFilterType::kAdaptive));
    result.filter = supported(options, "FilterType", kPngFilters);
    result.compression_level = ranged_int(options, "CompressionLevel", 0, 9);
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
        throw_not_supported("Any form of " + member_name(options, "BitsPerSample") + " but 1, 8 or 16 for each sample");
    }
    const auto photometric = property_enum<TiffPhotometrics>(options, "Photometric");
    const size_t samples = bits->size();
    if (photometric == TiffPhotometrics::kMinIsWhite || photometric == TiffPhotometrics::kMinIsBlack) {
        if (samples == 1) {
            return depth == 1 ? TiffColor::kBilevel : TiffColor::kGray;
        }
    } else if (photometric == TiffPhotometrics::kRgb && depth > 1) {
        if (samples == 3) {
            return TiffColor::kRgb;
        }
        if (samples == 4) {
            return TiffColor::kRgba;
        }
    } else if (photometric == TiffPhotometrics::kYcbcr && depth == 8 && samples == 3) {
        return TiffColor::kRgb;  // how JPEG keeps the colors inside the file
    } else if (photometric == TiffPhotometrics::kSeparated && depth == 8 && samples == 4) {
        return TiffColor::kCmyk;
    }
    throw_not_supported("TiffOptions.Photometric " + std::to_string(number_of(photometric)) + " with " +
                        std::to_string(samples) + " samples of " + std::to_string(depth) + " bits");
}

TiffEncoding tiff(const ManagedObject& options) {
    // All other tags go into the file with the metadata.
    require_unset(options, {"ColorMap"});
    const auto photometric = property_enum<TiffPhotometrics>(options, "Photometric");
    TiffEncoding result;
    result.premultiplied = property_bool(options, "PremultiplyComponents");
    result.compression = supported(options, "Compression", kTiffCompressions);
    result.color = tiff_color(options, result.bit_depth);
    result.rgb_jpeg = photometric == TiffPhotometrics::kRgb;
    result.quality = ranged_int(options, "CompressedQuality", 1, 100);
    result.predictor = property_enum<TiffPredictor>(options, "Predictor") == TiffPredictor::kHorizontal;
    result.min_is_white = result.color != TiffColor::kAuto && photometric == TiffPhotometrics::kMinIsWhite;
    result.big_tiff = file_format_of_options(options) == FileFormat::kBigTiff;
    result.big_endian = property_enum<TiffByteOrder>(options, "ByteOrder") == TiffByteOrder::kBigEndian;
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
    if (const int loops = ranged_int(options, "AnimLoopCount", 0, 65535)) {
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
            return tiff(options);
        case Format::kWebp:
            return webp(options);
        case Format::kUnknown:
            break;
    }
    throw_not_supported(std::string("Saving with ") + options.type().name);
}

}  // namespace zelmor::embed
