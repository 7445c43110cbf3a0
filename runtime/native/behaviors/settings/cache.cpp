// Cache: the settings of a cache for decoded pictures. This runtime has no such cache, so that the numbers of allocated
// bytes are always zero.
#include "generated/runtime/Zelmor.Imaging.h"
#include "runtime/native/core/entry.h"

namespace zelmor::embed {

namespace {

int32_t nothing_allocated() {
    return 0;
}

void set_defaults() {
    const TypeInfo& cache = require_type(api::Cache::kType.name);
    for (const PropertyInfo& property : cache.properties) {
        if (property.writable) {
            set_static_property(cache, property.name, zero_value(property.wire, type_at(property.type)));
        }
    }
}

const BehaviorTable ZELMOR_UNNAMED({
    behavior<&set_defaults, api::Cache::call_000_SetDefaults>(),
    behavior<&nothing_allocated, api::Cache::getsa_AllocatedDiskBytesCount,
             api::Cache::getsa_AllocatedMemoryBytesCount>(),
});

}  // namespace

}  // namespace zelmor::embed
