// Building outlines and computing with them; widening is in widening.cpp.
#include "runtime/native/behaviors/drawing/outlines.h"

#include <algorithm>
#include <cassert>
#include <limits>

namespace zelmor::embed {

namespace {

constexpr double kHitFlatness = 0.01;

double radians(double degrees) {
    return degrees * M_PI / 180;
}

// The angle at which the unit circle, stretched to the ellipse, shows its point under the angle seen.
double parametric(double degrees, const RectD& rect) {
    if (rect.width == rect.height || std::fmod(degrees, 90.0) == 0) {
        return radians(degrees);
    }
    const double seen = radians(degrees);
    const double angle = std::atan2(std::sin(seen) * rect.width, std::cos(seen) * rect.height);
    return angle + 2 * M_PI * std::round((seen - angle) / (2 * M_PI));
}

// A cubic curve at t.
double cubic(double a, double b, double c, double d, double t) {
    const double s = 1 - t;
    return s * s * s * a + 3 * s * s * t * b + 3 * s * t * t * c + t * t * t * d;
}

// Calls visit(t) where one coordinate of the curve turns back.
template <class Visit>
void extremes(double a, double b, double c, double d, Visit&& visit) {
    const double qa = -a + 3 * b - 3 * c + d, qb = 2 * (a - 2 * b + c), qc = b - a;
    const auto inside = [&](double t) {
        if (t > 0 && t < 1) {
            visit(t);
        }
    };
    if (std::abs(qa) < 1e-12) {
        if (qb != 0) {
            inside(-qc / qb);
        }
        return;
    }
    const double root = qb * qb - 4 * qa * qc;
    if (root < 0) {
        return;
    }
    inside((-qb + std::sqrt(root)) / (2 * qa));
    inside((-qb - std::sqrt(root)) / (2 * qa));
}

struct Extent {
    double x1 = std::numeric_limits<double>::infinity(), y1 = x1, x2 = -x1, y2 = -x1;
    void add(PointD p) {
        x1 = std::min(x1, p.x);
        y1 = std::min(y1, p.y);
        x2 = std::max(x2, p.x);
        y2 = std::max(y2, p.y);
    }
    RectD rect() const { return x1 > x2 ? RectD() : RectD{x1, y1, x2 - x1, y2 - y1}; }
};

// Arcs of the unit circle, no longer than a quarter each, mapped to the rectangle.
Contour arc_of(const RectD& rect, double from, double sweep) {
    const PointD center = rect.center();
    const auto at = [&](double cosine, double sine) {
        return PointD{center.x + cosine * rect.width / 2, center.y + sine * rect.height / 2};
    };
    const int parts = std::max(1, static_cast<int>(std::ceil(std::abs(sweep) / (M_PI / 2) - 1e-9)));
    const double step = sweep / parts;
    const double handle = 4.0 / 3 * std::tan(step / 4);
    Contour contour{at(std::cos(from), std::sin(from)), {}, false};
    for (int i = 0; i < parts; ++i) {
        const double a = from + i * step, b = a + step;
        contour.curve_to(at(std::cos(a) - handle * std::sin(a), std::sin(a) + handle * std::cos(a)),
                         at(std::cos(b) + handle * std::sin(b), std::sin(b) - handle * std::cos(b)),
                         at(std::cos(b), std::sin(b)));
    }
    return contour;
}

}  // namespace

Contour rectangle_contour(const RectD& r) {
    return {{r.x, r.y},
            {{{r.right(), r.y}, {}, {}, false},
             {{r.right(), r.bottom()}, {}, {}, false},
             {{r.x, r.bottom()}, {}, {}, false}},
            true};
}

Contour polygon_contour(std::span<const PointD> points, bool closed) {
    Contour contour;
    contour.closed = closed;
    if (points.empty()) {
        return contour;
    }
    contour.start = points.front();
    for (const PointD& point : points.subspan(1)) {
        contour.line_to(point);
    }
    return contour;
}

Contour bezier_contour(std::span<const PointD> points, bool closed) {
    Contour contour;
    contour.closed = closed;
    if (points.empty()) {
        return contour;
    }
    contour.start = points.front();
    for (size_t i = 1; i + 2 < points.size(); i += 3) {
        contour.curve_to(points[i], points[i + 1], points[i + 2]);
    }
    return contour;
}

Contour spline_contour(std::span<const PointD> points, double tension, bool closed) {
    if (!closed) {
        return spline_contour(points, tension, 0, points.empty() ? 0 : points.size() - 1);
    }
    const size_t n = points.size();
    if (n < 3) {
        return polygon_contour(points, true);
    }
    Contour contour{points[0], {}, true};
    const auto tangent = [&](size_t i) { return (points[(i + 1) % n] - points[(i + n - 1) % n]) * (tension / 3); };
    for (size_t i = 0; i < n; ++i) {
        const size_t next = (i + 1) % n;
        contour.curve_to(points[i] + tangent(i), points[next] - tangent(next), points[next]);
    }
    return contour;
}

Contour spline_contour(std::span<const PointD> points, double tension, size_t first, size_t count) {
    Contour contour;
    if (points.empty()) {
        return contour;
    }
    const size_t n = points.size();
    assert(first + count < n);
    contour.start = points[first];
    const auto tangent = [&](size_t i) {
        return (points[std::min(i + 1, n - 1)] - points[i == 0 ? 0 : i - 1]) * (tension / 3);
    };
    for (size_t i = first; i < first + count; ++i) {
        contour.curve_to(points[i] + tangent(i), points[i + 1] - tangent(i + 1), points[i + 1]);
    }
    return contour;
}

Contour ellipse_contour(const RectD& rect) {
    Contour contour = arc_of(rect, 0, 2 * M_PI);
    contour.segments.back().end = contour.start;
    contour.closed = true;
    return contour;
}

Contour arc_contour(const RectD& rect, double start_angle, double sweep_angle, bool closed) {
    if (std::abs(sweep_angle) >= 360) {
        Contour whole = arc_of(rect, parametric(start_angle, rect), std::copysign(2 * M_PI, sweep_angle));
        whole.segments.back().end = whole.start;
        whole.closed = true;
        return whole;
    }
    const double from = parametric(start_angle, rect), to = parametric(start_angle + sweep_angle, rect);
    Contour contour = arc_of(rect, from, to - from);
    contour.closed = closed;
    return contour;
}

Contour pie_contour(const RectD& rect, double start_angle, double sweep_angle) {
    if (std::abs(sweep_angle) >= 360) {
        return arc_contour(rect, start_angle, sweep_angle, true);
    }
    const Contour arc = arc_contour(rect, start_angle, sweep_angle, false);
    Contour pie{rect.center(), {}, true};
    pie.line_to(arc.start);
    pie.segments.insert(pie.segments.end(), arc.segments.begin(), arc.segments.end());
    return pie;
}

Outline transformed(const Outline& outline, const Affine& map) {
    Outline result = outline;
    for (Contour& contour : result) {
        contour.start = map.apply(contour.start);
        for (Segment& segment : contour.segments) {
            segment.end = map.apply(segment.end);
            segment.control1 = map.apply(segment.control1);
            segment.control2 = map.apply(segment.control2);
        }
    }
    return result;
}

Contour reversed(const Contour& contour) {
    Contour result{contour.end(), {}, contour.closed};
    for (size_t i = contour.segments.size(); i-- > 0;) {
        const Segment& segment = contour.segments[i];
        const PointD to = i == 0 ? contour.start : contour.segments[i - 1].end;
        result.segments.push_back({to, segment.control2, segment.control1, segment.curved});
    }
    return result;
}

std::vector<PointD> flattened(const Contour& contour, double flatness) {
    std::vector<PointD> points{contour.start};
    for (const Segment& s : contour.segments) {
        if (!s.curved) {
            points.push_back(s.end);
            continue;
        }
        const PointD from = points.back();
        // The second differences bound how far the chord of each of n equal parts is from the curve.
        const double bend =
            std::max((from - s.control1 * 2 + s.control2).length(), (s.control1 - s.control2 * 2 + s.end).length());
        const double wanted = std::ceil(std::sqrt(0.75 * bend / std::max(flatness, 1e-6)));
        const int parts = std::isfinite(wanted) ? static_cast<int>(std::clamp(wanted, 1.0, 1000.0)) : 1;
        for (int i = 1; i < parts; ++i) {
            const double t = static_cast<double>(i) / parts;
            points.push_back({cubic(from.x, s.control1.x, s.control2.x, s.end.x, t),
                              cubic(from.y, s.control1.y, s.control2.y, s.end.y, t)});
        }
        points.push_back(s.end);
    }
    return points;
}

Outline flattened(const Outline& outline, double flatness) {
    Outline result;
    for (const Contour& contour : outline) {
        result.push_back(polygon_contour(flattened(contour, flatness), contour.closed));
    }
    return result;
}

RectD bounds_of(const Outline& outline) {
    Extent extent;
    for (const Contour& contour : outline) {
        PointD from = contour.start;
        extent.add(from);
        for (const Segment& s : contour.segments) {
            extent.add(s.end);
            if (s.curved) {
                const auto add = [&](double t) {
                    extent.add({cubic(from.x, s.control1.x, s.control2.x, s.end.x, t),
                                cubic(from.y, s.control1.y, s.control2.y, s.end.y, t)});
                };
                extremes(from.x, s.control1.x, s.control2.x, s.end.x, add);
                extremes(from.y, s.control1.y, s.control2.y, s.end.y, add);
            }
            from = s.end;
        }
    }
    return extent.rect();
}

RectD bounds_of(std::span<const PointD> points) {
    Extent extent;
    for (const PointD& point : points) {
        extent.add(point);
    }
    return extent.rect();
}

bool contains(const Outline& outline, FillRule rule, PointD p) {
    int winding = 0;
    for (const Contour& contour : outline) {
        const std::vector<PointD> points = flattened(contour, kHitFlatness);
        for (size_t i = 0; i < points.size(); ++i) {
            const PointD a = points[i], b = points[(i + 1) % points.size()];
            if ((a.y <= p.y) == (b.y <= p.y)) {
                continue;
            }
            // Points on a left or upper edge are inside, those on a right or lower one outside.
            if (a.x + (p.y - a.y) / (b.y - a.y) * (b.x - a.x) <= p.x) {
                winding += b.y > a.y ? 1 : -1;
            }
        }
    }
    return rule == FillRule::kAlternate ? winding % 2 != 0 : winding != 0;
}

}  // namespace zelmor::embed
