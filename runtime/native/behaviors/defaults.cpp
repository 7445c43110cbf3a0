// The defaults of option objects and settings.
//
// A value stands here where zero, null or the first enumerator would not be what a user of the format expects.
#include "runtime/native/core/defaults.h"

#include "generated/runtime/Zelmor.Imaging.FileFormats.Dicom.h"
#include "generated/runtime/Zelmor.Imaging.FileFormats.Jpeg.h"
#include "generated/runtime/Zelmor.Imaging.FileFormats.Jpeg2000.h"
#include "generated/runtime/Zelmor.Imaging.FileFormats.Png.h"
#include "generated/runtime/Zelmor.Imaging.FileFormats.Psd.h"
#include "generated/runtime/Zelmor.Imaging.FileFormats.Tiff.Enums.h"
#include "generated/runtime/Zelmor.Imaging.FileFormats.Wmf.h"
#include "generated/runtime/Zelmor.Imaging.ImageOptions.h"
#include "generated/runtime/Zelmor.Imaging.h"
#include "runtime/native/behaviors/values/known_colors.h"

namespace zelmor::embed {

namespace {

using namespace api::ImageOptions;
using api::ImageResizeSettings;
using api::KnownColor;
using api::LoadOptions;
using api::ResolutionSetting;

constexpr DefaultValue kDefaults[] = {
    {JpegOptions::property_Quality, 75},
    {JpegOptions::property_BitsPerChannel, 8},
    {JpegOptions::property_ColorType, api::FileFormats::Jpeg::JpegCompressionColorMode::kYCbCr},
    {JpegOptions::property_ResolutionUnit, api::ResolutionUnit::kInch},
    {JpegOptions::property_PreblendAlphaIfPresent, true},

    {PngOptions::property_CompressionLevel, 6},
    {PngOptions::property_DefaultCompressionLevel, 6},
    DefaultValue::unset(PngOptions::property_BitDepth),  // png_options.cpp
    DefaultValue::unset(PngOptions::property_ColorType),
    {PngOptions::property_FilterType, api::FileFormats::Png::PngFilterType::kAdaptive},
    {ApngOptions::property_DefaultFrameTime, 100},

    {GifOptions::property_ColorResolution, 7},
    {GifOptions::property_DoPaletteCorrection, true},
    {GifOptions::property_HasTrailer, true},

    DefaultValue::unset(BmpOptions::property_BitsPerPixel),  // bmp_options.cpp
    {IcoOptions::property_BitsPerPixel, 32},
    {IcoOptions::property_Format, api::FileFormat::kPng},

    {WebPOptions::property_Lossless, true},
    {WebPOptions::property_Quality, 75.0},

    {TiffOptions::property_CompressedQuality, 75},
    {TiffOptions::property_ResolutionUnit, api::FileFormats::Tiff::Enums::TiffResolutionUnits::kInch},
    {TiffOptions::property_RowsPerStrip, 64},

    {PsdOptions::property_Version, 6},
    {PsdOptions::property_PsdVersion, api::FileFormats::Psd::PsdVersion::kPsd},
    {PsdOptions::property_CompressionMethod, api::FileFormats::Psd::CompressionMethod::kRle},
    DefaultValue::unset(PsdOptions::property_ColorMode),  // psd_options.cpp
    DefaultValue::unset(PsdOptions::property_ChannelBitsCount),
    DefaultValue::unset(PsdOptions::property_ChannelsCount),

    {DicomOptions::property_ColorType, api::FileFormats::Dicom::ColorType::kRgb24Bit},
    {Jpeg2000Options::property_Irreversible, true},
    {Jpeg2000Options::property_Codec, api::FileFormats::Jpeg2000::Jpeg2000Codec::kJp2},

    DefaultValue::color(VectorRasterizationOptions::property_BackgroundColor, argb_of(KnownColor::kWhite)),
    DefaultValue::color(VectorRasterizationOptions::property_DrawColor, argb_of(KnownColor::kBlack)),
    {SvgRasterizationOptions::property_ScaleX, 1.0},
    {SvgRasterizationOptions::property_ScaleY, 1.0},
    {CdrRasterizationOptions::property_ScaleX, 1.0},
    {CdrRasterizationOptions::property_ScaleY, 1.0},
    {WmfRasterizationOptions::property_RenderMode, api::FileFormats::Wmf::WmfRenderMode::kAuto},

    {RdOptimizerSettings::property_BppScale, 100},
    {RdOptimizerSettings::property_BppMax, 4.0},
    {RdOptimizerSettings::property_MaxQ, 128},
    {RdOptimizerSettings::property_MinQ, 1},
    {RdOptimizerSettings::property_MaxPixelValue, 255},
    {RdOptimizerSettings::property_PsnrMax, 100},
    {RdOptimizerSettings::property_DiscretizedBppMax, 400},

    DefaultValue::color(LoadOptions::property_DataBackgroundColor, argb_of(KnownColor::kWhite)),

    {ImageResizeSettings::property_EntriesCount, 256},
    {ImageResizeSettings::property_Mode, api::ResizeType::kLanczosResample},
    {ImageResizeSettings::property_ColorQuantizationMethod, api::ColorQuantizationMethod::kPopularity},

    {ResolutionSetting::property_HorizontalResolution, 96.0},
    {ResolutionSetting::property_VerticalResolution, 96.0},
};

const DefaultTable ZELMOR_UNNAMED(kDefaults);

}  // namespace

}  // namespace zelmor::embed
