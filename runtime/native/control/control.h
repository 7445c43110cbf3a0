// Where the test flavor of the runtime takes part in start-up and delegate creation.
//
// The product flavor passes everything on and has none of the rest; which flavor it is, the build decides.
#ifndef ZELMOR_RUNTIME_NATIVE_CONTROL_CONTROL_H
#define ZELMOR_RUNTIME_NATIVE_CONTROL_CONTROL_H

#include "runtime/native/delegates/resolve.h"

namespace zelmor::embed::control {

#ifdef ZELMOR_EMBED_CONTROL
// A status that fails the start, or kOk.
int on_initialize(const char* exe_path, const char* domain_name, int property_count, const char** keys,
                  const char** values);
// Resolves, unless the entry point is to be missing, and puts the journal in front of the delegate.
Delegate on_create_delegate(const char* assembly, const char* type, const char* method);
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
