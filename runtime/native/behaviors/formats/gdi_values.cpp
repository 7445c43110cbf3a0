// The conversions of points, colors and turns into those of the drawing module, in arrays and as numbers. What that
// module has no managed form for (a single point or color, a pen, a path) is not supported.
#include <algorithm>
#include <cstring>

#include "generated/runtime/Zelmor.Imaging.Extensions.h"
#include "runtime/native/collections/collection.h"
#include "runtime/native/collections/drawing_record.h"
#include "runtime/native/core/entry.h"

namespace zelmor::embed {

namespace {

// A new array of the type, with each element made from one of the argument's.
template <class From, class Convert>
Collection converted(const VariantArg* arg, const char* parameter, const ElementType& element, Convert&& convert) {
    std::vector<Value> made;
    for (const Value& each : read_elements(arg, element_of(Wire::kStruct, StructTraits<From>::kName), parameter)) {
        made.emplace_back(Ref<ManagedObject>(convert(unbox<From>(*std::get<Ref<ManagedObject>>(each)))));
    }
    return {Ref<ManagedObject>(make_ref<ValueList>(ListShape::kArray, element, std::move(made)))};
}

Collection to_gdi_colors(const VariantArg* colors) {
    const ElementType& element = element_of(Wire::kRecord, "System.Drawing.Color");
    return converted<ColorValue>(colors, "colors", element,
                                 [](const ColorValue& color) { return DrawingRecord::of(color); });
}

Collection to_gdi_points(const VariantArg* points) {
    const ElementType& element = element_of(Wire::kRecord, "System.Drawing.PointF");
    return converted<PointFValue>(points, "points", element,
                                  [](const PointFValue& point) { return DrawingRecord::of(point); });
}

Collection to_points_array(const VariantArg* points) {
    const ElementType& element = element_of(Wire::kStruct, StructTraits<PointFValue>::kName);
    return converted<PointValue>(points, "points", element, [](const PointValue& point) {
        return box(PointFValue{static_cast<float>(point.x), static_cast<float>(point.y)});
    });
}

// The smallest rectangle around both.
RectangleFValue union_with(const RectangleFValue& rectangle, const RectangleFValue& other_rectangle) {
    const float left = std::min(rectangle.x, other_rectangle.x);
    const float top = std::min(rectangle.y, other_rectangle.y);
    const float right = std::max(rectangle.x + rectangle.width, other_rectangle.x + other_rectangle.width);
    const float bottom = std::max(rectangle.y + rectangle.height, other_rectangle.y + other_rectangle.height);
    return {left, top, right - left, bottom - top};
}

// The two enumerations have the same names but not the same numbers.
Value to_gdi_rotate_flip(int32_t rotate_flip_type) {
    static const TypeInfo& own = require_type("Zelmor.Imaging.RotateFlipType");
    static const TypeInfo& drawing = require_type("System.Drawing.RotateFlipType");
    const EnumMember* wanted = find_enum_member(own, rotate_flip_type);
    for (const EnumMember& member : drawing.members) {
        if (wanted != nullptr && std::strcmp(member.name, wanted->name) == 0) {
            return member.value;
        }
    }
    throw_out_of_range("rotate_flip_type", "There is no turn " + std::to_string(rotate_flip_type) + ".");
}

using ColorExtensionsApi = api::Extensions::ColorExtensions;
using PointExtensionsApi = api::Extensions::PointExtensions;
using RectangleExtensionsApi = api::Extensions::RectangleExtensions;
using RotateFlipExtensionsApi = api::Extensions::RotateFlipExtensions;

const BehaviorTable table({
    behavior<&to_gdi_colors, ColorExtensionsApi::call_000_ToGdiColors>(),
    behavior<&to_points_array, PointExtensionsApi::call_000_ToPointsArray>(),
    behavior<&to_gdi_points, PointExtensionsApi::call_000_ToGdiPoints>(),
    behavior<&union_with, RectangleExtensionsApi::call_000_UnionWith>(),
    behavior<&to_gdi_rotate_flip, RotateFlipExtensionsApi::call_000_ToGdiRotateFlipType>(),
});

}  // namespace

}  // namespace zelmor::embed
