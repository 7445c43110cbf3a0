// Steps that the classes of images with several frames share.
#ifndef ZELMOR_RUNTIME_NATIVE_BEHAVIORS_IMAGES_FRAMES_H
#define ZELMOR_RUNTIME_NATIVE_BEHAVIORS_IMAGES_FRAMES_H

#include "runtime/native/behaviors/images/arguments.h"
#include "runtime/native/behaviors/images/image_object.h"

namespace zelmor::embed {

// ArgumentOutOfRangeException naming the parameter; with `behind_last`, for a place to insert at.
size_t checked_index(ImageObject& image, int32_t index, const char* parameter, bool behind_last = false);

// A frame of the kind that belongs to the image, with a copy of another image's picture and of what describes it.
Ref<ImageObject> frame_copy(const ImageObject& container, ImageObject& source);

// An array of frames, whose declared element is the type given: a class or an interface.
Collection frame_array(ImageObject& image, const TypeName& element, Wire wire = Wire::kClass);

// A new image of the type, with one frame.
Ref<ImageObject> make_container(const TypeName& type, imagework::FileFacts facts, Ref<ImageObject> first);

// The options that an image's or a frame's file was saved with, as an object of the managed API.
Ref<ManagedObject> original_options(ImageObject& image);

// Behind the last frame.
void append_frame(ImageObject& image, Ref<ImageObject> frame);

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_BEHAVIORS_IMAGES_FRAMES_H
