// The byte order of a TIFF file, in which the image library leaves no choice.
#ifndef ZELMOR_RUNTIME_NATIVE_IMAGEWORK_CODECS_TIFF_BYTE_ORDER_H
#define ZELMOR_RUNTIME_NATIVE_IMAGEWORK_CODECS_TIFF_BYTE_ORDER_H

#include "runtime/native/imagework/encoded_bytes.h"

namespace zelmor::imagework {

// The same file with its numbers in the order of big-endian machines. The file is one that we wrote: little-endian,
// and with compressed data only where samples are bytes.
EncodedBytes as_big_endian_tiff(const EncodedBytes& tiff);

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_IMAGEWORK_CODECS_TIFF_BYTE_ORDER_H
