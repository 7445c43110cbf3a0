// How the pixels of a BMP file are stored, by the numbers that stand in its header.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_BMP_BMP_COMPRESSIONS_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_BMP_BMP_COMPRESSIONS_H

#include <cstdint>

namespace zelmor::imagework {

enum BmpStorage : uint32_t { kBiRgb = 0, kBiRle8 = 1, kBiRle4 = 2, kBiBitFields = 3, kBiAlphaBitFields = 6 };

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_BMP_BMP_COMPRESSIONS_H
