// The image object; see image_object.h.
#include "runtime/native/behaviours/images/image_object.h"

#include <unistd.h>

#include "runtime/native/behaviours/images/image_entry.h"
#include "runtime/native/core/managed_exception.h"
#include "runtime/native/core/type_system.h"

namespace zelmor::embed {

using imagework::Argb;
using imagework::Failure;
using imagework::Format;

namespace {

const char* type_name_of(const imagework::FileFacts& facts) {
    switch (file_format_of(facts)) {
        case FileFormat::kBmp:
            return "Zelmor.Imaging.FileFormats.Bmp.BmpImage";
        case FileFormat::kGif:
            return "Zelmor.Imaging.FileFormats.Gif.GifImage";
        case FileFormat::kJpeg:
            return "Zelmor.Imaging.FileFormats.Jpeg.JpegImage";
        case FileFormat::kPng:
            return "Zelmor.Imaging.FileFormats.Png.PngImage";
        case FileFormat::kApng:
            return "Zelmor.Imaging.FileFormats.Apng.ApngImage";
        case FileFormat::kTiff:
            return "Zelmor.Imaging.FileFormats.Tiff.TiffImage";
        case FileFormat::kBigTiff:
            return "Zelmor.Imaging.FileFormats.BigTiff.BigTiffImage";
        case FileFormat::kWebp:
            return "Zelmor.Imaging.FileFormats.WebP.WebPImage";
        case FileFormat::kUndefined:
            break;
    }
    return "";
}

// The class of the format where the catalogue has it, and the class that all of them derive from otherwise.
const TypeInfo& type_for(const imagework::FileFacts& facts) {
    const TypeInfo* type = find_type(type_name_of(facts));
    return type ? *type : require_type("Zelmor.Imaging.RasterCachedImage");
}

}  // namespace

void throw_picture_error(const imagework::PictureError& error, const std::string& subject) {
    std::string text = subject.empty() ? error.what() : subject + ": " + error.what() + ".";
    switch (error.kind()) {
        case Failure::kDamaged:
            throw ManagedException("ImageLoadException", text);
        case Failure::kUnsupported:
            throw ManagedException("NotSupportedException", text);
        case Failure::kArgument:
            throw_out_of_range(error.parameter(), text);
        case Failure::kTooLarge:
            throw ManagedException("OutOfMemoryException", text);
        case Failure::kEncoding:
            throw ManagedException("ImageSaveException", text);
        case Failure::kInternal:
            break;
    }
    throw ManagedException("ImageException", text);
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

ImageObject::ImageObject(std::unique_ptr<imagework::Picture> picture, imagework::FileFacts facts)
    : Record(type_for(facts)), picture_(std::move(picture)), facts_(std::move(facts)) {
    if (facts_.transparent_color) {
        set_property(*this, "HasTransparentColor", true);
        set_property(*this, "TransparentColor", box(ColorValue::from_argb(*facts_.transparent_color)));
    }
}

imagework::Picture& ImageObject::picture() const {
    require_live();
    return *picture_;
}

Argb color_property(const ManagedObject& object, std::string_view name) {
    const Ref<ManagedObject> color = property_object(object, name);
    return color ? unbox<ColorValue>(*color).argb : 0;
}

Argb ImageObject::canvas_background() const {
    if (property_bool(*this, "HasBackgroundColor")) return color_property(*this, "BackgroundColor");
    return picture().has_alpha() ? 0 : imagework::kWhite;
}

Argb ImageObject::flat_background() const {
    return property_bool(*this, "HasBackgroundColor") ? color_property(*this, "BackgroundColor") : imagework::kWhite;
}

std::optional<Argb> ImageObject::transparent_color() const {
    if (!property_bool(*this, "HasTransparentColor")) return std::nullopt;
    const Argb color = color_property(*this, "TransparentColor");
    // Of a loaded file it is clear in the alpha channel, and other pixels of that colour are not meant.
    if (facts_.transparent_color && (*facts_.transparent_color & 0xFFFFFF) == (color & 0xFFFFFF)) return std::nullopt;
    return color;
}

void ImageObject::on_dispose() {
    picture_.reset();
    target_stream = nullptr;
    if (delete_target) ::unlink(target_path.c_str());
}

std::string size_text(int64_t width, int64_t height) {
    return std::to_string(width) + " by " + std::to_string(height);
}

}  // namespace zelmor::embed
