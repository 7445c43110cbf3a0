// An image of the embedded runtime: a picture of the backend with what is known about its file.
//
// Properties that only store a value stay in the record; what follows from the pixels or the file is behaviour.
#pragma once

#include <memory>
#include <optional>
#include <string>

#include "runtime/native/core/records.h"
#include "runtime/native/core/stream.h"
#include "runtime/native/core/values.h"
#include "runtime/native/imagework/backend.h"
#include "runtime/native/imagework/probe.h"

namespace zelmor::embed {

// Values of the enumeration FileFormat.
enum class FileFormat : uint64_t {
    kUndefined = 0,
    kBmp = 0x2,
    kGif = 0x4,
    kJpeg = 0x8,
    kPng = 0x10,
    kTiff = 0x20,
    kWebp = 0x800,
    kApng = 0x800000,
    kBigTiff = 0x80000000,
};

FileFormat file_format_of(const imagework::FileFacts& facts);

class ImageObject final : public Record {
 public:
    static constexpr const char* kManagedName = "Zelmor.Imaging.RasterImage";

    // Of the type that belongs to the format, or of the nearest that there is.
    ImageObject(std::unique_ptr<imagework::Picture> picture, imagework::FileFacts facts);

    // The picture; ObjectDisposedException once the image is disposed.
    imagework::Picture& picture() const;
    const imagework::FileFacts& facts() const { return facts_; }

    // Where save() without a target goes: the file that the image was loaded from or created for.
    std::string target_path;
    bool delete_target = false;  // it is deleted with the image
    // The same for an image that was created over a stream.
    Ref<ManagedStream> target_stream;

    // What stands behind the picture where a format has no alpha or a canvas grows: the background colour if there is
    // one. A canvas with alpha grows transparent otherwise, one without white.
    imagework::Argb canvas_background() const;
    imagework::Argb flat_background() const;
    // The colour that is to be written as transparent, unless the alpha channel has it already.
    std::optional<imagework::Argb> transparent_color() const;

    void on_dispose() override;

 private:
    std::unique_ptr<imagework::Picture> picture_;
    imagework::FileFacts facts_;
};

// "40 by 30"; for messages.
std::string size_text(int64_t width, int64_t height);

// A colour property of an object, as 0xAARRGGBB.
imagework::Argb color_property(const ManagedObject& object, std::string_view name);

}  // namespace zelmor::embed
