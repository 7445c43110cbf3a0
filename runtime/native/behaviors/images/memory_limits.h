// The limits that save options put on the memory of pixels, in megabytes; 0 is no limit.
#ifndef ZELMOR_RUNTIME_NATIVE_BEHAVIORS_IMAGES_MEMORY_LIMITS_H
#define ZELMOR_RUNTIME_NATIVE_BEHAVIORS_IMAGES_MEMORY_LIMITS_H

#include <span>

#include "runtime/native/behaviors/images/page_selection.h"

namespace zelmor::embed {

// PictureError(kTooLarge) where the pictures that are saved take more than the options allow.
void require_within_limits(const Record& save_options, std::span<const Page> pages);

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_BEHAVIORS_IMAGES_MEMORY_LIMITS_H
