// The device context: states, objects, and how pens and brushes paint.
#include "runtime/native/formats/metafile/player/device.h"

#include <algorithm>
#include <cmath>

#include "runtime/native/behaviors/drawing/paints.h"

namespace zelmor::embed::metafile {

namespace {

using drawwork::Blend;
using drawwork::Stroke;

constexpr int kCopy = 13;  // the mix that replaces the pixels there
constexpr int kNop = 11;
constexpr size_t kMostObjects = 65536;
constexpr double kFlatness = 0.05;

// A mix of pen and pixels as a raster operation, which does not depend on a source then.
uint8_t operation_of(int mix) {
    const int bits = std::clamp(mix, 1, 16) - 1;
    int operation = 0;
    for (int index = 0; index < 8; ++index) {
        const int pen = index >> 2, there = index & 1;
        operation |= (bits >> (2 * pen + there) & 1) << index;
    }
    return static_cast<uint8_t>(operation);
}

Paint inverse(Paint paint) {
    constexpr Argb kColors = 0xFFFFFF;
    paint.color ^= kColors;
    for (Argb& color : paint.pixels) {
        color ^= kColors;
    }
    return paint;
}

// Dashes and gaps of the styles, for a line of one pixel and for one of width 1.
std::vector<double> usual_lengths(uint32_t style, bool thin) {
    switch (style) {
        case DevicePen::kDash:
            return thin ? std::vector<double>{18, 6} : std::vector<double>{3, 1};
        case DevicePen::kDot:
            return thin ? std::vector<double>{3, 3} : std::vector<double>{1, 1};
        case DevicePen::kDashDot:
            return thin ? std::vector<double>{9, 6, 3, 6} : std::vector<double>{3, 1, 1, 1};
        case DevicePen::kDashDotDot:
            return thin ? std::vector<double>{9, 3, 3, 3, 3, 3} : std::vector<double>{3, 1, 1, 1, 1, 1};
        case DevicePen::kAlternate:
            return {1, 1};
        default:
            return {};
    }
}

// A pen on a canvas. Pens of the old kind are at least one pixel wide, and so are all if lines are not smooth.
Stroke stroke_of(const DevicePen& pen, const Affine& to_canvas, double miter_limit, bool smooth) {
    Stroke stroke;
    stroke.cap = pen.cap;
    stroke.join = pen.join;
    stroke.miter_limit = std::max(miter_limit, 1.0);
    const Affine nib = to_canvas.linear();
    const double scale = nib.mean_scale();
    const double wide = std::abs(pen.width) * scale;
    const bool thin = pen.cosmetic || !(wide > 1);
    if (thin) {
        const bool fades = pen.extended && !pen.cosmetic && wide > 0;
        stroke.width = fades ? std::max(wide, thinnest_line(smooth)) : 1;
        stroke.cap = pen.cosmetic ? drawwork::StrokeCap::kFlat : pen.cap;
    } else {
        stroke.width = std::abs(pen.width);
        stroke.nib = nib;
    }
    const bool own = pen.style == DevicePen::kUserStyle;
    stroke.dashes = own ? pen.lengths : usual_lengths(pen.style, thin);
    for (double& length : stroke.dashes) {
        length = own ? std::max(length * (thin && !pen.cosmetic ? scale : 1), 0.0) : length * (thin ? 1 : stroke.width);
    }
    double cycle = 0;
    for (const double length : stroke.dashes) {
        cycle += length;
    }
    if (!(cycle * stroke.nib.mean_scale() > 0.1)) {  // dashes too short to be told apart
        stroke.dashes.clear();
    }
    return stroke;
}

}  // namespace

bool uses_pattern(uint8_t operation) {
    return (operation >> 4) != (operation & 0x0F);
}
bool uses_source(uint8_t operation) {
    return (operation >> 2 & 0x33) != (operation & 0x33);
}
bool uses_destination(uint8_t operation) {
    return (operation >> 1 & 0x55) != (operation & 0x55);
}

Device::Device(Canvas& canvas, CanvasClip& clip, const DeviceSpace& space, const Rendering& rendering,
               FloodPaper* paper)
    : m_canvas(canvas), m_clip(clip), m_paper(paper), m_space(space), m_rendering(rendering) {
    state.font = std::get<DeviceFont>(stock_object(0x8000000D));
}

void Device::save() {
    if (m_saved.size() < kMostSavedStates) {
        m_saved.push_back(state);
    }
}

void Device::restore(int64_t number) {
    const auto count = static_cast<int64_t>(m_saved.size());
    const int64_t index = number < 0 ? count + number : number - 1;
    if (number == 0 || index < 0 || index >= count) {
        return;
    }
    state = m_saved[static_cast<size_t>(index)];
    m_saved.resize(static_cast<size_t>(index));
}

void Device::put_object(int64_t index, DeviceObject object) {
    if (m_objects.size() < kMostObjects || m_objects.contains(index)) {
        m_objects[index] = std::move(object);
    }
}
void Device::delete_object(int64_t index) {
    m_objects.erase(index);
}

const DeviceObject& Device::object(int64_t index) const {
    static const DeviceObject none;
    const auto found = m_objects.find(index);
    return found != m_objects.end() ? found->second : none;
}

void Device::select_object(int64_t index) {
    constexpr int64_t kStock = 0x80000000;
    const DeviceObject chosen = (index & kStock) != 0 ? stock_object(static_cast<uint32_t>(index)) : object(index);
    if (const auto* pen = std::get_if<DevicePen>(&chosen)) {
        state.pen = *pen;
    } else if (const auto* brush = std::get_if<DeviceBrush>(&chosen)) {
        state.brush = *brush;
    } else if (const auto* font = std::get_if<DeviceFont>(&chosen)) {
        state.font = *font;
    } else if (const auto* palette = std::get_if<DevicePalette>(&chosen)) {
        state.palette = *palette;
    } else if (const auto* region = std::get_if<DeviceRegion>(&chosen)) {
        select_region(&region->rects, RegionMode::kCopy);
    }
}

Outline Device::in_pixels(const Outline& logical) const {
    return transformed(logical, map());
}

void Device::use_clip() {
    m_clip.use({state.clip, state.meta_clip});
}

Paint Device::paint_of(const DeviceBrush& brush) const {
    Paint paint;
    if (brush.kind == DeviceBrush::Kind::kSolid) {
        paint.color = brush.color;
        return paint;
    }
    paint.kind = Paint::Kind::kTexture;
    paint.sampling = drawwork::Sampling::kNearest;
    paint.extend = drawwork::Extend::kRepeat;
    if (brush.kind == DeviceBrush::Kind::kHatch) {
        paint.width = paint.height = 8;
        for (const uint8_t row : hatch_rows(static_cast<api::HatchStyle>(std::clamp(brush.hatch, 0, 5)))) {
            for (int bit = 7; bit >= 0; --bit) {
                paint.pixels.push_back(row >> bit & 1 ? brush.color : state.opaque ? state.background : 0);
            }
        }
    } else {
        paint.width = brush.pattern.width;
        paint.height = brush.pattern.height;
        paint.pixels = brush.pattern.colors;
        if (brush.two_colors) {
            for (Argb& color : paint.pixels) {
                color = (color & 0xFFFFFF) == 0 ? state.text_color : state.background;
            }
        }
    }
    const PointD origin = m_space.to_canvas.apply(state.brush_origin);
    paint.placing = Affine::translation(std::round(origin.x), std::round(origin.y));
    return paint;
}

void Device::combine(const Outline& outline, FillRule rule, const Paint& pattern, const Paint& source,
                     uint8_t operation) {
    const bool patterned = uses_pattern(operation), sourced = uses_source(operation);
    if (!uses_destination(operation) && !(patterned && sourced)) {
        Paint paint;
        if (patterned || sourced) {
            paint = patterned ? pattern : source;
        } else {
            paint.color = operation == 0 ? kBlack : kWhite;
        }
        const bool inverted = operation == 0x33 || operation == 0x0F;
        m_canvas.fill(outline, rule, inverted ? inverse(paint) : paint, m_rendering.smooth);
        return;
    }
    if (m_canvas.combine(outline, rule, pattern, source, operation)) {
        return;
    }
    combine_by_blends(outline, rule, sourced ? source : pattern,
                      sourced ? operation & 0x0F : (operation & 0x03) | (operation >> 2 & 0x0C));
}

// Without pixels: blends that come to the same for channels of nothing or all. The bits of `both` are the results for
// 00, 01, 10 and 11, of the paint and what is there.
void Device::combine_by_blends(const Outline& outline, FillRule rule, const Paint& paint, int both) {
    const auto is = [&](std::initializer_list<int> those) {
        return std::find(those.begin(), those.end(), both) != those.end();
    };
    const auto draw = [&](const Paint& with, Blend blend) {
        m_canvas.begin_group();
        m_canvas.fill(outline, rule, with, m_rendering.smooth);
        m_canvas.end_group(1, blend);
    };
    if (is({0x1, 0x4, 0x5, 0x7, 0xD})) {  // of the inverse of what is there
        Paint white;
        white.color = kWhite;
        draw(white, Blend::kDifference);
    }
    if (is({0x5, 0xA})) {
        return;
    }
    draw(is({0x1, 0x2, 0x7, 0x9, 0xB}) ? inverse(paint) : paint, is({0x1, 0x2, 0x4, 0x8})   ? Blend::kMultiply
                                                                 : is({0x7, 0xB, 0xD, 0xE}) ? Blend::kScreen
                                                                 : is({0x6, 0x9})           ? Blend::kDifference
                                                                                            : Blend::kOver);
}

void Device::paint(const Outline& outline, FillRule rule, const Paint& paint, int mix) {
    if (mix == kNop) {
        return;
    }
    if (mix == kCopy) {
        m_canvas.fill(outline, rule, paint, m_rendering.smooth);
        return;
    }
    combine(outline, rule, paint, {}, operation_of(mix));
}

void Device::fill(const Outline& outline, FillRule rule, const DeviceBrush& brush) {
    const bool empty = brush.kind == DeviceBrush::Kind::kPattern && brush.pattern.empty();
    if (brush.kind == DeviceBrush::Kind::kNull || empty || outline.empty()) {
        return;
    }
    use_clip();
    Outline closed = on_canvas(outline, m_space.to_canvas);
    for (Contour& contour : closed) {
        contour.closed = true;
    }
    paint(closed, rule, paint_of(brush), state.mix);
}

// A line is centered on the pixels that its coordinates name.
void Device::stroke(const Outline& outline, const DevicePen& pen) {
    if (pen.style == DevicePen::kNull || outline.empty() || state.mix == kNop) {
        return;
    }
    use_clip();
    const Outline centered = on_canvas(outline, Affine::translation(0.5, 0.5).then(m_space.to_canvas));
    Stroke stroke = stroke_of(pen, canvas_map(), state.miter_limit, m_rendering.smooth && state.mix == kCopy);
    if (pen.cosmetic && pen.style == DevicePen::kAlternate) {
        // Lines begin in the middle of a pixel, dashes at the side of one. Without smoothing, only lines with pointed
        // corners are drawn as pixels; others would fill the gaps.
        const double half = m_space.to_canvas.linear().mean_scale() / 2;
        stroke.dash_offset = half - std::floor(half);
        stroke.join = drawwork::StrokeJoin::kMiter;
        stroke.miter_limit = 1.5;
    }
    DeviceBrush brush = pen.brush;
    if (!pen.has_brush) {
        brush = DeviceBrush();
        brush.color = pen.color;
    }
    if (brush.kind == DeviceBrush::Kind::kNull ||
        (brush.kind == DeviceBrush::Kind::kPattern && brush.pattern.empty())) {
        return;
    }
    const Paint paint = paint_of(brush);
    if (!stroke.dashes.empty() && state.opaque && !pen.extended) {
        Stroke whole = stroke;
        whole.dashes.clear();
        Paint gaps;
        gaps.color = state.background;
        m_canvas.stroke(centered, whole, gaps, m_rendering.smooth);
    }
    if (state.mix == kCopy) {
        m_canvas.stroke(centered, stroke, paint, m_rendering.smooth);
        return;
    }
    PenShape shape;
    shape.width = stroke.width;
    shape.nib = stroke.nib;
    shape.start_cap = shape.end_cap = stroke.cap == drawwork::StrokeCap::kRound    ? EndCap::kRound
                                      : stroke.cap == drawwork::StrokeCap::kSquare ? EndCap::kSquare
                                                                                   : EndCap::kFlat;
    shape.join = stroke.join == drawwork::StrokeJoin::kRound   ? Join::kRound
                 : stroke.join == drawwork::StrokeJoin::kBevel ? Join::kBevel
                                                               : Join::kMiter;
    shape.miter_limit = stroke.miter_limit;
    this->paint(widened(centered, shape, kFlatness), FillRule::kWinding, paint, state.mix);
}

void Device::shape(Outline outline, bool fills, bool strokes) {
    if (m_path_open) {
        m_path.insert(m_path.end(), std::make_move_iterator(outline.begin()), std::make_move_iterator(outline.end()));
        m_contour_open = false;
        return;
    }
    if (fills) {
        fill(outline, state.rule, state.brush);
    }
    if (strokes) {
        stroke(outline, state.pen);
    }
}

}  // namespace zelmor::embed::metafile
