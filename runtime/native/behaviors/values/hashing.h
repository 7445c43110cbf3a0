// Hash codes of the value types.
#ifndef ZELMOR_RUNTIME_NATIVE_BEHAVIORS_VALUES_HASHING_H
#define ZELMOR_RUNTIME_NATIVE_BEHAVIORS_VALUES_HASHING_H

#include <bit>
#include <cmath>
#include <cstdint>

namespace zelmor::embed {

// The word of a number: equal numbers have the same one, and so has what is no number, whose sign is chance.
inline uint32_t hash_word(int32_t value) {
    return static_cast<uint32_t>(value);
}
inline uint32_t hash_word(float value) {
    if (std::isnan(value)) {
        return 0x7FC00000;
    }
    return value == 0 ? 0 : std::bit_cast<uint32_t>(value);  // both zeros are equal
}

// The hash of a few words, each in its place.
template <class... Word>
int32_t combined_hash(Word... words) {
    uint32_t hash = 17;
    ((hash = hash * 31 + static_cast<uint32_t>(words)), ...);
    return static_cast<int32_t>(hash);
}

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_BEHAVIORS_VALUES_HASHING_H
