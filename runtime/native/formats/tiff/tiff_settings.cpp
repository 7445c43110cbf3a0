// The properties of TiffOptions that decide how pixels are stored; see tiff_settings.h. Other tags go into the file
// with the metadata.
#include "runtime/native/formats/tiff/tiff_settings.h"

#include <algorithm>
#include <cassert>
#include <cmath>
#include <string>
#include <vector>

#include "generated/runtime/Zelmor.Imaging.h"
#include "runtime/native/behaviors/images/encoding_options.h"
#include "runtime/native/behaviors/images/format_classes.h"
#include "runtime/native/behaviors/images/number_lists.h"
#include "runtime/native/behaviors/images/option_checks.h"
#include "runtime/native/behaviors/metadata/tiff/rationals.h"
#include "runtime/native/collections/collection.h"
#include "runtime/native/core/enumeration_properties.h"
#include "runtime/native/core/managed_exception.h"
#include "runtime/native/formats/tiff/tiff_encoding.h"
#include "runtime/native/formats/tiff/tiff_enumerations.h"

namespace zelmor::embed {

using namespace imagework;

namespace {

using api::FileFormats::Tiff::Enums::Group3Options;
using api::FileFormats::Tiff::Enums::TiffAlphaStorage;
using api::FileFormats::Tiff::Enums::TiffFillOrders;
using api::FileFormats::Tiff::Enums::TiffPlanarConfigs;
using api::FileFormats::Tiff::Enums::TiffResolutionUnits;
using api::FileFormats::Tiff::Enums::TiffSampleFormats;

template <class Api, class Backend, size_t N>
Backend supported(const ManagedObject& options, const char* property, const Counterpart<Api, Backend> (&table)[N]) {
    const auto value = property_enum<Api>(options, property);
    if (const auto known = backend_value(table, value)) {
        return *known;
    }
    throw_not_supported("The value " + std::to_string(number_of(value)) + " of " + member_name(options, property));
}

// A value of an enumeration whose members are numbered from 1; 0, which is no member, stands for the first.
template <class Api>
bool is_second(const ManagedObject& options, const char* property, Api second) {
    return ranged(options, property, 0, number_of(second)) == number_of(second);
}

// The one number that a list repeats for each sample; 0 for no list.
int64_t common_number(const ManagedObject& options, const char* property, const std::vector<int64_t>& allowed,
                      const char* words) {
    const auto numbers = numbers_of(options, property);
    if (!numbers || numbers->empty()) {
        return 0;
    }
    const int64_t first = numbers->front();
    const bool alike = std::all_of(numbers->begin(), numbers->end(), [&](int64_t number) { return number == first; });
    if (!alike || std::find(allowed.begin(), allowed.end(), first) == allowed.end()) {
        throw_not_supported("Any form of " + member_name(options, property) + " but " + words + " for each sample");
    }
    return first;
}

// The colors of so many samples of a photometric interpretation; kAuto where there are none such.
TiffColor color_of(TiffPhotometric photometric, size_t samples, int depth) {
    switch (photometric) {
        case TiffPhotometric::kMask:
            return samples == 1 && depth == 1 ? TiffColor::kBilevel : TiffColor::kAuto;
        case TiffPhotometric::kMinIsWhite:
        case TiffPhotometric::kMinIsBlack:
            return samples == 1   ? (depth == 1 ? TiffColor::kBilevel : TiffColor::kGray)
                   : samples == 2 ? TiffColor::kGrayAlpha
                                  : TiffColor::kAuto;
        case TiffPhotometric::kRgb:
            return depth == 1     ? TiffColor::kAuto
                   : samples == 3 ? TiffColor::kRgb
                   : samples == 4 ? TiffColor::kRgba
                                  : TiffColor::kAuto;
        case TiffPhotometric::kYcbcr:
            return samples == 3 && depth == 8 ? TiffColor::kRgb : TiffColor::kAuto;
        case TiffPhotometric::kPalette:
            return samples == 1 && depth <= 8 ? TiffColor::kIndexed : TiffColor::kAuto;
        case TiffPhotometric::kSeparated:
            return depth < 8      ? TiffColor::kAuto
                   : samples == 4 ? TiffColor::kCmyk
                   : samples == 5 ? TiffColor::kCmyka
                                  : TiffColor::kAuto;
        case TiffPhotometric::kCieLab:
        case TiffPhotometric::kIccLab:
            return samples == 3 && (depth == 8 || depth == 16) ? TiffColor::kLab : TiffColor::kAuto;
        default:
            return TiffColor::kAuto;
    }
}

// The samples that a photometric interpretation takes where BitsPerSample does not tell; 0 for as the picture is.
size_t usual_samples(TiffPhotometric photometric) {
    switch (photometric) {
        case TiffPhotometric::kMinIsBlack:
        case TiffPhotometric::kMask:
        case TiffPhotometric::kPalette:
            return 1;
        case TiffPhotometric::kYcbcr:
        case TiffPhotometric::kCieLab:
        case TiffPhotometric::kIccLab:
            return 3;
        case TiffPhotometric::kSeparated:
            return 4;
        default:
            return 0;  // RGB and the least number, which the properties of new options have
    }
}

void take_colors(const ManagedObject& options, TiffEncoding& tiff) {
    const auto photometric = supported(options, "Photometric", kTiffPhotometrics);
    tiff.bit_depth =
        static_cast<int>(common_number(options, "BitsPerSample", {1, 2, 4, 8, 16, 32, 64}, "1, 2, 4, 8, 16, 32 or 64"));
    size_t samples = numbers_of(options, "BitsPerSample").value_or(std::vector<int64_t>{}).size();
    if (samples == 0) {
        samples = usual_samples(photometric);
        if (samples == 0) {
            return;
        }
        tiff.bit_depth = photometric == TiffPhotometric::kMask         ? 1
                         : photometric == TiffPhotometric::kMinIsBlack ? 0
                                                                       : 8;
    }
    tiff.photometric = photometric;
    tiff.color = color_of(photometric, samples, tiff.bit_depth == 0 ? 8 : tiff.bit_depth);
    if (tiff.color == TiffColor::kAuto) {
        throw_not_supported("The value " + std::to_string(static_cast<int>(photometric)) + " of " +
                            member_name(options, "Photometric") + " with " + std::to_string(samples) + " samples of " +
                            std::to_string(tiff.bit_depth) + " bits in " + member_name(options, "BitsPerSample"));
    }
}

void take_numbers(const ManagedObject& options, TiffEncoding& tiff) {
    const auto format = static_cast<TiffSampleFormats>(
        common_number(options, "SampleFormat",
                      {number_of(TiffSampleFormats::kUint), number_of(TiffSampleFormats::kInt),
                       number_of(TiffSampleFormats::kIeeeFp)},
                      "UINT, INT or IEEE_FP"));
    const size_t formats = numbers_of(options, "SampleFormat").value_or(std::vector<int64_t>{}).size();
    const size_t samples = numbers_of(options, "BitsPerSample").value_or(std::vector<int64_t>{}).size();
    if (formats != 0 && samples != 0 && formats != samples) {
        throw_not_supported("A " + member_name(options, "SampleFormat") + " for " + std::to_string(formats) +
                            " samples beside a " + member_name(options, "BitsPerSample") + " for " +
                            std::to_string(samples));
    }
    const int depth = tiff.bit_depth;
    const bool fits = format == TiffSampleFormats::kInt      ? depth == 8 || depth == 16 || depth == 32
                      : format == TiffSampleFormats::kIeeeFp ? depth == 16 || depth == 32 || depth == 64
                                                             : depth != 64;
    if (!fits) {
        throw_not_supported(member_name(options, "SampleFormat") + " " + std::to_string(number_of(format)) +
                            " with samples of " + std::to_string(depth) + " bits");
    }
    tiff.numbers = format == TiffSampleFormats::kInt      ? TiffNumbers::kSigned
                   : format == TiffSampleFormats::kIeeeFp ? TiffNumbers::kFloatingPoint
                                                          : TiffNumbers::kAuto;
}

void take_alpha(const ManagedObject& options, TiffEncoding& tiff) {
    const auto storage =
        static_cast<TiffAlphaStorage>(ranged(options, "AlphaStorage", 0, number_of(TiffAlphaStorage::kUnassociated)));
    const bool premultiply = property_bool(options, "PremultiplyComponents");
    if (premultiply && storage == TiffAlphaStorage::kUnassociated) {
        throw_not_supported(member_name(options, "PremultiplyComponents") +
                            " with an AlphaStorage that says otherwise");
    }
    // Unspecified is what new options have: the alpha of such files is named, so that every reader knows it.
    tiff.alpha =
        premultiply || storage == TiffAlphaStorage::kAssociated ? TiffAlpha::kAssociated : TiffAlpha::kUnassociated;
}

void take_subsampling(const ManagedObject& options, TiffEncoding& tiff) {
    const auto factors = numbers_of(options, "YCbCrSubsampling");
    if (!factors || factors->empty()) {
        return;
    }
    const auto fits = [](int64_t factor) { return factor == 1 || factor == 2 || factor == 4; };
    if (factors->size() != 2 || !fits((*factors)[0]) || !fits((*factors)[1])) {
        throw_not_supported("Any form of " + member_name(options, "YCbCrSubsampling") + " but two of 1, 2 and 4");
    }
    constexpr int64_t kMostOfJpeg = 8;  // which counts ten samples of all colors together
    if ((*factors)[0] * (*factors)[1] > kMostOfJpeg) {
        throw_not_supported("The value 4 for both directions of " + member_name(options, "YCbCrSubsampling"));
    }
    tiff.horizontal_subsampling = static_cast<int>((*factors)[0]);
    tiff.vertical_subsampling = static_cast<int>((*factors)[1]);
}

void take_fax_options(const ManagedObject& options, TiffEncoding& tiff) {
    const auto wanted = property_int(options, "FaxT4Options");
    constexpr int64_t kKnown = number_of(Group3Options::kEncoding2d) | number_of(Group3Options::kFillBits);
    if ((wanted & ~kKnown) != 0) {
        throw_not_supported("The value " + std::to_string(wanted) + " of " + member_name(options, "FaxT4Options"));
    }
    tiff.fax3_options = static_cast<uint32_t>(wanted);
}

void take_tiles(const ManagedObject& options, TiffEncoding& tiff) {
    const int64_t width = property_int(options, "TileWidth");
    const int64_t height = property_int(options, "TileLength");
    if (width == 0 && height == 0) {
        return;
    }
    constexpr int64_t kStep = 16;
    constexpr int64_t kMost = 1 << 15;
    if (width <= 0 || height <= 0 || width % kStep != 0 || height % kStep != 0 || width > kMost || height > kMost) {
        throw_out_of_range("TileWidth",
                           "The tile size " + size_text(width, height) + " is not of multiples of 16 up to 32768.");
    }
    tiff.tile_width = static_cast<int>(width);
    tiff.tile_height = static_cast<int>(height);
}

void take_strips(const ManagedObject& options, TiffEncoding& tiff) {
    tiff.rows_per_strip = static_cast<int>(ranged(options, "RowsPerStrip", 0, INT32_MAX));
    const auto fresh = make_instance(options.type());
    if (tiff.compression == TiffCompression::kJbig && tiff.rows_per_strip == property_int(*fresh, "RowsPerStrip")) {
        tiff.rows_per_strip = 0;  // the usual strips are not those of JBIG, which are the whole picture
    }
}

// A resolution in fractions, which needs both of its directions.
void take_resolution(const ManagedObject& options, TiffEncoding& tiff) {
    const int64_t unit = ranged(options, "ResolutionUnit", 0, number_of(TiffResolutionUnits::kCentimeter));
    tiff.unit = unit == 0 ? TiffUnit::kInch : static_cast<TiffUnit>(unit);
    const auto dots = [&](const char* name) -> std::optional<double> {
        const Ref<ManagedObject> rational = property_object(options, name);
        if (!rational) {
            return std::nullopt;
        }
        const double value = cast_object<RationalObject>(*rational).value();
        if (!(value > 0.0) || std::isinf(value)) {
            throw_out_of_range(name, "The value of " + member_name(options, name) + " is no positive number.");
        }
        return value;
    };
    const auto horizontal = dots("Xresolution");
    const auto vertical = dots("Yresolution");
    if (horizontal || vertical) {
        tiff.resolution =
            Resolution{horizontal.value_or(vertical.value_or(0)), vertical.value_or(horizontal.value_or(0))};
    }
}

void set_numbers(ManagedObject& options, const char* property, size_t count, int64_t number) {
    set_property(options, property,
                 Ref<ManagedObject>(make_array<uint16_t>(std::vector<uint16_t>(count, static_cast<uint16_t>(number)))));
}

size_t samples_of(TiffColor color) {
    switch (color) {
        case TiffColor::kAuto:
            return 0;
        case TiffColor::kBilevel:
        case TiffColor::kGray:
        case TiffColor::kIndexed:
            return 1;
        case TiffColor::kGrayAlpha:
            return 2;
        case TiffColor::kRgb:
        case TiffColor::kLab:
            return 3;
        case TiffColor::kRgba:
        case TiffColor::kCmyk:
            return 4;
        case TiffColor::kCmyka:
            return 5;
    }
    return 0;
}

}  // namespace

TiffEncoding tiff_settings(const ManagedObject& options) {
    TiffEncoding tiff;
    tiff.compression = supported(options, "Compression", kTiffCompressions);
    take_colors(options, tiff);
    take_numbers(options, tiff);
    take_alpha(options, tiff);
    take_subsampling(options, tiff);
    tiff.quality = static_cast<int>(property_int(options, "CompressedQuality"));
    tiff.predictor = is_second(options, "Predictor", TiffPredictor::kHorizontal) ? TiffDifferencing::kHorizontal
                                                                                 : TiffDifferencing::kNone;
    take_fax_options(options, tiff);
    tiff.big_tiff = file_format_of_options(options) == FileFormat::kBigTiff;
    tiff.big_endian = property_enum<TiffByteOrder>(options, "ByteOrder") == TiffByteOrder::kBigEndian;
    tiff.lowest_bit_first = is_second(options, "FillOrder", TiffFillOrders::kLsb2Msb);
    tiff.separate_planes = is_second(options, "PlanarConfiguration", TiffPlanarConfigs::kSeparate);
    take_tiles(options, tiff);
    take_strips(options, tiff);
    take_resolution(options, tiff);
    tiff.without_profile = property_bool(options, "DisableIccExport");
    return tiff;
}

void fill_tiff_options(ManagedObject& options, const TiffEncoding& tiff) {
    set_property(options, "Compression",
                 api_value(kTiffCompressions, tiff.compression).value_or(TiffCompressions::kLzw));
    set_property(options, "Predictor",
                 tiff.predictor == TiffDifferencing::kHorizontal ? TiffPredictor::kHorizontal : TiffPredictor::kNone);
    set_property(options, "ByteOrder", tiff.big_endian ? TiffByteOrder::kBigEndian : TiffByteOrder::kLittleEndian);
    set_property(options, "TileWidth", int64_t{tiff.tile_width});
    set_property(options, "TileLength", int64_t{tiff.tile_height});
    if (tiff.rows_per_strip > 0) {
        set_property(options, "RowsPerStrip", int64_t{tiff.rows_per_strip});
    }
    set_property(options, "CompressedQuality", int64_t{tiff.quality});
    if (tiff.lowest_bit_first) {
        set_property(options, "FillOrder", TiffFillOrders::kLsb2Msb);
    }
    if (tiff.separate_planes) {
        set_property(options, "PlanarConfiguration", TiffPlanarConfigs::kSeparate);
    }
    if (tiff.alpha == TiffAlpha::kAssociated) {
        set_property(options, "AlphaStorage", TiffAlphaStorage::kAssociated);
    }
    if (tiff.compression == TiffCompression::kFax3) {
        set_property(options, "FaxT4Options", int64_t{tiff.fax3_options & 5});
    }
    if (tiff.unit == TiffUnit::kCentimeter || tiff.resolution) {
        set_property(options, "ResolutionUnit", static_cast<TiffResolutionUnits>(tiff.unit));
    }
    const size_t samples = samples_of(tiff.color);
    const auto photometric = api_value(kTiffPhotometrics, tiff.photometric);
    const bool jpeg = tiff.compression == TiffCompression::kJpeg;
    if (samples == 0 || !photometric) {
        set_property(options, "Photometric", TiffPhotometrics::kRgb);
        return;
    }
    // Colors that are stored as YCbCr without JPEG are written as RGB.
    set_property(options, "Photometric",
                 *photometric == TiffPhotometrics::kYcbcr && !jpeg ? TiffPhotometrics::kRgb : *photometric);
    set_numbers(options, "BitsPerSample", samples, tiff.bit_depth == 0 ? 8 : tiff.bit_depth);
    if (tiff.numbers == TiffNumbers::kSigned || tiff.numbers == TiffNumbers::kFloatingPoint) {
        const auto format = tiff.numbers == TiffNumbers::kSigned ? TiffSampleFormats::kInt : TiffSampleFormats::kIeeeFp;
        set_numbers(options, "SampleFormat", samples, number_of(format));
    }
    if (jpeg && *photometric == TiffPhotometrics::kYcbcr) {
        set_property(options, "YCbCrSubsampling",
                     Ref<ManagedObject>(make_array<uint16_t>({static_cast<uint16_t>(tiff.horizontal_subsampling),
                                                              static_cast<uint16_t>(tiff.vertical_subsampling)})));
    }
}

}  // namespace zelmor::embed
