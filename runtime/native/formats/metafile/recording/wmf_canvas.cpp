// A canvas that makes records of a Windows metafile.
#include "runtime/native/formats/metafile/recording/wmf_canvas.h"

#include <algorithm>
#include <cmath>

#include "runtime/native/behaviors/drawing/paints.h"
#include "runtime/native/behaviors/drawing/region_sweep.h"
#include "runtime/native/behaviors/drawing/regions.h"
#include "runtime/native/core/text.h"
#include "runtime/native/drawwork/loader.h"
#include "runtime/native/formats/metafile/letter_widths.h"
#include "runtime/native/formats/metafile/recording/new_records.h"

namespace zelmor::embed::metafile {

namespace {

constexpr double kWmfFlatness = 0.05;
constexpr int64_t kCopyPixels = 0x00CC0020, kSourceAnd = 0x008800C6, kSourceOr = 0x00EE0086;
constexpr size_t kMostPoints = 32000;

Value wmf_color_number(Argb color) {
    return int64_t{static_cast<int32_t>(color | 0xFF000000)};
}

int64_t unit16(double number) {
    return std::lround(std::clamp(number, -32768.0, 32767.0));
}

// Over white, since nothing shows through.
Argb over_white(Argb color) {
    return mixed(kWhite, color | 0xFF000000, (color >> 24) / 255.0) | 0xFF000000;
}

}  // namespace

int32_t inch_for(double width, double height) {
    constexpr double kMostUnits = 32000, kUsual = 96 * 15;
    const double side = std::max({width, height, 1.0});
    return static_cast<int32_t>(std::max(std::floor(std::min(kUsual, 96 * kMostUnits / side)), 1.0));
}

WmfCanvas::WmfCanvas(double width, double height, const RectD& window, int64_t first_object)
    : RecordCanvas(width, height),
      m_window(window),
      m_scale{width > 0 ? window.width / width : 1, height > 0 ? window.height / height : 1},
      m_next_object(first_object) {}

void WmfCanvas::add_start() {
    set_property(*add("WmfSetMapMode"), "MapMode", int64_t{8});
    set_property(*add("WmfSetWindowOrg"), "Point", point_value({m_window.x, m_window.y}));
    set_property(*add("WmfSetWindowExt"), "Point", point_value({m_window.width, m_window.height}));
    set_property(*add("WmfSetBkMode"), "BackgroundMode", int64_t{1});
    set_property(*add("WmfSetTextAlign"), "TextAlignmentMode", int64_t{24});
}

Ref<ManagedObject> WmfCanvas::add(const char* name) {
    m_records.push_back(new_wmf_object(name));
    return m_records.back();
}

PointD WmfCanvas::units(PointD page) const {
    return {m_window.x + page.x * m_scale.x, m_window.y + page.y * m_scale.y};
}

void WmfCanvas::select(int64_t& selected, int64_t index) {
    if (selected != index) {
        set_property(*add("WmfSelectObject"), "ObjectIndex", index);
        selected = index;
    }
}

int64_t WmfCanvas::object(const std::string& key, const std::function<void()>& make) {
    const auto [found, is_new] = m_objects.try_emplace(key, m_next_object);
    if (is_new) {
        ++m_next_object;
        make();
    }
    return found->second;
}

void WmfCanvas::select_brush(Argb color) {
    select(m_brush, object("brush " + std::to_string(color), [&] {
               set_property(*add("WmfCreateBrushInDirect"), "Argb32ColorRef", wmf_color_number(color));
           }));
}

void WmfCanvas::select_no_pen() {
    select(m_pen, object("pen", [&] {
               const auto pen = add("WmfCreatePenInDirect");
               set_property(*pen, "PenStyle", int64_t{5});
               set_property(*pen, "Width", point_value({}));
               set_property(*pen, "Argb32ColorRef", wmf_color_number(kBlack));
           }));
}

// Whether no clip cuts anything of the box.
bool WmfCanvas::is_within_clips(const RectD& box) const {
    return std::all_of(clips().begin(), clips().end(), [&](const Clip& clip) {
        const RectD frame = bounds_of(clip.outline);
        const bool rectangle =
            clip.outline.size() == 1 && clip.outline[0].segments.size() <= 4 && clip.outline[0].segments.size() >= 3 &&
            std::all_of(clip.outline[0].segments.begin(), clip.outline[0].segments.end(), [&](const Segment& s) {
                return !s.curved && (s.end.x == frame.x || s.end.x == frame.right()) &&
                       (s.end.y == frame.y || s.end.y == frame.bottom());
            });
        return rectangle && box.x >= frame.x - 0.01 && box.y >= frame.y - 0.01 && box.right() <= frame.right() + 0.01 &&
               box.bottom() <= frame.bottom() + 0.01;
    });
}

void WmfCanvas::emit_fill(const Outline& given, FillRule rule, Argb color) {
    constexpr size_t kMostLines = 2000;  // the parts of more take too long to work out
    Outline outline = given;
    const bool whole = is_within_clips(bounds_of(outline));
    size_t lines = 0;
    for (const Contour& contour : outline) {
        lines += contour.segments.size();
    }
    const auto drawn_as_bitmap = [this, &given, rule, color] {
        Paint paint;
        paint.color = color;
        as_bitmap(given, rule, paint);
    };
    if (!whole && lines > kMostLines) {
        return drawn_as_bitmap();
    }
    if (!whole) {
        RegionTree region = region_of(outline, rule);
        for (const Clip& clip : clips()) {
            region = combined(region, region_of(clip.outline, clip.rule), RegionOperation::kIntersect);
        }
        outline.clear();
        for (const Trapezoid& t : trapezoids_of(*region)) {
            const std::vector<PointD> corners{
                {t.left_top, t.top}, {t.right_top, t.top}, {t.right_bottom, t.bottom}, {t.left_bottom, t.bottom}};
            outline.push_back(polygon_contour(corners, true));
        }
        rule = FillRule::kWinding;
    }
    std::vector<std::vector<PointD>> polygons;
    size_t total = 0, longest = 0;
    for (const Contour& contour : outline) {
        std::vector<PointD> flat = flattened(contour, kWmfFlatness);
        if (flat.size() >= 3) {
            total += flat.size();
            longest = std::max(longest, flat.size());
            polygons.push_back(std::move(flat));
        }
    }
    // There are readers that give up a file with a record of more points than 16 bits count.
    if (longest > kMostPoints || (whole && total > 2 * kMostPoints)) {
        return drawn_as_bitmap();
    }
    select_brush(color);
    select_no_pen();
    const int64_t mode = rule == FillRule::kWinding ? 2 : 1;
    if (m_rule != mode) {
        set_property(*add("WmfSetPolyFillMode"), "FillMode", mode);
        m_rule = mode;
    }
    std::vector<Value> counts, points;
    const auto finish = [&] {
        if (counts.empty()) {
            return;
        }
        const auto record = add(counts.size() == 1 ? "WmfPolygon" : "WmfPolyPolygon");
        if (counts.size() > 1) {
            set_list(*record, "APointsPerPolygon", counts);
        }
        set_list(*record, "APoints", points);
        counts.clear();
        points.clear();
    };
    for (const std::vector<PointD>& polygon : polygons) {
        if (!whole && points.size() > kMostPoints) {
            finish();  // parts beside each other can stand in several records
        }
        counts.emplace_back(static_cast<int64_t>(polygon.size()));
        for (const PointD& point : polygon) {
            const PointD at = units(point);
            points.push_back(point_value({double(unit16(at.x)), double(unit16(at.y))}));
        }
    }
    finish();
}

// Pens have round ends and joins here; other lines are filled as outlines.
bool WmfCanvas::emit_stroke(const Outline& outline, const Stroke& stroke, Argb color) {
    const double scale = stroke.nib.mean_scale();
    const double wide = stroke.width * scale;
    const bool round = stroke.cap == drawwork::StrokeCap::kRound && stroke.join == drawwork::StrokeJoin::kRound;
    const RectD box = bounds_of(outline);
    const RectD reach{box.x - wide, box.y - wide, box.width + 2 * wide, box.height + 2 * wide};
    if (!stroke.dashes.empty() || !round || !is_within_clips(reach)) {
        return false;
    }
    const auto width = std::max<int64_t>(unit16(wide * m_scale.x), 1);
    select(m_pen, object("pen " + std::to_string(color) + " " + std::to_string(width), [&] {
               const auto pen = add("WmfCreatePenInDirect");
               set_property(*pen, "Width", point_value({double(width), 0}));
               set_property(*pen, "Argb32ColorRef", wmf_color_number(color));
           }));
    for (const Contour& contour : outline) {
        std::vector<PointD> flat = flattened(contour, kWmfFlatness);
        if (contour.closed && !flat.empty()) {
            flat.push_back(flat.front());
        }
        for (size_t first = 0; first + 1 < flat.size(); first += kMostPoints - 1) {
            std::vector<Value> points;
            for (size_t i = first; i < std::min(first + kMostPoints, flat.size()); ++i) {
                const PointD at = units(flat[i] - PointD{0.5, 0.5});
                points.push_back(point_value({double(unit16(at.x)), double(unit16(at.y))}));
            }
            set_list(*add("WmfPolyLine"), "APoints", points);
        }
    }
    return true;
}

bool WmfCanvas::emit_text(const TextLayout& layout, const Affine& placing, Argb color) {
    const bool plain = layout.width < 0 && layout.mnemonic < 0 && layout.tabs.empty() &&
                       std::all_of(layout.text.begin(), layout.text.end(), [](char c) { return c >= 32 && c < 127; });
    std::optional<TextScale> scale = text_scale(placing);
    if (!plain || !scale) {
        return false;
    }
    scale = {scale->along * m_scale.x, scale->across * m_scale.x};
    const drawwork::TextExtent extent = drawing_backend().measure(layout);
    const RectD box = bounds_of(transformed({rectangle_contour({0, 0, extent.width, extent.height})}, placing));
    const int64_t height = unit16(layout.size * scale->across);
    const int64_t width = letter_width(layout, *scale);
    const std::string face = layout.family.substr(0, layout.family.find(','));
    if (!is_within_clips(box) || height == 0 || width > INT16_MAX || face.size() > 31 || layout.text.size() > 255) {
        return false;
    }
    const int64_t turn = std::lround(-std::atan2(placing.m12, placing.m11) * 1800 / M_PI);
    const std::string key = "font " + std::to_string(height) + " " + std::to_string(width) + " " +
                            std::to_string(turn) + " " + layout.family + (layout.bold ? " b" : "") +
                            (layout.italic ? " i" : "") + (layout.underline ? " u" : "") +
                            (layout.strikeout ? " s" : "");
    select(m_font, object(key, [&] {
               const auto font = add("WmfCreateFontInDirect");
               set_property(*font, "Height", -height);
               set_property(*font, "Width", width);
               set_property(*font, "Escapement", turn);
               set_property(*font, "Orientation", turn);
               set_property(*font, "Weight", int64_t{layout.bold ? 700 : 400});
               set_property(*font, "Italic", layout.italic);
               set_property(*font, "Underline", layout.underline);
               set_property(*font, "Strikeout", layout.strikeout);
               set_property(*font, "Facename", Value(to_utf16(face)));
           }));
    if (m_text_color != static_cast<int64_t>(color)) {
        set_property(*add("WmfSetTextColor"), "Argb32ColorRef", wmf_color_number(color));
        m_text_color = color;
    }
    const PointD at = units(placing.apply({0, extent.baseline}));
    const auto record = add("WmfExtTextOut");
    set_property(*record, "Point", point_value({double(unit16(at.x)), double(unit16(at.y))}));
    set_property(*record, "Text", Value(to_utf16(layout.text)));
    std::vector<Value> advances;
    double before = 0;
    for (size_t i = 1; i <= layout.text.size(); ++i) {
        TextLayout part = layout;
        part.text = layout.text.substr(0, i);
        const double end = drawing_backend().measure(part).width * scale->along;
        advances.emplace_back(std::lround(end) - std::lround(before));
        before = end;
    }
    set_list(*record, "Dx", advances);
    return true;
}

void WmfCanvas::emit_bitmap(const Pixels& given, const Affine& placing) {
    const RectD box =
        bounds_of(transformed({rectangle_contour({0, 0, double(given.width), double(given.height)})}, placing));
    const bool upright = placing.m12 == 0 && placing.m21 == 0;
    Pixels pixels = given;
    RectD target{placing.dx, placing.dy, placing.m11 * pixels.width, placing.m22 * pixels.height};
    if (!upright || !is_within_clips(box)) {  // as pixels of the page, cut to the clip
        const double x = std::floor(std::max(box.x, 0.0)), y = std::floor(std::max(box.y, 0.0));
        const double right = std::ceil(std::min(box.right(), width())),
                     bottom = std::ceil(std::min(box.bottom(), height()));
        if (!(right > x && bottom > y)) {
            return;
        }
        const drawwork::PixelArea area{int32_t(x), int32_t(y), int32_t(right - x), int32_t(bottom - y)};
        const std::vector<Argb> empty(static_cast<size_t>(area.width) * static_cast<size_t>(area.height), 0);
        const auto canvas = drawing_backend().canvas(area, empty);
        for (const Clip& clip : clips()) {
            canvas->clip(clip.outline, clip.rule, true);
        }
        Paint paint;
        paint.kind = Paint::Kind::kTexture;
        paint.width = pixels.width;
        paint.height = pixels.height;
        paint.pixels = pixels.colors;
        paint.placing = placing;
        canvas->fill(transformed({rectangle_contour({0, 0, double(given.width), double(given.height)})}, placing),
                     FillRule::kWinding, paint, true);
        pixels = {area.width, area.height, canvas->pixels(), false};
        target = {x, y, right - x, bottom - y};
    }
    const PointD corner = units({target.x, target.y}), end = units({target.right(), target.bottom()});
    const auto put = [&](const Pixels& shown, int64_t operation) {
        const auto record = add("WmfStretchDib");
        set_property(*record, "RasterOperation", operation);
        set_property(*record, "SrcWidth", int64_t{shown.width});
        set_property(*record, "SrcHeight", int64_t{shown.height});
        set_property(*record, "XDest", unit16(corner.x));
        set_property(*record, "YDest", unit16(corner.y));
        set_property(*record, "DestWidth", unit16(end.x) - unit16(corner.x));
        set_property(*record, "DestHeight", unit16(end.y) - unit16(corner.y));
        set_property(*record, "SourceBitmap", Value(new_bitmap(shown, false)));
    };
    const bool holes =
        std::any_of(pixels.colors.begin(), pixels.colors.end(), [](Argb color) { return color >> 24 == 0; });
    if (holes) {  // black wherever something is drawn, so that the picture can be added
        Pixels mask = pixels;
        for (Argb& color : mask.colors) {
            color = color >> 24 == 0 ? kWhite : kBlack;
        }
        put(mask, kSourceAnd);
    }
    for (Argb& color : pixels.colors) {
        color = color >> 24 == 0 ? kBlack : over_white(color);
    }
    put(pixels, holes ? kSourceOr : kCopyPixels);
}

// A mix of the brush with what is there, while the outline is filled.
bool WmfCanvas::emit_combine(const Outline& outline, FillRule rule, Argb pattern, uint8_t operation) {
    constexpr int64_t kCopy = 13;
    const auto set_mode = [&](int64_t mode) { set_property(*add("WmfSetRop2"), "Rop2Mode", mode); };
    set_mode(((operation >> 2 & 0x0C) | (operation & 0x03)) + 1);
    emit_fill(outline, rule, pattern);
    set_mode(kCopy);
    return true;
}

}  // namespace zelmor::embed::metafile
