// Animated PNG: the image library knows PNG files of one picture, so that the frames are taken apart and put together
// here; each is a PNG file's data with a frame of chunks around it.
#ifndef ZELMOR_RUNTIME_NATIVE_IMAGEWORK_CODECS_APNG_H
#define ZELMOR_RUNTIME_NATIVE_IMAGEWORK_CODECS_APNG_H

#include <cstdint>
#include <span>
#include <vector>

#include "runtime/native/imagework/encoded_bytes.h"
#include "runtime/native/imagework/formats.h"

namespace zelmor::imagework {

// The change of the canvas when the time of a frame is over. The numbers are those of the format.
enum class ApngDisposal : uint8_t {
    kLeave = 0,
    kClear = 1,    // the frame's area
    kRestore = 2,  // the frame's area, to what was there before
};

// A frame as it stands in the file: a PNG of a part of the canvas, and how it is laid there.
struct ApngPart {
    std::vector<uint8_t> png;
    Rect area;
    int duration;  // milliseconds
    ApngDisposal disposal;
    bool over;  // laid over the canvas, instead of replacing what is there
};

struct ApngParts {
    int32_t width = 0;
    int32_t height = 0;
    std::vector<ApngPart> parts;
};

// Throws PictureError(kDamaged) where the frames make no sense.
ApngParts apng_parts(std::span<const uint8_t> data);

struct ApngFrame {
    EncodedBytes png;  // all of one size and color type
    int duration;
};

// Puts frames together; `plays` of 0 stands for ever.
EncodedBytes joined_apng(std::span<const ApngFrame> frames, int plays);

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_IMAGEWORK_CODECS_APNG_H
