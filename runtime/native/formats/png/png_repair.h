// Checking whether a PNG file is whole, and mending a cut-off one so that its rows can be read as far as they go.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_PNG_PNG_REPAIR_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_PNG_PNG_REPAIR_H

#include <cstdint>
#include <span>
#include <vector>

#include "runtime/native/imagework/pixels/data_source.h"

namespace zelmor::imagework {

// True when the chain of chunks reaches its end chunk.
bool is_whole_png(const SharedSource& source);

// The file up to its last byte, with the chunk in which it stops closed there and an end chunk behind it: the decoder
// takes a chunk as a whole or not at all, and would otherwise lose the content of the last one.
std::vector<uint8_t> mended_png(std::span<const uint8_t> data);

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_PNG_PNG_REPAIR_H
