// A few values, among which others are looked up quickly.
#ifndef ZELMOR_RUNTIME_NATIVE_IMAGEWORK_VIPS_COLOR_SET_H
#define ZELMOR_RUNTIME_NATIVE_IMAGEWORK_VIPS_COLOR_SET_H

#include <bit>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "runtime/native/imagework/formats.h"

namespace zelmor::imagework {

// Holds at most so many integers, in the order in which they came. A hash table with open addressing: a value lies at
// the place that its hash names, or in the next free one.
template <class Value>
class SmallSet {
 public:
    explicit SmallSet(size_t most)
        : m_most(most), m_places(4 * std::bit_ceil(most + 1)), m_shift(64 - std::countr_zero(m_places.size())) {}

    // Whether the value is in the set now: false if it would be one too many.
    bool add(Value value) {
        uint32_t& place = find(value);
        if (place != 0) {
            return true;
        }
        if (m_values.size() == m_most) {
            return false;
        }
        m_values.push_back(value);
        place = static_cast<uint32_t>(m_values.size());
        return true;
    }
    bool contains(Value value) { return find(value) != 0; }
    const std::vector<Value>& values() const { return m_values; }

 private:
    uint32_t& find(Value value) {
        size_t at = value * uint64_t{0x9E3779B97F4A7C15} >> m_shift;
        while (m_places[at] != 0 && m_values[m_places[at] - 1] != value) {
            at = at + 1 == m_places.size() ? 0 : at + 1;
        }
        return m_places[at];
    }

    size_t m_most;
    std::vector<Value> m_values;
    std::vector<uint32_t> m_places;  // one more than the value's index; 0 where there is none
    int m_shift;
};

using ColorSet = SmallSet<Argb>;

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_IMAGEWORK_VIPS_COLOR_SET_H
