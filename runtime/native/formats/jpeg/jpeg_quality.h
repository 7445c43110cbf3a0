// The quality that the tables of a JPEG stream were made with.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_JPEG_JPEG_QUALITY_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_JPEG_JPEG_QUALITY_H

#include <cstdint>

#include "runtime/native/imagework/probe/byte_reader.h"

namespace zelmor::imagework {

// The quality whose table, made by the scaling rule that encoders share, is nearest to the luminance table of 64
// values of one byte, or two.
int jpeg_quality(const ByteReader& in, uint64_t table, bool wide);

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_JPEG_JPEG_QUALITY_H
