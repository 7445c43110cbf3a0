// Graphics: lines, curves, shapes, paths and regions.
#include "generated/runtime/Zelmor.Imaging.h"
#include "runtime/native/behaviors/drawing/graphics.h"
#include "runtime/native/core/enumeration_properties.h"
#include "runtime/native/core/managed_exception.h"

namespace zelmor::embed {

using api::FillMode;

namespace {

using Graphics = GraphicsObject;
constexpr double kTension = 0.5;

template <class N>
RectD rect_from(N x, N y, N width, N height) {
    return {double(x), double(y), double(width), double(height)};
}
FillRule rule_of(FillMode fill_mode) {
    switch (fill_mode) {
        case FillMode::kAlternate:
            return FillRule::kAlternate;
        case FillMode::kWinding:
            return FillRule::kWinding;
    }
    throw_argument("The value " + std::to_string(number_of(fill_mode)) + " is no fill mode. (Parameter 'fill_mode')");
}
void require_points(const PointsArg& points, size_t least) {
    if (points.items.size() >= least) {
        return;
    }
    throw_argument("There are " + std::to_string(points.items.size()) + " points where " + std::to_string(least) +
                   " are needed. (Parameter 'points')");
}
// A rectangle without an area covers nothing.
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
void fill_polygon_by(Graphics& self, ManagedObject* brush, PointsArg points, FillMode fill_mode) {
    require_points(points, 2);
    self.fill(brush, {polygon_contour(points.items, true)}, rule_of(fill_mode));
}
void fill_polygon(Graphics& self, ManagedObject* brush, PointsArg points) {
    fill_polygon_by(self, brush, std::move(points), FillMode::kAlternate);
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
void fill_closed_curve_with(Graphics& self, ManagedObject* brush, PointsArg points, FillMode fill_mode, float tension) {
    require_points(points, 3);
    self.fill(brush, {spline_contour(points.items, tension, true)}, rule_of(fill_mode));
}
void fill_closed_curve_by(Graphics& self, ManagedObject* brush, PointsArg points, FillMode fill_mode) {
    fill_closed_curve_with(self, brush, std::move(points), fill_mode, kTension);
}
void fill_closed_curve(Graphics& self, ManagedObject* brush, PointsArg points) {
    fill_closed_curve_by(self, brush, std::move(points), FillMode::kAlternate);
}

// ---- Paths and regions

void draw_path(Graphics& self, Record* pen, PathObject* path) {
    self.stroke(pen, required(path, "path").outline());
}
void fill_path(Graphics& self, ManagedObject* brush, PathObject* path) {
    required(path, "path");
    self.fill(brush, path->outline(), path->fill_rule());
}
void fill_region(Graphics& self, ManagedObject* brush, RegionObject* region) {
    required(region, "region");
    // Of an infinite region the part on the image.
    const auto to_world = self.map().inverse();
    if (!to_world) {
        return;
    }
    const RectD image = bounds_of(transformed({rectangle_contour(self.image_rect())}, *to_world));
    const RegionOutline outline = outline_of(region->tree, image);
    self.fill(brush, outline.outline, outline.rule);
}

const BehaviorTable ZELMOR_UNNAMED({
    behavior<&draw_line, api::Graphics::call_000_DrawLine, api::Graphics::call_001_DrawLine,
             api::Graphics::call_000_DrawLinePointF>(),
    behavior<&draw_line_xy<int32_t>, api::Graphics::call_002_DrawLine, api::Graphics::call_000_DrawLineByXy>(),
    behavior<&draw_line_xy<float>, api::Graphics::call_003_DrawLine, api::Graphics::call_000_DrawLineFByXy>(),
    behavior<&draw_lines, api::Graphics::call_000_DrawLines, api::Graphics::call_001_DrawLines,
             api::Graphics::call_000_DrawLinesF>(),
    behavior<&fill_rectangle, api::Graphics::call_000_FillRectangle, api::Graphics::call_001_FillRectangle,
             api::Graphics::call_000_FillRectangleF>(),
    behavior<&fill_rectangle_xywh<float>, api::Graphics::call_002_FillRectangle,
             api::Graphics::call_000_FillRectangleFWithBrush>(),
    behavior<&fill_rectangle_xywh<int32_t>, api::Graphics::call_003_FillRectangle,
             api::Graphics::call_000_FillRectangleWithBrush>(),
    behavior<&fill_rectangles, api::Graphics::call_000_FillRectangles, api::Graphics::call_001_FillRectangles,
             api::Graphics::call_000_FillRectanglesF>(),
    behavior<&draw_rectangle, api::Graphics::call_000_DrawRectangle, api::Graphics::call_001_DrawRectangle,
             api::Graphics::call_000_DrawRectangleF>(),
    behavior<&draw_rectangle_xywh<float>, api::Graphics::call_002_DrawRectangle, api::Graphics::call_000_DrawRectF>(),
    behavior<&draw_rectangle_xywh<int32_t>, api::Graphics::call_003_DrawRectangle, api::Graphics::call_000_DrawRect>(),
    behavior<&draw_rectangles, api::Graphics::call_000_DrawRectangles, api::Graphics::call_001_DrawRectangles,
             api::Graphics::call_000_DrawRectanglesF>(),
    behavior<&draw_ellipse, api::Graphics::call_000_DrawEllipse, api::Graphics::call_002_DrawEllipse,
             api::Graphics::call_000_DrawEllipseF>(),
    behavior<&draw_ellipse_xywh<float>, api::Graphics::call_001_DrawEllipse,
             api::Graphics::call_000_DrawEllipseByXyf>(),
    behavior<&draw_ellipse_xywh<int32_t>, api::Graphics::call_003_DrawEllipse,
             api::Graphics::call_000_DrawEllipseByXy>(),
    behavior<&draw_polygon, api::Graphics::call_000_DrawPolygon, api::Graphics::call_001_DrawPolygon,
             api::Graphics::call_000_DrawPolygonF>(),
    behavior<&draw_arc_xywh<float>, api::Graphics::call_000_DrawArc, api::Graphics::call_000_DrawArcXyf>(),
    behavior<&draw_arc, api::Graphics::call_001_DrawArc, api::Graphics::call_003_DrawArc,
             api::Graphics::call_000_DrawArcInRectF, api::Graphics::call_000_DrawArcInRect>(),
    behavior<&draw_arc_xywh<int32_t>, api::Graphics::call_002_DrawArc, api::Graphics::call_000_DrawArcXy>(),
    behavior<&draw_pie, api::Graphics::call_000_DrawPie, api::Graphics::call_002_DrawPie,
             api::Graphics::call_000_DrawPieInRectF, api::Graphics::call_000_DrawPieInRect>(),
    behavior<&draw_pie_xywh<float>, api::Graphics::call_001_DrawPie, api::Graphics::call_000_DrawPieXyf>(),
    behavior<&draw_pie_xywh<int32_t>, api::Graphics::call_003_DrawPie, api::Graphics::call_000_DrawPieXy>(),
    behavior<&draw_curve, api::Graphics::call_000_DrawCurve, api::Graphics::call_004_DrawCurve,
             api::Graphics::call_000_DrawCurveByPoints, api::Graphics::call_000_DrawCurveByPointFs>(),
    behavior<&draw_curve_with, api::Graphics::call_001_DrawCurve, api::Graphics::call_005_DrawCurve,
             api::Graphics::call_000_DrawCurveByPointFsTension, api::Graphics::call_000_DrawCurveByPointsTension>(),
    behavior<&draw_curve_part, api::Graphics::call_002_DrawCurve>(),
    behavior<&draw_curve_part_with, api::Graphics::call_003_DrawCurve, api::Graphics::call_006_DrawCurve,
             api::Graphics::call_000_DrawCurveByPointsFOffsNumSegmTension,
             api::Graphics::call_000_DrawCurveByPointsOffsNumSegmTension>(),
    behavior<&draw_closed_curve, api::Graphics::call_000_DrawClosedCurve, api::Graphics::call_002_DrawClosedCurve,
             api::Graphics::call_000_DrawClosedCurveByPointsF, api::Graphics::call_000_DrawClosedCurveByPoints>(),
    behavior<&draw_closed_curve_with, api::Graphics::call_001_DrawClosedCurve, api::Graphics::call_003_DrawClosedCurve,
             api::Graphics::call_000_DrawClosedCurveByPointsFTension,
             api::Graphics::call_000_DrawClosedCurveByPointsTension>(),
    behavior<&draw_bezier_xy, api::Graphics::call_000_DrawBezier>(),
    behavior<&draw_bezier, api::Graphics::call_001_DrawBezier, api::Graphics::call_002_DrawBezier,
             api::Graphics::call_000_DrawBezierByPointsF, api::Graphics::call_000_DrawBezierByPoints>(),
    behavior<&draw_beziers, api::Graphics::call_000_DrawBeziers, api::Graphics::call_001_DrawBeziers,
             api::Graphics::call_000_DrawBeziersByPtArray, api::Graphics::call_000_DrawBeziersByPtArrayF>(),
    behavior<&fill_ellipse, api::Graphics::call_000_FillEllipse, api::Graphics::call_002_FillEllipse,
             api::Graphics::call_000_FillEllipseInRectF, api::Graphics::call_000_FillEllipseInRect>(),
    behavior<&fill_ellipse_xywh<float>, api::Graphics::call_001_FillEllipse,
             api::Graphics::call_000_FillEllipseAtXywhf>(),
    behavior<&fill_ellipse_xywh<int32_t>, api::Graphics::call_003_FillEllipse,
             api::Graphics::call_000_FillEllipseAtXywh>(),
    behavior<&fill_pie, api::Graphics::call_000_FillPie, api::Graphics::call_001_FillPie,
             api::Graphics::call_000_FillPieInRect, api::Graphics::call_000_FillPieInRectF>(),
    behavior<&fill_pie_xywh<float>, api::Graphics::call_002_FillPie, api::Graphics::call_000_FillPieAtXyf>(),
    behavior<&fill_pie_xywh<int32_t>, api::Graphics::call_003_FillPie, api::Graphics::call_000_FillPieAtXy>(),
    behavior<&fill_polygon, api::Graphics::call_000_FillPolygon, api::Graphics::call_002_FillPolygon,
             api::Graphics::call_000_FillPolygonByPointF, api::Graphics::call_000_FillPolygonByPoint>(),
    behavior<&fill_polygon_by, api::Graphics::call_001_FillPolygon, api::Graphics::call_003_FillPolygon,
             api::Graphics::call_000_FillPolygonByPointFFillMode, api::Graphics::call_000_FillPolygonByPointFillMode>(),
    behavior<&fill_closed_curve, api::Graphics::call_000_FillClosedCurve, api::Graphics::call_003_FillClosedCurve,
             api::Graphics::call_000_FillClosedCurveByPointF, api::Graphics::call_000_FillClosedCurveByPoint>(),
    behavior<&fill_closed_curve_by, api::Graphics::call_001_FillClosedCurve, api::Graphics::call_004_FillClosedCurve,
             api::Graphics::call_000_FillClosedCurveByPointFFillMode,
             api::Graphics::call_000_FillClosedCurveByPointFillMode>(),
    behavior<&fill_closed_curve_with, api::Graphics::call_002_FillClosedCurve, api::Graphics::call_005_FillClosedCurve,
             api::Graphics::call_000_FillClosedCurveByPointFFillModeTension,
             api::Graphics::call_000_FillClosedCurveByPointFillModeTension>(),
    behavior<&draw_path, api::Graphics::call_000_DrawPath>(),
    behavior<&fill_path, api::Graphics::call_000_FillPath>(),
    behavior<&fill_region, api::Graphics::call_000_FillRegion>(),
});

}  // namespace

}  // namespace zelmor::embed
