// What GIF images and their frames keep besides the pixels: control blocks and extensions, as objects of the API.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_GIF_GIF_DETAILS_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_GIF_GIF_DETAILS_H

#include "runtime/native/behaviors/images/image_object.h"
#include "runtime/native/core/entry.h"

namespace zelmor::embed {

// The graphics control block of a frame, always the same object: what is set in it goes for the frame.
Ref<ManagedObject> control_block_of(ImageObject& frame);
// Takes over what was set in the frame's control block since.
void take_control_block(ImageObject& frame);
// Tells the control block what was set at the frame.
void tell_control_block(ImageObject& frame);

// The blocks of an image in their order, extensions and frames, as an array of that element.
Ref<ManagedObject> gif_block_array(ImageObject& image, const ElementType& element);
size_t gif_block_count(ImageObject& image);
void insert_gif_block_at(ImageObject& image, size_t index, const Ref<ManagedObject>& block);
void remove_gif_block_of(ImageObject& image, const ManagedObject& block);
void clear_gif_blocks(ImageObject& image);
// Removes the extensions of a frame, or of an image and all of its frames, but those that belong to the pixels: color
// profiles and the number of loops.
void drop_gif_descriptions(ImageObject& image);
// Behind the last frame; extensions that stood there come before it.
void append_gif_frame(ImageObject& image, Ref<ImageObject> frame);
// The order of the format: application extensions first, a control block right before its frame.
void order_gif_blocks(ImageObject& image);

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_GIF_GIF_DETAILS_H
