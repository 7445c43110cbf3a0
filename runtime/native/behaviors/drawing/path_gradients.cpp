// Path gradients: from the colors of a polygon's corners to the color of its center.
//
// The polygon shrinks towards its center until it is scaled by the focus scales of the brush. How much of that way it
// has gone when one of its sides meets a pixel, and where the pixel divides that side, give the color of the pixel.
#include <algorithm>
#include <cmath>
#include <optional>

#include "runtime/native/behaviors/drawing/matrix.h"
#include "runtime/native/behaviors/drawing/paints.h"
#include "runtime/native/core/enumeration_properties.h"
#include "runtime/native/core/managed_exception.h"

namespace zelmor::embed {

using api::WrapMode;
using drawwork::Argb;
using drawwork::Paint;

namespace {

struct Side {
    Affine inverse;  // from the brush's space to the parts of the two corners; the center has none of either
    Argb first, second;
};

// A point that a side meets while the polygon shrinks.
struct Meeting {
    double inward;  // 0 at the outer polygon, 1 at the inner one
    double second;  // how far the point is on the way from the first corner to the second
};

class PathGradient {
 public:
    explicit PathGradient(const ManagedObject& brush) {
        const std::vector<PointD> points = points_of(property(brush, "PathPoints"));
        m_middle = point_of(*property_object(brush, "CenterPoint"));
        const PointD focus = point_of(*property_object(brush, "FocusScales"));
        m_shrinking = {1 - std::clamp(focus.x, 0.0, 1.0), 1 - std::clamp(focus.y, 0.0, 1.0)};
        m_bounds = bounds_of(points);
        m_wrap = property_enum<WrapMode>(brush, "WrapMode");
        std::vector<Argb> corners(points.size(), 0xFFFFFFFF);
        if (const auto many = property_object(brush, "InterpolationColors")) {
            m_stops = stops_of(*many);
        } else if (has_property(brush, "CenterColor")) {
            m_center = argb_property(brush, "CenterColor");
            read_corners(brush, corners);
            const auto blend = property_object(brush, "Blend");
            read_factors(blend.get());
        } else {
            throw_invalid_operation("The gradient has no colors: interpolation_colors is not set.");
        }
        for (size_t i = 0; i < points.size(); ++i) {
            const size_t next = (i + 1) % points.size();
            if (const auto inverse = Affine::of_corners(m_middle, points[i], points[next]).inverse()) {
                m_sides.push_back({*inverse, corners[i], corners[next]});
            }
        }
    }

    Argb at(PointD p) const {
        if (m_wrap != WrapMode::kClamp && m_bounds.width > 0 && m_bounds.height > 0) {
            p = wrapped(p);
        }
        std::optional<Argb> edge;  // in the direction of a point that no side meets, as in the inner polygon
        for (const Side& side : m_sides) {
            if (const auto meeting = meeting_of(side, p)) {
                return shade(mixed(side.first, side.second, meeting->second), meeting->inward);
            }
            const PointD parts = side.inverse.apply(p);
            const double out = parts.x + parts.y;
            if (!edge && parts.x >= -kSlack && parts.y >= -kSlack && out <= 1 + kSlack) {
                edge = mixed(side.first, side.second, out > 0 ? parts.y / out : 0);
            }
        }
        return edge ? shade(*edge, 1) : 0;
    }

 private:
    static constexpr double kSlack = 1e-9;

    Argb shade(Argb edge, double inward) const {
        return m_stops.empty() ? mixed(edge, m_center, factor(inward)) : color_at(m_stops, inward);
    }

    // A polygon that has gone the part s of its way is scaled by 1 - s * m_shrinking. Its side goes through the point
    // if a / (1 - s * m_shrinking.x) + b / (1 - s * m_shrinking.y) = 1, where a + b says how far out the point lies.
    std::optional<Meeting> meeting_of(const Side& side, PointD p) const {
        const PointD from = p - m_middle;
        const double a = (side.inverse.m11 + side.inverse.m12) * from.x;
        const double b = (side.inverse.m21 + side.inverse.m22) * from.y;
        const double square = m_shrinking.x * m_shrinking.y;
        const double linear = m_shrinking.x * (1 - b) + m_shrinking.y * (1 - a);
        const double left = 1 - a - b;
        // Of two solutions, the one at which the shrinking side comes by first. Without any, this is not a number.
        const double s = left == 0 ? 0 : 2 * left / (linear + std::sqrt(linear * linear - 4 * square * left));
        if (!(s >= -kSlack && s <= 1)) {  // beyond 1 a point may lie on the mirror image of the side
            return std::nullopt;
        }
        const PointD parts =
            side.inverse.apply_vector({from.x / (1 - s * m_shrinking.x), from.y / (1 - s * m_shrinking.y)});
        if (!(parts.x >= -kSlack && parts.y >= -kSlack)) {
            return std::nullopt;
        }
        return Meeting{std::clamp(s, 0.0, 1.0), parts.y};
    }
    static void read_corners(const ManagedObject& brush, std::vector<Argb>& corners) {
        const std::vector<Value> colors = elements_of(property(brush, "SurroundColors"));
        if (colors.empty()) {
            return;
        }
        for (size_t i = 0; i < corners.size(); ++i) {
            // The last color goes for all corners behind it.
            const auto* color = std::get_if<Ref<ManagedObject>>(&colors[std::min(i, colors.size() - 1)]);
            const ManagedObject& held = required(color == nullptr ? nullptr : color->get(), "surround_colors");
            corners[i] = unbox<ColorValue>(held).argb;
        }
    }
    void read_factors(const ManagedObject* blend) {
        if (blend == nullptr) {
            return;
        }
        const std::vector<double> positions = numbers_of(property(*blend, "Positions"));
        const std::vector<double> factors = numbers_of(property(*blend, "Factors"));
        if (factors.size() != positions.size()) {
            throw_argument("A blend has as many factors as positions.");
        }
        if (positions.size() < 2) {
            return;
        }
        for (size_t i = 0; i < positions.size(); ++i) {
            m_steps.push_back({positions[i], factors[i]});
        }
    }
    double factor(double inward) const {
        if (m_steps.empty()) {
            return inward;
        }
        if (inward <= m_steps.front().x) {
            return m_steps.front().y;
        }
        for (size_t i = 1; i < m_steps.size(); ++i) {
            const PointD a = m_steps[i - 1], b = m_steps[i];
            if (inward <= b.x) {
                return b.x > a.x ? a.y + (b.y - a.y) * (inward - a.x) / (b.x - a.x) : b.y;
            }
        }
        return m_steps.back().y;
    }
    PointD wrapped(PointD p) const {
        const auto place = [](double value, double from, double length, bool flips) {
            const double tiles = std::floor((value - from) / length);
            const double inside = value - from - tiles * length;
            return from + (flips && std::fmod(tiles, 2) != 0 ? length - inside : inside);
        };
        return {place(p.x, m_bounds.x, m_bounds.width, flips_sideways(m_wrap)),
                place(p.y, m_bounds.y, m_bounds.height, flips_upright(m_wrap))};
    }

    std::vector<Side> m_sides;
    RectD m_bounds;
    PointD m_middle;       // which the polygon shrinks towards
    PointD m_shrinking{};  // the part of either direction that it loses on the way
    WrapMode m_wrap = WrapMode::kClamp;
    Argb m_center = 0;
    ColorStops m_stops;
    std::vector<PointD> m_steps;  // of the blend: position and factor
};

}  // namespace

Paint path_gradient_paint(const ManagedObject& brush, const PaintPlace& place) {
    Paint paint;
    const auto back = transform_of(brush).then(place.map).inverse();
    if (!back) {
        return paint;
    }
    const PathGradient gradient(brush);
    const auto& area = place.area;
    paint.kind = Paint::Kind::kTexture;
    paint.width = area.width;
    paint.height = area.height;
    paint.sampling = drawwork::Sampling::kNearest;
    paint.placing = Affine::translation(area.x, area.y);
    paint.pixels.reserve(static_cast<size_t>(area.width) * static_cast<size_t>(area.height));
    for (int32_t y = 0; y < area.height; ++y) {
        for (int32_t x = 0; x < area.width; ++x) {
            paint.pixels.push_back(gradient.at(back->apply({area.x + x + 0.5, area.y + y + 0.5})));
        }
    }
    return paint;
}

}  // namespace zelmor::embed
