// Pixels behind a mask.
#ifndef ZELMOR_RUNTIME_NATIVE_BEHAVIORS_MASKING_MASKED_PIXELS_H
#define ZELMOR_RUNTIME_NATIVE_BEHAVIORS_MASKING_MASKED_PIXELS_H

#include <cstdint>

namespace zelmor::embed {

// Colors with alpha, kBits to a channel, alpha in the uppermost.
template <class Pixel, int kBits>
struct MaskedColors {
    static constexpr uint64_t kMost = (uint64_t{1} << kBits) - 1;
    static uint64_t channel(Pixel color, int index) { return color >> index * kBits & kMost; }

    // What is left of a color where the mask, from 0 to 255, shows it: the same color, more transparent.
    static Pixel masked(Pixel color, uint8_t mask) {
        const uint64_t alpha = (channel(color, 3) * mask + 127) / 255;
        constexpr Pixel kColors = static_cast<Pixel>((uint64_t{1} << 3 * kBits) - 1);
        return static_cast<Pixel>((color & kColors) | static_cast<Pixel>(alpha) << 3 * kBits);
    }

    // A color over another one.
    static Pixel over(Pixel color, Pixel below) {
        const uint64_t alpha = channel(color, 3), under = channel(below, 3);
        // In parts of kMost squared.
        const uint64_t of_color = alpha * kMost, of_below = under * (kMost - alpha);
        const uint64_t all = of_color + of_below;
        if (all == 0) {
            return color;
        }
        Pixel result = static_cast<Pixel>((all + kMost / 2) / kMost) << 3 * kBits;
        for (int i = 0; i < 3; ++i) {
            const uint64_t mixed = (channel(color, i) * of_color + channel(below, i) * of_below + all / 2) / all;
            result |= static_cast<Pixel>(mixed) << i * kBits;
        }
        return result;
    }
};
using MaskedArgb = MaskedColors<uint32_t, 8>;
using MaskedArgb64 = MaskedColors<uint64_t, 16>;

// A color of 8 bits a channel with 16.
inline uint64_t deep_color(uint32_t argb) {
    uint64_t result = 0;
    for (int i = 0; i < 4; ++i) {
        result |= (uint64_t{argb} >> 8 * i & 0xFF) * 257 << 16 * i;
    }
    return result;
}

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_BEHAVIORS_MASKING_MASKED_PIXELS_H
