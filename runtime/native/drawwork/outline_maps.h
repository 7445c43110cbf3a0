// Outlines of rectangles, outlines under maps, and the rectangles around them.
#ifndef ZELMOR_RUNTIME_NATIVE_DRAWWORK_OUTLINE_MAPS_H
#define ZELMOR_RUNTIME_NATIVE_DRAWWORK_OUTLINE_MAPS_H

#include <algorithm>

#include "runtime/native/drawwork/geometry.h"

namespace zelmor::drawwork {

inline Outline rectangle_outline(const RectD& area) {
    Contour contour{{area.x, area.y}, {}, true};
    contour.line_to({area.right(), area.y});
    contour.line_to({area.right(), area.bottom()});
    contour.line_to({area.x, area.bottom()});
    return {contour};
}

inline Outline mapped_outline(const Outline& outline, const Affine& map) {
    Outline result = outline;
    for (Contour& contour : result) {
        contour.start = map.apply(contour.start);
        for (Segment& s : contour.segments) {
            s = {map.apply(s.end), map.apply(s.control1), map.apply(s.control2), s.curved};
        }
    }
    return result;
}

// The rectangle around all points, control points among them.
inline RectD rectangle_around(const Outline& outline) {
    if (outline.empty()) {
        return {};
    }
    PointD low = outline[0].start, high = low;
    const auto take = [&](PointD p) {
        low = {std::min(low.x, p.x), std::min(low.y, p.y)};
        high = {std::max(high.x, p.x), std::max(high.y, p.y)};
    };
    for (const Contour& contour : outline) {
        take(contour.start);
        for (const Segment& s : contour.segments) {
            take(s.end);
            if (s.curved) {
                take(s.control1), take(s.control2);
            }
        }
    }
    return {low.x, low.y, high.x - low.x, high.y - low.y};
}

// Whether the outline is the parallelogram that the map makes of the rectangle.
inline bool is_mapped_rectangle(const Outline& outline, const RectD& area, const Affine& map) {
    if (outline.size() != 1 || outline[0].segments.size() < 3 || outline[0].segments.size() > 4) {
        return false;
    }
    const Contour wanted = mapped_outline(rectangle_outline(area), map)[0];
    constexpr double kClose = 1e-3;
    const auto close = [](PointD a, PointD b) { return (a - b).length() < kClose; };
    const Contour& found = outline[0];
    return close(found.start, wanted.start) &&
           std::equal(wanted.segments.begin(), wanted.segments.end(), found.segments.begin(),
                      [&](const Segment& a, const Segment& b) { return !b.curved && close(a.end, b.end); }) &&
           (found.segments.size() == 3 || close(found.segments[3].end, wanted.start));
}

}  // namespace zelmor::drawwork

#endif  // ZELMOR_RUNTIME_NATIVE_DRAWWORK_OUTLINE_MAPS_H
