// Lines, curves and shapes.
#include <algorithm>
#include <cmath>

#include "runtime/native/formats/metafile/player/device.h"

namespace zelmor::embed::metafile {

namespace {

// An arc of an ellipse in the direction of the state, from where the line from the center to `start` cuts it.
Contour arc_of(const RectD& box, PointD start, PointD end, bool clockwise) {
    const PointD center = box.center();
    // arc_contour() takes angles as they are seen from the center, like those of the two lines.
    const auto angle = [&](PointD p) { return std::atan2(p.y - center.y, p.x - center.x) * 180 / M_PI; };
    const double from = angle(start);
    double sweep = angle(end) - from;
    if (clockwise) {
        sweep += sweep <= 0 ? 360 : 0;
    } else {
        sweep -= sweep >= 0 ? 360 : 0;
    }
    return arc_contour(box, from, sweep, false);
}

RectD positive(RectD box) {
    if (box.width < 0) {
        box = {box.x + box.width, box.y, -box.width, box.height};
    }
    if (box.height < 0) {
        box = {box.x, box.y + box.height, box.width, -box.height};
    }
    return box;
}

bool is_upright(const Affine& map) {
    return map.m12 == 0 && map.m21 == 0;
}

}  // namespace

// Rectangles and ellipses end before the last row and column of pixels of their box. A pen that stays inside the frame
// makes them smaller by its width. The result is in logical units.
RectD Device::frame(const RectD& given, bool strokes) const {
    const RectD box = positive(given);
    const Affine map = this->map();
    const auto back = map.inverse();
    if (!is_upright(map) || !back) {
        return box;
    }
    const RectD pixels = bounds_of(transformed({rectangle_contour(box)}, map));
    RectD inner{pixels.x, pixels.y, std::max(pixels.width - 1, 0.0), std::max(pixels.height - 1, 0.0)};
    if (strokes && state.pen.style == DevicePen::kInsideFrame) {
        const double half_x = std::min(std::abs(state.pen.width * map.m11), inner.width) / 2;
        const double half_y = std::min(std::abs(state.pen.width * map.m22), inner.height) / 2;
        inner = {inner.x + half_x, inner.y + half_y, inner.width - 2 * half_x, inner.height - 2 * half_y};
    }
    return bounds_of(transformed({rectangle_contour(inner)}, *back));
}

void Device::extend(const Contour& logical) {
    const Outline pixels = in_pixels({logical});
    const Contour& added = pixels.front();
    if (!m_path_open) {
        stroke(pixels, state.pen);
        return;
    }
    if (m_contour_open && !m_path.empty()) {
        Contour& last = m_path.back();
        if (last.end() != added.start) {
            last.line_to(added.start);
        }
        last.segments.insert(last.segments.end(), added.segments.begin(), added.segments.end());
    } else {
        m_path.push_back(added);
    }
    m_contour_open = true;
}

void Device::move_to(PointD point) {
    state.position = point;
    m_contour_open = false;
}

void Device::line_to(PointD point) {
    extend(polygon_contour(std::vector<PointD>{state.position, point}, false));
    state.position = point;
}

void Device::polyline(std::span<const PointD> points) {
    if (points.size() >= 2) {
        shape(in_pixels({polygon_contour(points, false)}), false, true);
    }
}

void Device::polyline_to(std::span<const PointD> points) {
    if (points.empty()) {
        return;
    }
    std::vector<PointD> all{state.position};
    all.insert(all.end(), points.begin(), points.end());
    extend(polygon_contour(all, false));
    state.position = points.back();
}

void Device::beziers(std::span<const PointD> points) {
    const size_t whole = points.empty() ? 0 : (points.size() - 1) / 3 * 3 + 1;
    if (whole >= 4) {
        shape(in_pixels({bezier_contour(points.first(whole), false)}), false, true);
    }
}

void Device::beziers_to(std::span<const PointD> points) {
    const size_t whole = points.size() / 3 * 3;
    if (whole == 0) {
        return;
    }
    std::vector<PointD> all{state.position};
    all.insert(all.end(), points.begin(), points.begin() + static_cast<std::ptrdiff_t>(whole));
    extend(bezier_contour(all, false));
    state.position = all.back();
}

void Device::polygon(std::span<const PointD> points) {
    if (points.size() >= 2) {
        shape(in_pixels({polygon_contour(points, true)}), true, true);
    }
}

void Device::polygons(std::span<const PointD> points, std::span<const double> counts, bool closed) {
    Outline outline;
    size_t at = 0;
    for (const double count : counts) {
        if (!(count >= 0 && count <= static_cast<double>(points.size() - at))) {
            break;
        }
        const auto length = static_cast<size_t>(count);
        if (length >= 2) {
            outline.push_back(polygon_contour(points.subspan(at, length), closed));
        }
        at += length;
    }
    if (!outline.empty()) {
        shape(in_pixels(outline), closed, true);
    }
}

// Each point has its own type: a line to it, one of three points of a curve, or a new beginning.
void Device::draw_types(std::span<const PointD> points, std::span<const double> types) {
    constexpr int kClose = 1, kLine = 2, kBezier = 4, kMove = 6;
    Outline outline{Contour{state.position, {}, false}};
    const size_t count = std::min(points.size(), types.size());
    for (size_t i = 0; i < count; ++i) {
        auto type = static_cast<int>(types[i]);
        Contour& contour = outline.back();
        if ((type & ~kClose) == kMove) {
            outline.push_back({points[i], {}, false});
            continue;
        }
        if ((type & ~kClose) == kBezier && i + 2 < count) {
            contour.curve_to(points[i], points[i + 1], points[i + 2]);
            i += 2;
            type = static_cast<int>(types[i]);
        } else if ((type & ~kClose) == kLine || (type & ~kClose) == kBezier) {
            contour.line_to(points[i]);
        }
        if ((type & kClose) != 0) {
            contour.closed = true;
            outline.push_back({contour.start, {}, false});
        }
    }
    if (count > 0) {
        state.position = outline.back().end();
    }
    std::erase_if(outline, [](const Contour& contour) { return contour.segments.empty(); });
    if (!outline.empty()) {
        shape(in_pixels(outline), false, true);
    }
}

void Device::rectangle(const RectD& box) {
    shape(in_pixels({rectangle_contour(frame(box, true))}), true, true);
}
void Device::ellipse(const RectD& box) {
    shape(in_pixels({ellipse_contour(frame(box, true))}), true, true);
}

void Device::round_rectangle(const RectD& given, PointD corner) {
    const RectD box = frame(given, true);
    const double rx = std::min(std::abs(corner.x), box.width) / 2, ry = std::min(std::abs(corner.y), box.height) / 2;
    if (!(rx > 0 && ry > 0)) {
        return rectangle(given);
    }
    Contour contour;
    const PointD corners[] = {{box.right() - rx, box.y + ry},
                              {box.right() - rx, box.bottom() - ry},
                              {box.x + rx, box.bottom() - ry},
                              {box.x + rx, box.y + ry}};
    double angle = -90;
    for (const PointD& center : corners) {
        const Contour arc = arc_contour({center.x - rx, center.y - ry, 2 * rx, 2 * ry}, angle, 90, false);
        if (contour.segments.empty()) {
            contour.start = arc.start;
        } else {
            contour.line_to(arc.start);
        }
        contour.segments.insert(contour.segments.end(), arc.segments.begin(), arc.segments.end());
        angle += 90;
    }
    contour.closed = true;
    shape(in_pixels({contour}), true, true);
}

void Device::arc(ArcKind kind, const RectD& given, PointD start, PointD end) {
    const RectD box = frame(given, kind == ArcKind::kChord || kind == ArcKind::kPie);
    if (!(box.width > 0 && box.height > 0)) {
        return;
    }
    // The direction is that on the device: with y pointing up it is the other one in logical units.
    const bool turned = map().determinant() < 0;
    Contour arc = arc_of(box, start, end, state.clockwise != turned);
    switch (kind) {
        case ArcKind::kArc:
            shape(in_pixels({arc}), false, true);
            break;
        case ArcKind::kArcTo: {
            Contour whole{state.position, {}, false};
            whole.line_to(arc.start);
            whole.segments.insert(whole.segments.end(), arc.segments.begin(), arc.segments.end());
            extend(whole);
            state.position = arc.end();
            break;
        }
        case ArcKind::kPie:
            arc.line_to(box.center());
            [[fallthrough]];
        case ArcKind::kChord:
            arc.closed = true;
            shape(in_pixels({arc}), true, true);
            break;
    }
}

// Angles are counterclockwise here, and the line from the current position to the arc belongs to it.
void Device::angle_arc(PointD center, double radius, double start, double sweep) {
    const RectD box{center.x - radius, center.y - radius, 2 * radius, 2 * radius};
    if (!(radius > 0)) {
        return;
    }
    const Contour arc = arc_contour(box, -start, -sweep, false);
    Contour whole{state.position, {}, false};
    whole.line_to(arc.start);
    whole.segments.insert(whole.segments.end(), arc.segments.begin(), arc.segments.end());
    extend(whole);
    state.position = arc.end();
}

void Device::pixel(PointD at, Argb color) {
    use_clip();
    const PointD corner = map().apply(at);
    Paint paint;
    paint.color = color;
    const RectD square{std::floor(corner.x), std::floor(corner.y), 1, 1};
    m_canvas.fill(on_canvas({rectangle_contour(square)}, m_space.to_canvas), FillRule::kAlternate, paint,
                  m_rendering.smooth);
}

}  // namespace zelmor::embed::metafile
