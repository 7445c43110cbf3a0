// The way from the runtime to the image backend, which is loaded when the first image needs it.
//
// Part of the runtime itself, not of the backend's shared object.
#ifndef ZELMOR_RUNTIME_NATIVE_IMAGEWORK_LOADER_H
#define ZELMOR_RUNTIME_NATIVE_IMAGEWORK_LOADER_H

#include "runtime/native/imagework/backend.h"

namespace zelmor::embed {

// The backend, loaded from the directory that the runtime lies in. DllNotFoundException where it cannot be loaded; the
// next call tries again.
imagework::Backend& image_backend();

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_IMAGEWORK_LOADER_H
