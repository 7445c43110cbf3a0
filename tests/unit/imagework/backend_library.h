// The image backend for tests of it, through its shared object as the runtime loads it.
#ifndef ZELMOR_TESTS_UNIT_IMAGEWORK_BACKEND_LIBRARY_H
#define ZELMOR_TESTS_UNIT_IMAGEWORK_BACKEND_LIBRARY_H

#include <dlfcn.h>

#include <stdexcept>

#include "runtime/native/imagework/backend.h"

namespace zelmor::imagework {

// The one backend of the process, loaded at the first call from IMAGEWORK_LIBRARY, which the build defines.
inline Backend& backend() {
    static Backend* const loaded = [] {
        void* library = dlopen(IMAGEWORK_LIBRARY, RTLD_NOW | RTLD_LOCAL);
        if (library == nullptr) {
            throw std::runtime_error(dlerror());
        }
        return reinterpret_cast<BackendFunction>(dlsym(library, kBackendSymbol))();
    }();
    return *loaded;
}

}  // namespace zelmor::imagework

#endif  // ZELMOR_TESTS_UNIT_IMAGEWORK_BACKEND_LIBRARY_H
