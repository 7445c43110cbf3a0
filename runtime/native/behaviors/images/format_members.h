// The members part of a format's room: the classes of the API for the format, and what the code that all image classes
// share asks by format.
//
// formats/CMakeLists.txt lists the rooms that have one; CMake makes the table behind format_members(). A function that
// is null does nothing, unless its comment says otherwise.
#ifndef ZELMOR_RUNTIME_NATIVE_BEHAVIORS_IMAGES_FORMAT_MEMBERS_H
#define ZELMOR_RUNTIME_NATIVE_BEHAVIORS_IMAGES_FORMAT_MEMBERS_H

#include <cstddef>
#include <functional>
#include <span>
#include <string>

#include "runtime/native/behaviors/images/image_base.h"
#include "runtime/native/behaviors/images/new_pixels.h"
#include "runtime/native/catalogue/names.h"
#include "runtime/native/core/records.h"
#include "runtime/native/imagework/encoded_bytes.h"
#include "runtime/native/imagework/formats.h"
#include "runtime/native/imagework/pixels/byte_sink.h"
#include "runtime/native/imagework/pixels/data_source.h"
#include "runtime/native/imagework/probe/probe.h"

namespace zelmor::imagework {
struct FrameToWrite;
}

namespace zelmor::embed {

class ImageObject;
struct DrawnPage;

// The class of the save options of a format; null where the format is not written.
class OptionsType {
 public:
    constexpr OptionsType(const TypeName& type) : m_type(&type) {}
    constexpr OptionsType(std::nullptr_t) {}
    constexpr const TypeName* get() const { return m_type; }

 private:
    const TypeName* m_type = nullptr;
};

// The classes of a format of the API. The API counts variants such as animated PNG as formats of their own.
struct FormatClasses {
    FileFormat format;
    imagework::Format codec;  // the runtime's format
    const char* name;         // "Bmp": in messages and in the names of loaders, exporters and creators
    const TypeName& image;
    OptionsType options;
    const TypeName* frame;  // of an image of several pictures; null where the format has one picture
    bool holds_frames;      // whether a file takes all frames of an image
    // The class of the options that say how images of a format of drawings become pixels.
    OptionsType rasterization = nullptr;
};

// A pixel that a file marks in a picture.
struct MarkedPixel {
    int32_t x, y;
};

struct FormatMembers {
    imagework::Format format;
    std::span<const FormatClasses> classes;  // the usual variant first

    // ---- Save options; these and the settings of images are null where the format is not written

    // The settings in save options of the format.
    imagework::FormatEncoding (*settings)(const ManagedObject& options) = nullptr;
    // Takes what else save options of the format say.
    void (*take_options)(const ManagedObject& options, imagework::Encoding& encoding) = nullptr;
    // Sets the properties of save options from the settings of a file; `facts.encoding` is of the format.
    void (*fill_options)(ManagedObject& options, const imagework::FileFacts& facts) = nullptr;
    // Whether the options have a place for the resolution of a picture.
    bool options_have_resolution = true;

    // ---- Settings of images

    // The pixels of a new image that is to be written with the settings.
    NewPixels (*new_pixels)(const imagework::FormatEncoding& settings) = nullptr;
    // Whether files with the settings have a palette. Null: none has.
    bool (*is_indexed)(const imagework::FormatEncoding& settings) = nullptr;
    // The settings of a file, for its picture as it is now: saving again must not lose changes since it was loaded.
    void (*renew)(imagework::FormatEncoding& settings) = nullptr;
    // The default settings, for a picture that came from elsewhere.
    void (*suit)(imagework::FormatEncoding& settings, const ImageObject& page) = nullptr;
    // Takes the properties of an image that is saved without options, such as those of its animation.
    void (*take_image)(const ImageObject& image, imagework::Encoding& encoding) = nullptr;
    // Fills in settings that neither options nor the image name, from the file of the image.
    void (*complete)(const ImageObject& image, imagework::FormatEncoding& settings) = nullptr;
    // Takes what the extension of a file name says of the settings, for an image that is saved without options.
    void (*take_extension)(const std::string& extension, imagework::FormatEncoding& settings) = nullptr;
    // Takes the options that a new image is created with.
    void (*take_creation)(ImageObject& image, const Record& options) = nullptr;

    // Moves what the settings of a page mark in its picture, whose pixels were moved. Null: they mark nothing.
    void (*move_mark)(imagework::FileFacts& facts, const std::function<MarkedPixel(MarkedPixel)>& moved) = nullptr;

    // The pictures of a file are pages: of any size, and each with metadata of its own. Otherwise they are frames on
    // one canvas, and the metadata describe the image as a whole.
    bool has_pages = false;
    // Image.Create() makes an image of this format of pages that come from elsewhere.
    bool takes_any_pages = false;
    // The name that a file gives to a page.
    std::string (*page_title)(const imagework::FileFacts& facts) = nullptr;
    // Drops what describes the picture and is kept with its frames, rather than with the metadata of the file.
    void (*drop_descriptions)(ImageObject& image) = nullptr;

    // ---- Saving frames

    // Encodes an image of the format with its frames as they are, for a save without other settings. Null: it is
    // written as an image of any other format is.
    void (*encode_frames)(ImageObject& image, imagework::ByteSink& out) = nullptr;
    // Takes what a frame says besides its pixels, for a file of the format. `is_described` tells whether a picture that
    // stands alone has to be written as a frame because of that; both are null, or none.
    bool (*is_described)(ImageObject& source) = nullptr;
    void (*describe_frame)(ImageObject& image, ImageObject& source, bool last,
                           imagework::FrameToWrite& frame) = nullptr;

    // ---- Loading

    // Sets properties of an image from the settings of its file; `facts.encoding` is of the format.
    void (*take_file)(ImageObject& image) = nullptr;

    // Takes load options of the format.
    void (*take_load_options)(const Record& load_options, imagework::DecodeOptions& options) = nullptr;
    // Refuses a file that the load options do not allow; PictureError.
    void (*check_load_options)(const Record& load_options, const imagework::SharedSource& file) = nullptr;

    // ---- Drawings

    // Reads a file of a format of drawings as an image of lines and text (a VectorImageObject). Null: a codec reads it.
    // The facts are those of the header; the load options may be null, and their common properties were looked at.
    // PictureError or ManagedException.
    Ref<ImageBase> (*load_drawing)(const imagework::SharedSource& file, const imagework::FileFacts& facts,
                                   const Record* load_options) = nullptr;
    // Writes pages as a file of a format of drawings; pages of pixels have their picture. There is one page, unless
    // FormatClasses::holds_frames says that the format takes several. `options` are those of the save, or null; the
    // properties that take no effect were refused (option_rules.cpp). `extension` is that of the file name where there
    // are no options. Null: a codec writes the format. Where both are there, images of pixels go to the codec.
    void (*write_drawing)(std::span<const DrawnPage> pages, const Record* options, const std::string& extension,
                          imagework::ByteSink& out) = nullptr;
};

// The members parts of all rooms that have one, in the order of the rooms.
std::span<const FormatMembers* const> format_members();
// Null for a format without one.
const FormatMembers* members_of(imagework::Format format);
bool has_pages(imagework::Format format);

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_BEHAVIORS_IMAGES_FORMAT_MEMBERS_H
