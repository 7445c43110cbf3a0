// The file formats that the image backend reads and writes, with the classes that the API has for each.
//
// The API counts animated PNG and BigTIFF as formats of their own; the backend has them as kinds of PNG and TIFF.
#ifndef ZELMOR_RUNTIME_NATIVE_BEHAVIORS_IMAGES_FORMAT_CLASSES_H
#define ZELMOR_RUNTIME_NATIVE_BEHAVIORS_IMAGES_FORMAT_CLASSES_H

#include <span>

#include "runtime/native/behaviors/images/image_base.h"
#include "runtime/native/catalogue/names.h"
#include "runtime/native/imagework/probe/probe.h"

namespace zelmor::embed {

struct FormatClasses {
    FileFormat format;
    imagework::Format codec;  // the backend's format
    const char* name;         // "Bmp": in messages and in the names of loaders, exporters and creators
    const TypeName& image;
    const TypeName& options;  // for saving
    const TypeName* frame;    // of an image of several pictures; null where the format has one picture
};

std::span<const FormatClasses> format_classes();
// Null for a format that the backend does not have.
const FormatClasses* classes_of(FileFormat format);

// kUndefined where the backend knows no format of the file.
FileFormat file_format_of(const imagework::FileFacts& facts);
// The format that the options are for; kUndefined for options of a format that the backend does not write.
FileFormat file_format_of_options(const ManagedObject& options);

// The class of an image of this file; the class of all images in memory where there is no format.
const TypeInfo& image_type_for(const imagework::FileFacts& facts);
// The class of the frames of an image of the class given.
const TypeInfo& frame_type_for(const TypeInfo& image);

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_BEHAVIORS_IMAGES_FORMAT_CLASSES_H
