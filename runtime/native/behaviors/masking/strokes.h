// Finding places that belong to the objects of a picture, and places that belong to its background.
//
// The edge of the area is taken for background. What differs from its colors belongs to an object.
#ifndef ZELMOR_RUNTIME_NATIVE_BEHAVIORS_MASKING_STROKES_H
#define ZELMOR_RUNTIME_NATIVE_BEHAVIORS_MASKING_STROKES_H

#include <vector>

#include "runtime/native/behaviors/masking/segmentation.h"

namespace zelmor::embed {

struct FoundStrokes {
    DefaultStrokes strokes;
    std::vector<uint8_t> stands_out;  // for each pixel, whether it is inside a rectangle and unlike the background
};

// With assumed objects, the objects are looked for inside of their bounds, those of people mostly in the middle from
// left to right; otherwise inside of the area without a margin of a twentieth of its shorter side.
FoundStrokes find_strokes(const AreaPixels& pixels, const std::vector<AssumedObject>& assumed,
                          const Checkpoint& checkpoint);

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_BEHAVIORS_MASKING_STROKES_H
