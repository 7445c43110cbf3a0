// How much a crop takes off each side of an image.
#ifndef ZELMOR_RUNTIME_NATIVE_BEHAVIORS_IMAGES_EDGE_SHIFTS_H
#define ZELMOR_RUNTIME_NATIVE_BEHAVIORS_IMAGES_EDGE_SHIFTS_H

#include <cstdint>

#include "runtime/native/core/values.h"

namespace zelmor::embed {

struct EdgeShifts {
    int32_t left = 0;
    int32_t right = 0;
    int32_t top = 0;
    int32_t bottom = 0;

    // ArgumentOutOfRangeException for one that is negative, by the name of its parameter.
    void require_valid() const;
    // What is left of an image of this size; ArgumentOutOfRangeException if that is nothing.
    RectangleValue rest_of(int64_t width, int64_t height) const;
};

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_BEHAVIORS_IMAGES_EDGE_SHIFTS_H
