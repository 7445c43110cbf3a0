// Constructors of TiffOptions and BigTiffOptions by the format that is expected of the file.
#include "generated/runtime/Zelmor.Imaging.ImageOptions.h"
#include "runtime/native/behaviors/images/encoding_options.h"
#include "runtime/native/behaviors/images/picture_failures.h"
#include "runtime/native/collections/collection.h"
#include "runtime/native/core/managed_exception.h"

namespace zelmor::embed {

namespace {

constexpr int64_t kNone = 1, kRle = 2, kFax3 = 3, kFax4 = 4, kLzw = 5, kJpeg = 7, kDeflate = 8;
constexpr int64_t kMinIsBlack = 1, kRgb = 2, kSeparated = 5, kYcbcr = 6;
constexpr int64_t kLittleEndian = 0x4949;

// In the order of the enumeration TiffExpectedFormat.
struct Expected {
    int64_t compression;
    int64_t photometric;
    size_t samples;  // 0: as the image has them
    uint16_t bits;
};
constexpr Expected kExpected[] = {
    {kLzw, kRgb, 0, 8},  // DEFAULT
    {kLzw, kMinIsBlack, 1, 1},
    {kLzw, kRgb, 3, 8},
    {kLzw, kRgb, 4, 8},
    {kLzw, kSeparated, 4, 8},
    {kLzw, kSeparated, 5, 8},  // TIFF_LZW_CMYKA
    {kFax3, kMinIsBlack, 1, 1},
    {kFax4, kMinIsBlack, 1, 1},  // TIFF_CCITT_FAX4
    {kDeflate, kMinIsBlack, 1, 1},
    {kDeflate, kRgb, 3, 8},
    {kDeflate, kRgb, 4, 8},
    {kDeflate, kSeparated, 4, 8},
    {kDeflate, kSeparated, 5, 8},  // TIFF_DEFLATE_CMYKA
    {kRle, kMinIsBlack, 1, 1},     // TIFF_CCIT_RLE
    {kJpeg, kRgb, 3, 8},
    {kJpeg, kYcbcr, 3, 8},  // TIFF_JPEG_Y_CB_CR
    {kNone, kMinIsBlack, 1, 1},
    {kNone, kRgb, 3, 8},
    {kNone, kRgb, 4, 8},
    {kNone, kSeparated, 4, 8},
    {kNone, kSeparated, 5, 8},  // TIFF_NO_COMPRESSION_CMYKA
};

Ref<ManagedObject> made(const char* type, int32_t expected_format, int64_t byte_order) {
    if (expected_format < 0 || expected_format >= static_cast<int32_t>(std::size(kExpected))) {
        throw_out_of_range("expected_format",
                           "The value " + std::to_string(expected_format) + " is not one of TiffExpectedFormat.");
    }
    const Expected& expected = kExpected[expected_format];
    Ref<ManagedObject> options = make_instance(type);
    set_property(*options, "Compression", expected.compression);
    set_property(*options, "Photometric", expected.photometric);
    set_property(*options, "ByteOrder", byte_order);
    set_property(*options, "Predictor", int64_t{1});
    if (expected.samples > 0) {
        set_property(*options, "BitsPerSample",
                     Ref<ManagedObject>(make_array<uint16_t>(std::vector<uint16_t>(expected.samples, expected.bits))));
    }
    return options;
}

constexpr const char* kTiff = "Zelmor.Imaging.ImageOptions.TiffOptions";
constexpr const char* kBigTiff = "Zelmor.Imaging.ImageOptions.BigTiffOptions";

Ref<ManagedObject> tiff_with_order(int32_t expected_format, int32_t byte_order) {
    return made(kTiff, expected_format, byte_order);
}
Ref<ManagedObject> tiff(int32_t expected_format) {
    return made(kTiff, expected_format, kLittleEndian);
}
Ref<ManagedObject> big_tiff_with_order(int32_t expected_format, int32_t byte_order) {
    return made(kBigTiff, expected_format, byte_order);
}
Ref<ManagedObject> big_tiff(int32_t expected_format) {
    return made(kBigTiff, expected_format, kLittleEndian);
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

const BehaviorTable table({
    behavior<&tiff_with_order, TiffOptionsApi::ctor_000_TiffOptions>(),
    behavior<&tiff, TiffOptionsApi::ctor_001_TiffOptions>(),
    behavior<&samples_per_pixel, TiffOptionsApi::get_SamplesPerPixel>(),
    behavior<&bits_per_pixel, TiffOptionsApi::get_BitsPerPixel>(),
    behavior<&is_tiled, TiffOptionsApi::get_IsTiled>(),
    behavior<&big_tiff, BigTiffOptionsApi::ctor_000_BigTiffOptions>(),
    behavior<&big_tiff_with_order, BigTiffOptionsApi::ctor_003_BigTiffOptions>(),
});

}  // namespace

}  // namespace zelmor::embed
