// Shared objects of the runtime, which are loaded when they are first needed.
#ifndef ZELMOR_RUNTIME_NATIVE_CORE_OWN_LIBRARIES_H
#define ZELMOR_RUNTIME_NATIVE_CORE_OWN_LIBRARIES_H

#include <string>

namespace zelmor::embed {

// A function that a shared object in the directory of the runtime exports. It is never unloaded: the libraries behind
// it have types that stay. `kind` begins the message of a failure: "The drawing library '...' cannot be loaded".
// DllNotFoundException if it cannot be loaded; the next call tries again.
void* function_of_library(const char* kind, const std::string& file, const char* symbol);

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_CORE_OWN_LIBRARIES_H
