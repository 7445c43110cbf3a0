// Writing GIF: single pictures and animations.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_GIF_GIF_ENCODE_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_GIF_GIF_ENCODE_H

#include <span>

#include "runtime/native/formats/gif/gif_encoding.h"
#include "runtime/native/imagework/vips/encode_support.h"

namespace zelmor::imagework {

void encode_gif(VipsPicture& picture, const Encoding& encoding, ByteSink& out);

// The canvas is as large as the frames need. Frames that are still those of one file, in its order from the first one
// on, are copied with their positions and palettes where the encoding lets them.
void encode_gif_frames(std::span<const FrameToWrite> frames, ByteSink& out);

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_GIF_GIF_ENCODE_H
