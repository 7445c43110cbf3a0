// What BmpOptions were set to: the bits of a pixel, or nothing where a picture of 1 bit is to keep it.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_BMP_BMP_OPTIONS_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_BMP_BMP_OPTIONS_H

#include <cstdint>
#include <optional>

#include "runtime/native/core/records.h"

namespace zelmor::embed {

std::optional<int32_t> own_bits_per_pixel(const ManagedObject& options);

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_BMP_BMP_OPTIONS_H
