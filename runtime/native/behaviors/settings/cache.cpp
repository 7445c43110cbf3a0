// Cache: the settings of a cache that this runtime does not keep, so that nothing is ever allocated by it. Decoded
// pictures belong to their images.
#include "generated/runtime/Zelmor.Imaging.h"
#include "runtime/native/core/entry.h"

namespace zelmor::embed {

namespace {

constexpr const char* kCache = "Zelmor.Imaging.Cache";

int32_t nothing_allocated() {
    return 0;
}

void set_defaults() {
    const TypeInfo& cache = require_type(kCache);
    for (const PropertyInfo& property : cache.properties) {
        if (property.writable) {
            set_static_property(cache, property.name, zero_value(property.wire, type_at(property.type)));
        }
    }
}

using CacheApi = api::Cache;

const BehaviorTable table({
    behavior<&set_defaults, CacheApi::call_000_SetDefaults>(),
    behavior<&nothing_allocated, CacheApi::getsa_AllocatedDiskBytesCount, CacheApi::getsa_AllocatedMemoryBytesCount>(),
});

}  // namespace

}  // namespace zelmor::embed
