// The settings that TIFF files are saved with.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_TIFF_TIFF_ENCODING_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_TIFF_TIFF_ENCODING_H

#include <cstdint>
#include <optional>
#include <string>

#include "runtime/native/imagework/formats.h"

namespace zelmor::imagework {

// The numbers are those of the format.
enum class TiffCompression : uint16_t {
    kNone = 1,
    kCcittRle = 2,
    kFax3 = 3,
    kFax4 = 4,
    kLzw = 5,
    kOldJpeg = 6,
    kJpeg = 7,
    kDeflate = 8,
    kNext = 32766,
    kCcittRleWords = 32771,
    kPackBits = 32773,
    kThunderScan = 32809,
    kPixarLog = 32909,
    kOldDeflate = 32946,
    kJbig = 34661,
    kSgiLog = 34676,
    kSgiLog24 = 34677,
    kLerc = 34887,
    kLzma = 34925,
    kZstd = 50000,
    kWebp = 50001,
};
enum class TiffPhotometric : uint16_t {
    kMinIsWhite = 0,
    kMinIsBlack = 1,
    kRgb = 2,
    kPalette = 3,
    kMask = 4,
    kSeparated = 5,
    kYcbcr = 6,
    kCieLab = 8,
    kIccLab = 9,
    kLogL = 32844,
    kLogLuv = 32845,
    kAuto = 65535,  // the usual one of the picture's colors
};
enum class TiffDifferencing : uint16_t { kNone = 1, kHorizontal = 2, kFloatingPoint = 3 };
enum class TiffAlpha : uint16_t { kUnspecified = 0, kAssociated = 1, kUnassociated = 2 };
enum class TiffUnit : uint16_t { kNone = 1, kInch = 2, kCentimeter = 3 };

// The colors that a picture is brought to before it is written; kAuto writes it in the form that it has.
enum class TiffColor : uint8_t { kAuto, kBilevel, kGray, kGrayAlpha, kRgb, kRgba, kIndexed, kCmyk, kCmyka, kLab };
enum class TiffNumbers : uint8_t { kAuto, kUnsigned, kSigned, kFloatingPoint };

struct TiffEncoding {
    static constexpr Format kFormat = Format::kTiff;

    TiffCompression compression = TiffCompression::kLzw;
    // Of the samples. The settings of a file say how that is; the picture that came from it is written in the form that
    // it has by now, and settings that no longer go with it are replaced.
    bool of_file = false;
    TiffColor color = TiffColor::kAuto;
    int bit_depth = 0;  // 1, 2, 4, 8, 16, 32 or 64; 0 keeps the picture's own
    TiffNumbers numbers = TiffNumbers::kAuto;
    TiffPhotometric photometric = TiffPhotometric::kAuto;
    TiffAlpha alpha = TiffAlpha::kUnassociated;
    // Of the compressed data.
    int quality = 75;  // of JPEG inside TIFF
    TiffDifferencing predictor = TiffDifferencing::kNone;
    uint32_t fax3_options = 0;       // bits of the tag T4Options
    int horizontal_subsampling = 2;  // of YCbCr
    int vertical_subsampling = 2;
    // Of the file.
    bool big_tiff = false;
    bool big_endian = false;
    bool lowest_bit_first = false;  // the fill order
    bool separate_planes = false;
    int rows_per_strip = 0;  // 0: about 128 KB
    int tile_width = 0;      // 0: strips
    int tile_height = 0;
    TiffUnit unit = TiffUnit::kInch;
    std::optional<Resolution> resolution = {};  // in dots of that unit, in the place of the picture's
    bool without_profile = false;               // converted to sRGB instead
    std::string page_name = {};                 // UTF-8; empty for none

    bool operator==(const TiffEncoding&) const = default;
};

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_TIFF_TIFF_ENCODING_H
