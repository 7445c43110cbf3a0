// Making images of one format: by the constructors of the image classes, from files, streams, sizes and other images.
#ifndef ZELMOR_RUNTIME_NATIVE_BEHAVIORS_IMAGES_FORMAT_IMAGES_H
#define ZELMOR_RUNTIME_NATIVE_BEHAVIORS_IMAGES_FORMAT_IMAGES_H

#include <functional>
#include <optional>
#include <string>

#include "runtime/native/behaviors/images/image_object.h"
#include "runtime/native/core/stream.h"

namespace zelmor::embed {

imagework::Encoding encoding_of(imagework::FormatEncoding format);

// The image itself where it is of the format and nothing else is asked of it; otherwise a copy in the format.
// `adapt` gives the copy the form that the settings tell of.
using AdaptPicture = std::function<void(imagework::Picture&)>;
Ref<ImageObject> as_format(const Ref<ImageObject>& image, const imagework::Encoding& encoding, bool keeps_settings,
                           const AdaptPicture& adapt = {});
// The image of a file, of the data in a stream, and a copy of an image, in the format.
Ref<ImageObject> of_path(const std::optional<std::u16string>& path, const imagework::Encoding& encoding,
                         bool keeps_settings = false);
Ref<ImageObject> of_stream(const Ref<ManagedStream>& stream, const imagework::Encoding& encoding,
                           bool keeps_settings = false);
Ref<ImageObject> of_image(ImageObject* raster_image, const imagework::Encoding& encoding);

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_BEHAVIORS_IMAGES_FORMAT_IMAGES_H
