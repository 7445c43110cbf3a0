// Images from files, streams and bytes; shared by load() and the constructors that take a file.
#ifndef ZELMOR_RUNTIME_NATIVE_BEHAVIORS_IMAGES_LOADING_H
#define ZELMOR_RUNTIME_NATIVE_BEHAVIORS_IMAGES_LOADING_H

#include "runtime/native/behaviors/images/image_object.h"

namespace zelmor::embed {

// What is loaded is the header: pixels are decoded when they are first needed, so that damage of theirs is found then.
// All throw managed exceptions; `load_options` may be null.

// `subject` begins the message of a failure.
Ref<ImageBase> any_decoded_image(std::vector<uint8_t> data, const Record* load_options, const std::string& subject);
// The file is kept open as long as its pixels may be needed; the image remembers it as the one that save() goes to.
Ref<ImageBase> any_image_of_file(const std::optional<std::u16string>& file_path, const Record* load_options,
                                 const char* parameter);
// The stream is read to the end of its picture; one that can seek stands behind the picture afterwards.
Ref<ImageBase> any_image_of_stream(const Ref<ManagedStream>& stream, const Record* load_options);

// The same where pixels are wanted: NotSupportedException for a vector image.
Ref<ImageObject> decoded_image(std::vector<uint8_t> data, const Record* load_options, const std::string& subject);
Ref<ImageObject> image_of_file(const std::optional<std::u16string>& file_path, const Record* load_options,
                               const char* parameter);
Ref<ImageObject> image_of_stream(const Ref<ManagedStream>& stream, const Record* load_options);

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_BEHAVIORS_IMAGES_LOADING_H
