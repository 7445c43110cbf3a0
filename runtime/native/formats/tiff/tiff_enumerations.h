// The enumerations of the API that say how a TIFF file is written, and their counterparts.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_TIFF_TIFF_ENUMERATIONS_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_TIFF_TIFF_ENUMERATIONS_H

#include "generated/runtime/Zelmor.Imaging.FileFormats.Tiff.Enums.h"
#include "runtime/native/behaviors/images/counterparts.h"
#include "runtime/native/formats/tiff/tiff_encoding.h"

namespace zelmor::embed {

using api::FileFormats::Tiff::Enums::TiffByteOrder;
using api::FileFormats::Tiff::Enums::TiffCompressions;
using api::FileFormats::Tiff::Enums::TiffExpectedFormat;
using api::FileFormats::Tiff::Enums::TiffPhotometrics;
using api::FileFormats::Tiff::Enums::TiffPredictor;

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

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_TIFF_TIFF_ENUMERATIONS_H
