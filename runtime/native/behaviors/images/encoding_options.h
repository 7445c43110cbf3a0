// Save options of the managed API in the terms of the backend.
#ifndef ZELMOR_RUNTIME_NATIVE_BEHAVIORS_IMAGES_ENCODING_OPTIONS_H
#define ZELMOR_RUNTIME_NATIVE_BEHAVIORS_IMAGES_ENCODING_OPTIONS_H

#include "runtime/native/behaviors/images/image_object.h"

namespace zelmor::embed {

// The format that an object of save options is for; kUnknown for one that the backend cannot write.
imagework::Format format_of_options(const ManagedObject& options);

// The settings in the options. ArgumentOutOfRangeException for a setting outside its range, NotSupportedException for
// one that the backend cannot honor: no setting is left out silently. `of_drawing`: for the pixels of a vector image.
imagework::Encoding encoding_of_options(const ManagedObject& options, bool of_drawing = false);

// The same for an image that is to be written with them: the image adds its background and its transparent color.
imagework::Encoding encoding_for(const ImageObject& image, const ManagedObject& options);

// The settings to save a page of an image as another format, or as its own as it was.
imagework::Encoding encoding_for(const ImageObject& page, imagework::Format format, const ImageObject& image);

// How long a frame without a duration of its own is shown, in milliseconds. `options` may be null.
int32_t usual_duration(const ImageObject& image, const ManagedObject* options);

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_BEHAVIORS_IMAGES_ENCODING_OPTIONS_H
