// The table of options; see option_rules.h.
#include "runtime/native/behaviors/images/option_rules.h"

#include <cassert>
#include <string_view>

#include "generated/runtime/Zelmor.Imaging.FileFormats.Eps.h"
#include "generated/runtime/Zelmor.Imaging.FileFormats.Pdf.h"
#include "generated/runtime/Zelmor.Imaging.ImageLoadOptions.h"
#include "generated/runtime/Zelmor.Imaging.ImageOptions.h"
#include "generated/runtime/Zelmor.Imaging.h"
#include "runtime/native/behaviors/images/option_checks.h"
#include "runtime/native/core/managed_exception.h"
#include "runtime/native/core/text.h"
#include "runtime/native/core/type_system.h"

namespace zelmor::embed {

namespace {

enum class Effect : uint8_t { kEffective, kRefused, kOfDrawings };
constexpr Effect kEffective = Effect::kEffective;
constexpr Effect kRefused = Effect::kRefused;
constexpr Effect kOfDrawings = Effect::kOfDrawings;  // effective for images of lines and text only

struct OptionRule {
    // Of a property that counts otherwise in a derived class: the class, and the property by the class that declares
    // it.
    constexpr OptionRule(const TypeName& of_type, const PropertyName& of_property, Effect its_effect)
        : type(of_type.name), property(of_property.name), effect(its_effect) {}
    constexpr OptionRule(const PropertyName& of_property, Effect its_effect)
        : OptionRule(of_property.type, of_property, its_effect) {}
    const char* type;
    const char* property;
    Effect effect;
};

using namespace api::ImageLoadOptions;
using namespace api::ImageOptions;
using api::ImageOptionsBase;
using api::LoadOptions;
using api::FileFormats::Eps::EpsLoadOptions;
using api::FileFormats::Eps::EpsOptions;
using api::FileFormats::Pdf::PdfCoreOptions;

constexpr OptionRule kRules[] = {
    {ImageOptionsBase::property_XmpData, kEffective},
    {ImageOptionsBase::property_Source, kEffective},
    {ImageOptionsBase::property_Palette, kEffective},
    {ImageOptionsBase::property_ResolutionSettings, kEffective},
    {ImageOptionsBase::property_VectorRasterizationOptions, kOfDrawings},
    {ImageOptionsBase::property_BufferSizeHint, kEffective},
    {ImageOptionsBase::property_MultiPageOptions, kEffective},
    {ImageOptionsBase::property_FullFrame, kEffective},

    {BmpOptions::property_BitsPerPixel, kEffective},
    {BmpOptions::property_Compression, kEffective},
    {BmpOptions::kType, ImageOptionsBase::property_XmpData, kRefused},

    {IcoOptions::property_Format, kEffective},
    {IcoOptions::property_BitsPerPixel, kEffective},
    {IcoOptions::kType, ImageOptionsBase::property_XmpData, kRefused},
    {IcoOptions::kType, ImageOptionsBase::property_ResolutionSettings, kRefused},

    {TgaOptions::kType, ImageOptionsBase::property_XmpData, kRefused},
    {TgaOptions::kType, ImageOptionsBase::property_ResolutionSettings, kRefused},

    {DicomOptions::property_Compression, kEffective},
    {DicomOptions::property_ColorType, kEffective},
    {DicomOptions::property_XmpData, kEffective},

    {GifOptions::property_XmpData, kEffective},
    {GifOptions::property_DoPaletteCorrection, kRefused},
    {GifOptions::property_LoopsCount, kEffective},
    {GifOptions::property_ColorResolution, kEffective},
    {GifOptions::property_IsPaletteSorted, kRefused},
    {GifOptions::property_PixelAspectRatio, kEffective},
    {GifOptions::property_BackgroundColorIndex, kEffective},
    {GifOptions::property_HasTrailer, kEffective},
    {GifOptions::property_Interlaced, kEffective},
    {GifOptions::property_MaxDiff, kRefused},
    {GifOptions::property_BackgroundColor, kEffective},
    {GifOptions::property_HasTransparentColor, kEffective},
    {GifOptions::kType, ImageOptionsBase::property_ResolutionSettings, kRefused},

    {JpegOptions::property_DefaultMemoryAllocationLimit, kEffective},
    {JpegOptions::property_XmpData, kEffective},
    {JpegOptions::property_Jfif, kEffective},
    {JpegOptions::property_Comment, kEffective},
    {JpegOptions::property_ExifData, kEffective},
    {JpegOptions::property_CompressionType, kEffective},
    {JpegOptions::property_ColorType, kEffective},
    {JpegOptions::property_BitsPerChannel, kEffective},
    {JpegOptions::property_Quality, kEffective},
    {JpegOptions::property_RdOptSettings, kRefused},
    {JpegOptions::property_RgbColorProfile, kEffective},
    {JpegOptions::property_CmykColorProfile, kEffective},
    {JpegOptions::property_JpegLsAllowedLossyError, kEffective},
    {JpegOptions::property_JpegLsInterleaveMode, kEffective},
    {JpegOptions::property_JpegLsPreset, kEffective},
    {JpegOptions::property_HorizontalSampling, kEffective},
    {JpegOptions::property_VerticalSampling, kEffective},
    {JpegOptions::property_SampleRoundingMode, kRefused},
    {JpegOptions::property_PreblendAlphaIfPresent, kEffective},
    {JpegOptions::property_ResolutionUnit, kEffective},

    {PngOptions::property_XmpData, kEffective},
    {PngOptions::property_ColorType, kEffective},
    {PngOptions::property_Progressive, kEffective},
    {PngOptions::property_FilterType, kEffective},
    {PngOptions::property_CompressionLevel, kEffective},
    {PngOptions::property_BitDepth, kEffective},

    {ApngOptions::property_NumPlays, kEffective},
    {ApngOptions::property_DefaultFrameTime, kEffective},

    {PsdOptions::property_XmpData, kEffective},
    {PsdOptions::property_Version, kEffective},
    {PsdOptions::property_CompressionMethod, kEffective},
    {PsdOptions::property_PsdVersion, kEffective},
    {PsdOptions::property_ColorMode, kEffective},
    {PsdOptions::property_ChannelBitsCount, kEffective},
    {PsdOptions::property_ChannelsCount, kEffective},
    {PsdOptions::property_RemoveGlobalTextEngineResource, kEffective},
    {PsdOptions::property_RefreshImagePreviewData, kEffective},
    {PsdOptions::property_VectorizationOptions, kRefused},

    {Jpeg2000Options::property_XmpData, kEffective},
    {Jpeg2000Options::property_Comments, kEffective},
    {Jpeg2000Options::property_Codec, kEffective},
    {Jpeg2000Options::property_CompressionRatios, kEffective},
    {Jpeg2000Options::property_Irreversible, kEffective},

    {WebPOptions::property_Lossless, kEffective},
    {WebPOptions::property_Quality, kEffective},
    {WebPOptions::property_AnimLoopCount, kEffective},
    {WebPOptions::property_AnimBackgroundColor, kEffective},

    {TiffOptions::property_FileStandard, kRefused},
    {TiffOptions::property_DefaultMemoryAllocationLimit, kEffective},
    {TiffOptions::property_PremultiplyComponents, kEffective},
    {TiffOptions::property_XmpData, kEffective},
    {TiffOptions::property_YCbCrSubsampling, kEffective},
    {TiffOptions::property_YCbCrCoefficients, kRefused},
    {TiffOptions::property_Artist, kEffective},
    {TiffOptions::property_ByteOrder, kEffective},
    {TiffOptions::property_DisableIccExport, kEffective},
    {TiffOptions::property_BitsPerSample, kEffective},
    {TiffOptions::property_Compression, kEffective},
    {TiffOptions::property_CompressedQuality, kEffective},
    {TiffOptions::property_Copyright, kEffective},
    {TiffOptions::property_ColorMap, kRefused},
    {TiffOptions::property_Palette, kEffective},
    {TiffOptions::property_DateTime, kEffective},
    {TiffOptions::property_DocumentName, kEffective},
    {TiffOptions::property_AlphaStorage, kEffective},
    {TiffOptions::property_FillOrder, kEffective},
    {TiffOptions::property_HalfToneHints, kRefused},
    {TiffOptions::property_ImageDescription, kEffective},
    {TiffOptions::property_InkNames, kEffective},
    {TiffOptions::property_ScannerManufacturer, kEffective},
    {TiffOptions::property_MaxSampleValue, kRefused},
    {TiffOptions::property_MinSampleValue, kRefused},
    {TiffOptions::property_ScannerModel, kEffective},
    {TiffOptions::property_Orientation, kEffective},
    {TiffOptions::property_PageName, kEffective},
    {TiffOptions::property_PageNumber, kEffective},
    {TiffOptions::property_Photometric, kEffective},
    {TiffOptions::property_PlanarConfiguration, kEffective},
    {TiffOptions::property_ResolutionUnit, kEffective},
    {TiffOptions::property_RowsPerStrip, kEffective},
    {TiffOptions::property_TileWidth, kEffective},
    {TiffOptions::property_TileLength, kEffective},
    {TiffOptions::property_SampleFormat, kEffective},
    {TiffOptions::property_SmaxSampleValue, kRefused},
    {TiffOptions::property_SminSampleValue, kRefused},
    {TiffOptions::property_SoftwareType, kEffective},
    {TiffOptions::property_StripByteCounts, kRefused},
    {TiffOptions::property_StripOffsets, kRefused},
    {TiffOptions::property_TileByteCounts, kRefused},
    {TiffOptions::property_TileOffsets, kRefused},
    {TiffOptions::property_SubFileType, kRefused},
    {TiffOptions::property_TargetPrinter, kEffective},
    {TiffOptions::property_Threshholding, kRefused},
    {TiffOptions::property_Xposition, kEffective},
    {TiffOptions::property_ResolutionSettings, kEffective},
    {TiffOptions::property_Xresolution, kEffective},
    {TiffOptions::property_Yposition, kEffective},
    {TiffOptions::property_Yresolution, kEffective},
    {TiffOptions::property_FaxT4Options, kEffective},
    {TiffOptions::property_Predictor, kEffective},
    {TiffOptions::property_ImageLength, kRefused},
    {TiffOptions::property_ImageWidth, kRefused},
    {TiffOptions::property_Tags, kEffective},
    {TiffOptions::property_XPTitle, kEffective},
    {TiffOptions::property_XPComment, kEffective},
    {TiffOptions::property_XPAuthor, kEffective},
    {TiffOptions::property_XPKeywords, kEffective},
    {TiffOptions::property_XPSubject, kEffective},

    {PdfOptions::property_PdfDocumentInfo, kEffective},
    {PdfOptions::property_PdfCoreOptions, kEffective},
    {PdfOptions::property_PageSize, kEffective},
    {PdfOptions::property_UseOriginalImageResolution, kEffective},
    {PdfOptions::kType, ImageOptionsBase::property_XmpData, kRefused},
    {PdfCoreOptions::property_HeadingsOutlineLevels, kRefused},
    {PdfCoreOptions::property_ExpandedOutlineLevels, kRefused},
    {PdfCoreOptions::property_BookmarksOutlineLevel, kRefused},
    {PdfCoreOptions::property_JpegQuality, kEffective},
    {PdfCoreOptions::property_PdfCompliance, kEffective},
    {PdfCoreOptions::property_Compression, kEffective},
    {SvgOptions::property_ColorType, kEffective},
    {SvgOptions::property_TextAsShapes, kEffective},
    {SvgOptions::property_Callback, kEffective},
    {SvgOptions::property_Compress, kEffective},
    {SvgOptions::kType, ImageOptionsBase::property_XmpData, kRefused},
    {SvgOptions::kType, ImageOptionsBase::property_Palette, kRefused},
    {SvgOptions::kType, ImageOptionsBase::property_ResolutionSettings, kRefused},
    {Html5CanvasOptions::property_CanvasTagId, kEffective},
    {Html5CanvasOptions::property_FullHtmlPage, kEffective},
    {Html5CanvasOptions::property_Encoding, kEffective},
    {Html5CanvasOptions::kType, ImageOptionsBase::property_XmpData, kRefused},
    {Html5CanvasOptions::kType, ImageOptionsBase::property_Palette, kRefused},
    {Html5CanvasOptions::kType, ImageOptionsBase::property_ResolutionSettings, kRefused},
    {DxfOptions::property_BezierPointCount, kEffective},
    {DxfOptions::property_ConvertTextBeziers, kEffective},
    {DxfOptions::property_TextAsLines, kEffective},
    {DxfOptions::kType, ImageOptionsBase::property_XmpData, kRefused},
    {DxfOptions::kType, ImageOptionsBase::property_Palette, kRefused},
    {DxfOptions::kType, ImageOptionsBase::property_ResolutionSettings, kRefused},
    {DxfOptions::kType, ImageOptionsBase::property_BufferSizeHint, kRefused},
    {DxfOptions::kType, ImageOptionsBase::property_FullFrame, kRefused},

    {EpsOptions::property_SubType, kEffective},
    {EpsOptions::kType, ImageOptionsBase::property_XmpData, kRefused},
    {EpsOptions::kType, ImageOptionsBase::property_Palette, kRefused},
    {EpsOptions::kType, ImageOptionsBase::property_ResolutionSettings, kRefused},

    {MetafileOptions::property_Compress, kEffective},
    {MetafileOptions::kType, ImageOptionsBase::property_XmpData, kRefused},
    {MetafileOptions::kType, ImageOptionsBase::property_Palette, kRefused},
    {MetafileOptions::kType, ImageOptionsBase::property_ResolutionSettings, kRefused},

    {VectorRasterizationOptions::property_BorderX, kEffective},
    {VectorRasterizationOptions::property_BorderY, kEffective},
    {VectorRasterizationOptions::property_CenterDrawing, kEffective},
    {VectorRasterizationOptions::property_PageHeight, kEffective},
    {VectorRasterizationOptions::property_PageSize, kEffective},
    {VectorRasterizationOptions::property_PageWidth, kEffective},
    {VectorRasterizationOptions::property_BackgroundColor, kEffective},
    {VectorRasterizationOptions::property_DrawColor, kEffective},
    {VectorRasterizationOptions::property_SmoothingMode, kEffective},
    {VectorRasterizationOptions::property_TextRenderingHint, kEffective},
    {VectorRasterizationOptions::property_Positioning, kEffective},
    {VectorRasterizationOptions::kType, ImageOptionsBase::property_XmpData, kRefused},
    {VectorRasterizationOptions::kType, ImageOptionsBase::property_Source, kRefused},
    {VectorRasterizationOptions::kType, ImageOptionsBase::property_Palette, kRefused},
    {VectorRasterizationOptions::kType, ImageOptionsBase::property_ResolutionSettings, kRefused},
    {VectorRasterizationOptions::kType, ImageOptionsBase::property_VectorRasterizationOptions, kRefused},
    {VectorRasterizationOptions::kType, ImageOptionsBase::property_MultiPageOptions, kRefused},
    {VectorRasterizationOptions::kType, ImageOptionsBase::property_FullFrame, kRefused},
    {SvgRasterizationOptions::property_ScaleX, kEffective},
    {SvgRasterizationOptions::property_ScaleY, kEffective},
    {CdrRasterizationOptions::property_ScaleX, kEffective},
    {CdrRasterizationOptions::property_ScaleY, kEffective},
    {EmfRasterizationOptions::property_RenderMode, kEffective},
    {WmfRasterizationOptions::property_RenderMode, kEffective},
    {EpsRasterizationOptions::property_PreviewToExport, kEffective},

    {MultiPageOptions::property_Pages, kEffective},
    {MultiPageOptions::property_PageTitles, kEffective},
    {MultiPageOptions::property_TimeInterval, kEffective},
    {MultiPageOptions::property_PageRasterizationOptions, kOfDrawings},
    {MultiPageOptions::property_ExportArea, kEffective},
    {MultiPageOptions::property_Mode, kEffective},
    {MultiPageOptions::property_OutputLayersNames, kRefused},
    {MultiPageOptions::property_MergeLayers, kEffective},

    {LoadOptions::property_DataRecoveryMode, kEffective},
    {LoadOptions::property_DataBackgroundColor, kEffective},
    {LoadOptions::property_UseIccProfileConversion, kEffective},
    {LoadOptions::property_BufferSizeHint, kEffective},
    {CdrLoadOptions::property_DefaultFont, kRefused},
    {DngLoadOptions::property_Fbdd, kEffective},
    {EpsLoadOptions::property_PreviewExportFormat, kEffective},
    {DngLoadOptions::property_AdjustWhiteBalance, kEffective},
    {Jpeg2000LoadOptions::property_MaximumDecodingTime, kEffective},
    {Jpeg2000LoadOptions::property_MaximumDecodingTimeForTile, kEffective},
    {OdLoadOptions::property_Password, kRefused},
    {PngLoadOptions::property_StrictMode, kEffective},
    {SvgLoadOptions::property_DefaultWidth, kEffective},
    {SvgLoadOptions::property_DefaultHeight, kEffective},
};

// The rule of the class that is nearest to the type.
const OptionRule* rule_of(const TypeInfo& type, std::string_view property) {
    for (const TypeInfo* at = &type; at != nullptr; at = type_at(at->base)) {
        for (const OptionRule& rule : kRules) {
            if (at->full_name == std::string_view(rule.type) && property == rule.property) {
                return &rule;
            }
        }
    }
    return nullptr;
}

std::string shown(const ManagedObject& options, const char* property, const Value& value) {
    const bool is_object = std::holds_alternative<Ref<ManagedObject>>(value);
    return (is_object ? std::string("A value") : "The value " + to_utf8(text_of_value(value))) + " of " +
           member_name(options, property);
}

}  // namespace

void require_effective_options(const ManagedObject& options, bool of_drawing) {
    const Ref<ManagedObject> fresh = make_instance(options.type());
    for (const TypeInfo* type = &options.type(); type != nullptr; type = type_at(type->base)) {
        for (const PropertyInfo& declared : type->properties) {
            if (declared.is_static || !declared.writable) {
                continue;
            }
            const OptionRule* rule = rule_of(options.type(), declared.name);
            if (rule == nullptr) {
                throw_invalid_operation(member_name(options, declared.name) + " is missing in the table of options.");
            }
            const Value& value = property(options, declared.name);
            const bool effective = rule->effect == kEffective || (of_drawing && rule->effect == kOfDrawings);
            if (!effective && !is_unset(value) && !values_equal(value, property(*fresh, declared.name))) {
                throw_not_supported(shown(options, declared.name, value));
            }
        }
    }
}

}  // namespace zelmor::embed
