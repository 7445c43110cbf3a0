// Making brushes, and those of their properties that depend on each other.
#include <algorithm>
#include <cassert>
#include <cmath>

#include "generated/runtime/Zelmor.Imaging.Brushes.h"
#include "generated/runtime/Zelmor.Imaging.h"
#include "runtime/native/behaviors/drawing/matrix.h"
#include "runtime/native/behaviors/drawing/shapes.h"
#include "runtime/native/behaviors/values/known_colors.h"
#include "runtime/native/behaviors/values/struct_arrays.h"
#include "runtime/native/core/enumeration_properties.h"
#include "runtime/native/core/managed_exception.h"
#include "runtime/native/core/type_system.h"

namespace zelmor::embed {

using api::KnownColor;
using api::WrapMode;
using api::Brushes::LinearGradientBrush;
using api::Brushes::LinearMulticolorGradientBrush;
using api::Brushes::PathGradientBrush;
using api::Brushes::PathMulticolorGradientBrush;
using api::Brushes::TextureBrush;

namespace {

// ---- All brushes

Ref<Record> plain(const TypeInfo& type) {
    auto brush = make_ref<Record>(type);
    set_property(*brush, "Opacity", 1.0);
    return brush;
}
// A gradient with this blend goes evenly from one color to the other.
Value even_blend() {
    auto blend = make_instance(api::Blend::kType.name);
    set_property(*blend, "Factors", Value(Ref<ManagedObject>(make_array(std::vector<float>{1}))));
    return blend;
}
Ref<Record> transformable(const TypeInfo& type) {
    auto brush = plain(type);
    set_property(*brush, "Transform", Value(Ref<ManagedObject>(make_ref<MatrixObject>())));
    if (has_property(*brush, "Blend")) {
        set_property(*brush, "Blend", even_blend());
    }
    return brush;
}
// A clone has a blend and a transformation of its own; images and paths stay shared.
Ref<ManagedObject> copy_brush(Record& self) {
    auto twin = self.copy();
    for (const char* part : {"Blend", "InterpolationColors", "Transform"}) {
        if (!has_property(*twin, part)) {
            continue;
        }
        if (const auto held = property_object(*twin, part)) {
            set_property(*twin, part, Value(held->copy()));
        }
    }
    return twin;
}

// ---- Linear gradients

Ref<ManagedObject> linear(const TypeName& type, const RectD& rect, double angle, bool scalable) {
    auto brush = make_instance(type.name);
    set_property(*brush, "Rectangle", box(to_rectangle_f(rect)));
    set_property(*brush, "Angle", angle);
    set_property(*brush, "IsAngleScalable", scalable);
    return brush;
}

// Between two points: over the rectangle that they span, in the direction from one to the other. A rectangle without
// height or width is replaced by a square around the line, over which the gradient is the same.
Ref<ManagedObject> linear_between(const TypeName& type, PointD from, PointD to) {
    const PointD d = to - from;
    const double length = d.length();
    RectD rect{std::min(from.x, to.x), std::min(from.y, to.y), std::abs(d.x), std::abs(d.y)};
    if (d.x == 0 || d.y == 0) {
        const PointD middle = (from + to) * 0.5;
        rect = {middle.x - length / 2, middle.y - length / 2, length, length};
    }
    return linear(type, rect, std::atan2(d.y, d.x) * 180 / M_PI, false);
}

Ref<ManagedObject> with_colors(Ref<ManagedObject> brush, const ColorValue& start, const ColorValue& end) {
    set_property(*brush, "StartColor", box(start));
    set_property(*brush, "EndColor", box(end));
    return brush;
}
Ref<ManagedObject> linear_points(PointArg from, PointArg to, const ColorValue& start, const ColorValue& end) {
    return with_colors(linear_between(LinearGradientBrush::kType, from, to), start, end);
}
Ref<ManagedObject> linear_scalable(RectArg rect, const ColorValue& start, const ColorValue& end, float angle,
                                   bool scalable) {
    return with_colors(linear(LinearGradientBrush::kType, rect, angle, scalable), start, end);
}
Ref<ManagedObject> linear_rect(RectArg rect, const ColorValue& start, const ColorValue& end, float angle) {
    return linear_scalable(rect, start, end, angle, false);
}
Ref<ManagedObject> many_points(PointArg from, PointArg to) {
    return linear_between(LinearMulticolorGradientBrush::kType, from, to);
}
Ref<ManagedObject> many_scalable(RectArg rect, float angle, bool scalable) {
    return linear(LinearMulticolorGradientBrush::kType, rect, angle, scalable);
}
Ref<ManagedObject> many_rect(RectArg rect, float angle) {
    return many_scalable(rect, angle, false);
}

// The two colors of a gradient as an array.
Collection linear_colors(Record& self) {
    std::vector<Value> colors{property_object(self, "StartColor")->copy(), property_object(self, "EndColor")->copy()};
    return {Ref<ManagedObject>(struct_array<ColorValue>(std::move(colors)))};
}
void set_linear_colors(Record& self, const VariantArg* value) {
    const std::vector<ColorValue> colors = read_structs<ColorValue>(value, "value");
    if (colors.size() != 2) {
        throw_argument("A linear gradient has two colors. (Parameter 'value')");
    }
    set_property(self, "StartColor", box(colors[0]));
    set_property(self, "EndColor", box(colors[1]));
}

// ---- Blends by formula

void set_blend(Record& self, std::vector<float> factors, std::vector<float> positions) {
    assert(factors.size() == positions.size());
    auto blend = make_instance(api::Blend::kType.name);
    set_property(*blend, "Factors", Value(Ref<ManagedObject>(make_array(std::move(factors)))));
    set_property(*blend, "Positions", Value(Ref<ManagedObject>(make_array(std::move(positions)))));
    set_property(self, "Blend", Value(blend));
}
void require_parts(float focus, float scale) {
    if (!(focus >= 0 && focus <= 1)) {
        throw_out_of_range("focus", "The focus is a part between 0 and 1.");
    }
    if (!(scale >= 0 && scale <= 1)) {
        throw_out_of_range("scale", "The scale is a part between 0 and 1.");
    }
}
// Rises evenly to `scale` at the focus and falls evenly from there.
void set_triangle(Record& self, float focus, float scale) {
    require_parts(focus, scale);
    if (focus == 0) {
        return set_blend(self, {scale, 0}, {0, 1});
    }
    if (focus == 1) {
        return set_blend(self, {0, scale}, {0, 1});
    }
    set_blend(self, {0, scale, 0}, {0, focus, 1});
}
void set_full_triangle(Record& self, float focus) {
    set_triangle(self, focus, 1);
}
// Rises and falls as the integral of a bell does: slowly at the ends and at the focus.
void set_bell(Record& self, float focus, float scale) {
    require_parts(focus, scale);
    constexpr int kSteps = 128;
    const auto rise = [](double t) {
        const auto sigma = [](double x) { return std::erf((x - 0.5) * 4 / std::sqrt(2.0)); };
        return (sigma(t) - sigma(0)) / (sigma(1) - sigma(0));
    };
    std::vector<float> factors, positions;
    const double at = focus;
    for (int i = 0; i <= 2 * kSteps; ++i) {
        const bool first = i <= kSteps;
        if (first ? at == 0 && i < kSteps : at == 1) {
            continue;  // a side without width
        }
        const double t = first ? static_cast<double>(i) / kSteps : static_cast<double>(i - kSteps) / kSteps;
        positions.push_back(static_cast<float>(first ? at * t : at + (1 - at) * t));
        factors.push_back(static_cast<float>(scale * (first ? rise(t) : 1 - rise(t))));
    }
    set_blend(self, std::move(factors), std::move(positions));
}
void set_full_bell(Record& self, float focus) {
    set_bell(self, focus, 1);
}

// ---- Path gradients

ColorValue of_argb(KnownColor color) {
    return ColorValue::from_argb(argb_of(color));
}

Ref<ManagedObject> over_outline(const TypeName& type, const std::vector<PointD>& points, Ref<ManagedObject> path) {
    PointD sum;
    for (const PointD& point : points) {
        sum = sum + point;
    }
    auto brush = make_instance(type.name);
    set_property(*brush, "PathPoints", Value(Ref<ManagedObject>(point_array(points))));
    set_property(*brush, "GraphicsPath", Value(std::move(path)));
    set_property(*brush, "CenterPoint",
                 box(to_point_f(sum * (1.0 / static_cast<double>(std::max<size_t>(points.size(), 1))))));
    set_property(*brush, "WrapMode", WrapMode::kClamp);
    if (has_property(*brush, "CenterColor")) {
        set_property(*brush, "CenterColor", box(of_argb(KnownColor::kBlack)));
        std::vector<Value> white{box(of_argb(KnownColor::kWhite))};
        set_property(*brush, "SurroundColors", Value(Ref<ManagedObject>(struct_array<ColorValue>(std::move(white)))));
    }
    return brush;
}
template <const TypeName& kType>
Ref<ManagedObject> over_points(PointsArg points) {
    auto shape = make_ref<PointsShape>(require_type(PointsShape::kManagedName));
    shape->set_points(points.items);
    set_property(*shape, "IsClosed", true);
    auto figure = make_ref<FigureObject>();
    figure->shapes.emplace_back(shape);
    auto path = make_ref<PathObject>();
    path->figures.push_back(figure);
    return over_outline(kType, points.items, path);
}
template <const TypeName& kType>
Ref<ManagedObject> over_wrapped_points(PointsArg points, WrapMode wrap_mode) {
    auto brush = over_points<kType>(std::move(points));
    set_property(*brush, "WrapMode", wrap_mode);
    return brush;
}
template <const TypeName& kType>
Ref<ManagedObject> over_path(PathObject* path) {
    std::vector<PointD> points;
    for (const Contour& contour : required(path, "path").outline()) {
        const std::vector<PointD> part = flattened(contour, 0.25);
        points.insert(points.end(), part.begin(), part.end());
    }
    return over_outline(kType, points, Ref<ManagedObject>(path));
}

// ---- Textures. Without a rectangle the whole image is the texture.

Ref<ManagedObject> texture_of_all(Record* image, WrapMode wrap_mode, const RectD* rect, Record* attributes) {
    auto brush = make_instance(TextureBrush::kType.name);
    set_property(*brush, "Image", Value(Ref<ManagedObject>(&required(image, "image"))));
    set_property(*brush, "WrapMode", wrap_mode);
    set_property(*brush, "ImageAttributes", Value(Ref<ManagedObject>(attributes)));
    if (rect != nullptr) {
        set_property(*brush, "ImageRectangle", box(to_rectangle_f(*rect)));
    }
    return brush;
}
Ref<ManagedObject> texture(Record* image) {
    return texture_of_all(image, WrapMode::kTile, nullptr, nullptr);
}
Ref<ManagedObject> texture_wrapped(Record* image, WrapMode wrap_mode) {
    return texture_of_all(image, wrap_mode, nullptr, nullptr);
}
Ref<ManagedObject> texture_wrapped_rect(Record* image, WrapMode wrap_mode, RectArg rect) {
    return texture_of_all(image, wrap_mode, &rect, nullptr);
}
Ref<ManagedObject> texture_rect(Record* image, RectArg rect) {
    return texture_of_all(image, WrapMode::kTile, &rect, nullptr);
}
Ref<ManagedObject> texture_attributes(Record* image, RectArg rect, Record* attributes) {
    return texture_of_all(image, WrapMode::kTile, &rect, attributes);
}

const BehaviorTable ZELMOR_UNNAMED({
    behavior<&copy_brush, api::Brush::call_000_DeepClone>(),
    behavior<&linear_points, LinearGradientBrush::ctor_001_LinearGradientBrush,
             LinearGradientBrush::ctor_002_LinearGradientBrush, LinearGradientBrush::call_000_CreateWithPoints,
             LinearGradientBrush::call_000_CreateWithPointsF>(),
    behavior<&linear_rect, LinearGradientBrush::ctor_003_LinearGradientBrush,
             LinearGradientBrush::ctor_004_LinearGradientBrush, LinearGradientBrush::call_000_CreateWithRectColorsAngle,
             LinearGradientBrush::call_000_CreateWithRectFColorsAngle>(),
    behavior<&linear_scalable, LinearGradientBrush::ctor_005_LinearGradientBrush,
             LinearGradientBrush::ctor_006_LinearGradientBrush,
             LinearGradientBrush::call_000_CreateWithRectColorsAngleScalable,
             LinearGradientBrush::call_000_CreateWithRectFColorsAngleScalable>(),
    property<&linear_colors, &set_linear_colors, LinearGradientBrush::property_LinearColors>(),
    behavior<&set_full_bell, LinearGradientBrush::call_000_SetSigmaBellShape,
             PathGradientBrush::call_000_SetSigmaBellShape>(),
    behavior<&set_bell, LinearGradientBrush::call_001_SetSigmaBellShape,
             PathGradientBrush::call_001_SetSigmaBellShape>(),
    behavior<&set_full_triangle, LinearGradientBrush::call_000_SetBlendTriangularShape,
             PathGradientBrush::call_000_SetBlendTriangularShape>(),
    behavior<&set_triangle, LinearGradientBrush::call_001_SetBlendTriangularShape,
             PathGradientBrush::call_001_SetBlendTriangularShape>(),
    behavior<&many_points, LinearMulticolorGradientBrush::ctor_001_LinearMulticolorGradientBrush,
             LinearMulticolorGradientBrush::ctor_002_LinearMulticolorGradientBrush,
             LinearMulticolorGradientBrush::call_000_CreateWithPoints,
             LinearMulticolorGradientBrush::call_000_CreateWithPointsF>(),
    behavior<&many_rect, LinearMulticolorGradientBrush::ctor_003_LinearMulticolorGradientBrush,
             LinearMulticolorGradientBrush::ctor_004_LinearMulticolorGradientBrush,
             LinearMulticolorGradientBrush::call_000_CreateWithRect,
             LinearMulticolorGradientBrush::call_000_CreateWithRectF>(),
    behavior<&many_scalable, LinearMulticolorGradientBrush::ctor_005_LinearMulticolorGradientBrush,
             LinearMulticolorGradientBrush::ctor_006_LinearMulticolorGradientBrush,
             LinearMulticolorGradientBrush::call_000_CreateWithRectAngleScalable,
             LinearMulticolorGradientBrush::call_000_CreateWithRectFAngleScalable>(),
    behavior<&over_points<PathGradientBrush::kType>, PathGradientBrush::ctor_000_PathGradientBrush,
             PathGradientBrush::ctor_002_PathGradientBrush, PathGradientBrush::call_000_CreateWithPointsF,
             PathGradientBrush::call_000_CreateWithPoints>(),
    behavior<&over_wrapped_points<PathGradientBrush::kType>, PathGradientBrush::ctor_001_PathGradientBrush,
             PathGradientBrush::ctor_003_PathGradientBrush, PathGradientBrush::call_000_CreateWithPointsFWrapMode,
             PathGradientBrush::call_000_CreateWithPointsWrapMode>(),
    behavior<&over_path<PathGradientBrush::kType>, PathGradientBrush::ctor_004_PathGradientBrush,
             PathGradientBrush::call_000_CreateWithPath>(),
    behavior<&over_points<PathMulticolorGradientBrush::kType>,
             PathMulticolorGradientBrush::ctor_000_PathMulticolorGradientBrush,
             PathMulticolorGradientBrush::ctor_002_PathMulticolorGradientBrush,
             PathMulticolorGradientBrush::call_000_CreateWithPoints,
             PathMulticolorGradientBrush::call_000_CreateWithPointsF>(),
    behavior<&over_wrapped_points<PathMulticolorGradientBrush::kType>,
             PathMulticolorGradientBrush::ctor_001_PathMulticolorGradientBrush,
             PathMulticolorGradientBrush::ctor_003_PathMulticolorGradientBrush,
             PathMulticolorGradientBrush::call_000_CreateWithPointsFWrapMode,
             PathMulticolorGradientBrush::call_000_CreateWithPointsWrapMode>(),
    behavior<&over_path<PathMulticolorGradientBrush::kType>,
             PathMulticolorGradientBrush::ctor_004_PathMulticolorGradientBrush,
             PathMulticolorGradientBrush::call_000_CreateWithPath>(),
    behavior<&texture, TextureBrush::ctor_000_TextureBrush>(),
    behavior<&texture_wrapped, TextureBrush::ctor_001_TextureBrush, TextureBrush::call_000_CreateWithImageWrapMode>(),
    behavior<&texture_wrapped_rect, TextureBrush::ctor_002_TextureBrush, TextureBrush::ctor_003_TextureBrush,
             TextureBrush::call_000_CreateWithImageWrapModeRectF, TextureBrush::call_000_CreateWithImageWrapModeRect>(),
    behavior<&texture_rect, TextureBrush::ctor_004_TextureBrush, TextureBrush::ctor_006_TextureBrush,
             TextureBrush::call_000_CreateWithImageRectF, TextureBrush::call_000_CreateWithImageRect>(),
    behavior<&texture_attributes, TextureBrush::ctor_005_TextureBrush, TextureBrush::ctor_007_TextureBrush,
             TextureBrush::call_000_CreateWithImageRectFAttribs, TextureBrush::call_000_CreateWithImageRectAttribs>(),
});

const FactoryRegistration ZELMOR_UNNAMED(api::Brush::kType.name,
                                         [](const TypeInfo& type) -> Ref<ManagedObject> { return plain(type); });
const FactoryRegistration ZELMOR_UNNAMED(api::Brushes::TransformBrush::kType.name,
                                         [](const TypeInfo& type) -> Ref<ManagedObject> {
                                             return transformable(type);
                                         });
const FactoryRegistration ZELMOR_UNNAMED(api::TransparencySupporter::kType.name,
                                         [](const TypeInfo& type) -> Ref<ManagedObject> { return plain(type); });
// An empty rectangle stands for the whole image.
const FactoryRegistration ZELMOR_UNNAMED(TextureBrush::kType.name, [](const TypeInfo& type) -> Ref<ManagedObject> {
    auto brush = transformable(type);
    set_property(*brush, "ImageAttributes", Ref<ManagedObject>());
    set_property(*brush, "ImageRectangle", box(RectangleFValue()));
    return brush;
});

}  // namespace

}  // namespace zelmor::embed
