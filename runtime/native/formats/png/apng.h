// Putting an animated PNG together of PNG files, one for each frame. They are taken apart in png/png_frames.h.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_PNG_APNG_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_PNG_APNG_H

#include <cstdint>
#include <span>
#include <vector>

#include "runtime/native/imagework/encoded_bytes.h"
#include "runtime/native/imagework/formats.h"

namespace zelmor::imagework {

struct ApngFrame {
    EncodedBytes png;  // all of one size and color type
    int duration;
};

// Puts frames together; `plays` of 0 stands for ever. `still` is the picture for programs that know no animations, of the
// same size and color type; without data it is the first frame.
EncodedBytes joined_apng(std::span<const ApngFrame> frames, int plays, const EncodedBytes& still = {});

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_PNG_APNG_H
