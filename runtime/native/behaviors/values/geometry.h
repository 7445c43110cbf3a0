// What points, sizes and rectangles of whole numbers share with those of single-precision numbers.
//
// Their members are templates over the number type; the number types differ in how they add up and are written.
#ifndef ZELMOR_RUNTIME_NATIVE_BEHAVIORS_VALUES_GEOMETRY_H
#define ZELMOR_RUNTIME_NATIVE_BEHAVIORS_VALUES_GEOMETRY_H

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
