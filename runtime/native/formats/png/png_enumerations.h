// The enumerations of the API that say how a PNG file is written, and their counterparts.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_PNG_PNG_ENUMERATIONS_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_PNG_PNG_ENUMERATIONS_H

#include "generated/runtime/Zelmor.Imaging.FileFormats.Png.h"
#include "runtime/native/behaviors/images/counterparts.h"
#include "runtime/native/formats/png/png_encoding.h"

namespace zelmor::embed {

using api::FileFormats::Png::PngColorType;
using api::FileFormats::Png::PngFilterType;

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

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_PNG_PNG_ENUMERATIONS_H
