// What the decoders of JPEG's rarer codings give: all samples of a picture at once.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_JPEG_JPEG_PLANES_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_JPEG_JPEG_PLANES_H

#include <cstdint>
#include <vector>

namespace zelmor::imagework {

// What the picture has to be, as whoever asks for it knows.
struct JpegFrameSize {
    int width = 0;
    int height = 0;
    int components = 0;
};

// The samples of each pixel, one after the other. Where the data ended too early there are fewer: whole rows.
struct JpegPlanes {
    int width = 0;
    int height = 0;
    int components = 0;
    std::vector<uint16_t> samples = {};
};

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_JPEG_JPEG_PLANES_H
