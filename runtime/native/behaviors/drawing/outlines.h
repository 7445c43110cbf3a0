// Computing with outlines: arcs and splines, bounds, flattening, reversing, hit tests, widening by a pen.
#ifndef ZELMOR_RUNTIME_NATIVE_BEHAVIORS_DRAWING_OUTLINES_H
#define ZELMOR_RUNTIME_NATIVE_BEHAVIORS_DRAWING_OUTLINES_H

#include <span>
#include <vector>

#include "runtime/native/drawwork/geometry.h"

namespace zelmor::embed {

using drawwork::Affine;
using drawwork::Contour;
using drawwork::FillRule;
using drawwork::Outline;
using drawwork::PointD;
using drawwork::RectD;
using drawwork::Segment;

// Building contours. Angles are in degrees, clockwise from the x-axis, as points of the ellipse are seen from its
// center; the sweep is cut to one turn.
Contour rectangle_contour(const RectD& rect);
Contour polygon_contour(std::span<const PointD> points, bool closed);
Contour bezier_contour(std::span<const PointD> points, bool closed);  // one point, then three for each curve
// A cardinal spline through the points; the second form has only `count` segments of it, from `first` on.
Contour spline_contour(std::span<const PointD> points, double tension, bool closed);
Contour spline_contour(std::span<const PointD> points, double tension, size_t first, size_t count);
Contour ellipse_contour(const RectD& rect);
Contour arc_contour(const RectD& rect, double start_angle, double sweep_angle, bool closed);
Contour pie_contour(const RectD& rect, double start_angle, double sweep_angle);

Outline transformed(const Outline& outline, const Affine& map);
Contour reversed(const Contour& contour);
// Straight lines only, none farther from the curve than `flatness`.
std::vector<PointD> flattened(const Contour& contour, double flatness);
Outline flattened(const Outline& outline, double flatness);
// The smallest rectangle around the lines and curves themselves; an empty one for an empty outline.
RectD bounds_of(const Outline& outline);
RectD bounds_of(std::span<const PointD> points);

bool contains(const Outline& outline, FillRule rule, PointD point);

// Where the lines of a pen end and meet.
enum class EndCap { kFlat, kSquare, kRound, kTriangle };
enum class Join { kMiter, kBevel, kRound, kMiterClipped };
struct PenShape {
    double width = 1;
    EndCap start_cap = EndCap::kFlat;
    EndCap end_cap = EndCap::kFlat;
    Join join = Join::kMiter;
    double miter_limit = 10;
    Affine nib;  // the pen's own transformation
};
// The area that the pen covers, as polygons to be filled by the winding rule.
Outline widened(const Outline& outline, const PenShape& pen, double flatness);

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_BEHAVIORS_DRAWING_OUTLINES_H
