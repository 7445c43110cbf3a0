// Between RGB and CMYK without a profile: black is what the three components have in common.
#ifndef ZELMOR_RUNTIME_NATIVE_BEHAVIORS_VALUES_CMYK_H
#define ZELMOR_RUNTIME_NATIVE_BEHAVIORS_VALUES_CMYK_H

#include <cstdint>
#include <vector>

#include "runtime/native/core/entry.h"

namespace zelmor::embed {

CmykValue cmyk_of(uint32_t argb);  // the alpha is ignored
uint32_t argb_of(CmykValue cmyk);  // opaque

// Packed: cyan in the highest byte, black in the lowest.
int32_t packed_cmyk(CmykValue cmyk);
CmykValue unpacked_cmyk(int32_t packed);

// Arrays of boxed values, for results.
Collection cmyk_array(std::vector<Value> items);
Collection color_array(std::vector<Value> items);

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_BEHAVIORS_VALUES_CMYK_H
