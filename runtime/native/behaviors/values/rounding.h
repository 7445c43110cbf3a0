// From a floating-point number to a 32-bit one, as the managed geometry types do it.
#ifndef ZELMOR_RUNTIME_NATIVE_BEHAVIORS_VALUES_ROUNDING_H
#define ZELMOR_RUNTIME_NATIVE_BEHAVIORS_VALUES_ROUNDING_H

#include <cmath>
#include <cstdint>

namespace zelmor::embed {

// The conversion instruction's answer: toward zero, and the smallest integer for what does not fit.
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

// Addition and subtraction of the managed integers wrap around.
inline int32_t wrapping_add(int32_t a, int32_t b) {
    return static_cast<int32_t>(static_cast<uint32_t>(a) + static_cast<uint32_t>(b));
}
inline int32_t wrapping_subtract(int32_t a, int32_t b) {
    return static_cast<int32_t>(static_cast<uint32_t>(a) - static_cast<uint32_t>(b));
}

// The hash of a few words, each in its place.
template <class... Word>
int32_t combined_hash(Word... words) {
    uint32_t hash = 17;
    ((hash = hash * 31 + static_cast<uint32_t>(words)), ...);
    return static_cast<int32_t>(hash);
}
inline uint32_t float_word(float value) {
    if (value == 0) {
        return 0;  // both zeros are equal
    }
    uint32_t word;
    __builtin_memcpy(&word, &value, sizeof word);
    return word;
}

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_BEHAVIORS_VALUES_ROUNDING_H
