// The constants of formats, as these publish them, and of this library.
#include "generated/product_version.h"
#include "runtime/native/core/defaults.h"

namespace zelmor::embed {

namespace {

constexpr const char* kBmpHeader = "Zelmor.Imaging.FileFormats.Bmp.BitmapCoreHeader";
constexpr const char* kWmfCoreHeader = "Zelmor.Imaging.FileFormats.Wmf.Objects.WmfBitmapCoreHeader";
constexpr const char* kWmfInfoHeader = "Zelmor.Imaging.FileFormats.Wmf.Objects.WmfBitmapInfoHeader";
constexpr const char* kLayer = "Zelmor.Imaging.FileFormats.Cmx.ObjectModel.CmxLayer";
constexpr const char* kEffects = "Zelmor.Imaging.FileFormats.Emf.EmfPlus.Consts.EmfPlusImageEffectsIdentifiers";
constexpr const char* kGifBlock = "Zelmor.Imaging.FileFormats.Gif.GifBlock";
constexpr const char* kApplication = "Zelmor.Imaging.FileFormats.Gif.Blocks.GifApplicationExtensionBlock";
constexpr const char* kComment = "Zelmor.Imaging.FileFormats.Gif.Blocks.GifCommentBlock";
constexpr const char* kFrame = "Zelmor.Imaging.FileFormats.Gif.Blocks.GifFrameBlock";
constexpr const char* kControl = "Zelmor.Imaging.FileFormats.Gif.Blocks.GifGraphicsControlBlock";
constexpr const char* kPlainText = "Zelmor.Imaging.FileFormats.Gif.Blocks.GifPlainTextRenderingBlock";
constexpr const char* kMasking = "Zelmor.Imaging.Masking.Options.MaskingOptions";
constexpr const char* kVersion = "Zelmor.Imaging.BuildVersionInfo";

constexpr DefaultValue kConstants[] = {
    // Each header version is the one before it with fields added, and is told by its size.
    {kBmpHeader, "BitmapCoreHeaderSize", 12},
    {kBmpHeader, "Os22XBitmapHeaderSize", 16},
    {kBmpHeader, "BitmapInfoHeaderSize", 40},
    {kBmpHeader, "BitmapInfoHeaderSizeV2", 52},
    {kBmpHeader, "BitmapInfoHeaderSizeV3", 56},
    {kBmpHeader, "Os22XBitmapHeaderFullSize", 64},
    {kBmpHeader, "BitmapInfoHeaderSizeV4", 108},
    {kBmpHeader, "BitmapInfoHeaderSizeV5", 124},
    {kWmfCoreHeader, "BitmapCoreHeaderSize", 12},
    {kWmfInfoHeader, "BitmapInfoHeaderSize", 40},

    {kLayer, "MasterDesktopLayerName", "Desktop"},

    {kEffects, "BlurEffectGuid", "{633C80A4-1843-482B-9EF2-BE2834C5FDD4}"},
    {kEffects, "BrightnessContrastEffectGuid", "{D3A1DBE1-8EC4-4C17-9F4C-EA97AD1C343D}"},
    {kEffects, "ColorBalanceEffectGuid", "{537E597D-251E-48DA-9664-29CA496B70F8}"},
    {kEffects, "ColorCurveEffectGuid", "{DD6A0022-58E4-4A67-9D9B-D48EB881A53D}"},
    {kEffects, "ColorLookupTableEffectGuid", "{A7CE72A9-0F7F-40D7-B3CC-D0C02D5C3212}"},
    {kEffects, "ColorMatrixEffectGuid", "{718F2615-7933-40E3-A511-5F68FE14DD74}"},
    {kEffects, "HueSaturationLightnessEffectGuid", "{8B2DD6C3-EB07-4D87-A5F0-7108E26A9C5F}"},
    {kEffects, "LevelsEffectGuid", "{99C354EC-2A31-4F3A-8C34-17A803B33A25}"},
    {kEffects, "RedEyeCorrectionEffectGuid", "{74D29D05-69A4-4266-9549-3CC52836B632}"},
    {kEffects, "SharpenEffectGuid", "{63CBF3EE-C526-402C-8F71-62C540BF5142}"},
    {kEffects, "TintEffectGuid", "{1077AF00-2848-4441-9489-44AD4C2D7A2C}"},

    // A block begins with the introducer and its label; one with a fixed part says how long that is.
    {kGifBlock, "ExtensionIntroducer", 0x21},
    {kApplication, "ExtensionLabel", 0xFF},
    {kApplication, "ApplicationIdentifierSize", 8},
    {kApplication, "ApplicationAuthenticationCodeSize", 3},
    {kApplication, "BlockSize", 11},
    {kApplication, "BlockHeaderSize", 14},
    {kComment, "ExtensionLabel", 0xFE},
    {kComment, "BlockHeaderSize", 2},
    {kFrame, "ExtensionLabel", 0x2C},
    {kFrame, "ImageDescriptorSize", 10},
    {kControl, "ExtensionLabel", 0xF9},
    {kControl, "SubBlockSize", 4},
    {kControl, "BlockHeaderSize", 8},
    {kPlainText, "ExtensionLabel", 0x01},
    {kPlainText, "SubBlockSize", 12},
    {kPlainText, "BlockSize", 15},

    {kMasking, "BackgroundObjectNumber", 0},

    {kVersion, "AssemblyVersion", zelmor::kProductVersion},
    {kVersion, "FileVersion", zelmor::kProductVersion},
    {kVersion, "Product", "Zelmor.Imaging"},
    {kVersion, "ProductMajor", zelmor::kProductMajor},
    {kVersion, "ProductMinor", zelmor::kProductMinor},
    {kVersion, "ReleaseDate", "2023.06.01"},
};
const DefaultTable table(kConstants);

}  // namespace

}  // namespace zelmor::embed
