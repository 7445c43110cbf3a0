// The area that a pen covers along an outline: a quadrilateral for each line, with their joins and caps.
//
// The parts overlap; all turn the same way, so that filling them by the winding rule gives their union.
#include <algorithm>

#include "runtime/native/behaviors/drawing/outlines.h"

namespace zelmor::embed {

namespace {

class Widener {
 public:
    Widener(const PenShape& pen, double flatness) : m_pen(pen), m_half(pen.width / 2), m_flatness(flatness) {}

    void contour(std::vector<PointD> points, bool closed) {
        points.erase(std::unique(points.begin(), points.end()), points.end());
        if (closed && points.size() > 1 && points.front() == points.back()) {
            points.pop_back();
        }
        const size_t n = points.size();
        if (n == 1) {
            return dot(points[0], closed);
        }
        const size_t lines = closed ? n : n - 1;
        for (size_t i = 0; i < lines; ++i) {
            line(points[i], points[(i + 1) % n]);
        }
        for (size_t i = closed ? 0 : 1; i < (closed ? n : n - 1); ++i) {
            join(points[(i + n - 1) % n], points[i], points[(i + 1) % n]);
        }
        if (closed) {
            return;
        }
        cap(points[0], direction(points[1], points[0]), m_pen.start_cap);
        cap(points[n - 1], direction(points[n - 2], points[n - 1]), m_pen.end_cap);
    }
    Outline take() { return std::move(m_outline); }

 private:
    static PointD direction(PointD from, PointD to) {
        const PointD d = to - from;
        return d * (1 / d.length());
    }
    static PointD normal(PointD d) { return {-d.y, d.x}; }

    void add(std::vector<PointD> points) {
        double area = 0;
        for (size_t i = 0; i < points.size(); ++i) {
            const PointD a = points[i], b = points[(i + 1) % points.size()];
            area += a.x * b.y - b.x * a.y;
        }
        if (area < 0) {
            std::reverse(points.begin(), points.end());
        }
        if (area != 0) {
            m_outline.push_back(polygon_contour(points, true));
        }
    }
    void line(PointD a, PointD b) {
        const PointD side = normal(direction(a, b)) * m_half;
        add({a + side, b + side, b - side, a - side});
    }
    void disc(PointD center) {
        add(flattened(ellipse_contour({center.x - m_half, center.y - m_half, 2 * m_half, 2 * m_half}), m_flatness));
    }
    void join(PointD before, PointD at, PointD after) {
        const PointD in = direction(before, at), out = direction(at, after);
        const double turn = in.x * out.y - in.y * out.x;
        if (m_pen.join == Join::kRound) {
            return disc(at);
        }
        if (turn == 0) {  // straight on, or back on the same line
            return;
        }
        const double outer = turn > 0 ? -m_half : m_half;
        const PointD a = at + normal(in) * outer, b = at + normal(out) * outer;
        const PointD middle = (a + b) * 0.5 - at;
        // Half the width over the distance of the bevel gives the length of the miter.
        const double ratio = m_half / middle.length();
        if (m_pen.join != Join::kBevel && ratio <= m_pen.miter_limit) {
            return add({at, a, at + middle * (ratio * ratio), b});
        }
        add({at, a, b});
    }
    void cap(PointD at, PointD d, EndCap cap) {
        const PointD side = normal(d) * m_half, out = d * m_half;
        if (cap == EndCap::kSquare) {
            add({at + side, at + side + out, at - side + out, at - side});
        }
        if (cap == EndCap::kTriangle) {
            add({at + side, at + out, at - side});
        }
        if (cap == EndCap::kRound) {
            disc(at);
        }
    }
    void dot(PointD at, bool closed) {
        const EndCap cap = closed ? EndCap::kSquare : m_pen.start_cap;
        if (cap == EndCap::kRound) {
            disc(at);
        }
        if (cap == EndCap::kSquare) {
            add(flattened(rectangle_contour({at.x - m_half, at.y - m_half, 2 * m_half, 2 * m_half}), 1));
        }
    }

    const PenShape& m_pen;
    double m_half;
    double m_flatness;
    Outline m_outline;
};

}  // namespace

Outline widened(const Outline& outline, const PenShape& pen, double flatness) {
    // The nib is a circle where the pen's own transformation is undone.
    const auto back = pen.nib.inverse();
    const Outline seen = back ? transformed(outline, *back) : outline;
    Widener widener(pen, flatness);
    for (const Contour& contour : seen) {
        widener.contour(flattened(contour, flatness), contour.closed);
    }
    return back ? transformed(widener.take(), pen.nib) : widener.take();
}

}  // namespace zelmor::embed
