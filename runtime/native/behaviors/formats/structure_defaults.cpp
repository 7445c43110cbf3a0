// Values of the fields of new published structures: sizes, versions and signatures.
#include "generated/runtime/Zelmor.Imaging.FileFormats.Emf.Emf.Objects.h"
#include "generated/runtime/Zelmor.Imaging.FileFormats.Emf.EmfPlus.Objects.h"
#include "generated/runtime/Zelmor.Imaging.FileFormats.Jpeg.h"
#include "generated/runtime/Zelmor.Imaging.FileFormats.Pdf.h"
#include "generated/runtime/Zelmor.Imaging.FileFormats.Wmf.Objects.h"
#include "runtime/native/core/defaults.h"

namespace zelmor::embed {

namespace {

using EmfEpsData = api::FileFormats::Emf::Emf::Objects::EmfEpsData;
using EmfHeaderObject = api::FileFormats::Emf::Emf::Objects::EmfHeaderObject;
using EmfLogPalette = api::FileFormats::Emf::Emf::Objects::EmfLogPalette;
using EmfPixelFormatDescriptor = api::FileFormats::Emf::Emf::Objects::EmfPixelFormatDescriptor;
using EmfPlusGraphicsVersion = api::FileFormats::Emf::EmfPlus::Objects::EmfPlusGraphicsVersion;
using PdfCoreOptions = api::FileFormats::Pdf::PdfCoreOptions;
using WmfBitmapBaseHeader = api::FileFormats::Wmf::Objects::WmfBitmapBaseHeader;
using WmfBitmapCoreHeader = api::FileFormats::Wmf::Objects::WmfBitmapCoreHeader;
using WmfBitmapInfoHeader = api::FileFormats::Wmf::Objects::WmfBitmapInfoHeader;
using WmfLogColorSpace = api::FileFormats::Wmf::Objects::WmfLogColorSpace;
using WmfLogColorSpaceW = api::FileFormats::Wmf::Objects::WmfLogColorSpaceW;

constexpr int kColorSpaceSignature = 0x50534F43;  // "PSOC"
constexpr int kColorSpaceVersion = 0x400;

constexpr DefaultValue kStructureDefaults[] = {
    {PdfCoreOptions::property_JpegQuality, 75},
    {EmfHeaderObject::property_Version, 0x10000},
    {EmfEpsData::property_Version, 1},
    {EmfLogPalette::property_Version, 0x300},
    {EmfPixelFormatDescriptor::property_NSize, 40},
    {EmfPixelFormatDescriptor::property_NVersion, 1},
    {EmfPlusGraphicsVersion::property_MetafileSignature, 0xDBC01},
    {WmfBitmapCoreHeader::kType, WmfBitmapBaseHeader::property_HeaderSize, 12},
    {WmfBitmapCoreHeader::kType, WmfBitmapBaseHeader::property_Planes, 1},
    {WmfBitmapInfoHeader::kType, WmfBitmapBaseHeader::property_HeaderSize, 40},
    {WmfBitmapInfoHeader::kType, WmfBitmapBaseHeader::property_Planes, 1},
    {WmfLogColorSpace::property_Signature, kColorSpaceSignature},
    {WmfLogColorSpace::property_Version, kColorSpaceVersion},
    {WmfLogColorSpaceW::property_Signature, kColorSpaceSignature},
    {WmfLogColorSpaceW::property_Version, kColorSpaceVersion},
};
const DefaultTable ZELMOR_UNNAMED(kStructureDefaults);

}  // namespace

}  // namespace zelmor::embed
