// Data that zlib compressed, as PNG has it.
#ifndef ZELMOR_RUNTIME_NATIVE_BEHAVIORS_METADATA_CONTAINERS_INFLATE_H
#define ZELMOR_RUNTIME_NATIVE_BEHAVIORS_METADATA_CONTAINERS_INFLATE_H

#include <span>

#include "runtime/native/core/value.h"

namespace zelmor::embed {

// The data behind a zlib stream; empty where it is damaged, ends too early, or would fill more than 64 MB. The library
// is loaded when it is first needed; DllNotFoundException where it is missing.
Bytes inflated(std::span<const std::byte> compressed);

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_BEHAVIORS_METADATA_CONTAINERS_INFLATE_H
