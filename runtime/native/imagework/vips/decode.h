// From the bytes of a file to a picture in memory.
#ifndef ZELMOR_RUNTIME_NATIVE_IMAGEWORK_VIPS_DECODE_H
#define ZELMOR_RUNTIME_NATIVE_IMAGEWORK_VIPS_DECODE_H

#include <memory>
#include <span>
#include <vector>

#include "runtime/native/imagework/backend.h"

namespace zelmor::imagework {

std::unique_ptr<Picture> decode(std::span<const uint8_t> data, const DecodeOptions& options);

// See Backend.
SharedFrames open_frames(const SharedSource& source, const DecodeOptions& options);
std::unique_ptr<Picture> decode_frame(const SharedFrames& frames, size_t index, const DecodeOptions& options);

// All pictures of a file; one for a format that has no more.
std::vector<Frame> decode_frames(std::span<const uint8_t> data, const DecodeOptions& options);

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_IMAGEWORK_VIPS_DECODE_H
