// Masks as areas of pixels: their connected parts, and soft edges.
#ifndef ZELMOR_RUNTIME_NATIVE_BEHAVIORS_MASKING_PARTS_H
#define ZELMOR_RUNTIME_NATIVE_BEHAVIORS_MASKING_PARTS_H

#include <cstdint>
#include <span>
#include <vector>

#include "runtime/native/behaviors/masking/segmentation.h"

namespace zelmor::embed {

// Gives each connected part of each object a number of its own, from 1 on in the order of the parts' first pixels.
// Pixels are connected with the eight around them. The background stays one. The result is the number of parts.
int32_t number_parts(Labels& labels, int32_t width, int32_t height);

// A mask whose edges are blurred: the mean of its values, 0 and 255, with the weights of a Gaussian curve that is cut
// `radius` pixels from its middle and has a standard deviation of half of that. Pixels of the edge are repeated outside
// of it.
std::vector<uint8_t> feathered(std::vector<uint8_t> mask, int32_t width, int32_t height, int32_t radius);
constexpr int32_t kMostFeathering = 255;

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_BEHAVIORS_MASKING_PARTS_H
