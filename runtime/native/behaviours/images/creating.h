// New images, shared by create() and the creators.
#pragma once

#include "runtime/native/behaviours/images/image_object.h"

namespace zelmor::embed {

// An empty image of the format that the options are for.
Ref<ImageObject> create_image(Record* image_options, int32_t width, int32_t height);

}  // namespace zelmor::embed
