// What PngOptions were set to: the color type and the bit depth, or nothing where a picture is to keep its own.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_PNG_PNG_OPTIONS_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_PNG_PNG_OPTIONS_H

#include <cstdint>
#include <optional>

#include "runtime/native/core/records.h"
#include "runtime/native/formats/png/png_enumerations.h"

namespace zelmor::embed {

std::optional<PngColorType> own_color_type(const ManagedObject& options);
std::optional<int32_t> own_bit_depth(const ManagedObject& options);

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_PNG_PNG_OPTIONS_H
