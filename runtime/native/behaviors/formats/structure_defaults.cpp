// What the fields of published structures have in a new one: their own sizes, versions and signatures.
#include "runtime/native/core/defaults.h"

namespace zelmor::embed {

namespace {

constexpr const char* kJfif = "Zelmor.Imaging.FileFormats.Jpeg.JFIFData";
constexpr const char* kPdf = "Zelmor.Imaging.FileFormats.Pdf.PdfCoreOptions";
constexpr const char* kEmfHeader = "Zelmor.Imaging.FileFormats.Emf.Emf.Objects.EmfHeaderObject";
constexpr const char* kEps = "Zelmor.Imaging.FileFormats.Emf.Emf.Objects.EmfEpsData";
constexpr const char* kPalette = "Zelmor.Imaging.FileFormats.Emf.Emf.Objects.EmfLogPalette";
constexpr const char* kPixelFormat = "Zelmor.Imaging.FileFormats.Emf.Emf.Objects.EmfPixelFormatDescriptor";
constexpr const char* kPlusVersion = "Zelmor.Imaging.FileFormats.Emf.EmfPlus.Objects.EmfPlusGraphicsVersion";
constexpr const char* kCoreHeader = "Zelmor.Imaging.FileFormats.Wmf.Objects.WmfBitmapCoreHeader";
constexpr const char* kInfoHeader = "Zelmor.Imaging.FileFormats.Wmf.Objects.WmfBitmapInfoHeader";
constexpr const char* kColorSpace = "Zelmor.Imaging.FileFormats.Wmf.Objects.WmfLogColorSpace";
constexpr const char* kColorSpaceW = "Zelmor.Imaging.FileFormats.Wmf.Objects.WmfLogColorSpaceW";

constexpr int kColorSpaceSignature = 0x50534F43;  // "PSOC"
constexpr int kColorSpaceVersion = 0x400;

constexpr DefaultValue kDefaults[] = {
    {kJfif, "Version", 0x102},
    {kPdf, "JpegQuality", 75},
    {kEmfHeader, "Version", 0x10000},
    {kEps, "Version", 1},
    {kPalette, "Version", 0x300},
    {kPixelFormat, "NSize", 40},
    {kPixelFormat, "NVersion", 1},
    {kPlusVersion, "MetafileSignature", 0xDBC01},
    {kCoreHeader, "HeaderSize", 12},
    {kCoreHeader, "Planes", 1},
    {kInfoHeader, "HeaderSize", 40},
    {kInfoHeader, "Planes", 1},
    {kColorSpace, "Signature", kColorSpaceSignature},
    {kColorSpace, "Version", kColorSpaceVersion},
    {kColorSpaceW, "Signature", kColorSpaceSignature},
    {kColorSpaceW, "Version", kColorSpaceVersion},
};
const DefaultTable table(kDefaults);

}  // namespace

}  // namespace zelmor::embed
