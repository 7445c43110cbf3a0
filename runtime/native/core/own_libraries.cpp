// Loading shared objects of the runtime; see own_libraries.h.
#include "runtime/native/core/own_libraries.h"

#include <dlfcn.h>

#include "runtime/native/core/load_failure.h"
#include "runtime/native/core/managed_exception.h"

namespace zelmor::embed {
namespace {

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

}  // namespace

void* function_of_library(const char* kind, const std::string& file, const char* symbol) {
    const std::string path = own_directory() + "/" + file;
    void* library = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE);
    void* function = library != nullptr ? dlsym(library, symbol) : nullptr;
    if (function == nullptr) {
        throw ManagedException("DllNotFoundException", std::string("The ") + kind + " library '" + path +
                                                           "' cannot be loaded: " + load_failure() + ".");
    }
    return function;
}

}  // namespace zelmor::embed
