// Checks of arguments that many members of images have.
#ifndef ZELMOR_RUNTIME_NATIVE_BEHAVIORS_IMAGES_ARGUMENTS_H
#define ZELMOR_RUNTIME_NATIVE_BEHAVIORS_IMAGES_ARGUMENTS_H

#include <cstdint>

#include "runtime/native/behaviors/images/image_object.h"

namespace zelmor::embed {

// An image that has to be there and alive: ArgumentNullException naming the parameter, or ObjectDisposedException.
ImageObject& required_image(ImageObject* image, const char* parameter);

// Save options that have to be there: ArgumentNullException naming the parameter.
const Record& required_options(const Record* options, const char* parameter = "options");

// A size: ArgumentOutOfRangeException naming the parameter for zero and less.
void require_positive(int32_t value, const char* parameter);

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_BEHAVIORS_IMAGES_ARGUMENTS_H
