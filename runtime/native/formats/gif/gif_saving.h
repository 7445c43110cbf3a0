// Saving GIF images: their control blocks and extensions, and frames that are copied as they are in their file.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_GIF_GIF_SAVING_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_GIF_GIF_SAVING_H

#include "runtime/native/imagework/backend.h"

namespace zelmor::embed {

class ImageObject;

// All frames of a GIF image, saved as GIF without other settings. Frames that are still as they are in the file are
// copied and not decoded.
void encode_gif_image(ImageObject& image, imagework::ByteSink& out);
// Whether the control block of a picture says more than its encoder would find by itself.
bool is_described_gif_frame(ImageObject& source);
// Takes the control block and the extensions of a frame.
void describe_gif_frame(ImageObject& image, ImageObject& source, bool last, imagework::FrameToWrite& frame);

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_GIF_GIF_SAVING_H
