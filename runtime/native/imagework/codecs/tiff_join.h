// Several TIFF files made one: the pages of the first, then those of the second, and so on.
//
// Pages may differ in size, depth and compression; nothing is encoded anew.
#ifndef ZELMOR_RUNTIME_NATIVE_IMAGEWORK_CODECS_TIFF_JOIN_H
#define ZELMOR_RUNTIME_NATIVE_IMAGEWORK_CODECS_TIFF_JOIN_H

#include <span>

#include "runtime/native/imagework/encoded_bytes.h"

namespace zelmor::imagework {

// The files are little-endian and all of the classic kind or all BigTIFF, as the library writes them.
EncodedBytes joined_tiffs(std::span<const EncodedBytes> files);

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_IMAGEWORK_CODECS_TIFF_JOIN_H
