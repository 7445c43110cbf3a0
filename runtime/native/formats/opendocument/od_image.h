// Images of OpenDocument drawings: loading files of both formats.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_OPENDOCUMENT_OD_IMAGE_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_OPENDOCUMENT_OD_IMAGE_H

#include "runtime/native/behaviors/images/image_base.h"
#include "runtime/native/imagework/pixels/data_source.h"
#include "runtime/native/imagework/probe/probe.h"

namespace zelmor::embed {

// FormatMembers::load_drawing: an image with a page for each of the document.
Ref<ImageBase> load_od_image(const imagework::SharedSource& file, const imagework::FileFacts& facts,
                             const Record* load_options);

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_OPENDOCUMENT_OD_IMAGE_H
