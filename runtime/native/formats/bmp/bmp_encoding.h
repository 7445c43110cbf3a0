// The settings that BMP files are saved with.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_BMP_BMP_ENCODING_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_BMP_BMP_ENCODING_H

#include <array>
#include <cstdint>

#include "runtime/native/imagework/formats.h"

namespace zelmor::imagework {

enum class BmpCompression : uint8_t { kRgb, kRle8, kRle4, kBitFields };

struct BmpEncoding {
    static constexpr Format kFormat = Format::kBmp;

    int bits_per_pixel = 24;  // 1, 4, 8, 16, 24 or 32
    BmpCompression compression = BmpCompression::kRgb;
    bool keeps_bilevel = false;  // a picture of 1 bit a pixel is written with 1 bit all the same
    // Of 16 bits with fields, as a file has them: the bits of red, green, blue and alpha, at most 8 of each. All zero
    // for 5, 6, 5 and none.
    std::array<uint32_t, 4> masks = {};
};

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_BMP_BMP_ENCODING_H
