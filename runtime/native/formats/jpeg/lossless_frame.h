// Coding the samples of one lossless JPEG picture. It needs no library: files of JPEG and frames of DICOM have them.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_JPEG_LOSSLESS_FRAME_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_JPEG_LOSSLESS_FRAME_H

#include <cstdint>
#include <span>

#include "runtime/native/imagework/pixels/byte_sink.h"

namespace zelmor::imagework {

struct LosslessFrame {
    int32_t width = 0;  // 1 to 65535, as the height
    int32_t height = 0;
    int bands = 1;      // 1 to 4
    int bits = 8;       // 2 to 16 of a sample
    int predictor = 0;  // 1 to 7, as the standard counts them; 0 for the one that makes the file shortest
};

// Writes a file from its first marker to its last. The samples of each pixel stand one after the other, with no more
// bits than the frame has. `segments` stand before those of the coding.
void encode_lossless_jpeg(const LosslessFrame& frame, std::span<const uint16_t> samples,
                          std::span<const uint8_t> segments, ByteSink& out);

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_JPEG_LOSSLESS_FRAME_H
