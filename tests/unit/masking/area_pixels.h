// Pictures for the tests of masking.
#ifndef ZELMOR_TESTS_UNIT_MASKING_AREA_PIXELS_H
#define ZELMOR_TESTS_UNIT_MASKING_AREA_PIXELS_H

#include <random>

#include "runtime/native/behaviors/masking/segmentation.h"

namespace zelmor::embed {

inline uint32_t gray(uint32_t level) {
    return 0xFF000000 | level * 0x010101;
}

inline AreaPixels one_color(int32_t width, int32_t height, uint32_t argb) {
    AreaPixels pixels;
    pixels.width = width;
    pixels.height = height;
    pixels.argb.assign(pixels.size(), argb);
    return pixels;
}

// Each pixel another color, by chance.
inline AreaPixels noisy(int32_t width, int32_t height, uint32_t seed) {
    AreaPixels pixels = one_color(width, height, 0);
    std::mt19937 draw(seed);
    for (uint32_t& color : pixels.argb) {
        color = 0xFF000000 | (static_cast<uint32_t>(draw()) & 0xFFFFFF);
    }
    return pixels;
}

inline bool is_inside(const RectangleValue& area, int32_t x, int32_t y) {
    return x >= area.x && x < area.x + area.width && y >= area.y && y < area.y + area.height;
}

}  // namespace zelmor::embed

#endif  // ZELMOR_TESTS_UNIT_MASKING_AREA_PIXELS_H
