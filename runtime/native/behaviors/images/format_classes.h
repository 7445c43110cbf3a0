// Finding the classes that the API has for a file format.
#ifndef ZELMOR_RUNTIME_NATIVE_BEHAVIORS_IMAGES_FORMAT_CLASSES_H
#define ZELMOR_RUNTIME_NATIVE_BEHAVIORS_IMAGES_FORMAT_CLASSES_H

#include <vector>

#include "runtime/native/behaviors/images/format_members.h"
#include "runtime/native/behaviors/images/image_base.h"
#include "runtime/native/imagework/probe/probe.h"

namespace zelmor::embed {

// Those of all formats that the runtime reads, or reads and writes. Loaders, exporters and creators are asked in this
// order.
const std::vector<const FormatClasses*>& format_classes();
// Null for a format that the runtime does not have.
const FormatClasses* classes_of(FileFormat format);

// kUndefined where the file is of no format that the API has.
FileFormat file_format_of(const imagework::FileFacts& facts);
// The variant of the backend's format; kUsual where the API's format is the usual kind.
imagework::Variant variant_of(FileFormat format);
// The format that the options are for; kUndefined for options of a format that the backend does not write.
FileFormat file_format_of_options(const ManagedObject& options);

// The class of an image of this file; the class of all images in memory where there is no format.
const TypeInfo& image_type_for(const imagework::FileFacts& facts);
// The class of the frames of an image of the class given.
const TypeInfo& frame_type_for(const TypeInfo& image);

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_BEHAVIORS_IMAGES_FORMAT_CLASSES_H
