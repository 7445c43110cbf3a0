// The enumerations of the API that say how a file is written, and their counterparts in the image backend.
//
// Each table has the values that the backend can write. Where two rows have the same value of the backend, the first
// is the one that it is read back as.
#ifndef ZELMOR_RUNTIME_NATIVE_BEHAVIORS_IMAGES_FORMAT_ENUMERATIONS_H
#define ZELMOR_RUNTIME_NATIVE_BEHAVIORS_IMAGES_FORMAT_ENUMERATIONS_H

#include <cstddef>
#include <optional>

#include "generated/runtime/Zelmor.Imaging.FileFormats.Bmp.h"
#include "generated/runtime/Zelmor.Imaging.FileFormats.Jpeg.h"
#include "generated/runtime/Zelmor.Imaging.FileFormats.Png.h"
#include "generated/runtime/Zelmor.Imaging.FileFormats.Tiff.Enums.h"
#include "runtime/native/imagework/formats.h"

namespace zelmor::embed {

template <class Api, class Backend>
struct Counterpart {
    Api api;
    Backend backend;
};

using api::FileFormats::Bmp::BitmapCompression;
using api::FileFormats::Jpeg::JpegCompressionColorMode;
using api::FileFormats::Jpeg::JpegCompressionMode;
using api::FileFormats::Png::PngColorType;
using api::FileFormats::Png::PngFilterType;
using api::FileFormats::Tiff::Enums::TiffByteOrder;
using api::FileFormats::Tiff::Enums::TiffCompressions;
using api::FileFormats::Tiff::Enums::TiffExpectedFormat;
using api::FileFormats::Tiff::Enums::TiffPhotometrics;
using api::FileFormats::Tiff::Enums::TiffPredictor;

inline constexpr Counterpart<BitmapCompression, imagework::BmpCompression> kBmpCompressions[] = {
    {BitmapCompression::kRgb, imagework::BmpCompression::kRgb},
    {BitmapCompression::kRle8, imagework::BmpCompression::kRle8},
    {BitmapCompression::kRle4, imagework::BmpCompression::kRle4},
    {BitmapCompression::kBitfields, imagework::BmpCompression::kBitFields},
};

inline constexpr Counterpart<JpegCompressionColorMode, imagework::JpegColor> kJpegColors[] = {
    {JpegCompressionColorMode::kGrayscale, imagework::JpegColor::kGray},
    {JpegCompressionColorMode::kYCbCr, imagework::JpegColor::kYcc},
    {JpegCompressionColorMode::kCmyk, imagework::JpegColor::kCmyk},
};

inline constexpr Counterpart<JpegCompressionMode, bool> kJpegProgressive[] = {
    {JpegCompressionMode::kBaseline, false},
    {JpegCompressionMode::kProgressive, true},
};

inline constexpr Counterpart<PngColorType, imagework::PngColor> kPngColors[] = {
    {PngColorType::kGrayscale, imagework::PngColor::kGray},
    {PngColorType::kTruecolor, imagework::PngColor::kTruecolor},
    {PngColorType::kIndexedColor, imagework::PngColor::kIndexed},
    {PngColorType::kGrayscaleWithAlpha, imagework::PngColor::kGrayAlpha},
    {PngColorType::kTruecolorWithAlpha, imagework::PngColor::kTruecolorAlpha},
};

inline constexpr Counterpart<PngFilterType, imagework::PngFilter> kPngFilters[] = {
    {PngFilterType::kNone, imagework::PngFilter::kNone},   {PngFilterType::kSub, imagework::PngFilter::kSub},
    {PngFilterType::kUp, imagework::PngFilter::kUp},       {PngFilterType::kAvg, imagework::PngFilter::kAverage},
    {PngFilterType::kPaeth, imagework::PngFilter::kPaeth}, {PngFilterType::kAdaptive, imagework::PngFilter::kAdaptive},
};

inline constexpr Counterpart<TiffCompressions, imagework::TiffCompression> kTiffCompressions[] = {
    {TiffCompressions::kNone, imagework::TiffCompression::kNone},
    {TiffCompressions::kCcittRle, imagework::TiffCompression::kCcittRle},
    {TiffCompressions::kCcittFax3, imagework::TiffCompression::kFax3},
    {TiffCompressions::kCcittFax4, imagework::TiffCompression::kFax4},
    {TiffCompressions::kLzw, imagework::TiffCompression::kLzw},
    {TiffCompressions::kJpeg, imagework::TiffCompression::kJpeg},
    {TiffCompressions::kAdobeDeflate, imagework::TiffCompression::kDeflate},
    {TiffCompressions::kDeflate, imagework::TiffCompression::kOldDeflate},  // an older number of the same coding
    {TiffCompressions::kPackbits, imagework::TiffCompression::kPackBits},
    {TiffCompressions::kJbig, imagework::TiffCompression::kJbig},
};

inline constexpr Counterpart<TiffPhotometrics, imagework::TiffPhotometric> kTiffPhotometrics[] = {
    {TiffPhotometrics::kMinIsWhite, imagework::TiffPhotometric::kMinIsWhite},
    {TiffPhotometrics::kMinIsBlack, imagework::TiffPhotometric::kMinIsBlack},
    {TiffPhotometrics::kRgb, imagework::TiffPhotometric::kRgb},
    {TiffPhotometrics::kPalette, imagework::TiffPhotometric::kPalette},
    {TiffPhotometrics::kMask, imagework::TiffPhotometric::kMask},
    {TiffPhotometrics::kSeparated, imagework::TiffPhotometric::kSeparated},
    {TiffPhotometrics::kYcbcr, imagework::TiffPhotometric::kYcbcr},
    {TiffPhotometrics::kCielab, imagework::TiffPhotometric::kCieLab},
    {TiffPhotometrics::kIcclab, imagework::TiffPhotometric::kIccLab},
};

// Nothing for a value that has no counterpart in the table.
template <class Api, class Backend, size_t N>
constexpr std::optional<Backend> backend_value(const Counterpart<Api, Backend> (&table)[N], Api value) {
    for (const auto& row : table) {
        if (row.api == value) {
            return row.backend;
        }
    }
    return std::nullopt;
}
template <class Api, class Backend, size_t N>
constexpr std::optional<Api> api_value(const Counterpart<Api, Backend> (&table)[N], Backend value) {
    for (const auto& row : table) {
        if (row.backend == value) {
            return row.api;
        }
    }
    return std::nullopt;
}

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_BEHAVIORS_IMAGES_FORMAT_ENUMERATIONS_H
