// What the decoders of JPEG's rarer codings give: all samples of a picture at once.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_JPEG_JPEG_PLANES_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_JPEG_JPEG_PLANES_H

#include <algorithm>
#include <array>
#include <cassert>
#include <cstdint>
#include <span>
#include <vector>

#include "runtime/native/formats/jpeg/jpeg_markers.h"

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

// A file without the end marker was cut off.
inline bool has_jpeg_end(std::span<const uint8_t> file) {
    constexpr std::array<uint8_t, 2> kEnd{0xFF, kJpegEnd};
    return std::find_end(file.begin(), file.end(), kEnd.begin(), kEnd.end()) != file.end();
}

// A sample from 0 to `most`, over the whole range of its type.
template <class Sample>
Sample over_whole_range(uint32_t sample, uint32_t most) {
    constexpr uint64_t kTop = static_cast<Sample>(~Sample{0});
    assert(most > 0 && sample <= most);
    return static_cast<Sample>((sample * kTop + most / 2) / most);
}

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_JPEG_JPEG_PLANES_H
