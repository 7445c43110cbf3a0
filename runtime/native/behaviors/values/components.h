// The components of a color as arguments.
#ifndef ZELMOR_RUNTIME_NATIVE_BEHAVIORS_VALUES_COMPONENTS_H
#define ZELMOR_RUNTIME_NATIVE_BEHAVIORS_VALUES_COMPONENTS_H

#include <cstdint>
#include <string>

namespace zelmor::embed {

[[noreturn]] void throw_color_component(int32_t value, const std::string& parameter);

// ArgumentException naming parameter and value outside 0 to 255.
inline uint8_t color_component(int32_t value, const char* parameter) {
    if (value < 0 || value > 255) {
        throw_color_component(value, parameter);
    }
    return static_cast<uint8_t>(value);
}

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_BEHAVIORS_VALUES_COMPONENTS_H
