// The enumerations of the API that say how a BMP file is written, and their counterparts.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_BMP_BMP_ENUMERATIONS_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_BMP_BMP_ENUMERATIONS_H

#include "generated/runtime/Zelmor.Imaging.FileFormats.Bmp.h"
#include "runtime/native/behaviors/images/counterparts.h"
#include "runtime/native/formats/bmp/bmp_encoding.h"

namespace zelmor::embed {

using api::FileFormats::Bmp::BitmapCompression;

inline constexpr Counterpart<BitmapCompression, imagework::BmpCompression> kBmpCompressions[] = {
    {BitmapCompression::kRgb, imagework::BmpCompression::kRgb},
    {BitmapCompression::kRle8, imagework::BmpCompression::kRle8},
    {BitmapCompression::kRle4, imagework::BmpCompression::kRle4},
    {BitmapCompression::kBitfields, imagework::BmpCompression::kBitFields},
};

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_BMP_BMP_ENUMERATIONS_H
