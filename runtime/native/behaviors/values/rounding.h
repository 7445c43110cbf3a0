// From a floating-point number to a 32-bit one, as the managed geometry types do it.
#ifndef ZELMOR_RUNTIME_NATIVE_BEHAVIORS_VALUES_ROUNDING_H
#define ZELMOR_RUNTIME_NATIVE_BEHAVIORS_VALUES_ROUNDING_H

#include <cmath>
#include <cstdint>

namespace zelmor::embed {

// Toward zero. A number that does not fit becomes the smallest integer, as the processor's conversion has it.
inline int32_t to_int32(double value) {
    if (!(value > -2147483649.0 && value < 2147483648.0)) {
        return INT32_MIN;
    }
    return static_cast<int32_t>(value);
}
inline int32_t ceiling_to_int32(float value) {
    return to_int32(std::ceil(static_cast<double>(value)));
}
inline int32_t truncate_to_int32(float value) {
    return to_int32(static_cast<double>(value));
}
// Halves go to the even neighbor.
inline int32_t round_to_int32(float value) {
    return to_int32(std::nearbyint(static_cast<double>(value)));
}

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_BEHAVIORS_VALUES_ROUNDING_H
