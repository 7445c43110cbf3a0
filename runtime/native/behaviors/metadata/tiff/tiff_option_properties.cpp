// The table of properties; see tiff_option_properties.h.
#include "runtime/native/behaviors/metadata/tiff/tiff_option_properties.h"

#include "generated/runtime/Zelmor.Imaging.FileFormats.Tiff.Enums.h"
#include "generated/runtime/Zelmor.Imaging.ImageOptions.h"

namespace zelmor::embed {

namespace {

using Kind = TiffOptionKind;
using Options = api::ImageOptions::TiffOptions;
using Tag = api::FileFormats::Tiff::Enums::TiffTags;

constexpr TiffOptionProperty kProperties[] = {
    {Options::property_SubFileType, Tag::kSubFileType, TiffType::kLong, Kind::kInteger},
    {Options::property_ImageWidth, Tag::kImageWidth, TiffType::kLong, Kind::kInteger},
    {Options::property_ImageLength, Tag::kImageLength, TiffType::kLong, Kind::kInteger},
    {Options::property_BitsPerSample, Tag::kBitsPerSample, TiffType::kShort, Kind::kArray},
    {Options::property_Compression, Tag::kCompression, TiffType::kShort, Kind::kInteger, true},
    {Options::property_Photometric, Tag::kPhotometric, TiffType::kShort, Kind::kInteger, true},
    {Options::property_Threshholding, Tag::kThresholding, TiffType::kShort, Kind::kInteger},
    {Options::property_FillOrder, Tag::kFillOrder, TiffType::kShort, Kind::kInteger},
    {Options::property_DocumentName, Tag::kDocumentName, TiffType::kAscii, Kind::kText},
    {Options::property_ImageDescription, Tag::kImageDescription, TiffType::kAscii, Kind::kText},
    {Options::property_ScannerManufacturer, Tag::kMake, TiffType::kAscii, Kind::kText},
    {Options::property_ScannerModel, Tag::kModel, TiffType::kAscii, Kind::kText},
    {Options::property_StripOffsets, Tag::kStripOffsets, TiffType::kLong, Kind::kArray},
    {Options::property_Orientation, Tag::kOrientation, TiffType::kShort, Kind::kInteger},
    {Options::property_RowsPerStrip, Tag::kRowsPerStrip, TiffType::kLong, Kind::kInteger},
    {Options::property_StripByteCounts, Tag::kStripByteCounts, TiffType::kLong, Kind::kArray},
    {Options::property_MinSampleValue, Tag::kMinSampleValue, TiffType::kShort, Kind::kArray},
    {Options::property_MaxSampleValue, Tag::kMaxSampleValue, TiffType::kShort, Kind::kArray},
    {Options::property_Xresolution, Tag::kXresolution, TiffType::kRational, Kind::kRational},
    {Options::property_Yresolution, Tag::kYresolution, TiffType::kRational, Kind::kRational},
    {Options::property_PlanarConfiguration, Tag::kPlanarConfig, TiffType::kShort, Kind::kInteger},
    {Options::property_PageName, Tag::kPageName, TiffType::kAscii, Kind::kText},
    {Options::property_Xposition, Tag::kXposition, TiffType::kRational, Kind::kRational},
    {Options::property_Yposition, Tag::kYposition, TiffType::kRational, Kind::kRational},
    {Options::property_FaxT4Options, Tag::kT4Options, TiffType::kLong, Kind::kInteger},
    {Options::property_ResolutionUnit, Tag::kResolutionUnit, TiffType::kShort, Kind::kInteger},
    {Options::property_PageNumber, Tag::kPageNumber, TiffType::kShort, Kind::kArray},
    {Options::property_SoftwareType, Tag::kSoftware, TiffType::kAscii, Kind::kText},
    {Options::property_DateTime, Tag::kDateTime, TiffType::kAscii, Kind::kText},
    {Options::property_Artist, Tag::kArtist, TiffType::kAscii, Kind::kText},
    {Options::property_Predictor, Tag::kPredictor, TiffType::kShort, Kind::kInteger},
    {Options::property_ColorMap, Tag::kColorMap, TiffType::kShort, Kind::kArray},
    {Options::property_HalfToneHints, Tag::kHalftoneHints, TiffType::kShort, Kind::kArray},
    {Options::property_TileWidth, Tag::kTileWidth, TiffType::kLong, Kind::kInteger},
    {Options::property_TileLength, Tag::kTileLength, TiffType::kLong, Kind::kInteger},
    {Options::property_TileOffsets, Tag::kTileOffsets, TiffType::kLong, Kind::kArray},
    {Options::property_TileByteCounts, Tag::kTileByteCounts, TiffType::kLong, Kind::kArray},
    {Options::property_InkNames, Tag::kInkNames, TiffType::kAscii, Kind::kText},
    {Options::property_TargetPrinter, Tag::kTargetPrinter, TiffType::kAscii, Kind::kText},
    {Options::property_SampleFormat, Tag::kSampleFormat, TiffType::kShort, Kind::kArray},
    {Options::property_SminSampleValue, Tag::kSminSampleValue, TiffType::kShort, Kind::kArray},
    {Options::property_SmaxSampleValue, Tag::kSmaxSampleValue, TiffType::kShort, Kind::kArray},
    {Options::property_YCbCrCoefficients, Tag::kYcbcrCoefficients, TiffType::kRational, Kind::kArray},
    {Options::property_YCbCrSubsampling, Tag::kYcbcrSubSampling, TiffType::kShort, Kind::kArray},
    {Options::property_Copyright, Tag::kCopyright, TiffType::kAscii, Kind::kText},
    {Options::property_XPTitle, Tag::kXpTitle, TiffType::kByte, Kind::kWideText},
    {Options::property_XPComment, Tag::kXpComment, TiffType::kByte, Kind::kWideText},
    {Options::property_XPAuthor, Tag::kXpAuthor, TiffType::kByte, Kind::kWideText},
    {Options::property_XPKeywords, Tag::kXpKeywords, TiffType::kByte, Kind::kWideText},
    {Options::property_XPSubject, Tag::kXpSubject, TiffType::kByte, Kind::kWideText},
};

}  // namespace

std::span<const TiffOptionProperty> tiff_option_properties() {
    return kProperties;
}

}  // namespace zelmor::embed
