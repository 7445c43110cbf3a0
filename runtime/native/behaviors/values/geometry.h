// The common ground of points, sizes and rectangles of whole numbers and of single-precision numbers.
//
// Their members are templates over the number type. The number types differ in their sums and in their texts.
#ifndef ZELMOR_RUNTIME_NATIVE_BEHAVIORS_VALUES_GEOMETRY_H
#define ZELMOR_RUNTIME_NATIVE_BEHAVIORS_VALUES_GEOMETRY_H

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <string>

#include "runtime/native/core/text.h"
#include "runtime/native/core/values.h"

namespace zelmor::embed {

// The value types with coordinates of a number type.
template <class Number>
struct Geometry;
template <>
struct Geometry<int32_t> {
    using Point = PointValue;
    using Size = SizeValue;
    using Rectangle = RectangleValue;
};
template <>
struct Geometry<float> {
    using Point = PointFValue;
    using Size = SizeFValue;
    using Rectangle = RectangleFValue;
};

// Whole numbers wrap around.
inline int32_t sum(int32_t a, int32_t b) {
    return static_cast<int32_t>(static_cast<uint32_t>(a) + static_cast<uint32_t>(b));
}
inline int32_t difference(int32_t a, int32_t b) {
    return static_cast<int32_t>(static_cast<uint32_t>(a) - static_cast<uint32_t>(b));
}
inline float sum(float a, float b) {
    return a + b;
}
inline float difference(float a, float b) {
    return a - b;
}

// The least and the greatest of two numbers as .NET has them: of two zeros the negative one is less, and a value that
// is no number is both.
inline int32_t least(int32_t a, int32_t b) {
    return std::min(a, b);
}
inline int32_t greatest(int32_t a, int32_t b) {
    return std::max(a, b);
}
inline float least(float a, float b) {
    if (a == b) {
        return std::signbit(a) ? a : b;
    }
    return a < b || std::isnan(a) ? a : b;
}
inline float greatest(float a, float b) {
    if (a == b) {
        return std::signbit(a) ? b : a;
    }
    return a > b || std::isnan(a) ? a : b;
}

inline std::u16string coordinate_text(int32_t value) {
    return number_text(int64_t{value});
}
inline std::u16string coordinate_text(float value) {
    return number_text(value);
}

// The factory of a value type: a box with a value of zeros.
template <StructValue V>
Ref<ManagedObject> new_box(const TypeInfo&) {
    return box(V());
}

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_BEHAVIORS_VALUES_GEOMETRY_H
