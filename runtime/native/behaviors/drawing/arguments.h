// Arguments of drawing members: points and rectangles with whole or single-precision numbers, arrays of these.
//
// Many members exist twice, for whole numbers and for single-precision ones. A Python list fits the first of the two,
// whatever is in it, so that both take both. All is computed in double precision.
#ifndef ZELMOR_RUNTIME_NATIVE_BEHAVIORS_DRAWING_ARGUMENTS_H
#define ZELMOR_RUNTIME_NATIVE_BEHAVIORS_DRAWING_ARGUMENTS_H

#include <vector>

#include "generated/runtime/Zelmor.Imaging.h"
#include "runtime/native/behaviors/drawing/outlines.h"
#include "runtime/native/core/entry.h"

namespace zelmor::embed {

// A Point or PointF, a Rectangle or RectangleF, a SizeF.
struct PointArg : PointD {};
struct RectArg : RectD {};
// An array of Point or PointF, of Rectangle or RectangleF; refuses None.
struct PointsArg {
    std::vector<PointD> items;
};
struct RectsArg {
    std::vector<RectD> items;
};

PointD point_of(const ManagedObject& object);
RectD rect_of_object(const ManagedObject& object);
// The points of a stored collection; none for null.
std::vector<PointD> points_of(const Value& value);
std::vector<double> numbers_of(const Value& value);
// The elements of a managed list or enumerable; none for null.
std::vector<Value> elements_of(const Value& value);

inline PointFValue to_point_f(PointD p) {
    return {static_cast<float>(p.x), static_cast<float>(p.y)};
}
inline RectangleFValue to_rectangle_f(const RectD& r) {
    return {static_cast<float>(r.x), static_cast<float>(r.y), static_cast<float>(r.width),
            static_cast<float>(r.height)};
}
inline RectD to_rect(const RectangleFValue& r) {
    return {r.x, r.y, r.width, r.height};
}

// Arrays as results and stored values.
Ref<ManagedList> point_array(const std::vector<PointD>& points);  // PointF[]
Ref<ManagedList> object_array(const TypeName& element_type, std::vector<Value> items);
template <class T>
Ref<ManagedList> object_array(const TypeName& element_type, const std::vector<Ref<T>>& objects) {
    return object_array(element_type, std::vector<Value>(objects.begin(), objects.end()));
}

namespace detail {

PointArg read_point_arg(const VariantArg* arg);
RectArg read_rect_arg(const VariantArg* arg);
PointsArg read_points_arg(const VariantArg* arg);
RectsArg read_rects_arg(const VariantArg* arg);

template <class T, T (*kRead)(const VariantArg*)>
struct GeometryArg {
    using Wire = const VariantArg*;
    static constexpr char code = 'V';
    static T read(const VariantArg* value) { return kRead(value); }
};
template <>
struct Arg<PointArg> : GeometryArg<PointArg, &read_point_arg> {};
template <>
struct Arg<RectArg> : GeometryArg<RectArg, &read_rect_arg> {};
template <>
struct Arg<PointsArg> : GeometryArg<PointsArg, &read_points_arg> {};
template <>
struct Arg<RectsArg> : GeometryArg<RectsArg, &read_rects_arg> {};

}  // namespace detail

// The object of an argument; ArgumentNullException naming the parameter for None.
template <class T>
T& required(T* object, const char* parameter) {
    if (object == nullptr) {
        throw_argument_null(parameter);
    }
    return *object;
}

// True for an object of the type or of one derived from it.
bool is_a(const TypeInfo& type, const TypeName& base);

// The elements of any collection argument; ArgumentNullException naming the parameter for None.
std::vector<Value> read_any_elements(const VariantArg* arg, const char* parameter);
template <class T>
std::vector<Ref<T>> read_objects(const VariantArg* arg, const char* parameter) {
    std::vector<Ref<T>> objects;
    for (const Value& value : read_any_elements(arg, parameter)) {
        const auto* object = std::get_if<Ref<ManagedObject>>(&value);
        ManagedObject& held = required(object == nullptr ? nullptr : object->get(), parameter);
        objects.emplace_back(&cast_object<T>(held));
    }
    return objects;
}

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_BEHAVIORS_DRAWING_ARGUMENTS_H
