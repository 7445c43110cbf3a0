// What each record of an enhanced metafile does to a device, but for bitmaps (emf_bitmaps.cpp).
#include "runtime/native/formats/metafile/player/emf_player.h"

#include <algorithm>
#include <string_view>
#include <unordered_map>

#include "runtime/native/formats/metafile/player/charsets.h"
#include "runtime/native/formats/metafile/player/dib_pixels.h"
#include "runtime/native/formats/metafile/player/emf_bitmaps.h"
#include "runtime/native/formats/metafile/player/record_objects.h"
#include "runtime/native/formats/metafile/record_forms.h"

namespace zelmor::embed::metafile {

namespace {

using Played = const ManagedObject&;

// ---- Objects

void create_pen(Device& device, Played record) {
    if (const auto pen = object_in(record, "LogPen")) {
        device.put_object(whole_in(record, "IhPen"), pen_of(*pen));
    }
}
void create_extended_pen(Device& device, Played record) {
    if (const auto pen = object_in(record, "Elp")) {
        const auto bitmap = object_in(record, "SourceBitmap");
        device.put_object(whole_in(record, "IhPen"),
                          extended_pen_of(*pen, bitmap.get(), device.state.palette.colors()));
    }
}
void create_brush(Device& device, Played record) {
    if (const auto brush = object_in(record, "LogBrush")) {
        device.put_object(whole_in(record, "IhBrush"), brush_of(*brush, "Argb32Color"));
    }
}
void create_font(Device& device, Played record) {
    if (const auto font = object_in(record, "Elw")) {
        device.put_object(whole_in(record, "IhFonts"), font_of(*font));
    }
}
void create_palette(Device& device, Played record) {
    if (const auto palette = object_in(record, "LogPalette")) {
        device.put_object(whole_in(record, "IhPal"), DevicePalette(palette_entries(*palette)));
    }
}

template <bool kTwoColors>
void create_pattern(Device& device, Played record) {
    const auto bitmap = object_in(record, "SourceBitmap");
    DeviceBrush brush;
    brush.kind = DeviceBrush::Kind::kPattern;
    brush.two_colors = kTwoColors;
    brush.pattern = dib_pixels(
        bitmap.get(),
        {.usage = whole_in(record, "Usage"), .palette = device.state.palette.colors(), .two_colors = kTwoColors});
    device.put_object(whole_in(record, "IhBrush"), std::move(brush));
}

void change_palette(Device& device, Played record) {
    if (const auto* held = std::get_if<DevicePalette>(&device.object(whole_in(record, "IhPal")))) {
        DevicePalette(*held).set(static_cast<size_t>(whole_in(record, "Start")), palette_entries(record));
    }
}

void resize_palette(Device& device, Played record) {
    if (const auto* held = std::get_if<DevicePalette>(&device.object(whole_in(record, "IhPal")))) {
        DevicePalette(*held).resize(static_cast<size_t>(whole_in(record, "NumberOfEntries")));
    }
}

// ---- State

void modify_world(Device& device, Played record) {
    enum Mode { kIdentity = 1, kLeft, kRight, kSet };
    const Affine map = map_in(record, "Xform");
    Affine& world = device.state.world;
    switch (whole_in(record, "ModifyWorldTransformMode")) {
        case kIdentity:
            world = Affine();
            break;
        case kLeft:
            world = map.then(world);
            break;
        case kRight:
            world = world.then(map);
            break;
        case kSet:
            world = map;
            break;
        default:
            break;
    }
}

FillRule rule_of(int64_t mode) {
    constexpr int64_t kWinding = 2;
    return mode == kWinding ? FillRule::kWinding : FillRule::kAlternate;
}

// ---- Shapes

template <void (Device::*kDraw)(std::span<const PointD>)>
void points(Device& device, Played record) {
    (device.*kDraw)(points_in(record, "APoints"));
}
template <void (Device::*kDraw)(const RectD&)>
void box(Device& device, Played record) {
    (device.*kDraw)(rect_in(record, "Box"));
}
template <ArcKind kKind>
void arc(Device& device, Played record) {
    device.arc(kKind, rect_in(record, "Box"), point_in(record, "Start"), point_in(record, "End"));
}
void polylines(Device& device, Played record) {
    device.polygons(points_in(record, "APoints"), numbers_in(record, "PolylinePointCount"), false);
}
void polygons(Device& device, Played record) {
    device.polygons(points_in(record, "APoints"), numbers_in(record, "PolygonPointCount"), true);
}
void draw_types(Device& device, Played record) {
    device.draw_types(points_in(record, "APoints"), numbers_in(record, "AbTypes"));
}

// ---- Regions

std::vector<RectD> region_in(Played record) {
    const auto data = object_in(record, "RgnData");
    return data ? rects_in(*data, "Data") : std::vector<RectD>();
}

DeviceBrush brush_at(const Device& device, int64_t index) {
    const auto* held = std::get_if<DeviceBrush>(&device.object(index));
    const DeviceObject stock = stock_object(static_cast<uint32_t>(index));
    if (held == nullptr) {
        held = std::get_if<DeviceBrush>(&stock);
    }
    return held != nullptr ? *held : device.state.brush;
}

void select_region(Device& device, Played record) {
    const auto mode = static_cast<RegionMode>(whole_in(record, "RegionMode"));
    const std::vector<RectD> rects = region_in(record);
    device.select_region(object_in(record, "RgnData") ? &rects : nullptr, mode);
}

// ---- Text

void text_of(Device& device, Played text, bool ansi) {
    TextRun run;
    run.at = point_in(text, "Reference");
    run.text = text_in(text, "StringBuffer");
    run.options = static_cast<uint32_t>(whole_in(text, "Options"));
    run.rect = rect_in(text, "Rectangle");
    const std::vector<double> numbers = numbers_in(text, "DxBuffer");
    const bool pairs = (run.options & TextRun::kPairs) != 0;
    for (size_t i = 0; i < numbers.size(); i += pairs ? 2 : 1) {
        run.advances.push_back(static_cast<int32_t>(static_cast<uint32_t>(numbers[i])));
        if (pairs) {
            run.rises.push_back(i + 1 < numbers.size() ? static_cast<int32_t>(static_cast<uint32_t>(numbers[i + 1]))
                                                       : 0);
        }
    }
    if (ansi && (run.options & TextRun::kGlyphs) == 0) {
        run.text = decoded_text(run.text, device.state.font.charset, run.advances);
    }
    device.text(run);
}

template <bool kAnsi>
void text(Device& device, Played record) {
    if (const auto held = object_in(record, kAnsi ? "AEmrText" : "WEmrText")) {
        text_of(device, *held, kAnsi);
    }
}
template <bool kAnsi>
void texts(Device& device, Played record) {
    for (const auto& held : objects_in(record, kAnsi ? "AEmrText" : "WEmrText")) {
        text_of(device, *held, kAnsi);
    }
}

void small_text(Device& device, Played record) {
    constexpr uint32_t kOneByte = 0x200;
    TextRun run;
    run.at = {number_in(record, "X"), number_in(record, "Y")};
    run.text = text_in(record, "Text");
    run.options = static_cast<uint32_t>(whole_in(record, "Options"));
    run.rect = rect_in(record, "Bounds");
    if ((run.options & kOneByte) != 0 && (run.options & TextRun::kGlyphs) == 0) {
        run.text = decoded_text(run.text, device.state.font.charset, run.advances);
    }
    device.text(run);
}

// ---- Gradients

void gradient(Device& device, Played record) {
    constexpr int64_t kDown = 1, kTriangles = 2;
    const auto data = object_in(record, "VertexData");
    if (!data) {
        return;
    }
    std::vector<PointD> corners;
    std::vector<Argb> colors;
    for (const auto& vertex : objects_in(*data, "VertexObjects")) {
        corners.push_back({number_in(*vertex, "X"), number_in(*vertex, "Y")});
        const auto channel = [&](const char* name) { return static_cast<Argb>(whole_in(*vertex, name) >> 8 & 0xFF); };
        colors.push_back(kBlack | channel("Red") << 16 | channel("Green") << 8 | channel("Blue"));
    }
    const int64_t mode = whole_in(record, "UlMode");
    const auto picked = [&](std::initializer_list<uint64_t> indices, auto&& draw) {
        std::vector<PointD> some;
        std::vector<Argb> their;
        for (const uint64_t index : indices) {
            if (index >= corners.size()) {
                return;
            }
            some.push_back(corners[static_cast<size_t>(index)]);
            their.push_back(colors[static_cast<size_t>(index)]);
        }
        draw(some, their);
    };
    if (mode == kTriangles) {
        const FileBytes triangles = kept_in(*data, "_triangles");
        for (size_t at = 0; at + 12 <= triangles.size(); at += 12) {
            const auto index = [&](size_t i) { return read_number(FileView(triangles).subspan(at + 4 * i, 4)); };
            picked({index(0), index(1), index(2)},
                   [&](const auto& some, const auto& their) { device.triangle(some, their); });
        }
        return;
    }
    for (const auto& rect : objects_in(*data, "VertexIndexes")) {
        picked(
            {static_cast<uint64_t>(whole_in(*rect, "UpperLeft")), static_cast<uint64_t>(whole_in(*rect, "LowerRight"))},
            [&](const auto& some, const auto& their) { device.gradient(some, their, mode == kDown); });
    }
}

using Handler = void (*)(Device&, Played);

const std::unordered_map<std::string_view, Handler>& handlers() {
    static const auto& table = *new std::unordered_map<std::string_view, Handler>{
        {"EmfCreatePen", &create_pen},
        {"EmfExtCreatePen", &create_extended_pen},
        {"EmfCreateBrushIndirect", &create_brush},
        {"EmfExtCreateFontIndirectW", &create_font},
        {"EmfCreatePalette", &create_palette},
        {"EmfCreateDibPatternBrushPt", &create_pattern<false>},
        {"EmfCreateMonoBrush", &create_pattern<true>},
        {"EmfSetPaletteEntries", &change_palette},
        {"EmfResizePalette", &resize_palette},
        {"EmfDeleteObject", [](Device& d, Played r) { d.delete_object(whole_in(r, "IhObject")); }},
        {"EmfSelectObject", [](Device& d, Played r) { d.select_object(whole_in(r, "IhObject")); }},
        {"EmfSelectPalette", [](Device& d, Played r) { d.select_object(whole_in(r, "IhPal")); }},

        {"EmfSaveDc", [](Device& d, Played) { d.save(); }},
        {"EmfRestoreDc", [](Device& d, Played r) { d.restore(whole_in(r, "SavedDc")); }},
        {"EmfSetMapMode",
         [](Device& d, Played r) { d.state.map_mode = static_cast<MapMode>(whole_in(r, "MapMode")); }},
        {"EmfSetWindowOrgEx", [](Device& d, Played r) { d.state.window_origin = point_in(r, "Origin"); }},
        {"EmfSetWindowExtEx", [](Device& d, Played r) { d.state.window_extent = point_in(r, "Extent"); }},
        {"EmfSetViewportOrgEx", [](Device& d, Played r) { d.state.viewport_origin = point_in(r, "Origin"); }},
        {"EmfSetViewportExtEx", [](Device& d, Played r) { d.state.viewport_extent = point_in(r, "Extent"); }},
        {"EmfScaleWindowExtex", [](Device& d, Played r) { scale_extent(d.state.window_extent, r); }},
        {"EmfScaleViewportExtex", [](Device& d, Played r) { scale_extent(d.state.viewport_extent, r); }},
        {"EmfSetWorldTransform", [](Device& d, Played r) { d.state.world = map_in(r, "Xform"); }},
        {"EmfModifyWorldTransform", &modify_world},
        {"EmfSetLayout", [](Device& d, Played r) { d.state.mirrored = (whole_in(r, "LayoutMode") & 1) != 0; }},
        {"EmfSetArcDirection",
         [](Device& d, Played r) { d.state.clockwise = whole_in(r, "ArcDirection") == 2; }},
        {"EmfSetBkColor", [](Device& d, Played r) { d.state.background = color_in(r, "Argb32Color"); }},
        {"EmfSetBkMode", [](Device& d, Played r) { d.state.opaque = whole_in(r, "BackgroundMode") == 2; }},
        {"EmfSetBrushOrgEx", [](Device& d, Played r) { d.state.brush_origin = point_in(r, "Origin"); }},
        {"EmfSetMiterLimit",
         [](Device& d, Played r) { d.state.miter_limit = static_cast<double>(whole_in(r, "MiterLimit")); }},
        {"EmfSetPolyFillMode", [](Device& d, Played r) { d.state.rule = rule_of(whole_in(r, "FillMode")); }},
        {"EmfSetRop2", [](Device& d, Played r) { d.state.mix = static_cast<int>(whole_in(r, "Rop2Mode")); }},
        {"EmfSetStrechBltMode",
         [](Device& d, Played r) { d.state.stretch_mode = static_cast<int>(whole_in(r, "StretchMode")); }},
        {"EmfSetTextAlign",
         [](Device& d, Played r) { d.state.text_align = static_cast<uint32_t>(whole_in(r, "TextAlignmentMode")); }},
        {"EmfSetTextColor", [](Device& d, Played r) { d.state.text_color = color_in(r, "Argb32Color"); }},
        {"EmfSetTextJustification",
         [](Device& d, Played r) {
             d.state.break_extra = number_in(r, "BreakExtra");
             d.state.break_count = static_cast<int>(whole_in(r, "BreakCount"));
         }},

        {"EmfBeginPath", [](Device& d, Played) { d.begin_path(); }},
        {"EmfEndPath", [](Device& d, Played) { d.end_path(); }},
        {"EmfCloseFigure", [](Device& d, Played) { d.close_figure(); }},
        {"EmfFlatternPath", [](Device& d, Played) { d.flatten_path(); }},
        {"EmfWidenPath", [](Device& d, Played) { d.widen_path(); }},
        {"EmfAbortPath", [](Device& d, Played) { d.abort_path(); }},
        {"EmfFillPath", [](Device& d, Played) { d.draw_path(true, false); }},
        {"EmfStrokePath", [](Device& d, Played) { d.draw_path(false, true); }},
        {"EmfStrokeAndFillPath", [](Device& d, Played) { d.draw_path(true, true); }},
        {"EmfSelectClipPath",
         [](Device& d, Played r) { d.clip_to_path(static_cast<RegionMode>(whole_in(r, "RegionMode"))); }},

        {"EmfIntersectClipRect",
         [](Device& d, Played r) { d.clip_rectangle(rect_in(r, "Clip"), RegionOperation::kIntersect); }},
        {"EmfExcludeClipRect",
         [](Device& d, Played r) { d.clip_rectangle(rect_in(r, "Clip"), RegionOperation::kExclude); }},
        {"EmfOffsetClipRgn", [](Device& d, Played r) { d.move_clip(point_in(r, "Offset")); }},
        {"EmfExtSelectClipRgn", &select_region},
        {"EmfSetMetaRgn", [](Device& d, Played) { d.select_meta_region(); }},
        {"EmfFillRgn",
         [](Device& d, Played r) { d.fill_region(region_in(r), brush_at(d, whole_in(r, "IhBrush"))); }},
        {"EmfPaintRgn", [](Device& d, Played r) { d.fill_region(region_in(r), d.state.brush); }},
        {"EmfFrameRgn",
         [](Device& d, Played r) {
             d.frame_region(region_in(r), brush_at(d, whole_in(r, "IhBrush")), number_in(r, "Width"),
                            number_in(r, "Height"));
         }},
        {"EmfInvertRgn", [](Device& d, Played r) { d.invert_region(region_in(r)); }},

        {"EmfMoveToEx", [](Device& d, Played r) { d.move_to(point_in(r, "Offset")); }},
        {"EmfLineTo", [](Device& d, Played r) { d.line_to(point_in(r, "Point")); }},
        {"EmfSetPixelV", [](Device& d, Played r) { d.pixel(point_in(r, "Point"), color_in(r, "Argb32Color")); }},
        {"EmfAngleArc",
         [](Device& d, Played r) {
             d.angle_arc(point_in(r, "Center"), number_in(r, "Radius"), number_in(r, "StartAngle"),
                         number_in(r, "SweepAngle"));
         }},
        {"EmfArc", &arc<ArcKind::kArc>},
        {"EmfArcTo", &arc<ArcKind::kArcTo>},
        {"EmfChord", &arc<ArcKind::kChord>},
        {"EmfPie", &arc<ArcKind::kPie>},
        {"EmfEllipse", &box<&Device::ellipse>},
        {"EmfRectangle", &box<&Device::rectangle>},
        {"EmfExtFloodFill",
         [](Device& d, Played r) {
             const bool surface = whole_in(r, "FloodFillMode") == static_cast<int>(FloodLimit::kSurface);
             d.flood(point_in(r, "Start"), color_in(r, "Argb32Color"),
                     surface ? FloodLimit::kSurface : FloodLimit::kBorder);
         }},
        {"EmfRoundRect",
         [](Device& d, Played r) { d.round_rectangle(rect_in(r, "Box"), point_in(r, "Corner")); }},
        {"EmfPolyBezier", &points<&Device::beziers>},
        {"EmfPolyBezier16", &points<&Device::beziers>},
        {"EmfPolyBezierTo", &points<&Device::beziers_to>},
        {"EmfPolyBezierTo16", &points<&Device::beziers_to>},
        {"EmfPolygon", &points<&Device::polygon>},
        {"EmfPolygon16", &points<&Device::polygon>},
        {"EmfPolyline", &points<&Device::polyline>},
        {"EmfPolyline16", &points<&Device::polyline>},
        {"EmfPolylineTo", &points<&Device::polyline_to>},
        {"EmfPolylineTo16", &points<&Device::polyline_to>},
        {"EmfPolyPolyline", &polylines},
        {"EmfPolyPolyline16", &polylines},
        {"EmfPolyPolygon", &polygons},
        {"EmfPolyPolygon16", &polygons},
        {"EmfPolyDraw", &draw_types},
        {"EmfPolyDraw16", &draw_types},
        {"EmfGradientFill", &gradient},

        {"EmfExtTextOutA", &text<true>},
        {"EmfExtTextOutW", &text<false>},
        {"EmfPolyTextOutA", &texts<true>},
        {"EmfPolyTextOutW", &texts<false>},
        {"EmfSmallTextOut", &small_text},

        {"EmfBitBlt", &play_bit_blt},
        {"EmfStretchBlt", &play_stretch_blt},
        {"EmfStretchDiBits", &play_stretch_dib},
        {"EmfSetDiBitsToDevice", &play_dib_to_device},
        {"EmfMaskBlt", &play_mask_blt},
        {"EmfPlgBlt", &play_parallelogram},
        {"EmfAlphaBlend", &play_alpha_blend},
        {"EmfTransparentBlt", &play_transparent},
    };
    return table;
}

}  // namespace

void play_emf_record(Device& device, const ManagedObject& record) {
    const auto found = handlers().find(record.type().name);
    if (found != handlers().end()) {
        found->second(device, record);
    }
}

}  // namespace zelmor::embed::metafile
