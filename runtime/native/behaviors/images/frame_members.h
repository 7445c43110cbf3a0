// Members that the frames of all animations have, and the images that hold them.
#ifndef ZELMOR_RUNTIME_NATIVE_BEHAVIORS_IMAGES_FRAME_MEMBERS_H
#define ZELMOR_RUNTIME_NATIVE_BEHAVIORS_IMAGES_FRAME_MEMBERS_H

#include "runtime/native/behaviors/images/image_object.h"

namespace zelmor::embed {

// Facts of a picture that came from no file.
imagework::FileFacts facts_of_picture(imagework::Format format, const imagework::Picture& picture, int bits);

// Members, for registration.
int32_t frame_duration(ImageObject& self);
void set_frame_duration(ImageObject& self, int32_t value);
int32_t frame_left(ImageObject& self);
int32_t frame_top(ImageObject& self);
void set_frame_left(ImageObject& self, int32_t value);
void set_frame_top(ImageObject& self, int32_t value);
api::AnimationDisposalMethods frame_disposal_method(ImageObject& self);
Ref<ImageObject> full_frame(ImageObject& self);
void clear_frames(ImageObject& self);
Ref<ImageObject> active_frame_of(ImageObject& self);
void set_active_frame_of(ImageObject& self, ImageObject* value);

// A frame that is given as an object behind the interface that its format has for blocks.
Ref<ImageObject> frame_argument(const VariantArg* block, const TypeName& interface);
void insert_block_frame(ImageObject& self, int32_t index, const Ref<ImageObject>& frame);
void remove_block_frame(ImageObject& self, const ImageObject& frame);

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_BEHAVIORS_IMAGES_FRAME_MEMBERS_H
