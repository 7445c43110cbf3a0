// The two kinds of ResizeType: those that scale an image, and those that change its canvas and leave the picture as it
// is.
#ifndef ZELMOR_RUNTIME_NATIVE_BEHAVIORS_IMAGES_RESIZE_TYPES_H
#define ZELMOR_RUNTIME_NATIVE_BEHAVIORS_IMAGES_RESIZE_TYPES_H

#include <optional>

#include "generated/runtime/Zelmor.Imaging.h"

namespace zelmor::embed {

// Where the picture goes on its new canvas: 0 for the left or top, 2 for the right or bottom, in halves of the room.
struct Placement {
    int across;
    int down;
};

// Nothing for a type that scales.
std::optional<Placement> placement_of(api::ResizeType type);
// ArgumentOutOfRangeException for a number that is no ResizeType.
void require_resize_type(api::ResizeType type);

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_BEHAVIORS_IMAGES_RESIZE_TYPES_H
