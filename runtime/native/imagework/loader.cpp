// Loading the backend; see loader.h.
#include "runtime/native/imagework/loader.h"

#include <dlfcn.h>

#include <string>

#include "runtime/native/core/managed_exception.h"

namespace zelmor::embed {
namespace {

constexpr const char* kLibrary = "libzelmor.embed.imagework.so";

// The directory of the shared object that this function is part of.
std::string own_directory() {
    Dl_info info{};
    if (dladdr(reinterpret_cast<void*>(&own_directory), &info) == 0 || info.dli_fname == nullptr) {
        return ".";
    }
    std::string path = info.dli_fname;
    size_t slash = path.rfind('/');
    return slash == std::string::npos ? "." : path.substr(0, slash);
}

[[noreturn]] void throw_unloadable(const std::string& path) {
    const char* reason = dlerror();
    throw ManagedException("DllNotFoundException", "The image library '" + path + "' cannot be loaded: " +
                                                       (reason != nullptr ? reason : "no reason was given") + ".");
}

imagework::Backend* load() {
    std::string path = own_directory() + "/" + kLibrary;
    // Never unloaded: the library behind it has threads and types that stay.
    void* library = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE);
    if (library == nullptr) {
        throw_unloadable(path);
    }
    auto function = reinterpret_cast<imagework::BackendFunction>(dlsym(library, imagework::kBackendSymbol));
    if (function == nullptr) {
        throw_unloadable(path);
    }
    try {
        return function();
    } catch (const imagework::PictureError& error) {
        throw ManagedException("DllNotFoundException", error.what());
    }
}

}  // namespace

imagework::Backend& image_backend() {
    // Set once, under the interpreter lock, which loading the library does not release.
    static imagework::Backend* backend = nullptr;
    if (backend == nullptr) {
        backend = load();
    }
    return *backend;
}

}  // namespace zelmor::embed
