// Bitmaps, patterns and gradients.
#include <algorithm>
#include <array>
#include <cmath>

#include "runtime/native/behaviors/drawing/paints.h"
#include "runtime/native/formats/metafile/player/device.h"

namespace zelmor::embed::metafile {

namespace {

constexpr int32_t kMostShaded = 4096;  // the longest side of a shaded triangle in pixels

// Where the bitmap's own pixels go.
Affine map_of(const Placement& placement) {
    const RectD& source = placement.source;
    const Affine unit = Affine::of_corners(placement.corner, placement.right, placement.down);
    return Affine::translation(-source.x, -source.y)
        .then(Affine::scaling(1 / source.width, 1 / source.height))
        .then(unit);
}

Outline outline_of(const Placement& placement) {
    const PointD last = placement.right + placement.down - placement.corner;
    return on_canvas(
        {polygon_contour(std::vector<PointD>{placement.corner, placement.right, last, placement.down}, true)}, {});
}

Paint texture(const Pixels& pixels, const Affine& placing, int stretch_mode) {
    constexpr int kHalftone = 4;
    Paint paint;
    paint.kind = Paint::Kind::kTexture;
    paint.width = pixels.width;
    paint.height = pixels.height;
    paint.pixels = pixels.colors;
    paint.placing = placing;
    // Reduced bitmaps are averaged; enlarged ones keep their pixels, unless the mode asks for a smooth picture.
    const bool reduced = placing.mean_scale() < 1;
    paint.sampling = stretch_mode == kHalftone || reduced ? drawwork::Sampling::kGood : drawwork::Sampling::kNearest;
    return paint;
}

bool is_usable(const Pixels& pixels, const Placement& placement) {
    const PointD a = placement.right - placement.corner, b = placement.down - placement.corner;
    return !pixels.empty() && placement.source.width != 0 && placement.source.height != 0 && a.x * b.y - a.y * b.x != 0;
}

}  // namespace

Placement Device::placed(const RectD& source, const RectD& box) const {
    const Affine map = canvas_map();
    return {source, map.apply({box.x, box.y}), map.apply({box.right(), box.y}), map.apply({box.x, box.bottom()})};
}

void Device::pattern(const RectD& box, uint8_t operation) {
    use_clip();
    const bool solid = state.brush.kind == DeviceBrush::Kind::kSolid || state.brush.kind == DeviceBrush::Kind::kHatch ||
                       !state.brush.pattern.empty();
    if (uses_pattern(operation) && (state.brush.kind == DeviceBrush::Kind::kNull || !solid)) {
        return;
    }
    const Outline outline = on_canvas({rectangle_contour(box)}, canvas_map());
    combine(outline, FillRule::kWinding, paint_of(state.brush), {}, operation);
}

void Device::bitmap(const Pixels& pixels, const Placement& placement, uint8_t operation) {
    if (!is_usable(pixels, placement)) {
        return;
    }
    use_clip();
    const Paint source = texture(pixels, map_of(placement), state.stretch_mode);
    combine(outline_of(placement), FillRule::kWinding, paint_of(state.brush), source, operation);
}

void Device::masked(const Pixels& pixels, const Placement& placement, const Pixels& mask, PointD mask_at,
                    uint8_t operation, uint8_t other) {
    if (!is_usable(pixels, placement)) {
        return;
    }
    use_clip();
    const Affine map = map_of(placement);
    const Paint source = texture(pixels, map, state.stretch_mode);
    // The runs of set and of other bits, as clips.
    Outline set, unset;
    const RectD& part = placement.source;
    for (int32_t y = 0; y < static_cast<int32_t>(part.height); ++y) {
        const auto row = static_cast<int64_t>(mask_at.y) + y;
        if (row < 0 || row >= mask.height) {
            continue;
        }
        const auto bit = [&](int64_t x) {
            const int64_t column = static_cast<int64_t>(mask_at.x) + x;
            return column >= 0 && column < mask.width &&
                   (mask.colors[static_cast<size_t>(row * mask.width + column)] & 0xFFFFFF) != 0;
        };
        const auto end = static_cast<int32_t>(std::min<double>(part.width, mask.width));
        for (int32_t x = 0; x < end;) {
            const int32_t from = x;
            const bool on = bit(x);
            while (x < end && bit(x) == on) {
                ++x;
            }
            const RectD run{part.x + from, part.y + y, double(x - from), 1};
            (on ? set : unset).push_back(rectangle_contour(run));
        }
    }
    const Paint pattern = paint_of(state.brush);
    const auto part_of = [&](const Outline& runs, uint8_t by) {
        if (runs.empty() || by == 0xAA) {
            return;
        }
        m_canvas.save();
        m_canvas.clip(transformed(runs, map), FillRule::kWinding, false);
        combine(outline_of(placement), FillRule::kWinding, pattern, source, by);
        m_canvas.restore();
    };
    part_of(set, operation);
    part_of(unset, other);
}

void Device::blended(const Pixels& pixels, const Placement& placement, double opacity) {
    if (!is_usable(pixels, placement)) {
        return;
    }
    use_clip();
    Paint source = texture(pixels, map_of(placement), state.stretch_mode);
    source.opacity = std::clamp(opacity, 0.0, 1.0);
    m_canvas.fill(outline_of(placement), FillRule::kWinding, source, m_rendering.smooth);
}

void Device::device_bitmap(const Pixels& pixels, PointD at, const RectD& part) {
    const Affine& map = m_space.to_canvas;
    const PointD corner = at;
    const RectD target{corner.x, corner.y, part.width, part.height};
    bitmap(pixels,
           {part, map.apply({target.x, target.y}), map.apply({target.right(), target.y}),
            map.apply({target.x, target.bottom()})},
           0xCC);
}

void Device::gradient(std::span<const PointD> points, std::span<const Argb> colors, bool upright) {
    use_clip();
    const Affine map = canvas_map();
    const PointD a = points[0], b = points[1];
    Paint paint;
    paint.kind = Paint::Kind::kLinear;
    paint.from = a;
    paint.to = upright ? PointD{a.x, b.y} : PointD{b.x, a.y};
    paint.stops = {{0, colors[0]}, {1, colors[1]}};
    paint.placing = map;
    if (paint.from == paint.to) {
        return;
    }
    const RectD box{std::min(a.x, b.x), std::min(a.y, b.y), std::abs(b.x - a.x), std::abs(b.y - a.y)};
    m_canvas.fill(on_canvas({rectangle_contour(box)}, map), FillRule::kWinding, paint, m_rendering.smooth);
}

// Each pixel has the mean of the corners' colors, by its distance from them.
void Device::triangle(std::span<const PointD> points, std::span<const Argb> colors) {
    use_clip();
    const Affine map = canvas_map();
    const std::array<PointD, 3> corners{map.apply(points[0]), map.apply(points[1]), map.apply(points[2])};
    const auto back = Affine::of_corners(corners[0], corners[1], corners[2]).inverse();
    const RectD bounds = bounds_of(corners);
    const double left = std::floor(bounds.x), top = std::floor(bounds.y);
    const double width = std::ceil(bounds.right()) - left, height = std::ceil(bounds.bottom()) - top;
    if (!back || !(width >= 1 && height >= 1) || width > kMostShaded || height > kMostShaded) {
        return;
    }
    Paint paint;
    paint.kind = Paint::Kind::kTexture;
    paint.width = static_cast<int32_t>(width);
    paint.height = static_cast<int32_t>(height);
    paint.sampling = drawwork::Sampling::kNearest;
    paint.placing = Affine::translation(left, top);
    for (int32_t y = 0; y < paint.height; ++y) {
        for (int32_t x = 0; x < paint.width; ++x) {
            const PointD parts = back->apply({left + x + 0.5, top + y + 0.5});
            const double second = std::clamp(parts.x, 0.0, 1.0), third = std::clamp(parts.y, 0.0, 1.0 - second);
            Argb color = 0;
            for (const int shift : {0, 8, 16, 24}) {
                const auto channel = [&](size_t i) { return static_cast<double>(colors[i] >> shift & 0xFF); };
                const double value = channel(0) * (1 - second - third) + channel(1) * second + channel(2) * third;
                color |= static_cast<Argb>(std::lround(value)) << shift;
            }
            paint.pixels.push_back(color);
        }
    }
    m_canvas.fill({polygon_contour(corners, true)}, FillRule::kWinding, paint, m_rendering.smooth);
}

}  // namespace zelmor::embed::metafile
