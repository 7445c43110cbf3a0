// The table of properties; see tiff_option_properties.h.
#include "runtime/native/behaviors/metadata/tiff/tiff_option_properties.h"

#include "generated/runtime/Zelmor.Imaging.FileFormats.Tiff.Enums.h"
#include "generated/runtime/Zelmor.Imaging.ImageOptions.h"

namespace zelmor::embed {

namespace {

using PropertyKind = TiffOptionKind;
using Options = api::ImageOptions::TiffOptions;
using Tag = api::FileFormats::Tiff::Enums::TiffTags;

constexpr TiffOptionProperty kOptionProperties[] = {
    {Options::property_SubFileType, Tag::kSubFileType, TiffType::kLong, PropertyKind::kChoice},
    {Options::property_ImageWidth, Tag::kImageWidth, TiffType::kLong, PropertyKind::kInteger},
    {Options::property_ImageLength, Tag::kImageLength, TiffType::kLong, PropertyKind::kInteger},
    {Options::property_BitsPerSample, Tag::kBitsPerSample, TiffType::kShort, PropertyKind::kArray},
    {Options::property_Compression, Tag::kCompression, TiffType::kShort, PropertyKind::kChoice, true},
    {Options::property_Photometric, Tag::kPhotometric, TiffType::kShort, PropertyKind::kChoice, true},
    {Options::property_Threshholding, Tag::kThresholding, TiffType::kShort, PropertyKind::kChoice},
    {Options::property_FillOrder, Tag::kFillOrder, TiffType::kShort, PropertyKind::kChoice},
    {Options::property_DocumentName, Tag::kDocumentName, TiffType::kAscii, PropertyKind::kText},
    {Options::property_ImageDescription, Tag::kImageDescription, TiffType::kAscii, PropertyKind::kText},
    {Options::property_ScannerManufacturer, Tag::kMake, TiffType::kAscii, PropertyKind::kText},
    {Options::property_ScannerModel, Tag::kModel, TiffType::kAscii, PropertyKind::kText},
    {Options::property_StripOffsets, Tag::kStripOffsets, TiffType::kLong, PropertyKind::kArray},
    {Options::property_Orientation, Tag::kOrientation, TiffType::kShort, PropertyKind::kChoice},
    {Options::property_RowsPerStrip, Tag::kRowsPerStrip, TiffType::kLong, PropertyKind::kInteger},
    {Options::property_StripByteCounts, Tag::kStripByteCounts, TiffType::kLong, PropertyKind::kArray},
    {Options::property_MinSampleValue, Tag::kMinSampleValue, TiffType::kShort, PropertyKind::kArray},
    {Options::property_MaxSampleValue, Tag::kMaxSampleValue, TiffType::kShort, PropertyKind::kArray},
    {Options::property_Xresolution, Tag::kXresolution, TiffType::kRational, PropertyKind::kRational},
    {Options::property_Yresolution, Tag::kYresolution, TiffType::kRational, PropertyKind::kRational},
    {Options::property_PlanarConfiguration, Tag::kPlanarConfig, TiffType::kShort, PropertyKind::kChoice},
    {Options::property_PageName, Tag::kPageName, TiffType::kAscii, PropertyKind::kText},
    {Options::property_Xposition, Tag::kXposition, TiffType::kRational, PropertyKind::kRational},
    {Options::property_Yposition, Tag::kYposition, TiffType::kRational, PropertyKind::kRational},
    {Options::property_FaxT4Options, Tag::kT4Options, TiffType::kLong, PropertyKind::kChoice},
    {Options::property_ResolutionUnit, Tag::kResolutionUnit, TiffType::kShort, PropertyKind::kChoice},
    {Options::property_PageNumber, Tag::kPageNumber, TiffType::kShort, PropertyKind::kArray},
    {Options::property_SoftwareType, Tag::kSoftware, TiffType::kAscii, PropertyKind::kText},
    {Options::property_DateTime, Tag::kDateTime, TiffType::kAscii, PropertyKind::kText},
    {Options::property_Artist, Tag::kArtist, TiffType::kAscii, PropertyKind::kText},
    {Options::property_Predictor, Tag::kPredictor, TiffType::kShort, PropertyKind::kChoice},
    {Options::property_ColorMap, Tag::kColorMap, TiffType::kShort, PropertyKind::kArray},
    {Options::property_HalfToneHints, Tag::kHalftoneHints, TiffType::kShort, PropertyKind::kArray},
    {Options::property_TileWidth, Tag::kTileWidth, TiffType::kLong, PropertyKind::kInteger},
    {Options::property_TileLength, Tag::kTileLength, TiffType::kLong, PropertyKind::kInteger},
    {Options::property_TileOffsets, Tag::kTileOffsets, TiffType::kLong, PropertyKind::kArray},
    {Options::property_TileByteCounts, Tag::kTileByteCounts, TiffType::kLong, PropertyKind::kArray},
    {Options::property_InkNames, Tag::kInkNames, TiffType::kAscii, PropertyKind::kText},
    {Options::property_TargetPrinter, Tag::kTargetPrinter, TiffType::kAscii, PropertyKind::kText},
    {Options::property_SampleFormat, Tag::kSampleFormat, TiffType::kShort, PropertyKind::kArray},
    {Options::property_SminSampleValue, Tag::kSminSampleValue, TiffType::kShort, PropertyKind::kArray},
    {Options::property_SmaxSampleValue, Tag::kSmaxSampleValue, TiffType::kShort, PropertyKind::kArray},
    {Options::property_YCbCrCoefficients, Tag::kYcbcrCoefficients, TiffType::kRational, PropertyKind::kArray},
    {Options::property_YCbCrSubsampling, Tag::kYcbcrSubSampling, TiffType::kShort, PropertyKind::kArray},
    {Options::property_Copyright, Tag::kCopyright, TiffType::kAscii, PropertyKind::kText},
    {Options::property_XPTitle, Tag::kXpTitle, TiffType::kByte, PropertyKind::kWideText},
    {Options::property_XPComment, Tag::kXpComment, TiffType::kByte, PropertyKind::kWideText},
    {Options::property_XPAuthor, Tag::kXpAuthor, TiffType::kByte, PropertyKind::kWideText},
    {Options::property_XPKeywords, Tag::kXpKeywords, TiffType::kByte, PropertyKind::kWideText},
    {Options::property_XPSubject, Tag::kXpSubject, TiffType::kByte, PropertyKind::kWideText},
};

}  // namespace

std::span<const TiffOptionProperty> tiff_option_properties() {
    return kOptionProperties;
}

}  // namespace zelmor::embed
