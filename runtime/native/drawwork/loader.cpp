// Loading the drawing backend; see loader.h.
#include "runtime/native/drawwork/loader.h"

#include "runtime/native/core/own_libraries.h"

namespace zelmor::embed {

drawwork::Backend& drawing_backend() {
    // Set once, under the interpreter lock, which loading the library does not release.
    static drawwork::Backend* backend = nullptr;
    if (backend == nullptr) {
        backend = reinterpret_cast<drawwork::BackendFunction>(
            function_of_library("drawing", "libzelmor.embed.drawwork.so", drawwork::kBackendSymbol))();
    }
    return *backend;
}

}  // namespace zelmor::embed
