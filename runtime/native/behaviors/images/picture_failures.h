// Failures of the image backend as managed exceptions. One that leaves a behavior is translated by the exception
// boundary; code that knows more about it throws it by itself.
#ifndef ZELMOR_RUNTIME_NATIVE_BEHAVIORS_IMAGES_PICTURE_FAILURES_H
#define ZELMOR_RUNTIME_NATIVE_BEHAVIORS_IMAGES_PICTURE_FAILURES_H

#include <string>

#include "runtime/native/imagework/picture_error.h"

namespace zelmor::embed {

// A failure of the backend as the managed side names it. `subject` stands before the text: "Cannot load 'a.png'".
[[noreturn]] void throw_picture_error(const imagework::PictureError& error, const std::string& subject = {});

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_BEHAVIORS_IMAGES_PICTURE_FAILURES_H
