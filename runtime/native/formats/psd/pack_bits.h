// PackBits: runs of one byte and literal bytes behind each other, as PSD files have their rows.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_PSD_PACK_BITS_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_PSD_PACK_BITS_H

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace zelmor::imagework {

// Fills `out` from the start; how many bytes the coded ones gave, no more than there is room for.
size_t unpack_bits(std::span<const uint8_t> coded, std::span<uint8_t> out);

// Appends the row in that code.
void pack_bits(std::span<const uint8_t> row, std::vector<uint8_t>& out);

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_PSD_PACK_BITS_H
