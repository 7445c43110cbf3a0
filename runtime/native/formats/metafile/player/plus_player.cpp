// What each EMF+ record does.
#include "runtime/native/formats/metafile/player/plus_player.h"

#include <string_view>
#include <unordered_map>

namespace zelmor::embed::metafile {

namespace {

using Played = const ManagedObject&;

void set_object(PlusPlayer& player, Played record) {
    if (const auto data = object_in(record, "ObjectData")) {
        player.put_object(whole_in(record, "ObjectId"), data);
    }
}

// ---- Outlines in world coordinates

Outline polygon_in(Played record, bool closed) {
    const std::vector<PointD> points = points_in(record, "PointData");
    return points.size() < 2 ? Outline() : Outline{polygon_contour(points, closed)};
}
Outline spline_in(Played record, bool closed) {
    const std::vector<PointD> points = points_in(record, "PointData");
    return points.size() < 2 ? Outline() : Outline{spline_contour(points, number_in(record, "Tension"), closed)};
}
Outline arc_in(Played record) {
    return {arc_contour(rect_in(record, "RectData"), number_in(record, "StartAngle"), number_in(record, "SweepAngle"),
                        false)};
}
Outline pie_in(Played record) {
    return {pie_contour(rect_in(record, "RectData"), number_in(record, "StartAngle"), number_in(record, "SweepAngle"))};
}

void draw_curve(PlusPlayer& player, Played record) {
    const std::vector<PointD> points = points_in(record, "PointData");
    const int64_t first = whole_in(record, "Offset"), count = whole_in(record, "NumSegments");
    if (points.size() < 2 || first < 0 || count <= 0 || first + count >= static_cast<int64_t>(points.size())) {
        if (points.size() >= 2) {
            player.stroke({spline_contour(points, number_in(record, "Tension"), false)}, whole_in(record, "ObjectId"));
        }
        return;
    }
    player.stroke(
        {spline_contour(points, number_in(record, "Tension"), static_cast<size_t>(first), static_cast<size_t>(count))},
        whole_in(record, "ObjectId"));
}

void draw_beziers(PlusPlayer& player, Played record) {
    const std::vector<PointD> points = points_in(record, "PointData");
    const size_t whole = points.empty() ? 0 : (points.size() - 1) / 3 * 3 + 1;
    if (whole >= 4) {
        player.stroke({bezier_contour(std::span(points).first(whole), false)}, whole_in(record, "ObjectId"));
    }
}

void fill_rectangles(PlusPlayer& player, Played record) {
    const PlusBrush brush = player.brush_in(record);
    for (const RectD& rect : rects_in(record, "RectData")) {
        player.fill({rectangle_contour(rect)}, FillRule::kWinding, brush);
    }
}
void draw_rectangles(PlusPlayer& player, Played record) {
    for (const RectD& rect : rects_in(record, "RectData")) {
        player.stroke({rectangle_contour(rect)}, whole_in(record, "ObjectId"));
    }
}

void fill_path(PlusPlayer& player, Played record) {
    if (const auto& path = player.object(whole_in(record, "ObjectId"))) {
        player.fill(plus_path(*path), plus_rule(*path), player.brush_in(record));
    }
}
void draw_path(PlusPlayer& player, Played record) {
    if (const auto& path = player.object(whole_in(record, "ObjectId"))) {
        player.stroke(plus_path(*path), whole_in(record, "PenId"));
    }
}
void fill_region(PlusPlayer& player, Played record) {
    if (const auto& region = player.object(whole_in(record, "ObjectId"))) {
        player.fill_region(plus_region(*region), player.brush_in(record));
    }
}

// ---- Images and text

void draw_image(PlusPlayer& player, Played record) {
    const RectD to = rect_in(record, "RectData");
    player.image(whole_in(record, "ObjectId"), rect_in(record, "SrcRect"), whole_in(record, "SrcUnit"),
                 {{to.x, to.y}, {to.right(), to.y}, {to.x, to.bottom()}}, whole_in(record, "ImageAttributesId"), false);
}
void draw_image_points(PlusPlayer& player, Played record) {
    const std::vector<PointD> corners = points_in(record, "PointData");
    if (corners.size() == 3) {
        player.image(whole_in(record, "ObjectId"), rect_in(record, "SrcRect"), whole_in(record, "SrcUnit"), corners,
                     whole_in(record, "ImageAttributesId"), flag_in(record, "IsEffectApplied"));
    }
}

void draw_string(PlusPlayer& player, Played record) {
    const auto& font = player.object(whole_in(record, "ObjectId"));
    const auto& format = player.object(whole_in(record, "FormatId"));
    if (font && has_property(*font, "EmSize")) {
        const bool formatted = format && has_property(*format, "StringFormatFlags");
        player.text(text_in(record, "Text"), *font, formatted ? format.get() : nullptr, rect_in(record, "Rectangle"),
                    player.brush_in(record));
    }
}

// ---- State

void transform(PlusPlayer& player, Played record, const Affine& step) {
    Affine& world = player.state.world;
    world = flag_in(record, "IsPostMultiplied") ? world.then(step) : step.then(world);
}

void clip_object(PlusPlayer& player, Played record, bool is_path) {
    if (const auto& held = player.object(whole_in(record, "ObjectId"))) {
        player.clip(is_path ? region_of(plus_path(*held), plus_rule(*held)) : plus_region(*held),
                    whole_in(record, "CombineMode"));
    }
}

void set_offset(PlusPlayer& player, int64_t mode) {
    enum : int64_t { kHighQuality = 2, kHalf = 4 };
    player.state.half_pixels = mode == kHighQuality || mode == kHalf;
}

void set_terminal_state(PlusPlayer& player, Played record) {
    set_offset(player, whole_in(record, "PixelOffset"));
    player.state.copies = whole_in(record, "CompositingMode") == 1;
    player.state.hatch_origin = {number_in(record, "RenderOriginX"), number_in(record, "RenderOriginY")};
    player.state.world = map_in(record, "WorldToDevice");
    player.state.page_unit = 2;
    player.state.page_scale = 1;
}
void set_terminal_clip(PlusPlayer& player, Played record) {
    Outline outline;
    for (const RectD& rect : rects_in(record, "Rects")) {
        outline.push_back(rectangle_contour(rect));
    }
    player.state.clip = region_of(std::move(outline), FillRule::kWinding);
}

using PlusHandler = void (*)(PlusPlayer&, Played);

const std::unordered_map<std::string_view, PlusHandler>& plus_handlers() {
    static const auto& table = *new std::unordered_map<std::string_view, PlusHandler>{
        {"EmfPlusHeader", [](PlusPlayer& p, Played r) { p.set_resolution(number_in(r, "LogicalDpiX")); }},
        {"EmfPlusObject", &set_object},
        {"EmfPlusSerializableObject", [](PlusPlayer& p, Played r) { p.set_effect(object_in(r, "Buffer")); }},

        {"EmfPlusClear", [](PlusPlayer& p, Played r) { p.clear(color_in(r, "Argb32Color")); }},
        {"EmfPlusFillRects", &fill_rectangles},
        {"EmfPlusDrawRects", &draw_rectangles},
        {"EmfPlusFillPolygon",
         [](PlusPlayer& p, Played r) { p.fill(polygon_in(r, true), FillRule::kAlternate, p.brush_in(r)); }},
        {"EmfPlusDrawLines",
         [](PlusPlayer& p, Played r) { p.stroke(polygon_in(r, flag_in(r, "IsClosed")), whole_in(r, "ObjectId")); }},
        {"EmfPlusFillEllipse",
         [](PlusPlayer& p, Played r) {
             p.fill({ellipse_contour(rect_in(r, "RectData"))}, FillRule::kWinding, p.brush_in(r));
         }},
        {"EmfPlusDrawEllipse",
         [](PlusPlayer& p, Played r) { p.stroke({ellipse_contour(rect_in(r, "RectData"))}, whole_in(r, "ObjectId")); }},
        {"EmfPlusFillPie", [](PlusPlayer& p, Played r) { p.fill(pie_in(r), FillRule::kWinding, p.brush_in(r)); }},
        {"EmfPlusDrawPie", [](PlusPlayer& p, Played r) { p.stroke(pie_in(r), whole_in(r, "ObjectId")); }},
        {"EmfPlusDrawArc", [](PlusPlayer& p, Played r) { p.stroke(arc_in(r), whole_in(r, "ObjectId")); }},
        {"EmfPlusFillRegion", &fill_region},
        {"EmfPlusFillPath", &fill_path},
        {"EmfPlusDrawPath", &draw_path},
        {"EmfPlusFillClosedCurve",
         [](PlusPlayer& p, Played r) {
             p.fill(spline_in(r, true), flag_in(r, "IsWinding") ? FillRule::kWinding : FillRule::kAlternate,
                    p.brush_in(r));
         }},
        {"EmfPlusDrawClosedCurve",
         [](PlusPlayer& p, Played r) { p.stroke(spline_in(r, true), whole_in(r, "ObjectId")); }},
        {"EmfPlusDrawCurve", &draw_curve},
        {"EmfPlusDrawBeziers", &draw_beziers},
        {"EmfPlusDrawImage", &draw_image},
        {"EmfPlusDrawImagePoints", &draw_image_points},
        {"EmfPlusDrawString", &draw_string},
        {"EmfPlusDrawDriverString", [](PlusPlayer& p, Played r) { p.glyphs(r); }},

        {"EmfPlusSetRenderingOrigin",
         [](PlusPlayer& p, Played r) {
             p.state.hatch_origin = {number_in(r, "X"), number_in(r, "Y")};
         }},
        {"EmfPlusSetInterpolationMode",
         [](PlusPlayer& p, Played r) { p.state.interpolation = whole_in(r, "InterpolationMode"); }},
        {"EmfPlusSetCompositingMode",
         [](PlusPlayer& p, Played r) { p.state.copies = whole_in(r, "CompositingMode") == 1; }},
        {"EmfPlusSetPixelOffsetMode", [](PlusPlayer& p, Played r) { set_offset(p, whole_in(r, "PixelOffset")); }},

        {"EmfPlusSave", [](PlusPlayer& p, Played r) { p.save(whole_in(r, "StackIndex")); }},
        {"EmfPlusRestore", [](PlusPlayer& p, Played r) { p.restore(whole_in(r, "StackIndex")); }},
        {"EmfPlusBeginContainer",
         [](PlusPlayer& p, Played r) {
             p.begin_container(whole_in(r, "StackIndex"), rect_in(r, "DestRect"), rect_in(r, "SrcRect"),
                               whole_in(r, "PageUnit"));
         }},
        {"EmfPlusBeginContainerNoParams",
         [](PlusPlayer& p, Played r) {
             constexpr RectD kSame{0, 0, 1, 1};
             p.begin_container(whole_in(r, "StackIndex"), kSame, kSame, 0);
         }},
        {"EmfPlusEndContainer", [](PlusPlayer& p, Played r) { p.restore(whole_in(r, "StackIndex")); }},

        {"EmfPlusSetWorldTransform", [](PlusPlayer& p, Played r) { p.state.world = map_in(r, "TransformMatrix"); }},
        {"EmfPlusResetWorldTransform", [](PlusPlayer& p, Played) { p.state.world = Affine(); }},
        {"EmfPlusMultiplyWorldTransform",
         [](PlusPlayer& p, Played r) { transform(p, r, map_in(r, "TransformMatrix")); }},
        {"EmfPlusTranslateWorldTransform",
         [](PlusPlayer& p, Played r) { transform(p, r, Affine::translation(number_in(r, "Dx"), number_in(r, "Dy"))); }},
        {"EmfPlusScaleWorldTransform",
         [](PlusPlayer& p, Played r) { transform(p, r, Affine::scaling(number_in(r, "Sx"), number_in(r, "Sy"))); }},
        {"EmfPlusRotateWorldTransform",
         [](PlusPlayer& p, Played r) { transform(p, r, Affine::rotation(number_in(r, "Angle"))); }},
        {"EmfPlusSetPageTransform",
         [](PlusPlayer& p, Played r) {
             p.state.page_unit = whole_in(r, "PageUnit");
             p.state.page_scale = number_in(r, "PageScale");
         }},

        {"EmfPlusResetClip", [](PlusPlayer& p, Played) { p.state.clip = infinite_region(); }},
        {"EmfPlusSetClipRect",
         [](PlusPlayer& p, Played r) {
             p.clip(region_of({rectangle_contour(rect_in(r, "ClipRect"))}, FillRule::kWinding),
                    whole_in(r, "CombineMode"));
         }},
        {"EmfPlusSetClipPath", [](PlusPlayer& p, Played r) { clip_object(p, r, true); }},
        {"EmfPlusSetClipRegion", [](PlusPlayer& p, Played r) { clip_object(p, r, false); }},
        {"EmfPlusOffsetClip",
         [](PlusPlayer& p, Played r) {
             p.move_clip({number_in(r, "Dx"), number_in(r, "Dy")});
         }},
        {"EmfPlusSetTsGraphics", &set_terminal_state},
        {"EmfPlusSetTsClip", &set_terminal_clip},
    };
    return table;
}

}  // namespace

void PlusPlayer::play(const ManagedObject& record) {
    const auto found = plus_handlers().find(record.type().name);
    if (found != plus_handlers().end()) {
        found->second(*this, record);
    }
}

}  // namespace zelmor::embed::metafile
