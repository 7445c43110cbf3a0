// The way from the runtime to the drawing backend, which is loaded when something is first drawn.
//
// Part of the runtime itself, not of the backend's shared object.
#ifndef ZELMOR_RUNTIME_NATIVE_DRAWWORK_LOADER_H
#define ZELMOR_RUNTIME_NATIVE_DRAWWORK_LOADER_H

#include "runtime/native/drawwork/canvas.h"

namespace zelmor::embed {

// The backend, loaded from the directory of the runtime. DllNotFoundException if it cannot be loaded; the
// next call tries again.
drawwork::Backend& drawing_backend();

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_DRAWWORK_LOADER_H
