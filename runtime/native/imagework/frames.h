// Files of several pictures, read and written as a whole.
#ifndef ZELMOR_RUNTIME_NATIVE_IMAGEWORK_FRAMES_H
#define ZELMOR_RUNTIME_NATIVE_IMAGEWORK_FRAMES_H

#include "runtime/native/imagework/backend.h"

namespace zelmor::imagework {

EncodedBytes encode_frames(std::span<const FrameToWrite> frames);

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_IMAGEWORK_FRAMES_H
