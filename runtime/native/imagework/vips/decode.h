// From the bytes of a file to a picture in memory.
#ifndef ZELMOR_RUNTIME_NATIVE_IMAGEWORK_VIPS_DECODE_H
#define ZELMOR_RUNTIME_NATIVE_IMAGEWORK_VIPS_DECODE_H

#include <memory>
#include <span>

#include "runtime/native/imagework/backend.h"

namespace zelmor::imagework {

// See Backend.
std::unique_ptr<Picture> decode(std::span<const uint8_t> data, const DecodeOptions& options);
SharedFrames open_frames(const SharedSource& source, const FileFacts& facts, const DecodeOptions& options);
std::unique_ptr<Picture> decode_frame(const SharedFrames& frames, size_t index, const DecodeOptions& options);
std::unique_ptr<Picture> picture_of_rows(const SharedFrames& frames, const DecodeOptions& options);

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_IMAGEWORK_VIPS_DECODE_H
