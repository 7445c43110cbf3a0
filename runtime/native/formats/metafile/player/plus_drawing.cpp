// Drawing of EMF+: fills, lines, images and text on the canvas.
#include <algorithm>
#include <cmath>

#include "generated/runtime/Zelmor.Imaging.Brushes.h"
#include "runtime/native/behaviors/drawing/graphics.h"
#include "runtime/native/behaviors/drawing/matrix.h"
#include "runtime/native/behaviors/drawing/pens.h"
#include "runtime/native/behaviors/drawing/text_layouts.h"
#include "runtime/native/core/enumeration_properties.h"
#include "runtime/native/core/text.h"
#include "runtime/native/drawwork/copying_canvas.h"
#include "runtime/native/drawwork/loader.h"
#include "runtime/native/formats/metafile/player/plus_effects.h"
#include "runtime/native/formats/metafile/player/plus_neighbors.h"
#include "runtime/native/formats/metafile/player/plus_player.h"
#include "runtime/native/formats/metafile/player/shown_text.h"

namespace zelmor::embed::metafile {

namespace {

constexpr int64_t kDisplay = 1, kPixel = 2;
// The gap before and behind text, in parts of the size of its font, where the format does not say it.
constexpr double kUsualMargin = 1.0 / 6;

}  // namespace

PlusPlayer::PlusPlayer(Canvas& canvas, CanvasClip& clip, const DeviceSpace& space, const Rendering& rendering,
                       Nested nested)
    : m_canvas(canvas), m_clip(clip), m_space(space), m_rendering(rendering), m_nested(std::move(nested)) {}

double PlusPlayer::pixels_in(int64_t unit) const {
    if (unit <= kPixel) {
        return 1;
    }
    return pixels_in_unit(static_cast<api::GraphicsUnit>(unit), m_dots);
}

Affine PlusPlayer::map() const {
    const double scale = pixels_in(state.page_unit) * state.page_scale;
    return state.world.then(Affine::scaling(scale, scale)).then(state.base);
}
Affine PlusPlayer::canvas_map() const {
    return map().then(m_space.to_canvas);
}

const Ref<ManagedObject>& PlusPlayer::object(int64_t id) const {
    static const auto& none = *new Ref<ManagedObject>();
    const auto found = m_objects.find(id);
    return found != m_objects.end() ? found->second : none;
}
void PlusPlayer::put_object(int64_t id, Ref<ManagedObject> object) {
    m_objects[id] = std::move(object);  // the number has eight bits
}

// The pixels that a fill can reach: those of the outline, as far as they are in the picture.
drawwork::PixelArea PlusPlayer::area_of(const Outline& outline) const {
    const RectD own = bounds_of(outline);
    const RectD all = bounds_of(transformed({rectangle_contour(m_space.bounds)}, m_space.to_canvas));
    const double x = std::floor(std::max(own.x, all.x - 1)), y = std::floor(std::max(own.y, all.y - 1));
    const double right = std::ceil(std::min(own.right(), all.right() + 1));
    const double bottom = std::ceil(std::min(own.bottom(), all.bottom() + 1));
    if (!(right > x && bottom > y) || right - x > 32768 || bottom - y > 32768) {
        return {};
    }
    return {int32_t(x), int32_t(y), int32_t(right - x), int32_t(bottom - y)};
}

std::optional<Paint> PlusPlayer::paint_with(const PlusBrush& brush, const drawwork::PixelArea& area) const {
    auto paint = plus_paint(brush, {canvas_map(), area});
    if (paint && brush.brush && is_a(brush.brush->type(), api::Brushes::HatchBrush::kType)) {
        const PointD origin = m_space.to_canvas.apply(state.hatch_origin);
        const auto within = [](double at, int32_t size) { return std::fmod(std::round(at), size); };
        paint->placing = Affine::translation(within(origin.x, paint->width), within(origin.y, paint->height));
    }
    return paint;
}

PlusBrush PlusPlayer::brush_in(const ManagedObject& record) const {
    const int64_t id = whole_in(record, "BrushId");
    if (flag_in(record, "IsColor")) {
        return plus_color(static_cast<Argb>(id));
    }
    const Ref<ManagedObject>& held = object(id);
    return held && has_property(*held, "BrushData") ? plus_brush(*held) : PlusBrush();
}

void PlusPlayer::fill(const Outline& world, FillRule rule, const PlusBrush& brush) {
    Outline outline = on_canvas(world, canvas_map());
    for (Contour& contour : outline) {
        contour.closed = true;
    }
    const drawwork::PixelArea area = area_of(outline);
    if (area.width == 0) {
        return;
    }
    if (const auto paint = paint_with(brush, area)) {
        use_clip();
        const drawwork::Copying copying(m_canvas, state.copies);
        m_canvas.fill(outline, rule, *paint, m_rendering.smooth);
    }
}

void PlusPlayer::fill_region(const RegionTree& world, const PlusBrush& brush) {
    const RegionOutline cut = outline_of(transformed(world, map()), around_picture(m_space));
    if (const auto back = map().inverse()) {
        fill(transformed(cut.outline, *back), cut.rule, brush);
    }
}

void PlusPlayer::stroke(const Outline& world, int64_t pen_id) {
    const Ref<ManagedObject>& held = object(pen_id);
    if (!held || !has_property(*held, "PenData") || world.empty()) {
        return;
    }
    const PlusPen pen = plus_pen(*held);
    // A width in world units is mapped as the outline is; one in another unit is that on the page.
    const Affine to_canvas = canvas_map();
    const double scale = map().mean_scale();
    const double unit = pen.unit > kDisplay && scale > 0 ? pixels_in(pen.unit) / scale : 1;
    set_property(*pen.pen, "Width", pen.width * unit);
    const double shift = state.half_pixels ? 0 : 0.5;
    const Outline outline = on_canvas(world, map().then(Affine::translation(shift, shift)).then(m_space.to_canvas));
    const double reach = pen.width * unit * to_canvas.mean_scale() + 2;
    RectD bounds = bounds_of(outline);
    bounds = {bounds.x - reach, bounds.y - reach, bounds.width + 2 * reach, bounds.height + 2 * reach};
    const drawwork::PixelArea area = area_of({rectangle_contour(bounds)});
    if (area.width == 0) {
        return;
    }
    if (const auto paint = paint_with(pen.brush, area)) {
        use_clip();
        const drawwork::Copying copying(m_canvas, state.copies);
        m_canvas.save();  // an inset pen clips
        draw_with_pen(m_canvas, *pen.pen, to_canvas, outline, *paint, m_rendering.smooth,
                      thinnest_line(m_rendering.smooth));
        m_canvas.restore();
    }
}

void PlusPlayer::image(int64_t id, const RectD& source, int64_t unit, const std::vector<PointD>& corners,
                       int64_t attributes_id, bool with_effect) {
    const Ref<ManagedObject>& held = object(id);
    const Ref<ManagedObject> effect = std::exchange(m_effect, {});
    if (!held || !has_property(*held, "ImageData") || source.width == 0 || source.height == 0) {
        return;
    }
    PlusImage image = plus_image(*held);
    const double pixels = pixels_in(unit);
    RectD part{source.x * pixels, source.y * pixels, source.width * pixels, source.height * pixels};
    if (!(std::abs(part.width) > 0 && std::abs(part.height) > 0)) {
        return;
    }
    Affine placing = map_of_corners(part, corners).then(canvas_map());
    if (!placing.inverse()) {
        return;
    }
    use_clip();
    if (!image.metafile.empty()) {
        if (m_nested) {
            m_nested(image.metafile, part, placing);
        }
        return;
    }
    if (image.pixels.empty()) {
        return;
    }
    if (with_effect && effect) {
        apply_effect(*effect, image.pixels);
        const int32_t grown = apply_neighbor_effect(*effect, image.pixels);
        part = {part.x, part.y, part.width + 2 * grown, part.height + 2 * grown};
        placing = Affine::translation(-grown, -grown).then(placing);
    }
    Paint paint;
    paint.kind = Paint::Kind::kTexture;
    paint.width = image.pixels.width;
    paint.height = image.pixels.height;
    paint.pixels = std::move(image.pixels.colors);
    paint.placing = placing;
    const bool inside =
        part.x >= -0.5 && part.y >= -0.5 && part.right() <= paint.width + 0.5 && part.bottom() <= paint.height + 0.5;
    paint.extend = inside ? drawwork::Extend::kPad : drawwork::Extend::kNone;  // no fading out along the edges
    const Ref<ManagedObject>& attributes = object(attributes_id);
    if (!inside && attributes && has_property(*attributes, "ObjectClamp")) {
        const auto wrap = static_cast<api::WrapMode>(whole_in(*attributes, "WrapMode"));
        if (wrap != api::WrapMode::kClamp) {
            add_mirrored(paint, flips_sideways(wrap), flips_upright(wrap));
            paint.extend = drawwork::Extend::kRepeat;
        }
    }
    enum : int64_t { kHigh = 2, kBicubic = 4, kNearest = 5, kFineLinear = 6, kFineCubic = 7 };
    paint.sampling = state.interpolation == kNearest ? drawwork::Sampling::kNearest
                     : state.interpolation == kHigh || state.interpolation == kBicubic ||
                             state.interpolation == kFineLinear || state.interpolation == kFineCubic
                         ? drawwork::Sampling::kBest
                         : drawwork::Sampling::kGood;
    const bool upright = placing.m12 == 0 && placing.m21 == 0;
    const drawwork::Copying copying(m_canvas, state.copies);
    m_canvas.fill(on_canvas({rectangle_contour(part)}, placing), FillRule::kAlternate, paint,
                  !upright && m_rendering.smooth);
}

void PlusPlayer::text(const std::u16string& text, const ManagedObject& font_data, const ManagedObject* format_data,
                      const RectD& given, const PlusBrush& brush) {
    constexpr int64_t kVertical = 2;
    const auto font = plus_font(font_data);
    const auto format =
        format_data != nullptr ? plus_format(*format_data) : make_instance(api::StringFormat::kType.name);
    const int64_t unit = whole_in(font_data, "SizeUnit");
    const double page = pixels_in(state.page_unit) * state.page_scale;
    const double font_scale = unit == 0 || !(page > 0) ? 1 : pixels_in(unit) / page;
    RectD frame = given;
    Affine turn;
    const int64_t flags = property_int(*format, "FormatFlags");
    if ((flags & kVertical) != 0) {  // lines go down, the next one is to the left
        set_property(*format, "FormatFlags", flags & ~kVertical);
        turn = Affine::translation(-given.x, -given.y)
                   .then(Affine::rotation(90))
                   .then(Affine::translation(given.x + given.width, given.y));
        frame = {given.x, given.y, given.height, given.width};
    }
    const double size = number_in(font_data, "EmSize") * font_scale;
    const auto margin = [&](const char* name) {
        return size * (format_data != nullptr ? number_in(*format_data, name) : kUsualMargin);
    };
    const double before = margin("LeadingMargin"), behind = margin("TrailingMargin");
    if (frame.width > before + behind) {
        frame = {frame.x + before, frame.y, frame.width - before - behind, frame.height};
    } else if (frame.width == 0 && property_int(*format, "Alignment") == 0) {
        frame.x += before;
    }
    if (!is_measurable(size)) {
        return;
    }
    PlacedText placed =
        place_text(text, font.get(), format.get(), frame.width, frame.height, font_scale, is_exact(m_rendering));
    if (placed.layout.text.empty()) {
        return;
    }
    placed.layout.smooth = m_rendering.smooth_text;
    placed.layout.hinted = m_rendering.hinted;
    const Affine to_canvas = turn.then(canvas_map());
    const Outline box = transformed({rectangle_contour({frame.x, frame.y, std::max(frame.width, placed.extent.width),
                                                        std::max(frame.height, placed.extent.height)})},
                                    to_canvas);
    drawwork::PixelArea area = area_of(box);
    if (area.width == 0) {
        area = area_of(transformed({rectangle_contour(m_space.bounds)}, m_space.to_canvas));
    }
    const auto paint = paint_with(brush, area);
    if (!paint) {
        return;
    }
    use_clip();
    m_canvas.save();
    if (placed.clip) {
        const RectD shown{frame.x + placed.clip->x, frame.y + placed.clip->y, placed.clip->width, placed.clip->height};
        m_canvas.clip(transformed({rectangle_contour(shown)}, to_canvas), FillRule::kAlternate, m_rendering.smooth);
    }
    const PointD at = PointD{frame.x, frame.y} + placed.offset;
    show_text(m_canvas, placed.layout, Affine::translation(at.x, at.y).then(to_canvas), *paint, m_rendering.smooth);
    m_canvas.restore();
}

// Single characters, each at its place on the baseline.
void PlusPlayer::glyphs(const ManagedObject& record) {
    enum : int64_t { kCharacters = 1, kVertical = 2, kOwnAdvance = 4 };
    const Ref<ManagedObject>& font_data = object(whole_in(record, "ObjectId"));
    const int64_t options = whole_in(record, "DriverStringOptionsFlags");
    // Numbers of a font that is not at hand are not drawn.
    if (!font_data || !has_property(*font_data, "EmSize") || (options & kCharacters) == 0) {
        return;
    }
    std::u16string text;
    for (const double glyph : numbers_in(record, "Glyphs")) {
        text += static_cast<char16_t>(static_cast<uint16_t>(glyph));
    }
    const std::vector<PointD> places = points_in(record, "GlyphPos");
    if (places.empty() || text.empty()) {
        return;
    }
    const auto font = plus_font(*font_data);
    const int64_t unit = whole_in(*font_data, "SizeUnit");
    const double page = pixels_in(state.page_unit) * state.page_scale;
    const double font_scale = unit == 0 || !(page > 0) ? 1 : pixels_in(unit) / page;
    if (!is_measurable(number_in(*font_data, "EmSize") * font_scale)) {
        return;
    }
    const Affine to_canvas = map_in(record, "TransformMatrix").then(canvas_map());
    const auto paint =
        paint_with(brush_in(record), area_of(transformed({rectangle_contour(m_space.bounds)}, m_space.to_canvas)));
    if (!paint) {
        return;
    }
    use_clip();
    const auto format = make_instance(api::StringFormat::kType.name);
    const bool together = (options & kOwnAdvance) != 0;
    for (size_t i = 0; i < text.size() && i < places.size(); ++i) {
        const std::u16string part = together ? text : text.substr(i, 1);
        PlacedText placed = place_text(part, font.get(), format.get(), 0, 0, font_scale, is_exact(m_rendering));
        placed.layout.smooth = m_rendering.smooth_text;
        placed.layout.hinted = m_rendering.hinted;
        const double baseline = drawing_backend().measure(placed.layout).baseline;
        const Affine placing = Affine::translation(places[i].x, places[i].y - baseline).then(to_canvas);
        show_text(m_canvas, placed.layout, placing, *paint, m_rendering.smooth);
        if (together) {
            break;
        }
    }
}

void PlusPlayer::clear(Argb color) {
    use_clip();
    m_canvas.save();
    m_canvas.clip(transformed({rectangle_contour(m_space.bounds)}, m_space.to_canvas), FillRule::kWinding, false);
    m_canvas.clear(color);
    m_canvas.restore();
}

void PlusPlayer::clip(const RegionTree& world, int64_t mode) {
    constexpr RegionOperation kOperations[] = {RegionOperation::kIntersect, RegionOperation::kUnion,
                                               RegionOperation::kXor, RegionOperation::kExclude,
                                               RegionOperation::kComplement};
    const RegionTree region = transformed(world, map());
    if (mode <= 0 || mode > 5) {
        state.clip = region;
        return;
    }
    state.clip = changed_clip(state.clip, region, kOperations[mode - 1]);
}

void PlusPlayer::move_clip(PointD by) {
    const PointD pixels = map().apply_vector(by);
    state.clip = transformed(state.clip, Affine::translation(pixels.x, pixels.y));
}

void PlusPlayer::save(int64_t index) {
    if (m_saved.size() < kMostSavedStates) {
        m_saved.emplace_back(index, state);
    }
}

void PlusPlayer::restore(int64_t index) {
    for (size_t i = m_saved.size(); i-- > 0;) {
        if (m_saved[i].first == index) {
            state = m_saved[i].second;
            m_saved.resize(i, {0, PlusState()});
            return;
        }
    }
}

void PlusPlayer::begin_container(int64_t index, const RectD& target, const RectD& source, int64_t unit) {
    save(index);
    const double pixels = pixels_in(unit);
    Affine inner;
    if (source.width != 0 && source.height != 0) {
        const RectD part{source.x * pixels, source.y * pixels, source.width * pixels, source.height * pixels};
        inner = Affine::translation(-part.x, -part.y)
                    .then(Affine::scaling(target.width / part.width, target.height / part.height))
                    .then(Affine::translation(target.x, target.y));
    }
    state.base = inner.then(map());
    state.world = Affine();
    state.page_unit = kPixel;
    state.page_scale = 1;
}

}  // namespace zelmor::embed::metafile
