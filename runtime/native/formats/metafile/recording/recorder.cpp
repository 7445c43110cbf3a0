// The recorders of the API: drawing on the canvas of records.
#include "runtime/native/formats/metafile/recording/recorder.h"

#include <algorithm>
#include <cmath>

#include "runtime/native/behaviors/drawing/graphics.h"
#include "runtime/native/behaviors/drawing/paints.h"
#include "runtime/native/behaviors/drawing/pens.h"
#include "runtime/native/behaviors/drawing/text_layouts.h"
#include "runtime/native/core/enumeration_properties.h"

namespace zelmor::embed::metafile {

namespace {

// The pixels that a paint may be asked for.
drawwork::PixelArea area_of(const RectD& page) {
    constexpr double kMostSide = 16384;
    return {0, 0, int32_t(std::clamp(std::ceil(page.width), 1.0, kMostSide)),
            int32_t(std::clamp(std::ceil(page.height), 1.0, kMostSide))};
}

Value white() {
    return Value(box(ColorValue::from_argb(kWhite)));
}

}  // namespace

RecorderObject::RecorderObject(const TypeInfo& type, std::unique_ptr<RecordCanvas> canvas, const RectD& page,
                               PointD dots_per_inch)
    : Record(type), m_canvas(std::move(canvas)), m_page(page), m_dots(dots_per_inch) {
    set_property(*this, "BackgroundColor", white());
    set_property(*this, "BackgroundMode", int64_t{1});
}

RecordCanvas& RecorderObject::canvas() {
    if (m_canvas == nullptr) {
        throw_invalid_operation("The recording has ended.");
    }
    return *m_canvas;
}

std::unique_ptr<RecordCanvas> RecorderObject::finish() {
    canvas();
    return std::move(m_canvas);
}

Affine RecorderObject::map() const {
    return transform.then(Affine::translation(-m_page.x, -m_page.y));
}

void RecorderObject::fill(const ManagedObject* brush, const Outline& world, FillRule rule) {
    required(brush, "brush");
    const Paint paint = paint_of(brush, {map(), area_of(m_page)});
    canvas().fill(transformed(world, map()), rule, paint, true);
}

// As on an image, lines are centered on the places that their coordinates name.
void RecorderObject::stroke(const ManagedObject* pen, const Outline& world) {
    required(pen, "pen");
    const auto brush = property_object(*pen, "Brush");
    Paint paint = paint_of(brush.get(), {map(), area_of(m_page)});
    paint.opacity *= std::clamp(property_double(*pen, "Opacity"), 0.0, 1.0);
    const Outline outline = transformed(world, map().then(Affine::translation(0.5, 0.5)));
    RecordCanvas& to = canvas();
    const bool insets = property_enum<api::PenAlignment>(*pen, "Alignment") == api::PenAlignment::kInset;
    if (insets) {  // which clips
        to.save();
    }
    draw_with_pen(to, *pen, map(), outline, paint, true);
    if (insets) {
        to.restore();
    }
}

void RecorderObject::image(const imagework::Picture& picture, const RectD& part, const RectD& to) {
    const double left = std::max(std::floor(part.x), 0.0), top = std::max(std::floor(part.y), 0.0);
    const double right = std::min(std::ceil(part.right()), double(picture.width()));
    const double bottom = std::min(std::ceil(part.bottom()), double(picture.height()));
    RecordCanvas& target = canvas();
    if (!(right > left && bottom > top && part.width > 0 && part.height > 0)) {
        return;
    }
    Paint paint;
    paint.kind = Paint::Kind::kTexture;
    paint.width = static_cast<int32_t>(right - left);
    paint.height = static_cast<int32_t>(bottom - top);
    paint.pixels.resize(static_cast<size_t>(paint.width) * static_cast<size_t>(paint.height));
    picture.read_argb({int32_t(left), int32_t(top), paint.width, paint.height}, paint.pixels);
    const Affine placing = Affine::translation(-part.x, -part.y)
                               .then(Affine::scaling(to.width / part.width, to.height / part.height))
                               .then(Affine::translation(to.x, to.y))
                               .then(map());
    paint.placing = Affine::translation(left, top).then(placing);
    // Beyond the image there is nothing.
    const double x = std::max(part.x, 0.0), y = std::max(part.y, 0.0);
    const RectD there{x, y, std::min(part.right(), right) - x, std::min(part.bottom(), bottom) - y};
    target.fill(transformed({rectangle_contour(there)}, placing), FillRule::kWinding, paint, true);
}

void RecorderObject::text(const std::u16string& text, const ManagedObject* font, Argb color, PointD at,
                          double degrees) {
    required(font, "font");
    RecordCanvas& target = canvas();
    if (text.empty()) {
        return;
    }
    const auto unit = property_enum<api::GraphicsUnit>(*font, "Unit");
    PlacedText placed = place_text(text, font, nullptr, 0, 0, pixels_in_unit(unit, m_dots.x));
    if (placed.layout.text.empty()) {
        return;
    }
    const Affine turned = Affine::rotation(degrees).then(Affine::translation(at.x, at.y)).then(map());
    constexpr int64_t kOpaque = 2;
    if (property_int(*this, "BackgroundMode") == kOpaque) {
        Paint background;
        background.color = argb_property(*this, "BackgroundColor");
        const RectD cell{placed.offset.x, placed.offset.y, placed.extent.width, placed.extent.height};
        target.fill(transformed({rectangle_contour(cell)}, turned), FillRule::kWinding, background, true);
    }
    Paint paint;
    paint.color = color;
    placed.layout.width = placed.layout.height = -1;
    target.text(placed.layout, Affine::translation(placed.offset.x, placed.offset.y).then(turned), paint);
}

void RecorderObject::clear() {
    canvas().clear(argb_property(*this, "BackgroundColor"));
}

void RecorderObject::set_clip(RegionTree clip) {
    RecordCanvas& target = canvas();
    m_clip = std::move(clip);
    target.unclip();
    if (m_clip->kind != RegionNode::Kind::kInfinite) {
        const RegionOutline cut = outline_of(m_clip, m_page);
        target.clip(transformed(cut.outline, Affine::translation(-m_page.x, -m_page.y)), cut.rule, true);
    }
}

}  // namespace zelmor::embed::metafile
