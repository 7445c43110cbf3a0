// The settings that BMP files are saved with.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_BMP_BMP_ENCODING_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_BMP_BMP_ENCODING_H

#include <cstdint>

#include "runtime/native/imagework/formats.h"

namespace zelmor::imagework {

enum class BmpCompression : uint8_t { kRgb, kRle8, kRle4, kBitFields };

struct BmpEncoding {
    static constexpr Format kFormat = Format::kBmp;

    int bits_per_pixel = 24;  // 1, 4, 8, 16, 24 or 32
    BmpCompression compression = BmpCompression::kRgb;
};

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_BMP_BMP_ENCODING_H
