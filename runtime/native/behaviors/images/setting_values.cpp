// Single properties of save options; see setting_values.h.
#include "runtime/native/behaviors/images/setting_values.h"

#include <string>

#include "runtime/native/behaviors/images/option_checks.h"
#include "runtime/native/core/managed_exception.h"

namespace zelmor::embed {

int setting(const ManagedObject& options, const char* property) {
    return static_cast<int>(property_int(options, property));
}

void throw_value_not_supported(const ManagedObject& options, const char* property, int64_t value) {
    throw_not_supported("The value " + std::to_string(value) + " of " + member_name(options, property));
}

void put_setting(ManagedObject& options, const char* property, int64_t value) {
    set_property(options, property, value);
}

}  // namespace zelmor::embed
