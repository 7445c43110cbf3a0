// Writing several pictures into one file.
#ifndef ZELMOR_RUNTIME_NATIVE_IMAGEWORK_VIPS_ENCODE_FRAMES_H
#define ZELMOR_RUNTIME_NATIVE_IMAGEWORK_VIPS_ENCODE_FRAMES_H

#include "runtime/native/imagework/backend.h"

namespace zelmor::imagework {

// At least one frame. All are of the first one's format; those of an animation are of one size.
void encode_frames(std::span<const FrameToWrite> frames, ByteSink& out);

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_IMAGEWORK_VIPS_ENCODE_FRAMES_H
