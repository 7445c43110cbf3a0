// Floating-point numbers of 16 bits ("half"), as TIFF files have them, to and from those of 32 bits.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_TIFF_HALF_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_TIFF_HALF_H

#include <bit>
#include <cstdint>

namespace zelmor::imagework {

// Exact: every half has a float of the same value. What a NaN carries is kept.
constexpr float float_of_half(uint16_t half) {
    const uint32_t sign = static_cast<uint32_t>(half & 0x8000) << 16;
    const uint32_t exponent = half >> 10 & 0x1F;
    const uint32_t fraction = half & 0x3FF;
    if (exponent == 0x1F) {
        return std::bit_cast<float>(sign | 0x7F800000U | fraction << 13);
    }
    if (exponent != 0) {
        return std::bit_cast<float>(sign | (exponent + 112) << 23 | fraction << 13);
    }
    // Multiples of the least half, which are exact in a float.
    const float magnitude = static_cast<float>(fraction) * 0x1p-24F;
    return std::bit_cast<float>(sign | std::bit_cast<uint32_t>(magnitude));
}

// The nearest half, the even one of two that are as near; infinity beyond the greatest.
constexpr uint16_t half_of_float(float number) {
    const auto bits = std::bit_cast<uint32_t>(number);
    const uint32_t sign = bits >> 16 & 0x8000;
    const uint32_t magnitude = bits & 0x7FFFFFFF;
    if (magnitude > 0x7F800000) {
        const uint32_t carried = magnitude >> 13 & 0x3FF;
        return static_cast<uint16_t>(sign | 0x7C00 | (carried != 0 ? carried : 0x200));
    }
    if (magnitude >= 0x477FF000) {  // from here on infinity is nearest
        return static_cast<uint16_t>(sign | 0x7C00);
    }
    if (magnitude < 0x38800000) {
        // Adding 0.5 leaves the multiples of 2^-24 in the lowest bits of the sum, rounded as it should be.
        const float sum = std::bit_cast<float>(magnitude) + 0.5F;
        return static_cast<uint16_t>(sign | (std::bit_cast<uint32_t>(sum) - std::bit_cast<uint32_t>(0.5F)));
    }
    const uint32_t rounded = magnitude - (112U << 23) + 0xFFF + (magnitude >> 13 & 1);
    return static_cast<uint16_t>(sign | rounded >> 13);
}

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_TIFF_HALF_H
