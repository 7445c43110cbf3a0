// Access to the callbacks that a module handed over for its assembly, by table and slot, so that a test can call them.
#ifndef ZELMOR_RUNTIME_NATIVE_CONTROL_CALLBACK_ACCESS_H
#define ZELMOR_RUNTIME_NATIVE_CONTROL_CALLBACK_ACCESS_H

#include "runtime/native/core/callbacks.h"

namespace zelmor::embed::control {

// Tables: "single" (exception, catch and clear, UTF-16, str, unraisable str, bytes builders), "obj_api", "read",
// "write", "buffer", "tpo_api", "iter", "ucol", "olist", "oseq", "rawio" and "generic" (the one slot of each of its
// tables). Returns null for a table or slot that does not exist or was not handed over.
void* find_callback(const Callbacks& of, const char* table, int slot);

}  // namespace zelmor::embed::control

#endif  // ZELMOR_RUNTIME_NATIVE_CONTROL_CALLBACK_ACCESS_H
