// Members of shapes and figures.
#include <algorithm>

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

constexpr const char* kOutlined = OutlinedObject::kManagedName;
constexpr const char* kShape = ShapeObject::kManagedName;
constexpr const char* kFigure = FigureObject::kManagedName;
constexpr const char* kPath = "Zelmor.Imaging.GraphicsPath";
constexpr const char* kFramed = FramedShape::kManagedName;
constexpr const char* kPolygon = PointsShape::kManagedName;
constexpr const char* kBezier = "Zelmor.Imaging.Shapes.BezierShape";
constexpr const char* kCurve = "Zelmor.Imaging.Shapes.CurveShape";

const Behavior kMembers[] = {
    {kRectangle, "ctor_001_RectangleShape", entry<&rectangle_shape>()},
    {kEllipse, "ctor_001_EllipseShape", entry<&ellipse_shape>()},
    {kPie, "ctor_001_PieShape", entry<&pie_shape>()},
    {kArc, "ctor_001_ArcShape", entry<&arc_shape>()},
    {kArc, "ctor_002_ArcShape", entry<&closed_arc_shape>()},
    {kText, "ctor_001_TextShape", entry<&text_shape>()},

    {kFramed, "get_LeftTop", entry<&corner<&FramedShape::left_top>>()},
    {kFramed, "get_RightTop", entry<&corner<&FramedShape::right_top>>()},
    {kFramed, "get_LeftBottom", entry<&corner<&FramedShape::left_bottom>>()},
    {kFramed, "get_RightBottom", entry<&right_bottom>()},
    {kFramed, "get_RectangleWidth", entry<&frame_width>()},
    {kFramed, "get_RectangleHeight", entry<&frame_height>()},

    {kPolygon, "call_000_Reverse", entry<&reverse_shape>()},
    {kArc, "call_000_Reverse", entry<&reverse_shape>()},
    {kPolygon, "get_StartPoint", entry<&start_point>()},
    {kArc, "get_StartPoint", entry<&start_point>()},
    {kPolygon, "get_EndPoint", entry<&end_point>()},
    {kBezier, "get_EndPoint", entry<&end_point>()},
    {kArc, "get_EndPoint", entry<&end_point>()},

    {kFigure, "get_Shapes", entry<&shapes>()},
    {kFigure, "call_000_AddShape", entry<&add_shape>()},
    {kFigure, "call_000_AddShapes", entry<&add_shapes>()},
    {kFigure, "call_000_RemoveShape", entry<&remove_shape>()},
    {kFigure, "call_000_RemoveShapes", entry<&remove_shapes>()},
    {kFigure, "call_000_Reverse", entry<&reverse_figure>()},
};
const BehaviorTable table(Assembly::kImaging, kMembers);

// Types list again what their bases have; all of it is answered alike, from the outline.
const BehaviorTable outlined(Assembly::kImaging, [] {
    static std::vector<Behavior> members;
    const auto add = [](const char* entry, EntryPoint point, std::initializer_list<const char*> types) {
        for (const char* type : types) {
            members.push_back({type, entry, point});
        }
    };
    add("get_Bounds", entry<&bounds>(), {kOutlined, kFigure, kPath, kFramed, kText, kPolygon, kBezier, kCurve});
    add("call_000_GetBounds", entry<&bounds_under>(),
        {kOutlined, kFigure, kPath, kFramed, kArc, kText, kPolygon, kBezier, kCurve});
    add("call_001_GetBounds", entry<&bounds_with_pen>(), {kOutlined});
    add("call_000_Transform", entry<&transform>(), {kOutlined, kFigure, kPath, kFramed, kText, kPolygon});
    add("get_Center", entry<&center>(), {kShape, kFramed, kText, kPolygon, kBezier, kCurve});
    add("get_HasSegments", entry<&has_segments>(), {kShape, kFramed, kText, kPolygon, kBezier});
    add("get_Segments", entry<&segments>(),
        {kShape, kRectangle, kEllipse, kPie, kArc, kText, kPolygon, kBezier, kCurve, kFigure});
    return std::span<const Behavior>(members);
}());

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
