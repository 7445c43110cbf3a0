// Files of several pictures, read and written as a whole.
#pragma once

#include "runtime/native/imagework/backend.h"

namespace zelmor::imagework {

EncodedBytes encode_frames(std::span<const FrameToWrite> frames);

}  // namespace zelmor::imagework
