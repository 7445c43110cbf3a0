// Loading the segmentation backend; see loader.h.
#include "runtime/native/maskwork/loader.h"

#include "runtime/native/core/own_libraries.h"

namespace zelmor::embed {

maskwork::Backend& segmentation_backend() {
    // Set once, under the interpreter lock, which loading the library does not release.
    static maskwork::Backend* backend = nullptr;
    if (backend == nullptr) {
        backend = reinterpret_cast<maskwork::BackendFunction>(
            function_of_library("segmentation", "libzelmor.embed.maskwork.so", maskwork::kBackendSymbol))();
    }
    return *backend;
}

}  // namespace zelmor::embed
