// Decoding JPEG-LS pictures of 2 to 16 bits, without loss or nearly so. It needs no library: files of JPEG and frames
// of DICOM are read by it.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_JPEGLS_JPEGLS_DECODER_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_JPEGLS_JPEGLS_DECODER_H

#include <span>

#include "runtime/native/formats/jpeg/jpeg_planes.h"

namespace zelmor::imagework {

// A picture of that size; no memory is taken for another one. With `keeps_part`, data that end too early give the rows
// before. PictureError: kDamaged or kUnsupported.
JpegPlanes decode_jpegls(std::span<const uint8_t> file, const JpegFrameSize& size, bool keeps_part);

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_JPEGLS_JPEGLS_DECODER_H
