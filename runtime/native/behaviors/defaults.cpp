// The defaults of option objects, settings and constants.
//
// A value stands here where zero, null or the first enumerator would not be what a user of the format expects.
#include "runtime/native/core/defaults.h"

namespace zelmor::embed {

namespace {

constexpr const char* kJpeg = "Zelmor.Imaging.ImageOptions.JpegOptions";
constexpr const char* kPng = "Zelmor.Imaging.ImageOptions.PngOptions";
constexpr const char* kApng = "Zelmor.Imaging.ImageOptions.ApngOptions";
constexpr const char* kGif = "Zelmor.Imaging.ImageOptions.GifOptions";
constexpr const char* kBmp = "Zelmor.Imaging.ImageOptions.BmpOptions";
constexpr const char* kWebP = "Zelmor.Imaging.ImageOptions.WebPOptions";
constexpr const char* kPsd = "Zelmor.Imaging.ImageOptions.PsdOptions";
constexpr const char* kIco = "Zelmor.Imaging.ImageOptions.IcoOptions";
constexpr const char* kTiff = "Zelmor.Imaging.ImageOptions.TiffOptions";
constexpr const char* kDicom = "Zelmor.Imaging.ImageOptions.DicomOptions";
constexpr const char* kJpeg2000 = "Zelmor.Imaging.ImageOptions.Jpeg2000Options";
constexpr const char* kHtml = "Zelmor.Imaging.ImageOptions.Html5CanvasOptions";
constexpr const char* kDxf = "Zelmor.Imaging.ImageOptions.DxfOptions";
constexpr const char* kSvg = "Zelmor.Imaging.ImageOptions.SvgOptions";
constexpr const char* kVector = "Zelmor.Imaging.ImageOptions.VectorRasterizationOptions";
constexpr const char* kSvgRaster = "Zelmor.Imaging.ImageOptions.SvgRasterizationOptions";
constexpr const char* kCdrRaster = "Zelmor.Imaging.ImageOptions.CdrRasterizationOptions";
constexpr const char* kRdOptimizer = "Zelmor.Imaging.ImageOptions.RdOptimizerSettings";
constexpr const char* kLoad = "Zelmor.Imaging.LoadOptions";
constexpr const char* kResize = "Zelmor.Imaging.ImageResizeSettings";
constexpr const char* kResolution = "Zelmor.Imaging.ResolutionSetting";

constexpr uint32_t kWhite = 0xFFFFFFFF;
constexpr uint32_t kBlack = 0xFF000000;

constexpr DefaultValue kDefaults[] = {
    {kJpeg, "Quality", 75},
    {kJpeg, "BitsPerChannel", 8},
    {kJpeg, "ColorType", 1},       // Y_CB_CR
    {kJpeg, "ResolutionUnit", 1},  // INCH
    {kJpeg, "PreblendAlphaIfPresent", true},

    {kPng, "CompressionLevel", 6},
    {kPng, "DefaultCompressionLevel", 6},
    {kPng, "BitDepth", 8},
    {kPng, "ColorType", 6},   // TRUECOLOR_WITH_ALPHA
    {kPng, "FilterType", 5},  // ADAPTIVE
    {kApng, "DefaultFrameTime", 100},

    {kGif, "ColorResolution", 7},
    {kGif, "DoPaletteCorrection", true},
    {kGif, "HasTrailer", true},

    {kBmp, "BitsPerPixel", 24},
    {kIco, "BitsPerPixel", 32},
    {kIco, "Format", 16},  // PNG

    {kWebP, "Lossless", true},
    {kWebP, "Quality", 75.0},

    {kTiff, "CompressedQuality", 75},
    {kTiff, "RowsPerStrip", 64},

    {kPsd, "Version", 6},
    {kPsd, "PsdVersion", 1},         // PSD
    {kPsd, "CompressionMethod", 1},  // RLE
    {kPsd, "ColorMode", 3},          // RGB
    {kPsd, "ChannelBitsCount", 8},
    {kPsd, "ChannelsCount", 4},

    {kDicom, "ColorType", 2},  // RGB_24_BIT
    {kJpeg2000, "Irreversible", true},
    {kHtml, "FullHtmlPage", true},
    {kDxf, "BezierPointCount", 20},
    {kSvg, "ColorType", 4},  // RGB

    DefaultValue::color(kVector, "BackgroundColor", kWhite),
    DefaultValue::color(kVector, "DrawColor", kBlack),
    {kSvgRaster, "ScaleX", 1.0},
    {kSvgRaster, "ScaleY", 1.0},
    {kCdrRaster, "ScaleX", 1.0},
    {kCdrRaster, "ScaleY", 1.0},

    {kRdOptimizer, "BppScale", 100},
    {kRdOptimizer, "BppMax", 4.0},
    {kRdOptimizer, "MaxQ", 128},
    {kRdOptimizer, "MinQ", 1},
    {kRdOptimizer, "MaxPixelValue", 255},
    {kRdOptimizer, "PsnrMax", 100},
    {kRdOptimizer, "DiscretizedBppMax", 400},

    DefaultValue::color(kLoad, "DataBackgroundColor", kWhite),

    {kResize, "EntriesCount", 256},
    {kResize, "Mode", 6},                     // LANCZOS_RESAMPLE
    {kResize, "ColorQuantizationMethod", 1},  // POPULARITY

    {kResolution, "HorizontalResolution", 96.0},
    {kResolution, "VerticalResolution", 96.0},
};

const DefaultTable table(kDefaults);

}  // namespace

}  // namespace zelmor::embed
