// Loading the segmentation backend; see loader.h.
#include "runtime/native/maskwork/loader.h"

#include <dlfcn.h>

#include <string>

#include "runtime/native/core/managed_exception.h"

namespace zelmor::embed {
namespace {

constexpr const char* kLibrary = "libzelmor.embed.maskwork.so";

// The directory of the shared object that this function is part of.
std::string own_directory() {
    Dl_info info{};
    if (dladdr(reinterpret_cast<void*>(&own_directory), &info) == 0 || info.dli_fname == nullptr) {
        return ".";
    }
    const std::string path = info.dli_fname;
    const size_t slash = path.rfind('/');
    return slash == std::string::npos ? "." : path.substr(0, slash);
}

[[noreturn]] void throw_unloadable(const std::string& path) {
    const char* reason = dlerror();
    throw ManagedException("DllNotFoundException", "The segmentation library '" + path + "' cannot be loaded: " +
                                                       (reason != nullptr ? reason : "no reason was given") + ".");
}

maskwork::Backend* load() {
    const std::string path = own_directory() + "/" + kLibrary;
    // Never unloaded: the libraries behind it keep threads and data.
    void* library = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE);
    if (library == nullptr) {
        throw_unloadable(path);
    }
    const auto function = reinterpret_cast<maskwork::BackendFunction>(dlsym(library, maskwork::kBackendSymbol));
    if (function == nullptr) {
        throw_unloadable(path);
    }
    return function();
}

}  // namespace

maskwork::Backend& segmentation_backend() {
    // Set once, under the interpreter lock, which loading the library does not release.
    static maskwork::Backend* backend = nullptr;
    if (backend == nullptr) {
        backend = load();
    }
    return *backend;
}

}  // namespace zelmor::embed
