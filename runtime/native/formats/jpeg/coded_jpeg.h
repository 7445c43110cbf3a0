// JPEG pictures that the library for JPEG files does not read: lossless ones of 2 to 16 bits, and sequential ones of 12
// bits. Both have Huffman codes.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_JPEG_CODED_JPEG_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_JPEG_CODED_JPEG_H

#include <cstdint>
#include <span>

#include "runtime/native/formats/jpeg/jpeg_planes.h"

namespace zelmor::imagework {

// PictureError(kUnsupported) for the header of a frame whose coding is none of these, by its marker. Other markers
// pass.
void require_coded_jpeg(int marker);

// A picture of that size; no memory is taken for another one. With `keeps_part`, data that end too early give the rows
// before. PictureError: kDamaged or kUnsupported.
JpegPlanes decode_coded_jpeg(std::span<const uint8_t> frame, const JpegFrameSize& size, bool keeps_part);

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_JPEG_CODED_JPEG_H
