// Whether a PNG file is whole, and what makes a cut-off one readable as far as it goes.
#ifndef ZELMOR_RUNTIME_NATIVE_IMAGEWORK_CODECS_PNG_REPAIR_H
#define ZELMOR_RUNTIME_NATIVE_IMAGEWORK_CODECS_PNG_REPAIR_H

#include <cstdint>
#include <span>
#include <vector>

namespace zelmor::imagework {

// True when the chain of chunks reaches its end chunk.
bool is_whole_png(std::span<const uint8_t> data);

// The file up to its last byte, with the chunk in which it stops closed there and an end chunk behind it: the decoder
// takes a chunk as a whole or not at all, and would otherwise lose what the last one holds.
std::vector<uint8_t> mended_png(std::span<const uint8_t> data);

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_IMAGEWORK_CODECS_PNG_REPAIR_H
