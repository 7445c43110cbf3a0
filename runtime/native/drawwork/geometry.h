// Points, rectangles and affine maps in double precision, and outlines made of lines and curves.
//
// Plain data that the runtime and the drawing backend share. Computing with outlines is the runtime's part.
#ifndef ZELMOR_RUNTIME_NATIVE_DRAWWORK_GEOMETRY_H
#define ZELMOR_RUNTIME_NATIVE_DRAWWORK_GEOMETRY_H

#include <cmath>
#include <optional>
#include <vector>

namespace zelmor::drawwork {

struct PointD {
    double x = 0, y = 0;
    bool operator==(const PointD&) const = default;
    PointD operator+(PointD other) const { return {x + other.x, y + other.y}; }
    PointD operator-(PointD other) const { return {x - other.x, y - other.y}; }
    PointD operator*(double factor) const { return {x * factor, y * factor}; }
    double length() const { return std::hypot(x, y); }
};

struct RectD {
    double x = 0, y = 0, width = 0, height = 0;
    double right() const { return x + width; }
    double bottom() const { return y + height; }
    PointD center() const { return {x + width / 2, y + height / 2}; }
};

// Maps (x, y) to (x * m11 + y * m21 + dx, x * m12 + y * m22 + dy).
struct Affine {
    double m11 = 1, m12 = 0, m21 = 0, m22 = 1, dx = 0, dy = 0;
    bool operator==(const Affine&) const = default;

    PointD apply(PointD p) const { return {p.x * m11 + p.y * m21 + dx, p.x * m12 + p.y * m22 + dy}; }
    PointD apply_vector(PointD p) const { return {p.x * m11 + p.y * m21, p.x * m12 + p.y * m22}; }
    // The same without the move.
    Affine linear() const { return {m11, m12, m21, m22, 0, 0}; }
    double determinant() const { return m11 * m22 - m12 * m21; }
    // First this map, then the other.
    Affine then(const Affine& n) const {
        return {m11 * n.m11 + m12 * n.m21, m11 * n.m12 + m12 * n.m22,      m21 * n.m11 + m22 * n.m21,
                m21 * n.m12 + m22 * n.m22, dx * n.m11 + dy * n.m21 + n.dx, dx * n.m12 + dy * n.m22 + n.dy};
    }
    // Nothing for a map without an inverse.
    std::optional<Affine> inverse() const {
        const double det = determinant();
        if (det == 0 || !std::isfinite(det)) {
            return std::nullopt;
        }
        return Affine{
            m22 / det, -m12 / det, -m21 / det, m11 / det, (m21 * dy - m22 * dx) / det, (m12 * dx - m11 * dy) / det};
    }
    // How much it enlarges lengths, on average.
    double mean_scale() const { return std::sqrt(std::abs(determinant())); }
    // How much it enlarges the length that it enlarges most: the greater singular value.
    double largest_scale() const { return (std::hypot(m11 + m22, m12 - m21) + std::hypot(m11 - m22, m12 + m21)) / 2; }

    static Affine translation(double x, double y) { return {1, 0, 0, 1, x, y}; }
    static Affine scaling(double x, double y) { return {x, 0, 0, y, 0, 0}; }
    // Clockwise, as y points down. Quarter turns are exact.
    static Affine rotation(double degrees) {
        const double turn = std::remainder(degrees, 360.0);
        double sine = std::sin(turn * M_PI / 180), cosine = std::cos(turn * M_PI / 180);
        if (std::fmod(turn, 90.0) == 0) {
            sine = std::round(sine);
            cosine = std::round(cosine);
        }
        return {cosine, sine, -sine, cosine, 0, 0};
    }
    // Maps the unit square to the parallelogram with these three corners.
    static Affine of_corners(PointD left_top, PointD right_top, PointD left_bottom) {
        return {right_top.x - left_top.x,
                right_top.y - left_top.y,
                left_bottom.x - left_top.x,
                left_bottom.y - left_top.y,
                left_top.x,
                left_top.y};
    }
};

// A straight line, or a cubic curve with two control points, to `end`.
struct Segment {
    PointD end;
    PointD control1, control2;
    bool curved = false;
};

struct Contour {
    PointD start;
    std::vector<Segment> segments;
    bool closed = false;
    PointD end() const { return segments.empty() ? start : segments.back().end; }
    void line_to(PointD p) { segments.push_back({p, {}, {}, false}); }
    void curve_to(PointD a, PointD b, PointD p) { segments.push_back({p, a, b, true}); }
};

using Outline = std::vector<Contour>;

enum class FillRule { kAlternate, kWinding };

}  // namespace zelmor::drawwork

#endif  // ZELMOR_RUNTIME_NATIVE_DRAWWORK_GEOMETRY_H
