// The settings of the limit on decoded memory; see memory_limit.h.
#include "runtime/native/behaviors/settings/memory_limit.h"

#include <cassert>
#include <string>

#include "generated/runtime/Zelmor.Imaging.MemoryManagement.h"
#include "runtime/native/core/entry.h"
#include "runtime/native/core/managed_exception.h"
#include "runtime/native/core/records.h"
#include "runtime/native/core/type_system.h"
#include "runtime/native/imagework/limits.h"

namespace zelmor::embed {

namespace {

using Configuration = api::MemoryManagement::Configuration;

int64_t configured() {
    const Value& value = static_property(require_type(Configuration::kType.name), "BufferSizeHint");
    const auto* number = std::get_if<int64_t>(&value);
    return number != nullptr ? *number : 0;
}

void set_buffer_size_hint(int32_t value) {
    if (value < 0) {
        throw_out_of_range("value", "The value " + std::to_string(value) +
                                        " of Configuration.BufferSizeHint is not between 0 and 2147483647.");
    }
    set_static_property(require_type(Configuration::kType.name), "BufferSizeHint", int64_t{value});
}

const BehaviorTable ZELMOR_UNNAMED({
    behavior<&set_buffer_size_hint, Configuration::setsa_BufferSizeHint>(),
});

}  // namespace

uint64_t decoded_memory_limit(const ManagedObject* options) {
    int64_t hint = options != nullptr ? property_int(*options, "BufferSizeHint") : 0;
    if (hint == 0) {
        hint = configured();
    }
    assert(hint >= 0);  // the setters refuse negative numbers
    return hint == 0 ? imagework::limits::kDecodedBytes : static_cast<uint64_t>(hint) * imagework::limits::kMebibyte;
}

}  // namespace zelmor::embed
