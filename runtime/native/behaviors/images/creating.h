// New images, shared by create() and the creators.
#ifndef ZELMOR_RUNTIME_NATIVE_BEHAVIORS_IMAGES_CREATING_H
#define ZELMOR_RUNTIME_NATIVE_BEHAVIORS_IMAGES_CREATING_H

#include "runtime/native/behaviors/images/image_object.h"

namespace zelmor::embed {

// An empty image of the format that the options are for, of pixels or of lines and text.
Ref<ImageBase> create_any_image(Record* image_options, int32_t width, int32_t height);
// The same of a format that consists of pixels.
Ref<ImageObject> create_image(Record* image_options, int32_t width, int32_t height);

// An empty image that is written with the settings given.
Ref<ImageObject> new_image(const imagework::Encoding& encoding, int32_t width, int32_t height);
// The form of an empty image of these settings, but for a palette.
imagework::PixelForm form_of_new_image(const imagework::Encoding& encoding);
// Bits of a pixel in a file of these settings.
int bits_per_pixel_of(const imagework::Encoding& encoding);

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_BEHAVIORS_IMAGES_CREATING_H
