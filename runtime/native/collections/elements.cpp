// The element types of the typed collections, by the identifiers that both halves share.
//
// An element that is an enumeration crosses in 32 bits, whatever its own width. An array of arrays names the identifier
// of the inner element.
#include <algorithm>
#include <iterator>

#include "runtime/native/core/collection.h"
#include "runtime/native/core/managed_exception.h"

namespace zelmor::embed {

namespace {

// In the order of the identifiers.
constexpr ElementType kElements[] = {
    {"0230D20F", Wire::kClass, "Zelmor.Imaging.FileFormats.Cmx.ObjectModel.Specs.CmxRasterImage"},
    {"05212A6B", Wire::kInterface, "Zelmor.Imaging.IImageCreatorDescriptor"},
    {"0739A5D6", Wire::kClass, "Zelmor.Imaging.FileFormats.Cdr.Objects.CdrText"},
    {"0935DFF2", Wire::kClass, "Zelmor.Imaging.FileFormats.Djvu.DjvuPage"},
    {"0938A206", Wire::kClass, "Zelmor.Imaging.FileFormats.Emf.Emf.Objects.EmfFormat"},
    {"0D581152", Wire::kClass, "Zelmor.Imaging.FileFormats.Cdr.Objects.CdrStyle"},
    {"0F784858", Wire::kClass, "Zelmor.Imaging.FileFormats.OpenDocument.OdObject"},
    {"102D05D1", Wire::kInterface, "Zelmor.Imaging.IImageLoaderDescriptor"},
    {"1106F36B", Wire::kClass, "Zelmor.Imaging.FileFormats.Dicom.DicomPage"},
    {"110A8374", Wire::kUInt32, "System.UInt32"},
    {"11A60AB4", Wire::kClass, "Zelmor.Imaging.FileFormats.Emf.Emf.Objects.EmfUniversalFontId"},
    {"156DD088", Wire::kClass, "Zelmor.Imaging.FileFormats.Cmx.ObjectModel.CmxLayer"},
    {"1BA766B5", Wire::kDouble, "System.Double"},
    {"2A1D6ECF", Wire::kStruct, "System.Drawing.PointF"},
    {"2AA6F476", Wire::kInterface, "Zelmor.Imaging.FileFormats.Gif.IGifBlock"},
    {"2B0546B4", Wire::kClass, "Zelmor.Imaging.FileFormats.Emf.EmfPlus.Objects.EmfPlusBasePointType"},
    {"2DD4EBDC", Wire::kClass, "Zelmor.Imaging.FileFormats.Cmx.ObjectModel.CmxPage"},
    {"2F797332", Wire::kClass, "Zelmor.Imaging.FileFormats.Emf.Emf.Objects.EmfText"},
    {"2FBEBD52", Wire::kClass, "Zelmor.Imaging.FileFormats.Cdr.Objects.CdrObject"},
    {"32726122", Wire::kClass, "Zelmor.Imaging.FileFormats.Tiff.PathResources.PathResource"},
    {"35D0AC00", Wire::kClass, "Zelmor.Imaging.Masking.Options.AssumedObjectData"},
    {"3814BE29", Wire::kClass, "Zelmor.Imaging.FileFormats.Wmf.Objects.WmfScanObject"},
    {"4161C915", Wire::kStruct, "Zelmor.Imaging.Color"},
    {"436B9FB4", Wire::kClass, "Zelmor.Imaging.Shape"},
    {"4893859B", Wire::kClass, "Zelmor.Imaging.Xmp.XmpPackage"},
    {"4B725488", Wire::kClass, "Zelmor.Imaging.Image"},
    {"51D6BEAB", Wire::kClass, "Zelmor.Imaging.FileFormats.OpenDocument.Objects.Graphic.OdGraphicObject"},
    {"578FF222", Wire::kClass, "Zelmor.Imaging.FileFormats.Emf.EmfPlus.Records.EmfPlusRecord"},
    {"57AC8DC4", Wire::kUInt16, "System.UInt16"},
    {"590CE12F", Wire::kClass, "Zelmor.Imaging.FileFormats.Emf.EmfSpool.Records.EmfSpoolFontDefinitionRecordType"},
    {"5924F2FC", Wire::kClass, "Zelmor.Imaging.FileFormats.Cmx.ObjectModel.Styles.CmxColor"},
    {"5A6B40F1", Wire::kClass, "Zelmor.Imaging.FileFormats.Cmx.ObjectModel.Specs.CmxPathPointSpec"},
    {"5A71E0F9", Wire::kInt32, "Zelmor.Imaging.FileFormats.Tiff.Enums.TiffSampleFormats"},
    {"5BCD4B3E", Wire::kStruct, "Zelmor.Imaging.RectangleF"},
    {"6228A3B1", Wire::kClass, "Zelmor.Imaging.FileFormats.Tiff.TiffDataType"},
    {"62797633", Wire::kClass, "Zelmor.Imaging.FileFormats.Emf.EmfPlus.Objects.EmfPlusRegionNode"},
    {"62F27231", Wire::kInterface, "Zelmor.Imaging.IImageExporterDescriptor"},
    {"6569C051", Wire::kStruct, "Zelmor.Imaging.Rectangle"},
    {"6DB53617", Wire::kStruct, "Zelmor.Imaging.CmykColor"},
    {"70438DFB", Wire::kClass, "Zelmor.Imaging.IntRange"},
    {"70A52B7E", Wire::kClass, "Zelmor.Imaging.ShapeSegment"},
    {"72D20219", Wire::kUInt64, "System.UInt64"},
    {"75054454", Wire::kClass, "Zelmor.Imaging.FileFormats.Emf.Emf.Objects.EmfGradientRectangle"},
    {"793CE1A2", Wire::kClass, "Zelmor.Imaging.FileFormats.Cdr.Types.CdrGradientStop"},
    {"79C35D44", Wire::kClass, "Zelmor.Imaging.ImageOptions.VectorRasterizationOptions"},
    {"8626AC59", Wire::kStruct, "Zelmor.Imaging.PointF"},
    {"8A028265", Wire::kBytes, "System.Byte[]"},
    {"8D7E2A03", Wire::kClass, "System.Drawing.Imaging.ColorMap"},
    {"8E76FE13", Wire::kCollection, "D065E58A"},
    {"9BE3A030", Wire::kClass, "Zelmor.Imaging.FileFormats.Emf.Emf.Objects.EmfPoint28To4"},
    {"A139325E", Wire::kClass, "Zelmor.Imaging.FileFormats.Core.VectorPaths.VectorPathRecord"},
    {"A2718E40", Wire::kInt16, "System.Int16"},
    {"A29B253A", Wire::kStruct, "Zelmor.Imaging.FileFormats.Cdr.Types.PointD"},
    {"A4A29720", Wire::kInt32, "System.Int32"},
    {"A57BD1E8", Wire::kInt32, "Zelmor.Imaging.FileFormats.Emf.Emf.Consts.EmfPointEnum"},
    {"A74044EE", Wire::kInterface, "Zelmor.Imaging.Masking.Result.IMaskingLayer"},
    {"A8AE4D16", Wire::kClass, "Zelmor.Imaging.Exif.MakerNote"},
    {"AD4C5CC9", Wire::kInt32, "Zelmor.Imaging.FileFormats.Tiff.Enums.TiffTags"},
    {"AD9D9BA5", Wire::kClass, "Zelmor.Imaging.ColorMap"},
    {"ADFCB9C9", Wire::kStruct, "System.Drawing.Color"},
    {"B3841592", Wire::kClass, "Zelmor.Imaging.FileFormats.Tiff.TiffSRational"},
    {"B51D2782", Wire::kClass, "Zelmor.Imaging.EmbeddedImage"},
    {"B67D0F40", Wire::kClass, "Zelmor.Imaging.FileFormats.Emf.EmfPlus.Objects.EmfPlusBlendBase"},
    {"B748930C", Wire::kClass, "Zelmor.Imaging.FileFormats.Tiff.TiffFrame"},
    {"B89C7755", Wire::kInterface, "Zelmor.Imaging.FileFormats.Gif.IGifBlockLoaderDescriptor"},
    {"C1B6F79A", Wire::kInterface, "Zelmor.Imaging.FileFormats.Cmx.ObjectModel.ICmxDocElement"},
    {"C63CF845", Wire::kClass, "Zelmor.Imaging.Figure"},
    {"C89B66BC", Wire::kClass, "Zelmor.Imaging.FileFormats.Tiff.TiffRational"},
    {"CBE911FC", Wire::kString, "System.String"},
    {"CF33F510", Wire::kInt8, "System.SByte"},
    {"D065E58A", Wire::kStruct, "Zelmor.Imaging.Point"},
    {"DAF680C1", Wire::kCollection, "A4A29720"},
    {"DD9A8D00", Wire::kClass, "Zelmor.Imaging.FileFormats.Emf.Emf.Objects.EmfTriVertex"},
    {"E7C32114", Wire::kInt64, "System.Int64"},
    {"F25B175D", Wire::kCollection, "FCB07591"},
    {"F372CE9B", Wire::kObject, "System.Object"},
    {"F421E052", Wire::kClass, "Zelmor.Imaging.FileFormats.Emf.EmfPlus.Objects.EmfPlusCharacterRange"},
    {"FCB07591", Wire::kSingle, "System.Single"},
};

constexpr ElementType kVariantElement = {"", Wire::kObject, "System.Object"};

// Elements that only C++ code makes arrays of; no typed wrapper shows them.
constexpr ElementType kOtherElements[] = {
    {"", Wire::kUInt8, "System.Byte"},
    {"", Wire::kBool, "System.Boolean"},
};

}  // namespace

const TypeInfo* ElementType::type() const {
    return find_type(name);
}

const ElementType* ElementType::inner() const {
    return wire == Wire::kCollection ? find_element(name) : nullptr;
}

const ElementType& variant_element() {
    return kVariantElement;
}

const ElementType* find_element(std::string_view id) {
    const auto* found =
        std::lower_bound(std::begin(kElements), std::end(kElements), id,
                         [](const ElementType& element, std::string_view key) { return element.id < key; });
    return found != std::end(kElements) && id == found->id ? found : nullptr;
}

const ElementType& element_of(Wire wire, std::string_view type_name) {
    const auto matches = [&](const ElementType& element) {
        return element.wire == wire && (type_name.empty() || type_name == element.name);
    };
    for (const auto& element : kElements) {
        if (matches(element)) return element;
    }
    for (const auto& element : kOtherElements) {
        if (matches(element)) return element;
    }
    if (wire == Wire::kObject) return kVariantElement;
    throw ManagedException("TypeLoadException",
                           "There is no collection with elements of type '" + std::string(type_name) + "'.");
}

}  // namespace zelmor::embed
