// The conversions of this library's drawing objects into those of the drawing module.
//
// Arrays of points and colors get elements of that module. A single point, color or rectangle is a value of this
// library with the same numbers: no result of any type can carry a value of the drawing module, which makes these
// itself. The drawing module's classes have no members; an object of one keeps a copy of what it was made of.
#include <algorithm>
#include <cmath>
#include <cstring>

#include "generated/runtime/Zelmor.Imaging.Extensions.h"
#include "generated/runtime/Zelmor.Imaging.h"
#include "runtime/native/collections/collection.h"
#include "runtime/native/collections/drawing_record.h"
#include "runtime/native/core/entry.h"
#include "runtime/native/core/enumeration_properties.h"
#include "runtime/native/core/managed_exception.h"
#include "runtime/native/core/references.h"

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

// An object of a class of the drawing module.
class DrawingObject final : public ManagedObject {
 public:
    static constexpr const char* kManagedName = "an object of System.Drawing";
    DrawingObject(const TypeInfo& type, Ref<ManagedObject> original)
        : ManagedObject(type), m_original(std::move(original)) {
        track();
    }
    Ref<ManagedObject> copy() const override { return make_ref<DrawingObject>(type(), m_original); }
    void references(ReferenceVisitor& visitor) override { visitor(m_original); }

 private:
    Ref<ManagedObject> m_original;
};

// A class of this library and the one of the drawing module that stands for it.
struct DrawingClass {
    const char* name;
    const char* parameter;
};
constexpr DrawingClass kBrush{"System.Drawing.Brush", "brush"};
constexpr DrawingClass kColorBlend{"System.Drawing.Drawing2D.ColorBlend", "color_blend"};
constexpr DrawingClass kColorMap{"System.Drawing.Imaging.ColorMap", "color_map"};
constexpr DrawingClass kColorMatrix{"System.Drawing.Imaging.ColorMatrix", "color_matrix"};
constexpr DrawingClass kFont{"System.Drawing.Font", "font"};
constexpr DrawingClass kGraphicsPath{"System.Drawing.Drawing2D.GraphicsPath", "graphics_path"};
constexpr DrawingClass kImageAttributes{"System.Drawing.Imaging.ImageAttributes", "image_attributes"};
constexpr DrawingClass kMatrix{"System.Drawing.Drawing2D.Matrix", "matrix"};
constexpr DrawingClass kPen{"System.Drawing.Pen", "pen"};
constexpr DrawingClass kRegion{"System.Drawing.Region", "region"};
constexpr DrawingClass kStringFormat{"System.Drawing.StringFormat", "string_format"};

Ref<ManagedObject> drawing_object(const DrawingClass& drawn, const ManagedObject* original) {
    if (original == nullptr) {
        throw_argument_null(drawn.parameter);
    }
    original->require_live();
    return make_ref<DrawingObject>(require_type(drawn.name), original->copy());
}

template <const DrawingClass& kClass>
Value to_gdi(Record* original) {
    return drawing_object(kClass, original);
}

Value to_gdi_font_in_unit(Record* font, api::GraphicsUnit font_unit) {
    if (font == nullptr) {
        throw_argument_null(kFont.parameter);
    }
    const Ref<ManagedObject> changed = font->copy();
    set_property(*changed, "Unit", font_unit);
    return drawing_object(kFont, changed.get());
}

Collection to_gdi_color_maps(const VariantArg* color_maps) {
    std::vector<Value> made;
    const ElementType& own = element_of(Wire::kClass, "Zelmor.Imaging.ColorMap");
    for (const Value& each : read_elements(color_maps, own, "color_maps")) {
        const auto* original = std::get_if<Ref<ManagedObject>>(&each);
        made.emplace_back(drawing_object(kColorMap, original != nullptr ? original->get() : nullptr));
    }
    return {Ref<ManagedObject>(
        make_ref<ValueList>(ListShape::kArray, element_of(Wire::kClass, kColorMap.name), std::move(made)))};
}

Value to_gdi_color(const ColorValue& color) {
    return Ref<ManagedObject>(box(color));
}
Value to_gdi_point(const PointFValue& point) {
    return Ref<ManagedObject>(box(point));
}
Value to_gdi_rectangle(const RectangleValue& rectangle) {
    return Ref<ManagedObject>(box(rectangle));
}
Value to_gdi_rectangle_f(const RectangleFValue& rectangle) {
    return Ref<ManagedObject>(box(rectangle));
}
// To the nearest whole numbers, and from the middle between two to the even one.
Value to_gdi_whole_rectangle(const RectangleFValue& rectangle) {
    const auto whole = [](float value) {
        if (!(value > -2147483648.0F && value < 2147483648.0F)) {
            throw ManagedException("OverflowException", "The rectangle is too large for whole numbers of 32 bits.");
        }
        return static_cast<int32_t>(std::nearbyint(value));
    };
    return Ref<ManagedObject>(
        box(RectangleValue{whole(rectangle.x), whole(rectangle.y), whole(rectangle.width), whole(rectangle.height)}));
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

const BehaviorTable ZELMOR_UNNAMED({
    behavior<&to_gdi<kBrush>, api::Extensions::BrushExtensions::call_000_ToGdiBrush>(),
    behavior<&to_gdi<kColorBlend>, api::Extensions::ColorBlendExtensions::call_000_ToGdiColorBlend>(),
    behavior<&to_gdi<kColorMap>, api::Extensions::ColorMapExtensions::call_000_ToGdiColorMap>(),
    behavior<&to_gdi_color_maps, api::Extensions::ColorMapExtensions::call_000_ToGdiColorMaps>(),
    behavior<&to_gdi<kColorMatrix>, api::Extensions::ColorMatrixExtensions::call_000_ToGdiColorMatrix>(),
    behavior<&to_gdi<kFont>, api::Extensions::FontExtensions::call_000_ToGdiFont>(),
    behavior<&to_gdi_font_in_unit, api::Extensions::FontExtensions::call_001_ToGdiFont>(),
    behavior<&to_gdi<kGraphicsPath>, api::Extensions::GraphicsPathExtensions::call_000_ToGdiGraphicsPath>(),
    behavior<&to_gdi<kImageAttributes>, api::Extensions::ImageAttributesExtensions::call_000_ToGdiImageAttributes>(),
    behavior<&to_gdi<kMatrix>, api::Extensions::MatrixExtensions::call_000_ToGdiMatrix>(),
    behavior<&to_gdi<kPen>, api::Extensions::PenExtensions::call_000_ToGdiPen>(),
    behavior<&to_gdi<kRegion>, api::Extensions::RegionExtensions::call_000_ToGdiRegion>(),
    behavior<&to_gdi<kStringFormat>, api::Extensions::StringFormatExtensions::call_000_ToGdiStringFormat>(),
    behavior<&to_gdi_color, ColorExtensionsApi::call_000_ToGdiColor>(),
    behavior<&to_gdi_point, PointExtensionsApi::call_000_ToGdiPoint>(),
    behavior<&to_gdi_rectangle, RectangleExtensionsApi::call_000_ToGdiRectangle>(),
    behavior<&to_gdi_whole_rectangle, RectangleExtensionsApi::call_001_ToGdiRectangle>(),
    behavior<&to_gdi_rectangle_f, RectangleExtensionsApi::call_000_ToGdiRectangleF>(),
    behavior<&to_gdi_colors, ColorExtensionsApi::call_000_ToGdiColors>(),
    behavior<&to_points_array, PointExtensionsApi::call_000_ToPointsArray>(),
    behavior<&to_gdi_points, PointExtensionsApi::call_000_ToGdiPoints>(),
    behavior<&union_with, RectangleExtensionsApi::call_000_UnionWith>(),
    behavior<&to_gdi_rotate_flip, RotateFlipExtensionsApi::call_000_ToGdiRotateFlipType>(),
});

}  // namespace

}  // namespace zelmor::embed
