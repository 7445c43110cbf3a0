// The texts of a CDR document: a CdrTextCollection, which a file fills.
#ifndef ZELMOR_RUNTIME_NATIVE_BEHAVIORS_FORMATS_CDR_TEXTS_H
#define ZELMOR_RUNTIME_NATIVE_BEHAVIORS_FORMATS_CDR_TEXTS_H

#include <cstdint>

#include "runtime/native/core/values.h"

namespace zelmor::embed {

// Adds a CdrText to such a collection.
void add_cdr_text(ManagedObject& collection, int32_t key, Ref<ManagedObject> text);

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_BEHAVIORS_FORMATS_CDR_TEXTS_H
