// The components of a color as arguments.
#ifndef ZELMOR_RUNTIME_NATIVE_BEHAVIORS_VALUES_COMPONENTS_H
#define ZELMOR_RUNTIME_NATIVE_BEHAVIORS_VALUES_COMPONENTS_H

#include <cstdint>
#include <string>

#include "runtime/native/core/managed_exception.h"

namespace zelmor::embed {

// ArgumentException naming parameter and value outside 0 to 255.
inline uint8_t color_component(int32_t value, const std::string& parameter) {
    if (value < 0 || value > 255) {
        throw_argument("Value of '" + std::to_string(value) + "' is not valid for '" + parameter + "'. '" + parameter +
                       "' should be greater than or equal to 0 and less than or equal to 255.");
    }
    return static_cast<uint8_t>(value);
}

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_BEHAVIORS_VALUES_COMPONENTS_H
