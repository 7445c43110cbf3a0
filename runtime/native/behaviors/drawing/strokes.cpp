// Drawing lines with pens. Caps and joins that the backend's own strokes do not have are filled as outlines.
//
// A line is centered on the pixels that its coordinates name, so that one of the width 1 along whole coordinates covers
// one row of pixels; hence the half pixel between strokes and fills.
#include <algorithm>
#include <cassert>
#include <cmath>

#include "runtime/native/behaviors/drawing/graphics.h"
#include "runtime/native/behaviors/drawing/shapes.h"
#include "runtime/native/core/enumeration_properties.h"
#include "runtime/native/core/managed_exception.h"

namespace zelmor::embed {

using drawwork::Canvas;
using drawwork::Paint;
using drawwork::PixelArea;
using drawwork::Stroke;
using drawwork::StrokeCap;
using drawwork::StrokeJoin;

namespace {

constexpr double kStrokeFlatness = 0.05;

struct LineEnd {
    PointD at;
    PointD direction;  // outwards, of length 1
};

// The ends of an open contour; false for one without a direction.
bool ends_of(const Contour& contour, LineEnd& start, LineEnd& end) {
    std::vector<PointD> points = flattened(contour, kStrokeFlatness);
    points.erase(std::unique(points.begin(), points.end()), points.end());
    if (points.size() < 2) {
        return false;
    }
    const auto unit = [](PointD d) { return d * (1 / d.length()); };
    start = {points.front(), unit(points[0] - points[1])};
    end = {points.back(), unit(points[points.size() - 1] - points[points.size() - 2])};
    return true;
}

// The caps that the backend's own strokes have.
bool is_simple(LineCap cap) {
    return cap == LineCap::kFlat || cap == LineCap::kSquare || cap == LineCap::kRound;
}

// An anchor or cap as outlines in a space where the line ends at the origin, goes along y and has the width 1.
Outline cap_outline(LineCap cap, const ManagedObject* custom) {
    const auto polygon = [](std::vector<PointD> points) { return Outline{polygon_contour(points, true)}; };
    switch (cap) {
        case LineCap::kSquare:
            return polygon({{-0.5, 0}, {0.5, 0}, {0.5, 0.5}, {-0.5, 0.5}});
        case LineCap::kRound:
            return {ellipse_contour({-0.5, -0.5, 1, 1})};
        case LineCap::kTriangle:
            return polygon({{-0.5, 0}, {0.5, 0}, {0, 0.5}});
        case LineCap::kSquareAnchor:
            return polygon({{-0.75, -0.75}, {0.75, -0.75}, {0.75, 0.75}, {-0.75, 0.75}});
        case LineCap::kRoundAnchor:
            return {ellipse_contour({-1, -1, 2, 2})};
        case LineCap::kDiamondAnchor:
            return polygon({{0, -1}, {1, 0}, {0, 1}, {-1, 0}});
        case LineCap::kArrowAnchor:
            return polygon({{0, 0}, {1, -1.75}, {-1, -1.75}});
        case LineCap::kCustom:
            break;
        default:
            return {};
    }
    if (custom == nullptr) {
        return {};
    }
    Outline outline;
    if (const auto path = property_object(*custom, "FillPath")) {
        outline = cast_object<PathObject>(*path).outline();
    }
    if (const auto path = property_object(*custom, "StrokePath")) {
        const Outline lines =
            widened(cast_object<PathObject>(*path).outline(), stroke_shape_of(*custom), kStrokeFlatness / 10);
        outline.insert(outline.end(), lines.begin(), lines.end());
    }
    const double scale = property_double(*custom, "WidthScale");
    return transformed(outline, Affine::scaling(scale, scale));
}

// Where a line is in a pattern of dashes and gaps, which repeats.
class DashWalk {
 public:
    DashWalk(const std::vector<double>& lengths, double offset) : m_lengths(lengths) {
        double cycle = 0;
        for (const double length : lengths) {
            cycle += length;
        }
        // A pattern of an odd number of lengths has its gaps and dashes exchanged the second time.
        cycle *= lengths.size() % 2 == 0 ? 1 : 2;
        assert(cycle > 0);
        m_rest = lengths.front();
        double left = std::fmod(offset, cycle);
        for (left = left < 0 ? left + cycle : left; left >= m_rest;) {
            left -= m_rest;
            next();
        }
        m_rest -= left;
    }
    double rest() const { return m_rest; }
    bool draws() const { return m_index % 2 == 0; }
    // Goes on by a distance that is not beyond the rest; true where a dash or gap ends there.
    bool advance(double distance) {
        if (distance < m_rest) {
            m_rest -= distance;
            return false;
        }
        next();
        return true;
    }

 private:
    void next() { m_rest = m_lengths[++m_index % m_lengths.size()]; }

    const std::vector<double>& m_lengths;
    size_t m_index = 0;
    double m_rest = 0;
};

// A pen's object, read once for a drawing.
class PenUse {
 public:
    PenUse(const ManagedObject& pen, const Affine& map, bool smooth, double thinnest = 1)
        : m_pen(pen),
          m_shape(pen_shape(pen)),
          m_start(property_enum<LineCap>(pen, "StartCap")),
          m_end(property_enum<LineCap>(pen, "EndCap")) {
        m_shape.nib = m_shape.nib.linear().then(map.linear());
        const double scale = m_shape.nib.mean_scale();
        if (scale > 0) {
            m_shape.width = std::max(m_shape.width, (m_shape.width > 0 ? thinnest : 1) / scale);
        }
        const double pixels = m_shape.width * scale;
        m_dashes = dashes_of(pen);
        for (double& length : m_dashes) {
            length *= m_shape.width;
        }
        // Lines of one pixel's width include both ends, as pixels are either painted or not.
        if (!smooth && pixels <= 1.5 && m_dashes.empty() && m_start == LineCap::kFlat && m_end == LineCap::kFlat) {
            m_start = m_end = LineCap::kSquare;
        }
        const std::vector<double> bands = numbers_of(property(pen, "CompoundArray"));
        if (!bands.empty() &&
            !(bands.front() >= 0 && std::is_sorted(bands.begin(), bands.end()) && bands.back() <= 1)) {
            throw_argument("The parts of a compound pen rise from 0 to 1 (Pen.CompoundArray).");
        }
        for (size_t i = 0; i + 1 < bands.size(); i += 2) {
            m_bands.push_back({bands[i], bands[i + 1]});
        }
        m_alignment = property_enum<api::PenAlignment>(pen, "Alignment");
        m_triangles = !m_dashes.empty() && property_enum<api::DashCap>(pen, "DashCap") == api::DashCap::kTriangle;
    }

    // How far from the outline the pen paints.
    double reach() const {
        const double around = m_shape.join == Join::kMiter || m_shape.join == Join::kMiterClipped
                                  ? std::max(m_shape.miter_limit, 2.0)
                                  : 2.0;
        const double longest = std::max(PointD{m_shape.nib.m11, m_shape.nib.m12}.length(),
                                        PointD{m_shape.nib.m21, m_shape.nib.m22}.length());
        return m_shape.width * longest * around + 2;
    }
    // Custom caps can be of any size.
    bool reaches_anywhere() const { return m_start == LineCap::kCustom || m_end == LineCap::kCustom; }

    void draw(Canvas& canvas, const Outline& outline, const Paint& paint, bool smooth) const {
        if (m_alignment == api::PenAlignment::kLeft || m_alignment == api::PenAlignment::kRight) {
            PenUse centered = *this;
            centered.m_alignment = api::PenAlignment::kCenter;
            const double half = m_shape.width / 2;
            return centered.draw(canvas, beside(outline, m_alignment == api::PenAlignment::kLeft ? -half : half), paint,
                                 smooth);
        }
        if (!m_bands.empty()) {
            return draw_bands(canvas, outline, paint, smooth);
        }
        const bool open = std::any_of(outline.begin(), outline.end(), [](const Contour& c) { return !c.closed; });
        if (!open ||
            (m_start == m_end && is_simple(m_start) && (m_dashes.empty() || dash_cap() == simple_cap(m_start)))) {
            return stroke(canvas, outline, paint, smooth, m_dashes.empty() ? simple_cap(m_start) : dash_cap());
        }
        const Outline caps = caps_of(outline), lines = shortened(outline);
        if (!m_dashes.empty()) {
            stroke(canvas, lines, paint, smooth, dash_cap());
            return canvas.fill(caps, FillRule::kWinding, paint, smooth);
        }
        PenShape body = m_shape;
        body.start_cap = body.end_cap = EndCap::kFlat;
        Outline all = widened(lines, body, kStrokeFlatness);
        all.insert(all.end(), caps.begin(), caps.end());
        canvas.fill(all, FillRule::kWinding, paint, smooth);
    }

 private:
    static StrokeCap simple_cap(LineCap cap) {
        return cap == LineCap::kSquare  ? StrokeCap::kSquare
               : cap == LineCap::kRound ? StrokeCap::kRound
                                        : StrokeCap::kFlat;
    }
    StrokeCap dash_cap() const {
        const auto cap = property_enum<api::DashCap>(m_pen, "DashCap");
        return cap == api::DashCap::kRound ? StrokeCap::kRound : StrokeCap::kFlat;
    }
    void stroke(Canvas& canvas, const Outline& outline, const Paint& paint, bool smooth, StrokeCap cap) const {
        Stroke line;
        line.width = m_shape.width;
        line.cap = cap;
        line.join = m_shape.join == Join::kRound   ? StrokeJoin::kRound
                    : m_shape.join == Join::kBevel ? StrokeJoin::kBevel
                                                   : StrokeJoin::kMiter;
        line.miter_limit = m_shape.miter_limit;
        line.dashes = m_dashes;
        line.dash_offset = property_double(m_pen, "DashOffset") * m_shape.width;
        line.nib = m_shape.nib;
        // Dashes too many to be told apart are an unbroken line; each of them would take its time.
        constexpr double kMostDashes = 100'000;
        double length = 0, cycle = 0;
        for (const Contour& contour : outline) {
            const std::vector<PointD> points = flattened(contour, 1);
            for (size_t i = 1; i < points.size(); ++i) {
                length += (points[i] - points[i - 1]).length();
            }
        }
        for (const double dash : m_dashes) {
            cycle += dash * m_shape.nib.mean_scale();
        }
        if (!m_dashes.empty() && !(length < cycle * kMostDashes)) {
            line.dashes.clear();
        }
        const bool inside = m_alignment == api::PenAlignment::kInset;
        const bool one_side = (inside || m_alignment == api::PenAlignment::kOutset) &&
                              std::all_of(outline.begin(), outline.end(), [](const Contour& c) { return c.closed; });
        if (one_side) {
            Outline side = outline;
            if (!inside) {
                const RectD box = bounds_of(outline);
                const double around = 2 * reach();
                side.push_back(rectangle_contour(
                    {box.x - around, box.y - around, box.width + 2 * around, box.height + 2 * around}));
            }
            canvas.clip(side, FillRule::kAlternate, smooth);
            line.width *= 2;
        }
        if (m_triangles && !line.dashes.empty()) {
            PenShape body = m_shape;
            body.width = line.width;
            body.start_cap = body.end_cap = EndCap::kTriangle;
            return canvas.fill(widened(dashed(outline, line), body, kStrokeFlatness), FillRule::kWinding, paint,
                               smooth);
        }
        canvas.stroke(outline, line, paint, smooth);
    }
    struct Way {
        std::vector<PointD> points;
        bool closed = false;
    };
    // The contours as points in units of the pen; none where the nib has no area.
    std::vector<Way> ways(const Outline& outline) const {
        std::vector<Way> result;
        if (const auto back = m_shape.nib.inverse()) {
            const double flatness = kStrokeFlatness / std::max(m_shape.nib.mean_scale(), 1e-9);
            for (const Contour& contour : transformed(outline, *back)) {
                result.push_back({flattened(contour, flatness), contour.closed});
            }
        }
        return result;
    }
    // The dashes as lines of their own.
    Outline dashed(const Outline& outline, const Stroke& line) const {
        Outline result;
        for (Way& contour : ways(outline)) {
            std::vector<PointD>& points = contour.points;
            if (contour.closed && !points.empty() && points.front() != points.back()) {
                points.push_back(points.front());
            }
            DashWalk walk(line.dashes, line.dash_offset);
            std::vector<PointD> dash;
            const auto end_dash = [&] {
                if (dash.size() > 1) {
                    result.push_back(polygon_contour(dash, false));
                }
                dash.clear();
            };
            for (size_t i = 1; i < points.size(); ++i) {
                const PointD way = points[i] - points[i - 1];
                const double length = way.length();
                for (double done = 0; done < length;) {
                    const double step = std::min(walk.rest(), length - done);
                    const auto at = [&](double distance) { return points[i - 1] + way * (distance / length); };
                    if (walk.draws()) {
                        if (dash.empty()) {
                            dash.push_back(at(done));
                        }
                        dash.push_back(at(done + step));
                    }
                    done = step < walk.rest() ? length : done + step;
                    if (walk.advance(step)) {
                        end_dash();
                    }
                }
            }
            end_dash();
        }
        return transformed(result, m_shape.nib);
    }
    // A compound pen: lines beside each other, from 0 on the left to 1 on the right of the way.
    void draw_bands(Canvas& canvas, const Outline& outline, const Paint& paint, bool smooth) const {
        for (const Band& band : m_bands) {
            PenUse part = *this;
            part.m_bands.clear();
            part.m_alignment = api::PenAlignment::kCenter;
            part.m_shape.width = m_shape.width * (band.to - band.from);
            part.stroke(canvas, beside(outline, m_shape.width * ((band.from + band.to) / 2 - 0.5)), paint, smooth,
                        m_dashes.empty() ? simple_cap(m_start) : dash_cap());
        }
    }
    // The lines at a distance to the right, in units of the pen.
    Outline beside(const Outline& outline, double distance) const {
        Outline result;
        for (Way& contour : ways(outline)) {
            std::vector<PointD>& points = contour.points;
            points.erase(std::unique(points.begin(), points.end()), points.end());
            if (contour.closed && points.size() > 1 && points.front() == points.back()) {
                points.pop_back();
            }
            const size_t count = points.size();
            if (count < 2) {
                continue;
            }
            const auto side = [&](size_t from, size_t to) {
                const PointD d = points[to] - points[from];
                return PointD{-d.y, d.x} * (1 / d.length());
            };
            std::vector<PointD> moved;
            for (size_t i = 0; i < count; ++i) {
                const bool first = i == 0 && !contour.closed, last = i + 1 == count && !contour.closed;
                const PointD before = first ? side(0, 1) : side((i + count - 1) % count, i);
                const PointD behind = last ? before : side(i, (i + 1) % count);
                const PointD middle = before + behind;
                const double square = middle.x * middle.x + middle.y * middle.y;
                constexpr double kSharpest = 0.1;  // beyond that the corner is cut
                moved.push_back(points[i] + (square > kSharpest ? middle * (2 / square) : before) * distance);
            }
            result.push_back(polygon_contour(moved, contour.closed));
        }
        return transformed(result, m_shape.nib);
    }
    // The lines without the ends that would show beside the tip of an arrow.
    Outline shortened(const Outline& outline) const {
        const double width = m_shape.width * m_shape.nib.mean_scale();
        constexpr double kOfArrow = 0.9;
        const auto inset = [&](LineCap cap, const char* custom) {
            return width * (cap == LineCap::kArrowAnchor ? kOfArrow : base_inset(cap, custom));
        };
        Outline lines = outline;
        for (Contour& contour : lines) {
            LineEnd start, end;
            if (contour.closed || !ends_of(contour, start, end)) {
                continue;
            }
            contour.start = contour.start - start.direction * inset(m_start, "CustomStartCap");
            contour.segments.back().end = contour.segments.back().end - end.direction * inset(m_end, "CustomEndCap");
        }
        return lines;
    }
    // How far from its end a line with a custom cap ends, in widths of the pen.
    double base_inset(LineCap cap, const char* custom) const {
        const auto object = cap == LineCap::kCustom ? property_object(m_pen, custom) : nullptr;
        return object ? property_double(*object, "BaseInset") : 0;
    }
    Outline caps_of(const Outline& outline) const {
        Outline caps;
        const double width = m_shape.width * m_shape.nib.mean_scale();
        const bool mirrored = m_shape.nib.determinant() < 0;
        const auto add_cap = [&](const LineEnd& end, LineCap cap, const ManagedObject* custom) {
            const PointD d = end.direction * width;
            // From the cap's space: y along the line, x across it. All turn the way that the line does, for the winding
            // rule.
            const Affine placing{d.y, -d.x, d.x, d.y, end.at.x, end.at.y};
            for (Contour& contour : transformed(cap_outline(cap, custom), placing)) {
                contour.closed = true;
                const std::vector<PointD> points = flattened(contour, kStrokeFlatness);
                double area = 0;
                for (size_t i = 0; i < points.size(); ++i) {
                    const PointD a = points[i], b = points[(i + 1) % points.size()];
                    area += a.x * b.y - b.x * a.y;
                }
                caps.push_back((area < 0) != mirrored ? reversed(contour) : contour);
            }
        };
        // Below a custom cap the line has an end of its own.
        const auto add = [&](const LineEnd& end, LineCap cap, const char* custom) {
            const auto object = property_object(m_pen, custom);
            if (cap == LineCap::kCustom && object) {
                const LineEnd base{end.at - end.direction * (width * base_inset(cap, custom)), end.direction};
                const auto base_cap = property_enum<LineCap>(*object, "BaseCap");
                if (base_cap != LineCap::kCustom) {
                    add_cap(base, base_cap, nullptr);
                }
            }
            add_cap(end, cap, object.get());
        };
        for (const Contour& contour : outline) {
            LineEnd start, end;
            if (contour.closed || !ends_of(contour, start, end)) {
                continue;
            }
            add(start, m_start, "CustomStartCap");
            add(end, m_end, "CustomEndCap");
        }
        return caps;
    }

    const ManagedObject& m_pen;
    PenShape m_shape;
    LineCap m_start, m_end;
    std::vector<double> m_dashes;
    struct Band {
        double from, to;
    };
    std::vector<Band> m_bands;  // of a compound pen
    api::PenAlignment m_alignment = api::PenAlignment::kCenter;
    bool m_triangles = false;  // at the ends of dashes
};

}  // namespace

void draw_with_pen(Canvas& canvas, const ManagedObject& pen, const Affine& map, const Outline& outline,
                   const Paint& paint, bool smooth, double thinnest) {
    PenUse(pen, map, smooth, thinnest).draw(canvas, outline, paint, smooth);
}

namespace {

Paint paint_of_pen(const ManagedObject& pen, const PaintPlace& place) {
    Paint paint = paint_of(property_object(pen, "Brush").get(), place);
    paint.opacity *= std::clamp(property_double(pen, "Opacity"), 0.0, 1.0);
    return paint;
}

}  // namespace

void stroke_on(Canvas& canvas, const ManagedObject* pen, const Outline& outline, const PaintPlace& place, bool smooth) {
    const PenUse use(required(pen, "pen"), place.map, smooth);
    canvas.save();
    use.draw(canvas, transformed(outline, place.map), paint_of_pen(*pen, place), smooth);
    canvas.restore();
}

void GraphicsObject::stroke(const ManagedObject* pen, const Outline& world) {
    required(pen, "pen");
    const Affine to_pixels = map();
    const PenUse use(*pen, to_pixels, smooth());
    const Outline outline = transformed(world, to_pixels.then(Affine::translation(0.5, 0.5)));
    const RectD bounds = bounds_of(outline);
    const double reach = use.reach();
    const RectD around = use.reaches_anywhere() ? image_rect()
                                                : RectD{bounds.x - reach, bounds.y - reach, bounds.width + 2 * reach,
                                                        bounds.height + 2 * reach};
    draw(around, [&](Canvas& canvas, const PixelArea& area) {
        use.draw(canvas, outline, paint_of_pen(*pen, {to_pixels, area}), smooth());
    });
}

}  // namespace zelmor::embed
