// The enumerations of the API that say how a JPEG file is written, and their counterparts.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_JPEG_JPEG_ENUMERATIONS_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_JPEG_JPEG_ENUMERATIONS_H

#include "generated/runtime/Zelmor.Imaging.FileFormats.Jpeg.h"
#include "runtime/native/behaviors/images/counterparts.h"
#include "runtime/native/formats/jpeg/jpeg_encoding.h"

namespace zelmor::embed {

using api::FileFormats::Jpeg::JpegCompressionColorMode;
using api::FileFormats::Jpeg::JpegCompressionMode;
using api::FileFormats::Jpeg::JpegLsInterleaveMode;

inline constexpr Counterpart<JpegCompressionColorMode, imagework::JpegColor> kJpegColors[] = {
    {JpegCompressionColorMode::kGrayscale, imagework::JpegColor::kGray},
    {JpegCompressionColorMode::kYCbCr, imagework::JpegColor::kYcc},
    {JpegCompressionColorMode::kCmyk, imagework::JpegColor::kCmyk},
    {JpegCompressionColorMode::kYcck, imagework::JpegColor::kYcck},
    {JpegCompressionColorMode::kRgb, imagework::JpegColor::kRgb},
};

enum class JpegCoding : uint8_t { kSequential, kProgressive, kLossless, kLs };

inline constexpr Counterpart<JpegCompressionMode, JpegCoding> kJpegCodings[] = {
    {JpegCompressionMode::kBaseline, JpegCoding::kSequential},
    {JpegCompressionMode::kProgressive, JpegCoding::kProgressive},
    {JpegCompressionMode::kLossless, JpegCoding::kLossless},
    {JpegCompressionMode::kJpegLs, JpegCoding::kLs},
};

inline constexpr Counterpart<JpegLsInterleaveMode, imagework::JpegLsInterleaving> kJpegLsInterleavings[] = {
    {JpegLsInterleaveMode::kNone, imagework::JpegLsInterleaving::kNone},
    {JpegLsInterleaveMode::kLine, imagework::JpegLsInterleaving::kLine},
    {JpegLsInterleaveMode::kSample, imagework::JpegLsInterleaving::kSample},
};

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_JPEG_JPEG_ENUMERATIONS_H
