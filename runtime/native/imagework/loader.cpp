// Loading the backend; see loader.h.
#include "runtime/native/imagework/loader.h"

#include "runtime/native/core/managed_exception.h"
#include "runtime/native/core/own_libraries.h"

namespace zelmor::embed {

imagework::Backend& image_backend() {
    // Set once, under the interpreter lock, which loading the library does not release.
    static imagework::Backend* backend = nullptr;
    if (backend == nullptr) {
        const auto function = reinterpret_cast<imagework::BackendFunction>(
            function_of_library("image", "libzelmor.embed.imagework.so", imagework::kBackendSymbol));
        try {
            backend = function();
        } catch (const imagework::PictureError& error) {
            throw ManagedException("DllNotFoundException", error.what());
        }
    }
    return *backend;
}

}  // namespace zelmor::embed
