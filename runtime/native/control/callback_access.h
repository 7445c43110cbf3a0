// The callbacks that each module handed over to its assembly, as the journal saw them pass: scripts raise exceptions
// through them, and a test can call them by table and slot.
#ifndef ZELMOR_RUNTIME_NATIVE_CONTROL_CALLBACK_ACCESS_H
#define ZELMOR_RUNTIME_NATIVE_CONTROL_CALLBACK_ACCESS_H

#include <string>

#include "runtime/native/core/callbacks.h"

namespace zelmor::embed::control {

// Keeps the argument of a hand-over call, which names the callback or the tables.
void keep_callback(const std::string& assembly, const std::string& method, void* handed);
// What was handed over to an assembly so far.
const Callbacks& handed_over(const std::string& assembly);

// Tables: "single" (exception, catch and clear, UTF-16, str, unraisable str, bytes builders), "obj_api", "read",
// "write", "buffer", "tpo_api", "iter", "ucol", "olist", "oseq", "rawio" and "generic" (the one slot of each of its
// tables). Returns null for a table or slot that does not exist or was not handed over.
void* find_callback(const Callbacks& of, const char* table, int slot);

}  // namespace zelmor::embed::control

#endif  // ZELMOR_RUNTIME_NATIVE_CONTROL_CALLBACK_ACCESS_H
