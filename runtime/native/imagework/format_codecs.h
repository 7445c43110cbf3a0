// The table of codecs, which CMake makes from formats/CMakeLists.txt; see format_codec.h.
#ifndef ZELMOR_RUNTIME_NATIVE_IMAGEWORK_FORMAT_CODECS_H
#define ZELMOR_RUNTIME_NATIVE_IMAGEWORK_FORMAT_CODECS_H

#include <span>

#include "runtime/native/imagework/format_codec.h"

namespace zelmor::imagework {

// A codec that is linked in, or the file name of the shared object that it is in.
struct CodecPlace {
    Format format;
    const FormatCodec* codec;
    const char* library;
    bool own_scope = false;  // see load_codec()
};

std::span<const CodecPlace> codec_places();

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_IMAGEWORK_FORMAT_CODECS_H
