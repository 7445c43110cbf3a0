// What each record of a Windows metafile does to a device.
#include "runtime/native/formats/metafile/player/wmf_player.h"

#include <algorithm>
#include <string_view>
#include <unordered_map>

#include "runtime/native/formats/metafile/player/charsets.h"
#include "runtime/native/formats/metafile/player/dib_pixels.h"
#include "runtime/native/formats/metafile/player/record_objects.h"
#include "runtime/native/formats/metafile/record_walk.h"

namespace zelmor::embed::metafile {

namespace {

using Played = const ManagedObject&;

// ---- Objects

void create_pattern(WmfPlayer& player, Played record) {
    DeviceBrush brush;
    brush.kind = DeviceBrush::Kind::kPattern;
    if (const auto head = object_in(record, "Bitmap16")) {
        brush.pattern = old_bitmap_pixels(*head, bytes_in(record, "Pattern"));
    }
    brush.two_colors = brush.pattern.mono;
    player.add_object(std::move(brush));
}

// The bitmap of a record that has it in the old form, as an object of its own.
Ref<ManagedObject> old_bitmap(const FileBytes& bytes) {
    for (const RecordBlock& block : record_blocks()) {
        if (std::string_view(block.name) == "WmfBitmap16" && !bytes.empty()) {
            return read_object(block, bytes);
        }
    }
    return {};
}

void create_dib_pattern(WmfPlayer& player, Played record) {
    DeviceBrush brush;
    brush.kind = DeviceBrush::Kind::kPattern;
    if (const auto dib = object_in(record, "SourceBitmap")) {
        brush.pattern = dib_pixels(
            dib.get(), {.usage = whole_in(record, "ColorUsage"), .palette = player.device().state.palette.colors()});
    } else if (const auto old = old_bitmap(kept_in(record, "_bitmap16"))) {
        brush.pattern = old_bitmap_pixels(*old, bytes_in(*old, "Bits"));
    }
    player.add_object(std::move(brush));
}

void create_region(WmfPlayer& player, Played record) {
    DeviceRegion region;
    if (const auto held = object_in(record, "Region")) {
        for (const auto& scan : objects_in(*held, "AScans")) {
            const double top = number_in(*scan, "Top"), bottom = number_in(*scan, "Bottom");
            for (const PointD& line : points_in(*scan, "ScanLines")) {
                region.rects.push_back({line.x, top, line.y - line.x, bottom - top});
            }
        }
    }
    player.add_object(std::move(region));
}

size_t start_in(Played record) {
    return static_cast<size_t>(whole_in(record, "Start"));
}

template <class Object>
const Object* object_at(const Device& device, int64_t index) {
    return std::get_if<Object>(&device.object(index));
}

// ---- Shapes

PointD pair_in(Played record, const char* x, const char* y) {
    return {number_in(record, x), number_in(record, y)};
}

template <ArcKind kKind>
void segment(WmfPlayer& player, Played record) {
    player.device().arc(kKind, rect_in(record, "Rectangle"), pair_in(record, "XRadial1", "YRadial1"),
                        pair_in(record, "XRadial2", "YRadial2"));
}

void with_regions(WmfPlayer& player, Played record, void (*draw)(Device&, Played, const DeviceRegion&)) {
    if (const auto* region = object_at<DeviceRegion>(player.device(), whole_in(record, "Region"))) {
        draw(player.device(), record, *region);
    }
}

DeviceBrush brush_in(Device& device, Played record) {
    const auto* brush = object_at<DeviceBrush>(device, whole_in(record, "Brush"));
    return brush != nullptr ? *brush : device.state.brush;
}

// ---- Text

void text(WmfPlayer& player, Played record) {
    Device& device = player.device();
    TextRun run;
    run.at = point_in(record, "Point");
    run.text = text_in(record, "Text");
    run.options = TextRun::kNoRect;
    if (has_property(record, "Options") && std::string_view(record.type().name) == "WmfExtTextOut") {
        run.options = static_cast<uint32_t>(whole_in(record, "Options"));
        run.rect = rect_in(record, "Rectangle");
        run.advances = numbers_in(record, "Dx");
        if ((run.options & (TextRun::kOpaque | TextRun::kClipped)) == 0) {
            run.options |= TextRun::kNoRect;
        }
    }
    if ((run.options & TextRun::kGlyphs) == 0) {
        run.text = decoded_text(run.text, device.state.font.charset, run.advances);
    }
    device.text(run);
}

// ---- Bitmaps

uint8_t operation_in(Played record) {
    return static_cast<uint8_t>(whole_in(record, "RasterOperation") >> 16);
}

RectD box_in(Played record, const char* x, const char* y, const char* width, const char* height) {
    return {number_in(record, x), number_in(record, y), number_in(record, width), number_in(record, height)};
}

void draw_pixels(Device& device, const Pixels& pixels, const RectD& part, const RectD& target, uint8_t operation) {
    if (pixels.empty() || !uses_source(operation)) {
        device.pattern(target, operation);
        return;
    }
    device.bitmap(pixels, device.placed(part, target), operation);
}

void pattern_blt(WmfPlayer& player, Played record) {
    const PointD at = point_in(record, "Point");
    player.device().pattern({at.x, at.y, number_in(record, "Width"), number_in(record, "Height")},
                            operation_in(record));
}

void old_blt(WmfPlayer& player, Played record) {
    const auto bitmap = object_in(record, "SourceBitmap");
    const Pixels pixels = bitmap ? old_bitmap_pixels(*bitmap, bytes_in(*bitmap, "Bits")) : Pixels();
    draw_pixels(player.device(), pixels, box_in(record, "XSrc", "YSrc", "SrcWidth", "SrcHeight"),
                box_in(record, "XDest", "YDest", "DestWidth", "DestHeight"), operation_in(record));
}

void dib_bit_blt(WmfPlayer& player, Played record) {
    const Pixels pixels = dib_pixels(object_in(record, "SourceBitmap").get(), {});
    draw_pixels(player.device(), pixels, box_in(record, "XSrc", "YSrc", "Width", "Height"),
                box_in(record, "XDest", "YDest", "Width", "Height"), operation_in(record));
}

void dib_stretch_blt(WmfPlayer& player, Played record) {
    const Pixels pixels = dib_pixels(object_in(record, "SourceBitmap").get(), {});
    draw_pixels(player.device(), pixels, box_in(record, "XSrc", "YSrc", "SrcWidth", "SrcHeight"),
                box_in(record, "XDest", "YDest", "DestWidth", "DestHeight"), operation_in(record));
}

// The source is counted from the bottom of a bitmap whose rows begin there.
void stretch_dib(WmfPlayer& player, Played record) {
    Device& device = player.device();
    const auto bitmap = object_in(record, "SourceBitmap");
    const Pixels pixels =
        dib_pixels(bitmap.get(), {.usage = whole_in(record, "ColorUsage"), .palette = device.state.palette.colors()});
    RectD part = box_in(record, "XSrc", "YSrc", "SrcWidth", "SrcHeight");
    if (bitmap && !is_top_down(*bitmap)) {
        part.y = pixels.height - part.y - part.height;
    }
    draw_pixels(device, pixels, part, box_in(record, "XDest", "YDest", "DestWidth", "DestHeight"),
                operation_in(record));
}

void dib_to_device(WmfPlayer& player, Played record) {
    Device& device = player.device();
    const auto bitmap = object_in(record, "SourceBitmap");
    const Pixels pixels = dib_pixels(bitmap.get(), {.usage = whole_in(record, "ColorUsage"),
                                                    .palette = device.state.palette.colors(),
                                                    .rows = whole_in(record, "ScanCount")});
    if (pixels.empty()) {
        return;
    }
    const double height = number_in(record, "Height"), y = number_in(record, "YDib");
    const double first = number_in(record, "IStartScan"), count = number_in(record, "ScanCount");
    const PointD corner = device.map().apply(pair_in(record, "XDest", "YDest"));
    const double top = is_top_down(*bitmap) ? first - y : y + height - first - count;
    const double begin = std::max(top, 0.0), end = std::min(top + pixels.height, height);
    if (end > begin) {
        device.device_bitmap(pixels, {corner.x, corner.y + begin},
                             {number_in(record, "XDib"), begin - top, number_in(record, "Width"), end - begin});
    }
}

template <bool kHasMode>
void flood(WmfPlayer& player, Played record) {
    const bool surface = kHasMode && whole_in(record, "Mode") == static_cast<int>(FloodLimit::kSurface);
    player.device().flood(pair_in(record, "XStart", "YStart"), color_in(record, "Argb32ColorRef"),
                          surface ? FloodLimit::kSurface : FloodLimit::kBorder);
}

using WmfHandler = void (*)(WmfPlayer&, Played);

const std::unordered_map<std::string_view, WmfHandler>& wmf_handlers() {
    static const auto& table = *new std::unordered_map<std::string_view, WmfHandler>{
        {"WmfCreatePenInDirect", [](WmfPlayer& p, Played r) { p.add_object(pen_of(r)); }},
        {"WmfCreateBrushInDirect", [](WmfPlayer& p, Played r) { p.add_object(brush_of(r, "Argb32ColorRef")); }},
        {"WmfCreateFontInDirect", [](WmfPlayer& p, Played r) { p.add_object(font_of(r)); }},
        {"WmfCreatePalette", [](WmfPlayer& p, Played r) { p.add_object(DevicePalette(palette_entries(r))); }},
        {"WmfCreatePatternBrush", &create_pattern},
        {"WmfDibCreatePatternBrush", &create_dib_pattern},
        {"WmfCreateRegion", &create_region},
        {"WmfDeleteObject", [](WmfPlayer& p, Played r) { p.delete_object(whole_in(r, "ObjectIndex")); }},
        {"WmfSelectObject", [](WmfPlayer& p, Played r) { p.device().select_object(whole_in(r, "ObjectIndex")); }},
        {"WmfSelectPalette", [](WmfPlayer& p, Played r) { p.device().select_object(whole_in(r, "Palette")); }},
        {"WmfSetPalentries",
         [](WmfPlayer& p, Played r) { p.device().state.palette.set(start_in(r), palette_entries(r)); }},
        {"WmfAnimatePalette",
         [](WmfPlayer& p, Played r) { p.device().state.palette.animate(start_in(r), palette_entries(r)); }},
        {"WmfResizePalette",
         [](WmfPlayer& p, Played r) {
             p.device().state.palette.resize(static_cast<size_t>(whole_in(r, "NumberOfEntries")));
         }},
        {"WmfSelectClipRegion",
         [](WmfPlayer& p, Played r) {
             const auto* region = object_at<DeviceRegion>(p.device(), whole_in(r, "Region"));
             p.device().select_region(region != nullptr ? &region->rects : nullptr, RegionMode::kCopy);
         }},

        {"WmfSaveDc", [](WmfPlayer& p, Played) { p.device().save(); }},
        {"WmfRestoreDc", [](WmfPlayer& p, Played r) { p.device().restore(whole_in(r, "SavedDc")); }},
        {"WmfSetMapMode",
         [](WmfPlayer& p, Played r) { p.device().state.map_mode = static_cast<MapMode>(whole_in(r, "MapMode")); }},
        {"WmfSetWindowOrg", [](WmfPlayer& p, Played r) { p.device().state.window_origin = point_in(r, "Point"); }},
        {"WmfSetWindowExt", [](WmfPlayer& p, Played r) { p.device().state.window_extent = point_in(r, "Point"); }},
        {"WmfSetViewportOrg", [](WmfPlayer& p, Played r) { p.device().state.viewport_origin = point_in(r, "Point"); }},
        {"WmfSetViewportExt", [](WmfPlayer& p, Played r) { p.device().state.viewport_extent = point_in(r, "Point"); }},
        {"WmfOffsetWindowOrg",
         [](WmfPlayer& p, Played r) {
             p.device().state.window_origin = p.device().state.window_origin + point_in(r, "Point");
         }},
        {"WmfOffsetViewPortOrg",
         [](WmfPlayer& p, Played r) {
             p.device().state.viewport_origin = p.device().state.viewport_origin + point_in(r, "Point");
         }},
        {"WmfScaleWindowExt", [](WmfPlayer& p, Played r) { scale_extent(p.device().state.window_extent, r); }},
        {"WmfScaleViewportExt", [](WmfPlayer& p, Played r) { scale_extent(p.device().state.viewport_extent, r); }},
        {"WmfSetLayout",
         [](WmfPlayer& p, Played r) { p.device().state.mirrored = (whole_in(r, "LayoutMode") & 1) != 0; }},
        {"WmfSetBkColor", [](WmfPlayer& p, Played r) { p.device().state.background = color_in(r, "Argb32ColorRef"); }},
        {"WmfSetBkMode", [](WmfPlayer& p, Played r) { p.device().state.opaque = whole_in(r, "BackgroundMode") == 2; }},
        {"WmfSetPolyFillMode",
         [](WmfPlayer& p, Played r) {
             p.device().state.rule = whole_in(r, "FillMode") == 2 ? FillRule::kWinding : FillRule::kAlternate;
         }},
        {"WmfSetRop2",
         [](WmfPlayer& p, Played r) { p.device().state.mix = static_cast<int>(whole_in(r, "Rop2Mode")); }},
        {"WmfSetStretchbltMode",
         [](WmfPlayer& p, Played r) { p.device().state.stretch_mode = static_cast<int>(whole_in(r, "StretchMode")); }},
        {"WmfSetTextAlign",
         [](WmfPlayer& p, Played r) {
             p.device().state.text_align = static_cast<uint32_t>(whole_in(r, "TextAlignmentMode"));
         }},
        {"WmfSetTextColor",
         [](WmfPlayer& p, Played r) { p.device().state.text_color = color_in(r, "Argb32ColorRef"); }},
        {"WmfSetTextCharExtra",
         [](WmfPlayer& p, Played r) { p.device().state.char_extra = static_cast<int16_t>(whole_in(r, "CharExtra")); }},
        {"WmfSetTextJustification",
         [](WmfPlayer& p, Played r) {
             p.device().state.break_count = static_cast<int>(whole_in(r, "BreakCount"));
             p.device().state.break_extra = static_cast<int16_t>(whole_in(r, "BreakExtra"));
         }},

        {"WmfIntersectClipRect",
         [](WmfPlayer& p, Played r) {
             const double left = number_in(r, "Left"), top = number_in(r, "Top");
             const RectD box{left, top, number_in(r, "Right") - left, number_in(r, "Bottom") - top};
             p.device().clip_rectangle(box, RegionOperation::kIntersect);
         }},
        {"WmfExcludeClipRect",
         [](WmfPlayer& p, Played r) { p.device().clip_rectangle(rect_in(r, "Rectangle"), RegionOperation::kExclude); }},
        {"WmfOffsetClipRgn", [](WmfPlayer& p, Played r) { p.device().move_clip(point_in(r, "Point")); }},
        {"WmfFillRegion",
         [](WmfPlayer& p, Played r) {
             with_regions(p, r, [](Device& d, Played record, const DeviceRegion& region) {
                 d.fill_region(region.rects, brush_in(d, record));
             });
         }},
        {"WmfPaintRegion",
         [](WmfPlayer& p, Played r) {
             with_regions(p, r, [](Device& d, Played, const DeviceRegion& region) {
                 d.fill_region(region.rects, d.state.brush);
             });
         }},
        {"WmfFrameRegion",
         [](WmfPlayer& p, Played r) {
             with_regions(p, r, [](Device& d, Played record, const DeviceRegion& region) {
                 d.frame_region(region.rects, brush_in(d, record), number_in(record, "Width"),
                                number_in(record, "Height"));
             });
         }},
        {"WmfInvertRegion",
         [](WmfPlayer& p, Played r) {
             with_regions(p, r, [](Device& d, Played, const DeviceRegion& region) { d.invert_region(region.rects); });
         }},

        {"WmfMoveTo", [](WmfPlayer& p, Played r) { p.device().move_to(point_in(r, "Point")); }},
        {"WmfLineTo", [](WmfPlayer& p, Played r) { p.device().line_to(point_in(r, "Point")); }},
        {"WmfSetPixel",
         [](WmfPlayer& p, Played r) { p.device().pixel(point_in(r, "Point"), color_in(r, "Argb32ColorRef")); }},
        {"WmfFloodFill", &flood<false>},
        {"WmfExtFloodFill", &flood<true>},
        {"WmfArc",
         [](WmfPlayer& p, Played r) {
             p.device().arc(ArcKind::kArc, rect_in(r, "Rectangle"), pair_in(r, "XStartArc", "YStartArc"),
                            pair_in(r, "XEndArc", "YEndArc"));
         }},
        {"WmfChord", &segment<ArcKind::kChord>},
        {"WmfPie", &segment<ArcKind::kPie>},
        {"WmfEllipse", [](WmfPlayer& p, Played r) { p.device().ellipse(rect_in(r, "Rectangle")); }},
        {"WmfRectangle", [](WmfPlayer& p, Played r) { p.device().rectangle(rect_in(r, "Rectangle")); }},
        {"WmfRoundRect",
         [](WmfPlayer& p,
            Played r) { p.device().round_rectangle(rect_in(r, "Rectangle"), pair_in(r, "Width", "Height")); }},
        {"WmfPolygon", [](WmfPlayer& p, Played r) { p.device().polygon(points_in(r, "APoints")); }},
        {"WmfPolyLine", [](WmfPlayer& p, Played r) { p.device().polyline(points_in(r, "APoints")); }},
        {"WmfPolyPolygon",
         [](WmfPlayer& p,
            Played r) { p.device().polygons(points_in(r, "APoints"), numbers_in(r, "APointsPerPolygon"), true); }},

        {"WmfTextOut", &text},
        {"WmfExtTextOut", &text},

        {"WmfPatBlt", &pattern_blt},
        {"WmfBitBlt", &old_blt},
        {"WmfStretchBlt", &old_blt},
        {"WmfDibBitBlt", &dib_bit_blt},
        {"WmfDibStrechBlt", &dib_stretch_blt},
        {"WmfStretchDib", &stretch_dib},
        {"WmfSetDibToDev", &dib_to_device},
    };
    return table;
}

}  // namespace

void WmfPlayer::play(const ManagedObject& record) {
    const auto found = wmf_handlers().find(record.type().name);
    if (found != wmf_handlers().end()) {
        found->second(*this, record);
    }
}

void WmfPlayer::add_object(DeviceObject object) {
    int64_t index = m_next;
    if (m_free.empty()) {
        ++m_next;
    } else {
        index = *m_free.begin();
        m_free.erase(m_free.begin());
    }
    m_device.put_object(index, std::move(object));
}

void WmfPlayer::delete_object(int64_t index) {
    if (index < m_next) {
        m_free.insert(index);
        m_device.delete_object(index);
    }
}

}  // namespace zelmor::embed::metafile
