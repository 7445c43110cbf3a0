// JPEG-LS pictures, of 2 to 16 bits, without loss or nearly so.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_DICOM_JPEG_LS_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_DICOM_JPEG_LS_H

#include "runtime/native/formats/dicom/coded_jpeg.h"

namespace zelmor::imagework {

// As decode_coded_jpeg().
JpegPlanes decode_jpeg_ls(std::span<const uint8_t> frame, const JpegFrameSize& size, bool keeps_part);

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_DICOM_JPEG_LS_H
