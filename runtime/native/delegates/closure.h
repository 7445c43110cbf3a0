// Delegates made at run time: a C function pointer of a given wire signature that runs one handler with its context.
//
// For the entry points that have no C++ function of their own.
#ifndef ZELMOR_RUNTIME_NATIVE_DELEGATES_CLOSURE_H
#define ZELMOR_RUNTIME_NATIVE_DELEGATES_CLOSURE_H

#include <memory>

#include "runtime/native/core/callbacks.h"
#include "runtime/native/delegates/wire_call.h"

namespace zelmor::embed {

// A delegate that calls `handler` inside the exception boundary, with the callbacks of the assembly current. A delegate
// is never taken back: it keeps its context, and the signature must stay as long as that.
void* make_delegate(const char* signature, Assembly assembly, ClosureHandler handler, std::shared_ptr<void> context);

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_DELEGATES_CLOSURE_H
