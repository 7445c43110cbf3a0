// Clips by rectangles, and drawing of regions.
#include <cmath>

#include "runtime/native/behaviors/drawing/region_sweep.h"
#include "runtime/native/formats/metafile/player/device.h"

namespace zelmor::embed::metafile {

namespace {

Outline outline_of_rects(const std::vector<RectD>& rects) {
    Outline outline;
    for (const RectD& rect : rects) {
        if (rect.width > 0 && rect.height > 0) {
            outline.push_back(rectangle_contour(rect));
        }
    }
    return outline;
}

}  // namespace

void Device::clip_rectangle(const RectD& box, RegionOperation operation) {
    const RegionTree region = region_of(in_pixels({rectangle_contour(box)}), FillRule::kWinding);
    state.clip = changed_clip(state.clip, region, operation);
}

void Device::move_clip(PointD by) {
    const PointD pixels = map().apply_vector(by);
    state.clip = transformed(state.clip, Affine::translation(pixels.x, pixels.y));
}

// The clip so far holds from now on, whatever is selected.
void Device::select_meta_region() {
    state.meta_clip = changed_clip(state.meta_clip, state.clip, RegionOperation::kIntersect);
    state.clip = infinite_region();
}

void Device::fill_region(const std::vector<RectD>& rects, const DeviceBrush& brush) {
    fill(in_pixels(outline_of_rects(rects)), FillRule::kWinding, brush);
}

void Device::frame_region(const std::vector<RectD>& rects, const DeviceBrush& brush, double width, double height) {
    const Affine map = this->map();
    const PointD size{std::abs(map.m11 * width), std::abs(map.m22 * height)};
    const RegionTree whole = region_of(in_pixels(outline_of_rects(rects)), FillRule::kWinding);
    // What is left when the region is cut by itself, moved by the width of the frame to all sides.
    RegionTree inner = whole;
    for (const PointD by : {PointD{size.x, 0}, PointD{-size.x, 0}, PointD{0, size.y}, PointD{0, -size.y}}) {
        inner = combined(inner, transformed(whole, Affine::translation(by.x, by.y)), RegionOperation::kIntersect);
    }
    fill(boundary_of(*combined(whole, inner, RegionOperation::kExclude)), FillRule::kAlternate, brush);
}

void Device::invert_region(const std::vector<RectD>& rects) {
    constexpr uint8_t kInvert = 0x55;
    use_clip();
    const Outline outline = on_canvas(in_pixels(outline_of_rects(rects)), m_space.to_canvas);
    combine(outline, FillRule::kWinding, {}, {}, kInvert);
}

void Device::flood(PointD at, Argb color, FloodLimit limit) {
    const bool empty = state.brush.kind == DeviceBrush::Kind::kPattern && state.brush.pattern.empty();
    if (m_paper == nullptr || state.brush.kind == DeviceBrush::Kind::kNull || empty) {
        return;
    }
    use_clip();
    const PointD pixel = map().apply(at);
    const PointD middle{std::floor(pixel.x) + 0.5, std::floor(pixel.y) + 0.5};
    const Paint brush = paint_of(state.brush);
    m_paper->flood(m_space.to_canvas.apply(middle), color, limit, {state.clip, state.meta_clip},
                   [&](const Outline& outline) { paint(outline, FillRule::kAlternate, brush, state.mix); });
}

}  // namespace zelmor::embed::metafile
