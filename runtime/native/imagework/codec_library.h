// Loading the shared object of a codec; see format_codec.h.
#ifndef ZELMOR_RUNTIME_NATIVE_IMAGEWORK_CODEC_LIBRARY_H
#define ZELMOR_RUNTIME_NATIVE_IMAGEWORK_CODEC_LIBRARY_H

#include <string>

#include "runtime/native/imagework/format_codec.h"

namespace zelmor::imagework {

// The codec in a shared object, which is never unloaded. With `own_scope` the libraries behind it find symbols in it
// before those of the process: it has functions of its own for them, such as operator new. The address sanitizer has
// operators of its own and allows no such scope. std::runtime_error with the reason where it cannot be loaded.
const FormatCodec* load_codec(const std::string& path, bool own_scope);

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_IMAGEWORK_CODEC_LIBRARY_H
