// The enumerations of the API that say how a JPEG file is written, and their counterparts.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_JPEG_JPEG_ENUMERATIONS_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_JPEG_JPEG_ENUMERATIONS_H

#include "generated/runtime/Zelmor.Imaging.FileFormats.Jpeg.h"
#include "runtime/native/behaviors/images/counterparts.h"
#include "runtime/native/formats/jpeg/jpeg_encoding.h"

namespace zelmor::embed {

using api::FileFormats::Jpeg::JpegCompressionColorMode;
using api::FileFormats::Jpeg::JpegCompressionMode;

inline constexpr Counterpart<JpegCompressionColorMode, imagework::JpegColor> kJpegColors[] = {
    {JpegCompressionColorMode::kGrayscale, imagework::JpegColor::kGray},
    {JpegCompressionColorMode::kYCbCr, imagework::JpegColor::kYcc},
    {JpegCompressionColorMode::kCmyk, imagework::JpegColor::kCmyk},
};

inline constexpr Counterpart<JpegCompressionMode, bool> kJpegProgressive[] = {
    {JpegCompressionMode::kBaseline, false},
    {JpegCompressionMode::kProgressive, true},
};

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_JPEG_JPEG_ENUMERATIONS_H
