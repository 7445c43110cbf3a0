// Cache: the settings of a cache for decoded pictures. This runtime has none: pictures are in memory of exactly the
// size that they need. So the numbers of allocated bytes are always zero, all limits hold, and the folder stays empty;
// a cache on disk cannot be had.
#include "generated/runtime/Zelmor.Imaging.h"
#include "runtime/native/core/entry.h"
#include "runtime/native/core/enumeration_properties.h"
#include "runtime/native/core/managed_exception.h"
#include "runtime/native/core/type_system.h"
#include "runtime/native/delegates/row_behavior.h"

namespace zelmor::embed {

namespace {

using CacheApi = api::Cache;

int32_t nothing_allocated() {
    return 0;
}

void set_defaults() {
    const TypeInfo& cache = require_type(CacheApi::kType.name);
    for (const PropertyInfo& property : cache.properties) {
        if (property.writable) {
            set_static_property(cache, property.name, zero_value(property.wire, type_at(property.type)));
        }
    }
}

void set_cache_type(api::CacheType value) {
    switch (value) {
        case api::CacheType::kAuto:
        case api::CacheType::kCacheInMemoryOnly:
            set_static_property(require_type(CacheApi::kType.name), "CacheType", int64_t{number_of(value)});
            return;
        case api::CacheType::kCacheOnDiskOnly:
            throw_not_supported("The value 1 of Cache.CacheType");
    }
    throw_out_of_range("value", "The value " + std::to_string(number_of(value)) + " is not one of CacheType.");
}

struct CacheLimit {
    const PropertyName& property;
};
constexpr CacheLimit kLimits[] = {{CacheApi::property_MaxDiskSpaceForCache}, {CacheApi::property_MaxMemoryForCache}};

void set_limit(const CacheLimit& row, int32_t value) {
    if (value < 0) {
        throw_out_of_range("value",
                           "The value " + std::to_string(value) + " of Cache." + row.property.name + " is negative.");
    }
    set_static_property(require_type(CacheApi::kType.name), row.property.name, int64_t{value});
}
BehaviorRow behavior_of(const CacheLimit& row) {
    return row_behavior<&set_limit>(row.property.setter, row);
}

const BehaviorTable ZELMOR_UNNAMED(each_row(kLimits, behavior_of));
const BehaviorTable ZELMOR_UNNAMED({
    behavior<&set_defaults, CacheApi::call_000_SetDefaults>(),
    behavior<&set_cache_type, CacheApi::setsa_CacheType>(),
    behavior<&nothing_allocated, CacheApi::getsa_AllocatedDiskBytesCount, CacheApi::getsa_AllocatedMemoryBytesCount>(),
});

}  // namespace

}  // namespace zelmor::embed
