// The constants of formats, as these publish them, and of this library.
#include "generated/product_version.h"
#include "generated/runtime/Zelmor.Imaging.FileFormats.Bmp.h"
#include "generated/runtime/Zelmor.Imaging.FileFormats.Cmx.ObjectModel.h"
#include "generated/runtime/Zelmor.Imaging.FileFormats.Emf.EmfPlus.Consts.h"
#include "generated/runtime/Zelmor.Imaging.FileFormats.Gif.Blocks.h"
#include "generated/runtime/Zelmor.Imaging.FileFormats.Gif.h"
#include "generated/runtime/Zelmor.Imaging.FileFormats.Wmf.Objects.h"
#include "generated/runtime/Zelmor.Imaging.Masking.Options.h"
#include "generated/runtime/Zelmor.Imaging.h"
#include "runtime/native/core/defaults.h"

namespace zelmor::embed {

namespace {

using BuildVersionInfo = api::BuildVersionInfo;
using BitmapCoreHeader = api::FileFormats::Bmp::BitmapCoreHeader;
using CmxLayer = api::FileFormats::Cmx::ObjectModel::CmxLayer;
using EmfPlusImageEffectsIdentifiers = api::FileFormats::Emf::EmfPlus::Consts::EmfPlusImageEffectsIdentifiers;
using GifApplicationExtensionBlock = api::FileFormats::Gif::Blocks::GifApplicationExtensionBlock;
using GifCommentBlock = api::FileFormats::Gif::Blocks::GifCommentBlock;
using GifFrameBlock = api::FileFormats::Gif::Blocks::GifFrameBlock;
using GifGraphicsControlBlock = api::FileFormats::Gif::Blocks::GifGraphicsControlBlock;
using GifPlainTextRenderingBlock = api::FileFormats::Gif::Blocks::GifPlainTextRenderingBlock;
using GifBlock = api::FileFormats::Gif::GifBlock;
using WmfBitmapCoreHeader = api::FileFormats::Wmf::Objects::WmfBitmapCoreHeader;
using WmfBitmapInfoHeader = api::FileFormats::Wmf::Objects::WmfBitmapInfoHeader;
using MaskingOptions = api::Masking::Options::MaskingOptions;

constexpr DefaultValue kConstants[] = {
    // Each version of the header adds fields to the one before; readers tell them apart by the size.
    {BitmapCoreHeader::property_BitmapCoreHeaderSize, 12},
    {BitmapCoreHeader::property_Os22XBitmapHeaderSize, 16},
    {BitmapCoreHeader::property_BitmapInfoHeaderSize, 40},
    {BitmapCoreHeader::property_BitmapInfoHeaderSizeV2, 52},
    {BitmapCoreHeader::property_BitmapInfoHeaderSizeV3, 56},
    {BitmapCoreHeader::property_Os22XBitmapHeaderFullSize, 64},
    {BitmapCoreHeader::property_BitmapInfoHeaderSizeV4, 108},
    {BitmapCoreHeader::property_BitmapInfoHeaderSizeV5, 124},
    {WmfBitmapCoreHeader::property_BitmapCoreHeaderSize, 12},
    {WmfBitmapInfoHeader::property_BitmapInfoHeaderSize, 40},

    {CmxLayer::property_MasterDesktopLayerName, "Desktop"},

    {EmfPlusImageEffectsIdentifiers::property_BlurEffectGuid, "{633C80A4-1843-482B-9EF2-BE2834C5FDD4}"},
    {EmfPlusImageEffectsIdentifiers::property_BrightnessContrastEffectGuid, "{D3A1DBE1-8EC4-4C17-9F4C-EA97AD1C343D}"},
    {EmfPlusImageEffectsIdentifiers::property_ColorBalanceEffectGuid, "{537E597D-251E-48DA-9664-29CA496B70F8}"},
    {EmfPlusImageEffectsIdentifiers::property_ColorCurveEffectGuid, "{DD6A0022-58E4-4A67-9D9B-D48EB881A53D}"},
    {EmfPlusImageEffectsIdentifiers::property_ColorLookupTableEffectGuid, "{A7CE72A9-0F7F-40D7-B3CC-D0C02D5C3212}"},
    {EmfPlusImageEffectsIdentifiers::property_ColorMatrixEffectGuid, "{718F2615-7933-40E3-A511-5F68FE14DD74}"},
    {EmfPlusImageEffectsIdentifiers::property_HueSaturationLightnessEffectGuid,
     "{8B2DD6C3-EB07-4D87-A5F0-7108E26A9C5F}"},
    {EmfPlusImageEffectsIdentifiers::property_LevelsEffectGuid, "{99C354EC-2A31-4F3A-8C34-17A803B33A25}"},
    {EmfPlusImageEffectsIdentifiers::property_RedEyeCorrectionEffectGuid, "{74D29D05-69A4-4266-9549-3CC52836B632}"},
    {EmfPlusImageEffectsIdentifiers::property_SharpenEffectGuid, "{63CBF3EE-C526-402C-8F71-62C540BF5142}"},
    {EmfPlusImageEffectsIdentifiers::property_TintEffectGuid, "{1077AF00-2848-4441-9489-44AD4C2D7A2C}"},

    // A block begins with the introducer and its label. A block with a fixed part has the length of that part next.
    {GifBlock::property_ExtensionIntroducer, 0x21},
    {GifApplicationExtensionBlock::property_ExtensionLabel, 0xFF},
    {GifApplicationExtensionBlock::property_ApplicationIdentifierSize, 8},
    {GifApplicationExtensionBlock::property_ApplicationAuthenticationCodeSize, 3},
    {GifApplicationExtensionBlock::property_BlockSize, 11},
    {GifApplicationExtensionBlock::property_BlockHeaderSize, 14},
    {GifCommentBlock::property_ExtensionLabel, 0xFE},
    {GifCommentBlock::property_BlockHeaderSize, 2},
    {GifFrameBlock::property_ExtensionLabel, 0x2C},
    {GifFrameBlock::property_ImageDescriptorSize, 10},
    {GifGraphicsControlBlock::property_ExtensionLabel, 0xF9},
    {GifGraphicsControlBlock::property_SubBlockSize, 4},
    {GifGraphicsControlBlock::property_BlockHeaderSize, 8},
    {GifPlainTextRenderingBlock::property_ExtensionLabel, 0x01},
    {GifPlainTextRenderingBlock::property_SubBlockSize, 12},
    {GifPlainTextRenderingBlock::property_BlockSize, 15},

    {MaskingOptions::property_BackgroundObjectNumber, 0},

    {BuildVersionInfo::property_AssemblyVersion, zelmor::kProductVersion},
    {BuildVersionInfo::property_FileVersion, zelmor::kProductVersion},
    {BuildVersionInfo::property_Product, "Zelmor.Imaging"},
    {BuildVersionInfo::property_ProductMajor, zelmor::kProductMajor},
    {BuildVersionInfo::property_ProductMinor, zelmor::kProductMinor},
    {BuildVersionInfo::property_ReleaseDate, "2023.06.01"},
};
const DefaultTable ZELMOR_UNNAMED(kConstants);

}  // namespace

}  // namespace zelmor::embed
