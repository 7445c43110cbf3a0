// The clip that records set on a canvas.
#include "runtime/native/formats/metafile/player/canvas_clip.h"

#include <algorithm>

#include "runtime/native/behaviors/drawing/graphics.h"

namespace zelmor::embed::metafile {

namespace {

// Whether counting the crossings of lines gives another region.
bool may_overlap(const RegionNode& region) {
    return region.outline.size() > 1 && region.rule == drawwork::FillRule::kWinding;
}

}  // namespace

CanvasClip::CanvasClip(drawwork::Canvas& canvas, const DeviceSpace& space, bool smooth)
    : m_canvas(canvas), m_space(space), m_smooth(smooth) {
    m_canvas.save();
}
CanvasClip::~CanvasClip() {
    m_canvas.restore();
}

void CanvasClip::use(std::vector<RegionTree> regions) {
    std::erase_if(regions, [](const RegionTree& region) { return region->kind == RegionNode::Kind::kInfinite; });
    if (regions == m_regions) {
        return;
    }
    m_canvas.restore();
    m_canvas.save();
    m_regions = std::move(regions);
    for (const RegionTree& region : m_regions) {
        clip(*region);
    }
}

void CanvasClip::clip(const RegionNode& region) {
    using Kind = RegionNode::Kind;
    const auto cut = [&](const drawwork::Outline& outline, drawwork::FillRule rule) {
        m_canvas.clip(on_canvas(outline, m_space.to_canvas), rule, m_smooth);
    };
    const bool operation = region.kind == Kind::kOperation;
    if (region.kind == Kind::kInfinite) {
        return;
    }
    if (!operation) {
        return cut(region.outline, region.rule);
    }
    if (region.operation == RegionOperation::kIntersect) {
        clip(*region.left);
        return clip(*region.right);
    }
    const RectD frame = around_picture(m_space);
    if (region.operation == RegionOperation::kExclude && region.right->kind == Kind::kOutline &&
        !may_overlap(*region.right)) {
        clip(*region.left);
        drawwork::Outline rest = region.right->outline;
        rest.push_back(rectangle_contour(frame));
        return cut(rest, drawwork::FillRule::kAlternate);
    }
    const RegionOutline outline = outline_of(std::make_shared<RegionNode>(region), frame);
    cut(outline.outline, outline.rule);
}

RegionTree changed_clip(const RegionTree& left, const RegionTree& right, RegionOperation operation) {
    if (left->kind == RegionNode::Kind::kInfinite && operation == RegionOperation::kIntersect) {
        return right;
    }
    return combined(left, right, operation);
}

drawwork::Outline on_canvas(const drawwork::Outline& outline, const Affine& map) {
    constexpr double kFar = 1e6;
    const auto nearer = [](drawwork::PointD& point) {
        for (double* number : {&point.x, &point.y}) {
            *number = *number >= -kFar && *number <= kFar ? *number : *number > kFar ? kFar : -kFar;
        }
    };
    drawwork::Outline placed = transformed(outline, map);
    for (drawwork::Contour& contour : placed) {
        nearer(contour.start);
        for (drawwork::Segment& segment : contour.segments) {
            nearer(segment.end);
            nearer(segment.control1);
            nearer(segment.control2);
        }
    }
    return placed;
}

RectD around_picture(const DeviceSpace& space) {
    const RectD& bounds = space.bounds;
    const double around = std::max({bounds.width, bounds.height, 1000.0});
    return {bounds.x - around, bounds.y - around, bounds.width + 2 * around, bounds.height + 2 * around};
}

}  // namespace zelmor::embed::metafile
