// Images from files, streams and bytes; shared by load() and the constructors that take a file.
#ifndef ZELMOR_RUNTIME_NATIVE_BEHAVIORS_IMAGES_LOADING_H
#define ZELMOR_RUNTIME_NATIVE_BEHAVIORS_IMAGES_LOADING_H

#include "runtime/native/behaviors/images/image_object.h"

namespace zelmor::embed {

// Files and streams are read to the end of their picture. All throw managed exceptions; `load_options` may be null.
Ref<ImageObject> decoded_image(std::vector<uint8_t> data, const Record* load_options, const std::string& subject);
// The image remembers the file as the one that save() goes to.
Ref<ImageObject> image_of_file(const std::optional<std::u16string>& file_path, const Record* load_options,
                               const char* parameter);
// A stream that can seek stands behind the picture afterwards.
Ref<ImageObject> image_of_stream(const Ref<ManagedStream>& stream, const Record* load_options);

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_BEHAVIORS_IMAGES_LOADING_H
