// The table of formats and the ways to look it up; see format_classes.h.
#include "runtime/native/behaviors/images/format_classes.h"

#include <algorithm>
#include <string_view>

#include "generated/runtime/Zelmor.Imaging.FileFormats.Apng.h"
#include "generated/runtime/Zelmor.Imaging.FileFormats.BigTiff.h"
#include "generated/runtime/Zelmor.Imaging.FileFormats.Bmp.h"
#include "generated/runtime/Zelmor.Imaging.FileFormats.Gif.Blocks.h"
#include "generated/runtime/Zelmor.Imaging.FileFormats.Gif.h"
#include "generated/runtime/Zelmor.Imaging.FileFormats.Jpeg.h"
#include "generated/runtime/Zelmor.Imaging.FileFormats.Png.h"
#include "generated/runtime/Zelmor.Imaging.FileFormats.Tiff.h"
#include "generated/runtime/Zelmor.Imaging.FileFormats.Webp.h"
#include "generated/runtime/Zelmor.Imaging.ImageOptions.h"
#include "runtime/native/core/type_system.h"

namespace zelmor::embed {

using imagework::Format;

namespace {

namespace formats = api::FileFormats;
namespace options = api::ImageOptions;

// Loaders, exporters and creators are asked in this order.
constexpr FormatClasses kFormats[] = {
    {FileFormat::kBmp, Format::kBmp, "Bmp", formats::Bmp::BmpImage::kType, options::BmpOptions::kType, nullptr},
    {FileFormat::kGif, Format::kGif, "Gif", formats::Gif::GifImage::kType, options::GifOptions::kType,
     &formats::Gif::Blocks::GifFrameBlock::kType},
    {FileFormat::kJpeg, Format::kJpeg, "Jpeg", formats::Jpeg::JpegImage::kType, options::JpegOptions::kType, nullptr},
    {FileFormat::kPng, Format::kPng, "Png", formats::Png::PngImage::kType, options::PngOptions::kType, nullptr},
    {FileFormat::kApng, Format::kPng, "Apng", formats::Apng::ApngImage::kType, options::ApngOptions::kType,
     &formats::Apng::ApngFrame::kType},
    {FileFormat::kTiff, Format::kTiff, "Tiff", formats::Tiff::TiffImage::kType, options::TiffOptions::kType,
     &formats::Tiff::TiffFrame::kType},
    {FileFormat::kBigTiff, Format::kTiff, "BigTiff", formats::BigTiff::BigTiffImage::kType,
     options::BigTiffOptions::kType, &formats::Tiff::TiffFrame::kType},
    {FileFormat::kWebp, Format::kWebp, "Webp", formats::Webp::WebPImage::kType, options::WebPOptions::kType,
     &formats::Webp::WebPFrameBlock::kType},
};

}  // namespace

std::span<const FormatClasses> format_classes() {
    return kFormats;
}

const FormatClasses* classes_of(FileFormat format) {
    const auto* found = std::find_if(std::begin(kFormats), std::end(kFormats),
                                     [&](const FormatClasses& known) { return known.format == format; });
    return found == std::end(kFormats) ? nullptr : found;
}

FileFormat file_format_of(const imagework::FileFacts& facts) {
    switch (facts.format) {
        case Format::kBmp:
            return FileFormat::kBmp;
        case Format::kGif:
            return FileFormat::kGif;
        case Format::kJpeg:
            return FileFormat::kJpeg;
        case Format::kPng:
            return facts.is_apng ? FileFormat::kApng : FileFormat::kPng;
        case Format::kTiff:
            return facts.is_big_tiff ? FileFormat::kBigTiff : FileFormat::kTiff;
        case Format::kWebp:
            return FileFormat::kWebp;
        case Format::kUnknown:
            break;
    }
    return FileFormat::kUndefined;
}

FileFormat file_format_of_options(const ManagedObject& options) {
    const std::string_view type = options.type().full_name;
    for (const FormatClasses& known : kFormats) {
        if (type == known.options.name) {
            return known.format;
        }
    }
    return FileFormat::kUndefined;
}

const TypeInfo& image_type_for(const imagework::FileFacts& facts) {
    const FormatClasses* known = classes_of(file_format_of(facts));
    return require_type(known != nullptr ? known->image.name : api::RasterCachedImage::kType.name);
}

const TypeInfo& frame_type_for(const TypeInfo& image) {
    for (const FormatClasses& known : kFormats) {
        if (known.frame != nullptr && is_assignable(require_type(known.image.name), image)) {
            return require_type(known.frame->name);
        }
    }
    return require_type(api::RasterCachedImage::kType.name);
}

}  // namespace zelmor::embed
