// The hooks of the test flavor in start-up and delegate creation.
//
// In the product flavor they only forward the call. The macro ZELMOR_EMBED_CONTROL selects the test flavor.
#ifndef ZELMOR_RUNTIME_NATIVE_CONTROL_CONTROL_H
#define ZELMOR_RUNTIME_NATIVE_CONTROL_CONTROL_H

#include "runtime/native/delegates/resolve.h"

namespace zelmor::embed::control {

#ifdef ZELMOR_EMBED_CONTROL
// Returns kOk, or a status that makes the start fail.
int on_initialize(const char* exe_path, const char* domain_name, int property_count, const char** keys,
                  const char** values);
// Resolves the entry point, unless a setting makes it missing, and returns a delegate that records its calls.
Delegate on_create_delegate(const char* assembly, const char* type, const char* method);
// Collects the garbage of the managed side; each runtime has a definition of its own.
void collect_garbage();
#else
inline int on_initialize(const char*, const char*, int, const char**, const char**) {
    return kOk;
}
inline Delegate on_create_delegate(const char* assembly, const char* type, const char* method) {
    return resolve_delegate(assembly, type, method);
}
#endif

}  // namespace zelmor::embed::control

#endif  // ZELMOR_RUNTIME_NATIVE_CONTROL_CONTROL_H
