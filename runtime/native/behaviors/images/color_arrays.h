// Arrays of colors as arguments and results: boxed values, or integers in which colors are packed.
#ifndef ZELMOR_RUNTIME_NATIVE_BEHAVIORS_IMAGES_COLOR_ARRAYS_H
#define ZELMOR_RUNTIME_NATIVE_BEHAVIORS_IMAGES_COLOR_ARRAYS_H

#include <vector>

#include "runtime/native/core/entry.h"
#include "runtime/native/imagework/formats.h"

namespace zelmor::embed {

// ArgumentNullException naming the parameter for None.
std::vector<imagework::Argb> read_colors(const VariantArg* arg, const char* parameter);
std::vector<CmykValue> read_cmyk(const VariantArg* arg, const char* parameter);
std::vector<imagework::Argb> read_packed_colors(const VariantArg* arg, const char* parameter);
std::vector<CmykValue> read_packed_cmyk(const VariantArg* arg, const char* parameter);

std::vector<int32_t> packed_integers(const std::vector<imagework::Argb>& colors);
Collection packed(const std::vector<imagework::Argb>& colors);
Collection packed(const std::vector<CmykValue>& colors);
Collection boxed(const std::vector<imagework::Argb>& colors);
Collection boxed(const std::vector<CmykValue>& colors);

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_BEHAVIORS_IMAGES_COLOR_ARRAYS_H
