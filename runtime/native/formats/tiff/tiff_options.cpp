// Constructors of TiffOptions and BigTiffOptions by the format that is expected of the file.
#include <algorithm>

#include "generated/runtime/Zelmor.Imaging.ImageOptions.h"
#include "runtime/native/behaviors/images/number_lists.h"
#include "runtime/native/collections/collection.h"
#include "runtime/native/core/entry.h"
#include "runtime/native/core/enumeration_properties.h"
#include "runtime/native/core/managed_exception.h"
#include "runtime/native/formats/tiff/tiff_enumerations.h"

namespace zelmor::embed {

namespace {

// The settings that belong to an expected format.
struct Expected {
    TiffExpectedFormat format;
    TiffCompressions compression;
    TiffPhotometrics photometric;
    size_t samples;  // 0: as the image has them
    uint16_t bits;
};
using C = TiffCompressions;
using E = TiffExpectedFormat;
using P = TiffPhotometrics;
constexpr Expected kExpected[] = {
    {E::kDefault, C::kLzw, P::kRgb, 0, 8},
    {E::kTiffLzwBw, C::kLzw, P::kMinIsBlack, 1, 1},
    {E::kTiffLzwRgb, C::kLzw, P::kRgb, 3, 8},
    {E::kTiffLzwRgba, C::kLzw, P::kRgb, 4, 8},
    {E::kTiffLzwCmyk, C::kLzw, P::kSeparated, 4, 8},
    {E::kTiffLzwCmyka, C::kLzw, P::kSeparated, 5, 8},
    {E::kTiffCcittFax3, C::kCcittFax3, P::kMinIsBlack, 1, 1},
    {E::kTiffCcittFax4, C::kCcittFax4, P::kMinIsBlack, 1, 1},
    {E::kTiffDeflateBw, C::kAdobeDeflate, P::kMinIsBlack, 1, 1},
    {E::kTiffDeflateRgb, C::kAdobeDeflate, P::kRgb, 3, 8},
    {E::kTiffDeflateRgba, C::kAdobeDeflate, P::kRgb, 4, 8},
    {E::kTiffDeflateCmyk, C::kAdobeDeflate, P::kSeparated, 4, 8},
    {E::kTiffDeflateCmyka, C::kAdobeDeflate, P::kSeparated, 5, 8},
    {E::kTiffCcitRle, C::kCcittRle, P::kMinIsBlack, 1, 1},
    {E::kTiffJpegRgb, C::kJpeg, P::kRgb, 3, 8},
    {E::kTiffJpegYCbCr, C::kJpeg, P::kYcbcr, 3, 8},
    {E::kTiffNoCompressionBw, C::kNone, P::kMinIsBlack, 1, 1},
    {E::kTiffNoCompressionRgb, C::kNone, P::kRgb, 3, 8},
    {E::kTiffNoCompressionRgba, C::kNone, P::kRgb, 4, 8},
    {E::kTiffNoCompressionCmyk, C::kNone, P::kSeparated, 4, 8},
    {E::kTiffNoCompressionCmyka, C::kNone, P::kSeparated, 5, 8},
};

template <const TypeName& kType>
Ref<ManagedObject> with_order(TiffExpectedFormat expected_format, TiffByteOrder byte_order) {
    const auto* expected = std::find_if(std::begin(kExpected), std::end(kExpected),
                                        [&](const Expected& row) { return row.format == expected_format; });
    if (expected == std::end(kExpected)) {
        throw_out_of_range("expected_format", "The value " + std::to_string(number_of(expected_format)) +
                                                  " is not one of TiffExpectedFormat.");
    }
    Ref<ManagedObject> options = make_instance(kType.name);
    set_property(*options, "Compression", expected->compression);
    set_property(*options, "Photometric", expected->photometric);
    set_property(*options, "ByteOrder", byte_order);
    set_property(*options, "Predictor", TiffPredictor::kNone);
    if (expected->samples > 0) {
        set_property(
            *options, "BitsPerSample",
            Ref<ManagedObject>(make_array<uint16_t>(std::vector<uint16_t>(expected->samples, expected->bits))));
    }
    return options;
}
template <const TypeName& kType>
Ref<ManagedObject> little_endian(TiffExpectedFormat expected_format) {
    return with_order<kType>(expected_format, TiffByteOrder::kLittleEndian);
}

int32_t samples_per_pixel(Record& self) {
    const auto bits = numbers_of(self, "BitsPerSample");
    return bits ? static_cast<int32_t>(bits->size()) : 0;
}
int32_t bits_per_pixel(Record& self) {
    int64_t sum = 0;
    for (const int64_t bits : numbers_of(self, "BitsPerSample").value_or(std::vector<int64_t>{})) {
        sum += bits;
    }
    return static_cast<int32_t>(sum);
}
bool is_tiled(Record& self) {
    return property_int(self, "TileWidth") > 0 && property_int(self, "TileLength") > 0;
}

using BigTiffOptionsApi = api::ImageOptions::BigTiffOptions;
using TiffOptionsApi = api::ImageOptions::TiffOptions;

const BehaviorTable ZELMOR_UNNAMED({
    behavior<&with_order<TiffOptionsApi::kType>, TiffOptionsApi::ctor_000_TiffOptions>(),
    behavior<&little_endian<TiffOptionsApi::kType>, TiffOptionsApi::ctor_001_TiffOptions>(),
    behavior<&samples_per_pixel, TiffOptionsApi::get_SamplesPerPixel>(),
    behavior<&bits_per_pixel, TiffOptionsApi::get_BitsPerPixel>(),
    behavior<&is_tiled, TiffOptionsApi::get_IsTiled>(),
    behavior<&little_endian<BigTiffOptionsApi::kType>, BigTiffOptionsApi::ctor_000_BigTiffOptions>(),
    behavior<&with_order<BigTiffOptionsApi::kType>, BigTiffOptionsApi::ctor_003_BigTiffOptions>(),
});

}  // namespace

}  // namespace zelmor::embed
