// A canvas that makes records of an enhanced metafile.
#include "runtime/native/formats/metafile/recording/emf_canvas.h"

#include <algorithm>
#include <cmath>

#include "runtime/native/core/text.h"
#include "runtime/native/drawwork/loader.h"
#include "runtime/native/formats/metafile/letter_widths.h"
#include "runtime/native/formats/metafile/recording/new_records.h"

namespace zelmor::embed::metafile {

namespace {

constexpr double K = kUnitsOfPixel;
constexpr int64_t kSourceCopy = 0x00CC0020;
constexpr int64_t kHalftone = 4;
constexpr size_t kMostMeasured = 256;  // characters whose distances are measured one by one

// The numbers of the raster operations that need no source, by their bits for pattern and pixels there.
constexpr int64_t kOperations[] = {0x000042, 0x0500A9, 0x0A0329, 0x0F0001, 0x500325, 0x550009, 0x5A0049, 0x5F00E9,
                                   0xA000C9, 0xA50065, 0xAA0029, 0xAF0229, 0xF00021, 0xF50225, 0xFA0089, 0xFF0062};

Value color_number(Argb color) {
    return int64_t{static_cast<int32_t>(color | 0xFF000000)};
}

// Whether lengths in all directions become longer alike.
bool is_even(const Affine& map) {
    const double slack = 1e-6 * (std::abs(map.m11) + std::abs(map.m12) + 1e-12);
    return (std::abs(map.m11 - map.m22) <= slack && std::abs(map.m12 + map.m21) <= slack) ||
           (std::abs(map.m11 + map.m22) <= slack && std::abs(map.m12 - map.m21) <= slack);
}

}  // namespace

EmfCanvas::EmfCanvas(double width, double height, PointD origin) : RecordCanvas(width, height) {
    set_property(*add("EmfSetMapMode"), "MapMode", int64_t{8});
    set_property(*add("EmfSetWindowExtEx"), "Extent", size_value({width * K, height * K}));
    set_property(*add("EmfSetViewportExtEx"), "Extent", size_value({std::ceil(width), std::ceil(height)}));
    if (std::ceil(width) != width || std::ceil(height) != height) {
        // The window is a whole number of units, and the viewport one of pixels: both of the same ratio.
        set_property(*m_records[1], "Extent", size_value({std::ceil(width) * K, std::ceil(height) * K}));
    }
    if (origin != PointD()) {
        set_property(*add("EmfSetViewportOrgEx"), "Origin", point_value(origin));
    }
    set_property(*add("EmfSetBkMode"), "BackgroundMode", int64_t{1});
    set_property(*add("EmfSetTextAlign"), "TextAlignmentMode", int64_t{24});
    set_property(*add("EmfSetStrechBltMode"), "StretchMode", kHalftone);
}

Ref<ManagedObject> EmfCanvas::add(const char* name) {
    m_records.push_back(new_emf_record(name));
    return m_records.back();
}

Value EmfCanvas::page_value() const {
    return rect_value({0, 0, std::ceil(width()) - 1, std::ceil(height()) - 1});
}

void EmfCanvas::emit_save() {
    add("EmfSaveDc");
    m_saved.push_back(m_selected);
}
void EmfCanvas::emit_restore() {
    set_property(*add("EmfRestoreDc"), "SavedDc", int64_t{-1});
    m_selected = m_saved.back();
    m_saved.pop_back();
}

void EmfCanvas::set_rule(FillRule rule) {
    const int64_t mode = rule == FillRule::kWinding ? 2 : 1;
    if (m_selected.rule != mode) {
        set_property(*add("EmfSetPolyFillMode"), "FillMode", mode);
        m_selected.rule = mode;
    }
}

void EmfCanvas::select(int64_t& selected, int64_t index) {
    if (selected != index) {
        set_property(*add("EmfSelectObject"), "IhObject", index);
        selected = index;
    }
}

void EmfCanvas::select_brush(Argb color) {
    int64_t& index = m_objects["brush " + std::to_string(color)];
    if (index == 0) {
        index = m_next_object++;
        auto brush = new_emf_object("EmfLogBrushEx");
        set_property(*brush, "Argb32Color", color_number(color));
        const auto record = add("EmfCreateBrushIndirect");
        set_property(*record, "IhBrush", index);
        set_property(*record, "LogBrush", Value(brush));
    }
    select(m_selected.brush, index);
}

void EmfCanvas::path(const Outline& outline, PointD shift) {
    add("EmfBeginPath");
    const auto point = [&](PointD p) { return point_value({(p.x + shift.x) * K, (p.y + shift.y) * K}); };
    for (const Contour& contour : outline) {
        set_property(*add("EmfMoveToEx"), "Offset", point(contour.start));
        for (size_t i = 0; i < contour.segments.size();) {
            const bool curved = contour.segments[i].curved;
            std::vector<Value> points;
            for (; i < contour.segments.size() && contour.segments[i].curved == curved; ++i) {
                const Segment& segment = contour.segments[i];
                if (curved) {
                    points.push_back(point(segment.control1));
                    points.push_back(point(segment.control2));
                }
                points.push_back(point(segment.end));
            }
            const auto record = add(curved ? "EmfPolyBezierTo" : "EmfPolylineTo");
            set_property(*record, "Bounds", page_value());
            set_list(*record, "APoints", points);
        }
        if (contour.closed) {
            add("EmfCloseFigure");
        }
    }
    add("EmfEndPath");
}

void EmfCanvas::emit_clip(const Clip& clip) {
    set_rule(clip.rule);
    path(clip.outline, {});
    set_property(*add("EmfSelectClipPath"), "RegionMode", int64_t{1});
}
void EmfCanvas::emit_unclip() {
    set_property(*add("EmfExtSelectClipRgn"), "RegionMode", int64_t{5});
}

void EmfCanvas::emit_fill(const Outline& outline, FillRule rule, Argb color) {
    select_brush(color);
    set_rule(rule);
    path(outline, {});
    set_property(*add("EmfFillPath"), "Bounds", page_value());
}

// Lines are centered on the pixels that their coordinates name.
bool EmfCanvas::emit_stroke(const Outline& outline, const Stroke& stroke, Argb color) {
    if (!is_even(stroke.nib)) {
        return false;
    }
    const double unit = stroke.nib.mean_scale() * K;
    const auto width = static_cast<int64_t>(std::max(std::lround(stroke.width * unit), 1L));
    std::vector<Value> lengths;
    std::string key = "pen " + std::to_string(color) + " " + std::to_string(width);
    for (const double dash : stroke.dashes) {
        lengths.push_back(whole_value(dash * unit));
        key += " " + std::to_string(std::lround(dash * unit));
    }
    if (!lengths.empty() && (stroke.dash_offset != 0 || lengths.size() > 16)) {
        return false;
    }
    if (lengths.size() % 2 != 0) {
        lengths.insert(lengths.end(), lengths.begin(), lengths.end());
    }
    int64_t style = 0x10000 | (lengths.empty() ? 0 : 7);
    style |= stroke.cap == drawwork::StrokeCap::kSquare ? 0x100 : stroke.cap == drawwork::StrokeCap::kFlat ? 0x200 : 0;
    style |= stroke.join == drawwork::StrokeJoin::kBevel   ? 0x1000
             : stroke.join == drawwork::StrokeJoin::kMiter ? 0x2000
                                                           : 0;
    int64_t& index = m_objects[key + " style " + std::to_string(style)];
    if (index == 0) {
        index = m_next_object++;
        auto pen = new_emf_object("EmfLogPenEx");
        set_property(*pen, "PenStyle", style);
        set_property(*pen, "Width", width);
        set_property(*pen, "Argb32ColorRef", color_number(color));
        set_list(*pen, "StyleEntry", lengths);
        const auto record = add("EmfExtCreatePen");
        set_property(*record, "IhPen", index);
        set_property(*record, "Elp", Value(pen));
    }
    select(m_selected.pen, index);
    const auto miter = static_cast<int64_t>(std::max(std::lround(stroke.miter_limit), 1L));
    if (m_selected.miter != miter) {
        set_property(*add("EmfSetMiterLimit"), "MiterLimit", miter);
        m_selected.miter = miter;
    }
    path(outline, {-0.5, -0.5});
    set_property(*add("EmfStrokePath"), "Bounds", page_value());
    return true;
}

bool EmfCanvas::emit_text(const TextLayout& layout, const Affine& placing, Argb color) {
    const bool plain = layout.width < 0 && layout.mnemonic < 0 && layout.tabs.empty() &&
                       layout.text.find_first_of("\n\t") == std::string::npos;
    std::optional<TextScale> scale = text_scale(placing);
    if (!plain || !scale) {
        return false;
    }
    scale = {scale->along * K, scale->across * K};
    const std::u16string text = to_utf16(layout.text);
    if (text.empty()) {
        return true;
    }
    const auto height = static_cast<int64_t>(std::lround(layout.size * scale->across));
    const int64_t width = letter_width(layout, *scale);
    std::u16string face = to_utf16(layout.family.substr(0, layout.family.find(',')));
    if (height == 0 || face.size() > 31) {
        return false;
    }
    const auto turn = static_cast<int64_t>(std::lround(-std::atan2(placing.m12, placing.m11) * 1800 / M_PI));
    int64_t& index =
        m_objects["font " + std::to_string(height) + " " + std::to_string(width) + " " + std::to_string(turn) + " " +
                  layout.family + (layout.bold ? " b" : "") + (layout.italic ? " i" : "") +
                  (layout.underline ? " u" : "") + (layout.strikeout ? " s" : "")];
    if (index == 0) {
        index = m_next_object++;
        auto font = new_emf_object("EmfLogFontPanose");  // the shortest that all programs read
        set_property(*font, "Panose", Value(new_emf_object("EmfPanose")));
        set_property(*font, "Height", -height);
        set_property(*font, "Width", width);
        set_property(*font, "Escapement", turn);
        set_property(*font, "Orientation", turn);
        set_property(*font, "Weight", int64_t{layout.bold ? 700 : 400});
        set_property(*font, "Italic", static_cast<int64_t>(layout.italic));
        set_property(*font, "Underline", static_cast<int64_t>(layout.underline));
        set_property(*font, "Strikeout", static_cast<int64_t>(layout.strikeout));
        set_property(*font, "Charset", int64_t{1});
        set_property(*font, "Facename", Value(face));
        const auto record = add("EmfExtCreateFontIndirectW");
        set_property(*record, "IhFonts", index);
        set_property(*record, "Elw", Value(font));
    }
    select(m_selected.font, index);
    if (m_selected.text_color != color) {
        set_property(*add("EmfSetTextColor"), "Argb32Color", color_number(color));
        m_selected.text_color = color;
    }
    // The places of the characters, as the layout has them.
    std::vector<Value> advances;
    const auto width_of = [&](size_t count) {
        TextLayout part = layout;
        part.text = to_utf8(text.substr(0, count));
        return drawing_backend().measure(part).width * scale->along;
    };
    const double whole = width_of(text.size());
    double before = 0;
    for (size_t i = 1; i <= text.size(); ++i) {
        const bool measured = text.size() <= kMostMeasured;
        const double end = measured ? width_of(i) : whole * static_cast<double>(i) / static_cast<double>(text.size());
        advances.emplace_back(std::lround(end) - std::lround(before));
        before = end;
    }
    const PointD at = placing.apply({0, drawing_backend().measure(layout).baseline});
    auto run = new_emf_object("EmfText");
    set_property(*run, "Reference", point_value({at.x * K, at.y * K}));
    set_property(*run, "Options", int64_t{layout.right_to_left ? 0x80 : 0});
    set_property(*run, "StringBuffer", Value(text));
    set_list(*run, "DxBuffer", advances);
    const auto record = add("EmfExtTextOutW");
    set_property(*record, "Bounds", page_value());
    set_property(*record, "IGraphicsMode", int64_t{2});
    set_property(*record, "ExScale", 1.0);
    set_property(*record, "EyScale", 1.0);
    set_property(*record, "WEmrText", Value(run));
    return true;
}

void EmfCanvas::emit_bitmap(const Pixels& pixels, const Affine& placing) {
    const bool transparent =
        std::any_of(pixels.colors.begin(), pixels.colors.end(), [](Argb color) { return color >> 24 != 0xFF; });
    const bool upright = placing.m12 == 0 && placing.m21 == 0;
    RectD target{0, 0, double(pixels.width), double(pixels.height)};
    if (upright) {
        target = {placing.dx * K, placing.dy * K, placing.m11 * pixels.width * K, placing.m22 * pixels.height * K};
    } else {
        set_property(*add("EmfSetWorldTransform"), "Xform", matrix_value(placing.then(Affine::scaling(K, K))));
    }
    const auto record = add(transparent ? "EmfAlphaBlend" : "EmfStretchDiBits");
    set_property(*record, "Bounds", page_value());
    const double x = std::round(target.x), y = std::round(target.y);
    set_property(*record, "XDest", whole_value(x));
    set_property(*record, "YDest", whole_value(y));
    set_property(*record, "CxDest", whole_value(std::round(target.right()) - x));
    set_property(*record, "CyDest", whole_value(std::round(target.bottom()) - y));
    set_property(*record, "CxSrc", int64_t{pixels.width});
    set_property(*record, "CySrc", int64_t{pixels.height});
    set_property(*record, "SourceBitmap", Value(new_bitmap(pixels, transparent)));
    if (transparent) {
        auto blend = new_emf_record("EmfBlendFunction");
        set_property(*blend, "SrcConstantAlpha", int64_t{255});
        set_property(*blend, "AlphaFormat", int64_t{1});
        set_property(*record, "BlendFunction", Value(blend));
        set_property(*record, "XformSrc", matrix_value({}));
    } else {
        set_property(*record, "BitBltRasterOperation", kSourceCopy);
    }
    if (!upright) {
        set_property(*add("EmfSetWorldTransform"), "Xform", matrix_value({}));
    }
}

bool EmfCanvas::emit_combine(const Outline& outline, FillRule rule, Argb pattern, uint8_t operation) {
    save();
    clip(outline, rule, false);
    select_brush(pattern);
    const RectD box = bounds_of(outline);
    const auto record = add("EmfBitBlt");
    set_property(*record, "Bounds", page_value());
    set_property(*record, "XDest", whole_value(std::floor(box.x) * K));
    set_property(*record, "YDest", whole_value(std::floor(box.y) * K));
    set_property(*record, "CxDest", whole_value((std::ceil(box.right()) - std::floor(box.x)) * K));
    set_property(*record, "CyDest", whole_value((std::ceil(box.bottom()) - std::floor(box.y)) * K));
    set_property(*record, "BitBltRasterOperation", kOperations[(operation >> 2 & 0x0C) | (operation & 0x03)]);
    set_property(*record, "XformSrc", matrix_value({}));
    restore();
    return true;
}

}  // namespace zelmor::embed::metafile
