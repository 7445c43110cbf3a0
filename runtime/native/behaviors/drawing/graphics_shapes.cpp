// Graphics: lines, curves, shapes, paths and regions.
#include "runtime/native/behaviors/drawing/graphics.h"
#include "runtime/native/core/managed_exception.h"

namespace zelmor::embed {

namespace {

using Graphics = GraphicsObject;
constexpr double kTension = 0.5;

template <class N>
RectD rect_from(N x, N y, N width, N height) {
    return {double(x), double(y), double(width), double(height)};
}
FillRule rule_of(int32_t fill_mode) {
    if (fill_mode == 0) {
        return FillRule::kAlternate;
    }
    if (fill_mode == 1) {
        return FillRule::kWinding;
    }
    throw_argument("The value " + std::to_string(fill_mode) + " is no fill mode. (Parameter 'fill_mode')");
}
void require_points(const PointsArg& points, size_t least) {
    if (points.items.size() >= least) {
        return;
    }
    throw_argument("There are " + std::to_string(points.items.size()) + " points where " + std::to_string(least) +
                   " are needed. (Parameter 'points')");
}
// Rectangles without an area are not there.
bool is_flat(const RectD& rect) {
    return !(rect.width > 0 && rect.height > 0);
}

// ---- Lines

void draw_line(Graphics& self, Record* pen, PointArg from, PointArg to) {
    self.stroke(pen, {polygon_contour(std::vector<PointD>{from, to}, false)});
}
template <class N>
void draw_line_xy(Graphics& self, Record* pen, N x1, N y1, N x2, N y2) {
    draw_line(self, pen, {{double(x1), double(y1)}}, {{double(x2), double(y2)}});
}
void draw_lines(Graphics& self, Record* pen, PointsArg points) {
    require_points(points, 2);
    self.stroke(pen, {polygon_contour(points.items, false)});
}

// ---- Rectangles and ellipses

void draw_rectangle(Graphics& self, Record* pen, RectArg rect) {
    self.stroke(pen, {rectangle_contour(rect)});
}
template <class N>
void draw_rectangle_xywh(Graphics& self, Record* pen, N x, N y, N width, N height) {
    draw_rectangle(self, pen, {rect_from(x, y, width, height)});
}
void draw_rectangles(Graphics& self, Record* pen, RectsArg rects) {
    for (const RectD& rect : rects.items) {
        draw_rectangle(self, pen, {rect});
    }
}
void fill_rectangle(Graphics& self, ManagedObject* brush, RectArg rect) {
    self.fill(brush, is_flat(rect) ? Outline() : Outline{rectangle_contour(rect)}, FillRule::kAlternate);
}
template <class N>
void fill_rectangle_xywh(Graphics& self, ManagedObject* brush, N x, N y, N width, N height) {
    fill_rectangle(self, brush, {rect_from(x, y, width, height)});
}
void fill_rectangles(Graphics& self, ManagedObject* brush, RectsArg rects) {
    for (const RectD& rect : rects.items) {
        fill_rectangle(self, brush, {rect});
    }
}
void draw_ellipse(Graphics& self, Record* pen, RectArg rect) {
    self.stroke(pen, {ellipse_contour(rect)});
}
template <class N>
void draw_ellipse_xywh(Graphics& self, Record* pen, N x, N y, N width, N height) {
    draw_ellipse(self, pen, {rect_from(x, y, width, height)});
}
void fill_ellipse(Graphics& self, ManagedObject* brush, RectArg rect) {
    self.fill(brush, {ellipse_contour(rect)}, FillRule::kAlternate);
}
template <class N>
void fill_ellipse_xywh(Graphics& self, ManagedObject* brush, N x, N y, N width, N height) {
    fill_ellipse(self, brush, {rect_from(x, y, width, height)});
}

// ---- Arcs and pies

void draw_arc(Graphics& self, Record* pen, RectArg rect, float start, float sweep) {
    self.stroke(pen, {arc_contour(rect, start, sweep, false)});
}
template <class N>
void draw_arc_xywh(Graphics& self, Record* pen, N x, N y, N width, N height, N start, N sweep) {
    draw_arc(self, pen, {rect_from(x, y, width, height)}, float(start), float(sweep));
}
void draw_pie(Graphics& self, Record* pen, RectArg rect, float start, float sweep) {
    self.stroke(pen, {pie_contour(rect, start, sweep)});
}
template <class N>
void draw_pie_xywh(Graphics& self, Record* pen, N x, N y, N width, N height, N start, N sweep) {
    draw_pie(self, pen, {rect_from(x, y, width, height)}, float(start), float(sweep));
}
void fill_pie(Graphics& self, ManagedObject* brush, RectArg rect, float start, float sweep) {
    self.fill(brush, {pie_contour(rect, start, sweep)}, FillRule::kAlternate);
}
template <class N>
void fill_pie_xywh(Graphics& self, ManagedObject* brush, N x, N y, N width, N height, N start, N sweep) {
    fill_pie(self, brush, {rect_from(x, y, width, height)}, float(start), float(sweep));
}

// ---- Polygons

void draw_polygon(Graphics& self, Record* pen, PointsArg points) {
    require_points(points, 2);
    self.stroke(pen, {polygon_contour(points.items, true)});
}
void fill_polygon_by(Graphics& self, ManagedObject* brush, PointsArg points, int32_t fill_mode) {
    require_points(points, 2);
    self.fill(brush, {polygon_contour(points.items, true)}, rule_of(fill_mode));
}
void fill_polygon(Graphics& self, ManagedObject* brush, PointsArg points) {
    fill_polygon_by(self, brush, std::move(points), 0);
}

// ---- Bézier curves and splines

void draw_bezier(Graphics& self, Record* pen, PointArg a, PointArg b, PointArg c, PointArg d) {
    self.stroke(pen, {bezier_contour(std::vector<PointD>{a, b, c, d}, false)});
}
void draw_bezier_xy(Graphics& self, Record* pen, float x1, float y1, float x2, float y2, float x3, float y3, float x4,
                    float y4) {
    draw_bezier(self, pen, {{x1, y1}}, {{x2, y2}}, {{x3, y3}}, {{x4, y4}});
}
void draw_beziers(Graphics& self, Record* pen, PointsArg points) {
    require_points(points, 4);
    if (points.items.size() % 3 != 1) {
        throw_argument("Curves that follow each other have one point and three for each of them, not " +
                       std::to_string(points.items.size()) + ". (Parameter 'points')");
    }
    self.stroke(pen, {bezier_contour(points.items, false)});
}
void draw_curve_with(Graphics& self, Record* pen, PointsArg points, float tension) {
    require_points(points, 2);
    self.stroke(pen, {spline_contour(points.items, tension, false)});
}
void draw_curve(Graphics& self, Record* pen, PointsArg points) {
    draw_curve_with(self, pen, std::move(points), kTension);
}
void draw_curve_part_with(Graphics& self, Record* pen, PointsArg points, int32_t offset, int32_t segments,
                          float tension) {
    require_points(points, 2);
    const auto count = static_cast<int64_t>(points.items.size());
    if (offset < 0 || offset >= count - 1) {
        throw_out_of_range("offset", "There is no segment that begins there.");
    }
    if (segments < 1 || int64_t{offset} + segments >= count) {
        throw_out_of_range("number_of_segments", "There are not as many segments behind the offset.");
    }
    self.stroke(pen,
                {spline_contour(points.items, tension, static_cast<size_t>(offset), static_cast<size_t>(segments))});
}
void draw_curve_part(Graphics& self, Record* pen, PointsArg points, int32_t offset, int32_t segments) {
    draw_curve_part_with(self, pen, std::move(points), offset, segments, kTension);
}
void draw_closed_curve_with(Graphics& self, Record* pen, PointsArg points, float tension) {
    require_points(points, 3);
    self.stroke(pen, {spline_contour(points.items, tension, true)});
}
void draw_closed_curve(Graphics& self, Record* pen, PointsArg points) {
    draw_closed_curve_with(self, pen, std::move(points), kTension);
}
void fill_closed_curve_with(Graphics& self, ManagedObject* brush, PointsArg points, int32_t fill_mode, float tension) {
    require_points(points, 3);
    self.fill(brush, {spline_contour(points.items, tension, true)}, rule_of(fill_mode));
}
void fill_closed_curve_by(Graphics& self, ManagedObject* brush, PointsArg points, int32_t fill_mode) {
    fill_closed_curve_with(self, brush, std::move(points), fill_mode, kTension);
}
void fill_closed_curve(Graphics& self, ManagedObject* brush, PointsArg points) {
    fill_closed_curve_by(self, brush, std::move(points), 0);
}

// ---- Paths and regions

void draw_path(Graphics& self, Record* pen, PathObject* path) {
    if (!path) {
        throw_argument_null("path");
    }
    self.stroke(pen, path->outline());
}
void fill_path(Graphics& self, ManagedObject* brush, PathObject* path) {
    if (!path) {
        throw_argument_null("path");
    }
    self.fill(brush, path->outline(), path->fill_rule());
}
void fill_region(Graphics& self, ManagedObject* brush, RegionObject* region) {
    if (!region) {
        throw_argument_null("region");
    }
    // Of a region that goes on for ever, the part on the image.
    const auto to_world = self.map().inverse();
    if (!to_world) {
        return;
    }
    const RectD image = bounds_of(transformed({rectangle_contour(self.image_rect())}, *to_world));
    const RegionOutline outline = outline_of(region->tree, image);
    self.fill(brush, outline.outline, outline.rule);
}

const BehaviorTable table(Assembly::kImaging, [] {
    static std::vector<Behavior> members;
    const auto add = [](EntryPoint point, std::initializer_list<const char*> entries) {
        for (const char* entry : entries) {
            members.push_back({GraphicsObject::kManagedName, entry, point});
        }
    };
    add(entry<&draw_line>(), {"call_000_DrawLine", "call_001_DrawLine", "call_000_DrawLinePointF"});
    add(entry<&draw_line_xy<int32_t>>(), {"call_002_DrawLine", "call_000_DrawLineByXy"});
    add(entry<&draw_line_xy<float>>(), {"call_003_DrawLine", "call_000_DrawLineFByXy"});
    add(entry<&draw_lines>(), {"call_000_DrawLines", "call_001_DrawLines", "call_000_DrawLinesF"});
    add(entry<&fill_rectangle>(), {"call_000_FillRectangle", "call_001_FillRectangle", "call_000_FillRectangleF"});
    add(entry<&fill_rectangle_xywh<float>>(), {"call_002_FillRectangle", "call_000_FillRectangleFWithBrush"});
    add(entry<&fill_rectangle_xywh<int32_t>>(), {"call_003_FillRectangle", "call_000_FillRectangleWithBrush"});
    add(entry<&fill_rectangles>(), {"call_000_FillRectangles", "call_001_FillRectangles", "call_000_FillRectanglesF"});
    add(entry<&draw_rectangle>(), {"call_000_DrawRectangle", "call_001_DrawRectangle", "call_000_DrawRectangleF"});
    add(entry<&draw_rectangle_xywh<float>>(), {"call_002_DrawRectangle", "call_000_DrawRectF"});
    add(entry<&draw_rectangle_xywh<int32_t>>(), {"call_003_DrawRectangle", "call_000_DrawRect"});
    add(entry<&draw_rectangles>(), {"call_000_DrawRectangles", "call_001_DrawRectangles", "call_000_DrawRectanglesF"});
    add(entry<&draw_ellipse>(), {"call_000_DrawEllipse", "call_002_DrawEllipse", "call_000_DrawEllipseF"});
    add(entry<&draw_ellipse_xywh<float>>(), {"call_001_DrawEllipse", "call_000_DrawEllipseByXyf"});
    add(entry<&draw_ellipse_xywh<int32_t>>(), {"call_003_DrawEllipse", "call_000_DrawEllipseByXy"});
    add(entry<&draw_polygon>(), {"call_000_DrawPolygon", "call_001_DrawPolygon", "call_000_DrawPolygonF"});
    add(entry<&draw_arc_xywh<float>>(), {"call_000_DrawArc", "call_000_DrawArcXyf"});
    add(entry<&draw_arc>(),
        {"call_001_DrawArc", "call_003_DrawArc", "call_000_DrawArcInRectF", "call_000_DrawArcInRect"});
    add(entry<&draw_arc_xywh<int32_t>>(), {"call_002_DrawArc", "call_000_DrawArcXy"});
    add(entry<&draw_pie>(),
        {"call_000_DrawPie", "call_002_DrawPie", "call_000_DrawPieInRectF", "call_000_DrawPieInRect"});
    add(entry<&draw_pie_xywh<float>>(), {"call_001_DrawPie", "call_000_DrawPieXyf"});
    add(entry<&draw_pie_xywh<int32_t>>(), {"call_003_DrawPie", "call_000_DrawPieXy"});
    add(entry<&draw_curve>(),
        {"call_000_DrawCurve", "call_004_DrawCurve", "call_000_DrawCurveByPoints", "call_000_DrawCurveByPointFs"});
    add(entry<&draw_curve_with>(), {"call_001_DrawCurve", "call_005_DrawCurve", "call_000_DrawCurveByPointFsTension",
                                    "call_000_DrawCurveByPointsTension"});
    add(entry<&draw_curve_part>(), {"call_002_DrawCurve"});
    add(entry<&draw_curve_part_with>(),
        {"call_003_DrawCurve", "call_006_DrawCurve", "call_000_DrawCurveByPointsFOffsNumSegmTension",
         "call_000_DrawCurveByPointsOffsNumSegmTension"});
    add(entry<&draw_closed_curve>(), {"call_000_DrawClosedCurve", "call_002_DrawClosedCurve",
                                      "call_000_DrawClosedCurveByPointsF", "call_000_DrawClosedCurveByPoints"});
    add(entry<&draw_closed_curve_with>(),
        {"call_001_DrawClosedCurve", "call_003_DrawClosedCurve", "call_000_DrawClosedCurveByPointsFTension",
         "call_000_DrawClosedCurveByPointsTension"});
    add(entry<&draw_bezier_xy>(), {"call_000_DrawBezier"});
    add(entry<&draw_bezier>(),
        {"call_001_DrawBezier", "call_002_DrawBezier", "call_000_DrawBezierByPointsF", "call_000_DrawBezierByPoints"});
    add(entry<&draw_beziers>(), {"call_000_DrawBeziers", "call_001_DrawBeziers", "call_000_DrawBeziersByPtArray",
                                 "call_000_DrawBeziersByPtArrayF"});
    add(entry<&fill_ellipse>(),
        {"call_000_FillEllipse", "call_002_FillEllipse", "call_000_FillEllipseInRectF", "call_000_FillEllipseInRect"});
    add(entry<&fill_ellipse_xywh<float>>(), {"call_001_FillEllipse", "call_000_FillEllipseAtXywhf"});
    add(entry<&fill_ellipse_xywh<int32_t>>(), {"call_003_FillEllipse", "call_000_FillEllipseAtXywh"});
    add(entry<&fill_pie>(),
        {"call_000_FillPie", "call_001_FillPie", "call_000_FillPieInRect", "call_000_FillPieInRectF"});
    add(entry<&fill_pie_xywh<float>>(), {"call_002_FillPie", "call_000_FillPieAtXyf"});
    add(entry<&fill_pie_xywh<int32_t>>(), {"call_003_FillPie", "call_000_FillPieAtXy"});
    add(entry<&fill_polygon>(), {"call_000_FillPolygon", "call_002_FillPolygon", "call_000_FillPolygonByPointF",
                                 "call_000_FillPolygonByPoint"});
    add(entry<&fill_polygon_by>(), {"call_001_FillPolygon", "call_003_FillPolygon",
                                    "call_000_FillPolygonByPointFFillMode", "call_000_FillPolygonByPointFillMode"});
    add(entry<&fill_closed_curve>(), {"call_000_FillClosedCurve", "call_003_FillClosedCurve",
                                      "call_000_FillClosedCurveByPointF", "call_000_FillClosedCurveByPoint"});
    add(entry<&fill_closed_curve_by>(),
        {"call_001_FillClosedCurve", "call_004_FillClosedCurve", "call_000_FillClosedCurveByPointFFillMode",
         "call_000_FillClosedCurveByPointFillMode"});
    add(entry<&fill_closed_curve_with>(),
        {"call_002_FillClosedCurve", "call_005_FillClosedCurve", "call_000_FillClosedCurveByPointFFillModeTension",
         "call_000_FillClosedCurveByPointFillModeTension"});
    add(entry<&draw_path>(), {"call_000_DrawPath"});
    add(entry<&fill_path>(), {"call_000_FillPath"});
    add(entry<&fill_region>(), {"call_000_FillRegion"});
    return std::span<const Behavior>(members);
}());

}  // namespace

}  // namespace zelmor::embed
