// Cache: the settings of a cache that this runtime does not keep, so that nothing is ever allocated by it. Decoded
// pictures belong to their images.
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

const Behavior kMembers[] = {
    {kCache, "call_000_SetDefaults", entry<&set_defaults>()},
    {kCache, "getsa_AllocatedDiskBytesCount", entry<&nothing_allocated>()},
    {kCache, "getsa_AllocatedMemoryBytesCount", entry<&nothing_allocated>()},
};
const BehaviorTable table(Assembly::kImaging, kMembers);

}  // namespace

}  // namespace zelmor::embed
