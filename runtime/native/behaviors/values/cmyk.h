// Conversion between RGB and CMYK without a profile: black is the common part of the three inks.
#ifndef ZELMOR_RUNTIME_NATIVE_BEHAVIORS_VALUES_CMYK_H
#define ZELMOR_RUNTIME_NATIVE_BEHAVIORS_VALUES_CMYK_H

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "runtime/native/core/entry.h"

namespace zelmor::embed {

CmykValue cmyk_of(uint32_t argb);  // the alpha is ignored
uint32_t argb_of(CmykValue cmyk);  // opaque

// Pixels of four bytes C, M, Y, K, of colors whose alpha is ignored, and back.
void inks_of(std::span<const uint32_t> argb, std::byte* inks);
void colors_of_inks(const std::byte* inks, std::span<uint32_t> argb);

// Packed: cyan in the highest byte, black in the lowest.
int32_t packed_cmyk(CmykValue cmyk);
CmykValue unpacked_cmyk(int32_t packed);

// A range of an array; ArgumentOutOfRangeException, which names the parameter, for one that is not inside it.
std::span<const int32_t> range_of(const std::vector<int32_t>& items, int32_t start_index, int32_t length);

// Arrays of boxed values, for results.
Collection cmyk_array(std::vector<Value> items);
Collection color_array(std::vector<Value> items);

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_BEHAVIORS_VALUES_CMYK_H
