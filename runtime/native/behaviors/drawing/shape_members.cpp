// Members of shapes and figures.
#include <algorithm>

#include "generated/runtime/Zelmor.Imaging.Shapes.h"
#include "generated/runtime/Zelmor.Imaging.h"
#include "runtime/native/behaviors/drawing/matrix.h"
#include "runtime/native/behaviors/drawing/pens.h"
#include "runtime/native/behaviors/drawing/shapes.h"

namespace zelmor::embed {

using namespace api::Shapes;
using api::Figure;
using api::GraphicsPath;
using api::ObjectWithBounds;
using api::Shape;

namespace {

constexpr double kShapeFlatness = 0.25;

// ---- Everything with an outline

RectangleFValue bounds(OutlinedObject& self) {
    return to_rectangle_f(self.bounds());
}
RectangleFValue bounds_under(OutlinedObject& self, MatrixObject* matrix) {
    return to_rectangle_f(matrix != nullptr ? bounds_of(transformed(self.outline(), matrix->map)) : self.bounds());
}
// The bounds of the transformed outline as the pen draws it.
RectangleFValue bounds_with_pen(OutlinedObject& self, MatrixObject* matrix, Record* pen) {
    if (pen == nullptr) {
        return bounds_under(self, matrix);
    }
    const Outline outline = transformed(self.outline(), map_of(matrix));
    return to_rectangle_f(bounds_of(widened(outline, pen_shape(*pen), kShapeFlatness)));
}
void transform_shape(OutlinedObject& self, MatrixObject* matrix) {
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

Ref<FramedShape> framed(const TypeName& type, const RectD& rect) {
    auto shape = make_ref<FramedShape>(require_type(type.name));
    shape->set_rectangle(rect);
    return shape;
}

Ref<FramedShape> rectangle_shape(RectArg rect) {
    return framed(RectangleShape::kType, rect);
}
Ref<FramedShape> ellipse_shape(RectArg rect) {
    return framed(EllipseShape::kType, rect);
}
Ref<FramedShape> with_angles(const TypeName& type, const RectD& rect, float start, float sweep) {
    auto shape = framed(type, rect);
    set_property(*shape, "StartAngle", double{start});
    set_property(*shape, "SweepAngle", double{sweep});
    return shape;
}
Ref<FramedShape> pie_shape(RectArg rect, float start, float sweep) {
    return with_angles(PieShape::kType, rect, start, sweep);
}
Ref<FramedShape> arc_shape(RectArg rect, float start, float sweep) {
    return with_angles(ArcShape::kType, rect, start, sweep);
}
Ref<FramedShape> closed_arc_shape(RectArg rect, float start, float sweep, bool is_closed) {
    auto shape = with_angles(ArcShape::kType, rect, start, sweep);
    set_property(*shape, "IsClosed", is_closed);
    return shape;
}
Ref<FramedShape> text_shape(std::optional<std::u16string> text, RectArg rect, Record* font, Record* format) {
    auto shape = framed(TextShape::kType, rect);
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
    return {Ref<ManagedObject>(object_array(Shape::kType, self.shapes))};
}
void add_shape(FigureObject& self, ShapeObject* shape) {
    self.shapes.emplace_back(&required(shape, "shape"));
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
    remove(self, required(shape, "shape"));
}
void remove_shapes(FigureObject& self, const VariantArg* shapes) {
    for (const auto& shape : read_objects<ShapeObject>(shapes, "shapes")) {
        remove(self, *shape);
    }
}
void reverse_figure(FigureObject& self) {
    self.reverse();
}

const BehaviorTable ZELMOR_UNNAMED({
    behavior<&rectangle_shape, RectangleShape::ctor_001_RectangleShape>(),
    behavior<&ellipse_shape, EllipseShape::ctor_001_EllipseShape>(),
    behavior<&pie_shape, PieShape::ctor_001_PieShape>(),
    behavior<&arc_shape, ArcShape::ctor_001_ArcShape>(),
    behavior<&closed_arc_shape, ArcShape::ctor_002_ArcShape>(),
    behavior<&text_shape, TextShape::ctor_001_TextShape>(),
    behavior<&corner<&FramedShape::left_top>, RectangleProjectedShape::get_LeftTop>(),
    behavior<&corner<&FramedShape::right_top>, RectangleProjectedShape::get_RightTop>(),
    behavior<&corner<&FramedShape::left_bottom>, RectangleProjectedShape::get_LeftBottom>(),
    behavior<&right_bottom, RectangleProjectedShape::get_RightBottom>(),
    behavior<&frame_width, RectangleProjectedShape::get_RectangleWidth>(),
    behavior<&frame_height, RectangleProjectedShape::get_RectangleHeight>(),
    behavior<&reverse_shape, PolygonShape::call_000_Reverse, ArcShape::call_000_Reverse>(),
    behavior<&start_point, PolygonShape::get_StartPoint, ArcShape::get_StartPoint>(),
    behavior<&end_point, PolygonShape::get_EndPoint, BezierShape::get_EndPoint, ArcShape::get_EndPoint>(),
    behavior<&shapes, Figure::get_Shapes>(),
    behavior<&add_shape, Figure::call_000_AddShape>(),
    behavior<&add_shapes, Figure::call_000_AddShapes>(),
    behavior<&remove_shape, Figure::call_000_RemoveShape>(),
    behavior<&remove_shapes, Figure::call_000_RemoveShapes>(),
    behavior<&reverse_figure, Figure::call_000_Reverse>(),
});

// Derived types have entry points of their own for the members of their bases. All are served by the same functions.
const BehaviorTable ZELMOR_UNNAMED({
    behavior<&bounds, ObjectWithBounds::get_Bounds, Figure::get_Bounds, GraphicsPath::get_Bounds,
             RectangleProjectedShape::get_Bounds, TextShape::get_Bounds, PolygonShape::get_Bounds,
             BezierShape::get_Bounds, CurveShape::get_Bounds>(),
    behavior<&bounds_under, ObjectWithBounds::call_000_GetBounds, Figure::call_000_GetBounds,
             GraphicsPath::call_000_GetBounds, RectangleProjectedShape::call_000_GetBounds,
             ArcShape::call_000_GetBounds, TextShape::call_000_GetBounds, PolygonShape::call_000_GetBounds,
             BezierShape::call_000_GetBounds, CurveShape::call_000_GetBounds>(),
    behavior<&bounds_with_pen, ObjectWithBounds::call_001_GetBounds>(),
    behavior<&transform_shape, ObjectWithBounds::call_000_Transform, Figure::call_000_Transform,
             GraphicsPath::call_000_Transform, RectangleProjectedShape::call_000_Transform,
             TextShape::call_000_Transform, PolygonShape::call_000_Transform>(),
    behavior<&center, Shape::get_Center, RectangleProjectedShape::get_Center, TextShape::get_Center,
             PolygonShape::get_Center, BezierShape::get_Center, CurveShape::get_Center>(),
    behavior<&has_segments, Shape::get_HasSegments, RectangleProjectedShape::get_HasSegments,
             TextShape::get_HasSegments, PolygonShape::get_HasSegments, BezierShape::get_HasSegments>(),
    behavior<&segments, Shape::get_Segments, RectangleShape::get_Segments, EllipseShape::get_Segments,
             PieShape::get_Segments, ArcShape::get_Segments, TextShape::get_Segments, PolygonShape::get_Segments,
             BezierShape::get_Segments, CurveShape::get_Segments, Figure::get_Segments>(),
});

const FactoryRegistration ZELMOR_UNNAMED(FramedShape::kManagedName, [](const TypeInfo& type) -> Ref<ManagedObject> {
    return make_ref<FramedShape>(type);
});
const FactoryRegistration ZELMOR_UNNAMED(PointsShape::kManagedName, [](const TypeInfo& type) -> Ref<ManagedObject> {
    return make_ref<PointsShape>(type);
});
const FactoryRegistration ZELMOR_UNNAMED(CurveShape::kType.name, [](const TypeInfo& type) -> Ref<ManagedObject> {
    auto shape = make_ref<PointsShape>(type);
    set_property(*shape, "Tension", 0.5);
    return shape;
});
const FactoryRegistration ZELMOR_UNNAMED(FigureObject::kManagedName, [](const TypeInfo& type) -> Ref<ManagedObject> {
    return make_ref<FigureObject>(type);
});

}  // namespace

}  // namespace zelmor::embed
