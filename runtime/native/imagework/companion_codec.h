// A second codec of a format, for kinds of its files, in a shared object of its own: JPEG-LS beside JPEG.
#ifndef ZELMOR_RUNTIME_NATIVE_IMAGEWORK_COMPANION_CODEC_H
#define ZELMOR_RUNTIME_NATIVE_IMAGEWORK_COMPANION_CODEC_H

#include "runtime/native/imagework/format_codec.h"

namespace zelmor::imagework {

// By the name that formats/CMakeLists.txt gives it, in small letters; `kind` is its name for messages, "JPEG-LS". It is
// loaded by the first call. PictureError(kUnsupported) where it cannot be.
const FormatCodec& companion_codec(const char* name, const char* kind);

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_IMAGEWORK_COMPANION_CODEC_H
