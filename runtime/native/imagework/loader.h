// The way from the runtime to the image backend, which is loaded when the first image needs it.
//
// Part of the runtime itself, not of the backend's shared object.
#pragma once

#include "runtime/native/imagework/backend.h"

namespace zelmor::embed {

// The backend, loaded from the directory that the runtime lies in. DllNotFoundException where it cannot be loaded; the
// next call tries again.
imagework::Backend& image_backend();

}  // namespace zelmor::embed
