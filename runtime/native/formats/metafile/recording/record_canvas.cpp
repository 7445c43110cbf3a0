// A canvas that makes records of a metafile: what is common to EMF and WMF.
#include "runtime/native/formats/metafile/recording/record_canvas.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "runtime/native/drawwork/loader.h"

namespace zelmor::embed::metafile {

namespace {

using drawwork::Extend;

constexpr double kFlatness = 0.05;
constexpr double kMostSide = 16384;

bool is_opaque(Argb color) {
    return color >> 24 == 0xFF;
}

PenShape shape_of(const Stroke& stroke) {
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
    return shape;
}

}  // namespace

RecordCanvas::RecordCanvas(double width, double height) : m_width(width), m_height(height) {}

bool RecordCanvas::keeps(Step step) {
    if (m_groups.empty()) {
        return false;
    }
    m_groups.back().push_back(std::move(step));
    return true;
}

// ---- Clips

void RecordCanvas::save() {
    if (keeps([](Canvas& canvas) { canvas.save(); })) {
        return;
    }
    m_saved_clips.push_back(m_clips);
    emit_save();
}

void RecordCanvas::restore() {
    if (keeps([](Canvas& canvas) { canvas.restore(); })) {
        return;
    }
    m_clips = std::move(m_saved_clips.back());
    m_saved_clips.pop_back();
    emit_restore();
}

void RecordCanvas::unclip() {
    if (keeps([](Canvas& canvas) { canvas.unclip(); })) {
        return;
    }
    m_clips = m_base;
    emit_unclip();
    for (const Clip& clip : m_base) {
        emit_clip(clip);
    }
}

void RecordCanvas::clip(const Outline& outline, FillRule rule, bool smooth) {
    if (keeps([=](Canvas& canvas) { canvas.clip(outline, rule, smooth); })) {
        return;
    }
    m_clips.push_back({outline, rule});
    for (Contour& contour : m_clips.back().outline) {
        contour.closed = true;
    }
    emit_clip(m_clips.back());
}

// ---- Groups

void RecordCanvas::begin_group() {
    m_groups.emplace_back();
}

void RecordCanvas::end_group(double opacity, Blend blend) {
    const std::vector<Step> steps = std::move(m_groups.back());
    m_groups.pop_back();
    const auto replay = [steps](Canvas& canvas) {
        for (const Step& step : steps) {
            step(canvas);
        }
    };
    if (!m_groups.empty()) {
        m_groups.back().push_back([=](Canvas& canvas) {
            canvas.begin_group();
            replay(canvas);
            canvas.end_group(opacity, blend);
        });
        return;
    }
    if (opacity >= 1) {  // the modes have no records; their picture is laid over the rest
        save();
        std::vector<Clip> outer = std::exchange(m_base, m_clips);
        replay(*this);
        m_base = std::move(outer);
        restore();
        return;
    }
    const Step group = [&](Canvas& canvas) {
        canvas.begin_group();
        replay(canvas);
        canvas.end_group(opacity, Blend::kOver);
    };
    const auto ink = drawing_backend().ink_canvas({0, 0, m_width, m_height});
    replay(*ink);  // without the group, which would count as a picture of the whole page
    if (const RectD drawn = ink->ink(); drawn.width > 0 && drawn.height > 0) {
        rasterized({drawn.x - 1, drawn.y - 1, drawn.width + 2, drawn.height + 2}, group);
    }
}

// ---- Paints

void RecordCanvas::rasterized(const RectD& around, const Step& draw) {
    const double x = std::floor(std::max(around.x, 0.0)), y = std::floor(std::max(around.y, 0.0));
    const double right = std::ceil(std::min(around.right(), m_width));
    const double bottom = std::ceil(std::min(around.bottom(), m_height));
    if (!(right > x && bottom > y) || right - x > kMostSide || bottom - y > kMostSide) {
        return;
    }
    const drawwork::PixelArea area{int32_t(x), int32_t(y), int32_t(right - x), int32_t(bottom - y)};
    const std::vector<Argb> empty(static_cast<size_t>(area.width) * static_cast<size_t>(area.height), 0);
    const auto canvas = drawing_backend().canvas(area, empty);
    draw(*canvas);
    emit_bitmap({area.width, area.height, canvas->pixels(), false}, Affine::translation(x, y));
}

void RecordCanvas::as_bitmap(const Outline& outline, FillRule rule, const Paint& paint) {
    rasterized(bounds_of(outline), [&](Canvas& canvas) { canvas.fill(outline, rule, paint, true); });
}

// Whether the outline is the box around it.
bool is_box(const Outline& outline, const RectD& box) {
    constexpr double kClose = 1e-3;
    if (outline.size() != 1 || outline[0].segments.size() < 3 || outline[0].segments.size() > 4) {
        return false;
    }
    const Contour& contour = outline[0];
    const auto is_side = [](double length, double side) { return std::abs(std::abs(length) - side) < kClose; };
    const auto are_opposite = [&](PointD a, PointD b) {
        return is_side(a.x - b.x, box.width) && is_side(a.y - b.y, box.height);
    };
    const std::vector<Segment>& segments = contour.segments;
    return std::none_of(segments.begin(), segments.end(), [](const Segment& s) { return s.curved; }) &&
           are_opposite(contour.start, segments[1].end) && are_opposite(segments[0].end, segments[2].end) &&
           (is_side(segments[0].end.x - contour.start.x, 0) || is_side(segments[0].end.y - contour.start.y, 0)) &&
           (segments.size() == 3 || (segments[3].end - contour.start).length() < kClose);
}

// A texture that covers the outline without being repeated is put on the page as it is.
bool RecordCanvas::put_texture(const Outline& outline, FillRule rule, const Paint& paint) {
    if (paint.kind != Paint::Kind::kTexture || paint.extend == Extend::kRepeat || paint.extend == Extend::kReflect) {
        return false;
    }
    const auto back = paint.placing.inverse();
    if (!back) {
        return true;
    }
    constexpr double kSlack = 0.51;
    const Outline shape = transformed(outline, *back);
    const RectD own = bounds_of(shape);
    const bool inside = own.x >= -kSlack && own.y >= -kSlack && own.right() <= paint.width + kSlack &&
                        own.bottom() <= paint.height + kSlack;
    if (!inside && paint.extend == Extend::kPad) {
        return false;
    }
    Pixels pixels{paint.width, paint.height, paint.pixels, false};
    if (paint.opacity < 1) {
        for (Argb& color : pixels.colors) {
            const auto alpha = static_cast<Argb>(std::lround((color >> 24) * std::max(paint.opacity, 0.0)));
            color = (color & 0xFFFFFF) | alpha << 24;
        }
    }
    const bool whole = inside && own.x <= kSlack && own.y <= kSlack && own.right() >= paint.width - kSlack &&
                       own.bottom() >= paint.height - kSlack && is_box(shape, own);
    if (whole) {
        emit_bitmap(pixels, paint.placing);
        return true;
    }
    save();
    clip(outline, rule, true);
    emit_bitmap(pixels, paint.placing);
    restore();
    return true;
}

void RecordCanvas::fill(const Outline& outline, FillRule rule, const Paint& paint, bool smooth) {
    if (keeps([=](Canvas& canvas) { canvas.fill(outline, rule, paint, smooth); })) {
        return;
    }
    if (outline.empty() || !(paint.opacity > 0)) {
        return;
    }
    Outline closed = outline;
    for (Contour& contour : closed) {
        contour.closed = true;
    }
    if (paint.kind == Paint::Kind::kSolid) {
        const auto alpha = static_cast<Argb>(std::lround((paint.color >> 24) * std::min(paint.opacity, 1.0)));
        const Argb color = (paint.color & 0xFFFFFF) | alpha << 24;
        if (is_opaque(color)) {
            emit_fill(closed, rule, color);
        } else if (alpha != 0) {  // a bitmap of one pixel, as large as the outline
            const RectD box = bounds_of(closed);
            save();
            clip(closed, rule, smooth);
            emit_bitmap({1, 1, {color}, false}, {box.width, 0, 0, box.height, box.x, box.y});
            restore();
        }
        return;
    }
    if (!put_texture(closed, rule, paint)) {
        as_bitmap(closed, rule, paint);
    }
}

void RecordCanvas::stroke(const Outline& outline, const Stroke& stroke, const Paint& paint, bool smooth) {
    if (keeps([=](Canvas& canvas) { canvas.stroke(outline, stroke, paint, smooth); })) {
        return;
    }
    if (outline.empty() || !(paint.opacity > 0)) {
        return;
    }
    const bool solid = paint.kind == Paint::Kind::kSolid && is_opaque(paint.color) && paint.opacity >= 1;
    if (solid && emit_stroke(outline, stroke, paint.color)) {
        return;
    }
    if (stroke.dashes.empty()) {
        fill(widened(outline, shape_of(stroke), kFlatness), FillRule::kWinding, paint, smooth);
        return;
    }
    const double reach = stroke.width * stroke.nib.mean_scale() * std::max(stroke.miter_limit, 2.0) + 2;
    const RectD box = bounds_of(outline);
    rasterized({box.x - reach, box.y - reach, box.width + 2 * reach, box.height + 2 * reach},
               [&](Canvas& canvas) { canvas.stroke(outline, stroke, paint, smooth); });
}

void RecordCanvas::clear(Argb color) {
    if (keeps([=](Canvas& canvas) { canvas.clear(color); })) {
        return;
    }
    if (color >> 24 != 0) {
        Paint paint;
        paint.color = color;
        fill({rectangle_contour({0, 0, m_width, m_height})}, FillRule::kWinding, paint, false);
    }
}

void RecordCanvas::text(const TextLayout& layout, const Affine& placing, const Paint& paint) {
    if (keeps([=](Canvas& canvas) { canvas.text(layout, placing, paint); })) {
        return;
    }
    const bool solid = paint.kind == Paint::Kind::kSolid && is_opaque(paint.color) && paint.opacity >= 1;
    if (!solid || !emit_text(layout, placing, paint.color)) {
        fill(transformed(drawing_backend().outline_of(layout), placing), FillRule::kWinding, paint, true);
    }
}

bool RecordCanvas::combine(const Outline& outline, FillRule rule, const Paint& pattern, const Paint& source,
                           uint8_t operation) {
    const bool sourced = (operation >> 2 & 0x33) != (operation & 0x33);
    const bool patterned = (operation >> 4) != (operation & 0x0F);
    if (sourced || (patterned && pattern.kind != Paint::Kind::kSolid)) {
        return false;
    }
    if (keeps([=](Canvas& canvas) { canvas.combine(outline, rule, pattern, source, operation); })) {
        return true;
    }
    return emit_combine(outline, rule, pattern.color, operation);
}

}  // namespace zelmor::embed::metafile
