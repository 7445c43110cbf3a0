// Checks of settings; see option_checks.h.
#include "runtime/native/behaviors/images/option_checks.h"

#include "runtime/native/core/managed_exception.h"

namespace zelmor::embed {

std::string member_name(const ManagedObject& options, const char* property) {
    return std::string(options.type().name) + "." + property;
}

int64_t ranged(const ManagedObject& options, const char* property, int64_t least, int64_t most) {
    const int64_t value = property_int(options, property);
    if (value < least || value > most) {
        throw_out_of_range(property, "The value " + std::to_string(value) + " of " + member_name(options, property) +
                                         " is not between " + std::to_string(least) + " and " + std::to_string(most) +
                                         ".");
    }
    return value;
}

}  // namespace zelmor::embed
