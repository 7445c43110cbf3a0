// Members of shapes and figures.
#include <algorithm>

#include "generated/runtime/Zelmor.Imaging.Shapes.h"
#include "generated/runtime/Zelmor.Imaging.h"
#include "runtime/native/behaviors/drawing/matrix.h"
#include "runtime/native/behaviors/drawing/pens.h"
#include "runtime/native/behaviors/drawing/shapes.h"

namespace zelmor::embed {

namespace {

constexpr double kFlatness = 0.25;

// ---- What everything with an outline has

RectangleFValue bounds(OutlinedObject& self) {
    return to_rectangle_f(self.bounds());
}
RectangleFValue bounds_under(OutlinedObject& self, MatrixObject* matrix) {
    return to_rectangle_f(matrix ? bounds_of(transformed(self.outline(), matrix->map)) : self.bounds());
}
// With what a pen adds that draws the transformed outline.
RectangleFValue bounds_with_pen(OutlinedObject& self, MatrixObject* matrix, Record* pen) {
    if (!pen) {
        return bounds_under(self, matrix);
    }
    const Outline outline = transformed(self.outline(), map_of(matrix));
    return to_rectangle_f(bounds_of(widened(outline, pen_shape(*pen), kFlatness)));
}
void transform(OutlinedObject& self, MatrixObject* matrix) {
    self.transform(required_map(matrix, "transform"));
}
Collection segments(OutlinedObject& self) {
    return {Ref<ManagedObject>(segment_array(self.outline()))};
}

PointFValue center(ShapeObject& self) {
    return to_point_f(self.center());
}
bool has_segments(ShapeObject& self) {
    return self.has_segments();
}
void reverse_shape(ShapeObject& self) {
    self.reverse();
}
PointFValue start_point(ShapeObject& self) {
    const Outline outline = self.outline();
    return outline.empty() ? PointFValue() : to_point_f(outline.front().start);
}
PointFValue end_point(ShapeObject& self) {
    const Outline outline = self.outline();
    return outline.empty() ? PointFValue() : to_point_f(outline.back().end());
}

// ---- Framed shapes

Ref<FramedShape> framed(const char* type, const RectD& rect) {
    auto shape = make_ref<FramedShape>(require_type(type));
    shape->set_rectangle(rect);
    return shape;
}

constexpr const char* kRectangle = "Zelmor.Imaging.Shapes.RectangleShape";
constexpr const char* kEllipse = "Zelmor.Imaging.Shapes.EllipseShape";
constexpr const char* kPie = "Zelmor.Imaging.Shapes.PieShape";
constexpr const char* kArc = "Zelmor.Imaging.Shapes.ArcShape";
constexpr const char* kText = "Zelmor.Imaging.Shapes.TextShape";

Ref<FramedShape> rectangle_shape(RectArg rect) {
    return framed(kRectangle, rect);
}
Ref<FramedShape> ellipse_shape(RectArg rect) {
    return framed(kEllipse, rect);
}
Ref<FramedShape> with_angles(const char* type, const RectD& rect, float start, float sweep) {
    auto shape = framed(type, rect);
    set_property(*shape, "StartAngle", double{start});
    set_property(*shape, "SweepAngle", double{sweep});
    return shape;
}
Ref<FramedShape> pie_shape(RectArg rect, float start, float sweep) {
    return with_angles(kPie, rect, start, sweep);
}
Ref<FramedShape> arc_shape(RectArg rect, float start, float sweep) {
    return with_angles(kArc, rect, start, sweep);
}
Ref<FramedShape> closed_arc_shape(RectArg rect, float start, float sweep, bool is_closed) {
    auto shape = with_angles(kArc, rect, start, sweep);
    set_property(*shape, "IsClosed", is_closed);
    return shape;
}
Ref<FramedShape> text_shape(std::optional<std::u16string> text, RectArg rect, Record* font, Record* format) {
    auto shape = framed(kText, rect);
    if (text) {
        set_property(*shape, "Text", std::move(*text));
    }
    set_property(*shape, "Font", Ref<ManagedObject>(font));
    set_property(*shape, "TextFormat", Ref<ManagedObject>(format));
    return shape;
}

template <PointD FramedShape::*kCorner>
PointFValue corner(FramedShape& self) {
    return to_point_f(self.*kCorner);
}
PointFValue right_bottom(FramedShape& self) {
    return to_point_f(self.right_bottom());
}
float frame_width(FramedShape& self) {
    return static_cast<float>(self.size().width);
}
float frame_height(FramedShape& self) {
    return static_cast<float>(self.size().height);
}

// ---- Figures

Collection shapes(FigureObject& self) {
    return {Ref<ManagedObject>(object_array(ShapeObject::kManagedName, self.shapes))};
}
ShapeObject& required(ShapeObject* shape) {
    if (!shape) {
        throw_argument_null("shape");
    }
    return *shape;
}
void add_shape(FigureObject& self, ShapeObject* shape) {
    self.shapes.emplace_back(&required(shape));
}
void add_shapes(FigureObject& self, const VariantArg* shapes) {
    for (auto& shape : read_objects<ShapeObject>(shapes, "shapes")) {
        self.shapes.push_back(std::move(shape));
    }
}
void remove(FigureObject& self, const ShapeObject& shape) {
    const auto found =
        std::find_if(self.shapes.begin(), self.shapes.end(), [&](const auto& held) { return held.get() == &shape; });
    if (found != self.shapes.end()) {
        self.shapes.erase(found);
    }
}
void remove_shape(FigureObject& self, ShapeObject* shape) {
    remove(self, required(shape));
}
void remove_shapes(FigureObject& self, const VariantArg* shapes) {
    for (const auto& shape : read_objects<ShapeObject>(shapes, "shapes")) {
        remove(self, *shape);
    }
}
void reverse_figure(FigureObject& self) {
    self.reverse();
}

constexpr const char* kFigure = FigureObject::kManagedName;
constexpr const char* kFramed = FramedShape::kManagedName;
constexpr const char* kPolygon = PointsShape::kManagedName;
constexpr const char* kCurve = "Zelmor.Imaging.Shapes.CurveShape";

using ArcShapeApi = api::Shapes::ArcShape;
using BezierShapeApi = api::Shapes::BezierShape;
using EllipseShapeApi = api::Shapes::EllipseShape;
using FigureApi = api::Figure;
using PieShapeApi = api::Shapes::PieShape;
using PolygonShapeApi = api::Shapes::PolygonShape;
using RectangleProjectedShapeApi = api::Shapes::RectangleProjectedShape;
using RectangleShapeApi = api::Shapes::RectangleShape;
using TextShapeApi = api::Shapes::TextShape;

const BehaviorTable table({
    behavior<&rectangle_shape, RectangleShapeApi::ctor_001_RectangleShape>(),
    behavior<&ellipse_shape, EllipseShapeApi::ctor_001_EllipseShape>(),
    behavior<&pie_shape, PieShapeApi::ctor_001_PieShape>(),
    behavior<&arc_shape, ArcShapeApi::ctor_001_ArcShape>(),
    behavior<&closed_arc_shape, ArcShapeApi::ctor_002_ArcShape>(),
    behavior<&text_shape, TextShapeApi::ctor_001_TextShape>(),
    behavior<&corner<&FramedShape::left_top>, RectangleProjectedShapeApi::get_LeftTop>(),
    behavior<&corner<&FramedShape::right_top>, RectangleProjectedShapeApi::get_RightTop>(),
    behavior<&corner<&FramedShape::left_bottom>, RectangleProjectedShapeApi::get_LeftBottom>(),
    behavior<&right_bottom, RectangleProjectedShapeApi::get_RightBottom>(),
    behavior<&frame_width, RectangleProjectedShapeApi::get_RectangleWidth>(),
    behavior<&frame_height, RectangleProjectedShapeApi::get_RectangleHeight>(),
    behavior<&reverse_shape, PolygonShapeApi::call_000_Reverse, ArcShapeApi::call_000_Reverse>(),
    behavior<&start_point, PolygonShapeApi::get_StartPoint, ArcShapeApi::get_StartPoint>(),
    behavior<&end_point, PolygonShapeApi::get_EndPoint, BezierShapeApi::get_EndPoint, ArcShapeApi::get_EndPoint>(),
    behavior<&shapes, FigureApi::get_Shapes>(),
    behavior<&add_shape, FigureApi::call_000_AddShape>(),
    behavior<&add_shapes, FigureApi::call_000_AddShapes>(),
    behavior<&remove_shape, FigureApi::call_000_RemoveShape>(),
    behavior<&remove_shapes, FigureApi::call_000_RemoveShapes>(),
    behavior<&reverse_figure, FigureApi::call_000_Reverse>(),
});

// Types list again what their bases have; all of it is answered alike, from the outline.
using ObjectWithBoundsApi = api::ObjectWithBounds;
using GraphicsPathApi = api::GraphicsPath;
using CurveShapeApi = api::Shapes::CurveShape;
using ShapeApi = api::Shape;
const BehaviorTable outlined({
    behavior<&bounds, ObjectWithBoundsApi::get_Bounds, FigureApi::get_Bounds, GraphicsPathApi::get_Bounds,
             RectangleProjectedShapeApi::get_Bounds, TextShapeApi::get_Bounds, PolygonShapeApi::get_Bounds,
             BezierShapeApi::get_Bounds, CurveShapeApi::get_Bounds>(),
    behavior<&bounds_under, ObjectWithBoundsApi::call_000_GetBounds, FigureApi::call_000_GetBounds,
             GraphicsPathApi::call_000_GetBounds, RectangleProjectedShapeApi::call_000_GetBounds,
             ArcShapeApi::call_000_GetBounds, TextShapeApi::call_000_GetBounds, PolygonShapeApi::call_000_GetBounds,
             BezierShapeApi::call_000_GetBounds, CurveShapeApi::call_000_GetBounds>(),
    behavior<&bounds_with_pen, ObjectWithBoundsApi::call_001_GetBounds>(),
    behavior<&transform, ObjectWithBoundsApi::call_000_Transform, FigureApi::call_000_Transform,
             GraphicsPathApi::call_000_Transform, RectangleProjectedShapeApi::call_000_Transform,
             TextShapeApi::call_000_Transform, PolygonShapeApi::call_000_Transform>(),
    behavior<&center, ShapeApi::get_Center, RectangleProjectedShapeApi::get_Center, TextShapeApi::get_Center,
             PolygonShapeApi::get_Center, BezierShapeApi::get_Center, CurveShapeApi::get_Center>(),
    behavior<&has_segments, ShapeApi::get_HasSegments, RectangleProjectedShapeApi::get_HasSegments,
             TextShapeApi::get_HasSegments, PolygonShapeApi::get_HasSegments, BezierShapeApi::get_HasSegments>(),
    behavior<&segments, ShapeApi::get_Segments, RectangleShapeApi::get_Segments, EllipseShapeApi::get_Segments,
             PieShapeApi::get_Segments, ArcShapeApi::get_Segments, TextShapeApi::get_Segments,
             PolygonShapeApi::get_Segments, BezierShapeApi::get_Segments, CurveShapeApi::get_Segments,
             FigureApi::get_Segments>(),
});

const FactoryRegistration framed_factory(kFramed, [](const TypeInfo& type) -> Ref<ManagedObject> {
    return make_ref<FramedShape>(type);
});
const FactoryRegistration points_factory(kPolygon, [](const TypeInfo& type) -> Ref<ManagedObject> {
    return make_ref<PointsShape>(type);
});
const FactoryRegistration curve_factory(kCurve, [](const TypeInfo& type) -> Ref<ManagedObject> {
    auto shape = make_ref<PointsShape>(type);
    set_property(*shape, "Tension", 0.5);
    return shape;
});
const FactoryRegistration figure_factory(kFigure, [](const TypeInfo& type) -> Ref<ManagedObject> {
    return make_ref<FigureObject>(type);
});

}  // namespace

}  // namespace zelmor::embed
