// The way from the runtime to the segmentation backend, which is loaded when it is first needed.
//
// Part of the runtime itself, not of the backend's shared object.
#ifndef ZELMOR_RUNTIME_NATIVE_MASKWORK_LOADER_H
#define ZELMOR_RUNTIME_NATIVE_MASKWORK_LOADER_H

#include "runtime/native/maskwork/segmentation_backend.h"

namespace zelmor::embed {

// The backend, loaded from the directory of the runtime. DllNotFoundException if it cannot be loaded; the next call
// tries again. To be called under the interpreter lock.
maskwork::Backend& segmentation_backend();

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_MASKWORK_LOADER_H
