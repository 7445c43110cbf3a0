// The memory that the decoded pixels of one image may use, as the program has set it.
#ifndef ZELMOR_RUNTIME_NATIVE_BEHAVIORS_SETTINGS_MEMORY_LIMIT_H
#define ZELMOR_RUNTIME_NATIVE_BEHAVIORS_SETTINGS_MEMORY_LIMIT_H

#include <cstdint>

#include "runtime/native/core/object.h"

namespace zelmor::embed {

// In bytes. BufferSizeHint of the options (of a LoadOptions or an ImageOptionsBase; may be null), in mebibytes; if that
// is 0, Configuration.BufferSizeHint; if that is 0 as well, the limit of imagework/limits.h.
uint64_t decoded_memory_limit(const ManagedObject* options);

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_BEHAVIORS_SETTINGS_MEMORY_LIMIT_H
