// Pairs of group codes and values; see dxf_canvas.h.
#include "runtime/native/formats/dxf/dxf_canvas.h"

#include <algorithm>
#include <array>
#include <cassert>
#include <cmath>

#include "runtime/native/behaviors/drawing/region_sweep.h"
#include "runtime/native/behaviors/drawing/regions.h"
#include "runtime/native/core/text.h"
#include "runtime/native/drawwork/decimal_text.h"
#include "runtime/native/drawwork/outline_maps.h"
#include "runtime/native/imagework/picture_error.h"

namespace zelmor::embed {

using namespace drawwork;

namespace {

constexpr double kFlatness = 0.05;
// Lines up to this width keep their curves, and their width is a line weight; others are polylines that are wide.
constexpr double kThin = 1.5;
// Edges of an area that is compared by both fill rules. An area with more of them has the rule of the format.
constexpr size_t kMostEdges = 1000;
// The height of capital letters, by which the format measures text, of the em square.
constexpr double kCapitals = 0.72;

// A pair is a group code and a value, each on a line.
void put(std::string& out, int code, const std::string& value) {
    out += std::to_string(code) + '\n' + value + '\n';
}
void put(std::string& out, int code, int64_t value) {
    put(out, code, std::to_string(value));
}
void put_number(std::string& out, int code, double value) {
    std::string text = decimal_text(value, 6);
    put(out, code, text.find('.') == std::string::npos ? text + ".0" : text);
}
void put_point(std::string& out, int code, PointD p, bool flat = false) {
    put_number(out, code, p.x);
    put_number(out, code + 10, p.y);
    if (!flat) {
        put_number(out, code + 20, 0);
    }
}
std::string hexadecimal(uint32_t number) {
    constexpr std::string_view kDigits = "0123456789ABCDEF";
    std::string text;
    do {
        text.insert(text.begin(), kDigits[number & 15]);
        number >>= 4;
    } while (number != 0);
    return text;
}

// Text as the format has it: ASCII, with other characters by their numbers.
std::string plain_text(const std::string& text) {
    std::string result;
    for (const char16_t c : to_utf16(text)) {
        if (c == '%') {
            result += "%%37";
        } else if (c >= ' ' && c < 127) {
            result += static_cast<char>(c);
        } else if (c > 126) {
            std::string number = hexadecimal(c);
            result += "\\U+" + std::string(4 - number.size(), '0') + number;
        }
    }
    return result;
}

// The nearest of the colors that have a number; readers that know no others show it.
int color_number(Argb color) {
    constexpr std::array<Argb, 8> kColors{0xFF0000, 0xFFFF00, 0x00FF00, 0x00FFFF,
                                          0x0000FF, 0xFF00FF, 0xFFFFFF, 0x808080};
    const auto distance = [color](Argb other) {
        int sum = 0;
        for (const int shift : {0, 8, 16}) {
            const int gap = static_cast<int>(color >> shift & 255) - static_cast<int>(other >> shift & 255);
            sum += gap * gap;
        }
        return sum;
    };
    const auto* const nearest =
        std::min_element(kColors.begin(), kColors.end(), [&](Argb a, Argb b) { return distance(a) < distance(b); });
    // Number 7 is black on a white page and white on a black one.
    return (color & 0xFFFFFF) == 0 ? 7 : static_cast<int>(nearest - kColors.begin()) + 1;
}

// The nearest of the line weights that there are for thin lines, in hundredths of a millimeter.
int line_weight(double pixels) {
    assert(pixels <= kThin);
    constexpr std::array kWeights{0, 5, 9, 13, 15, 18, 20, 25, 30, 35, 40};
    const double wanted = pixels * 2540 / 96;
    return *std::min_element(kWeights.begin(), kWeights.end(),
                             [&](int a, int b) { return std::abs(a - wanted) < std::abs(b - wanted); });
}

bool has_curves(const Contour& contour) {
    return std::any_of(contour.segments.begin(), contour.segments.end(), [](const Segment& s) { return s.curved; });
}

size_t edges_of(const Outline& flat) {
    size_t count = 0;
    for (const Contour& contour : flat) {
        count += contour.segments.size();
    }
    return count;
}

double area_of(const std::vector<Trapezoid>& trapezoids) {
    double area = 0;
    for (const Trapezoid& t : trapezoids) {
        area += (t.bottom - t.top) * (t.right_top - t.left_top + t.right_bottom - t.left_bottom) / 2;
    }
    return area;
}

// The points of a line that go on from each other, without repetitions.
std::vector<PointD> points_of_line(const Contour& contour) {
    std::vector<PointD> points = flattened(contour, kFlatness);
    if (contour.closed && !points.empty() && points.back() != points.front()) {
        points.push_back(points.front());
    }
    return points;
}

// The dashes of a line. `scale` is the length of a unit of the dashes.
std::vector<std::vector<PointD>> dashed(const std::vector<PointD>& points, const Stroke& stroke, double scale) {
    double cycle = 0;
    for (const double dash : stroke.dashes) {
        cycle += dash * scale;
    }
    double length = 0;
    for (size_t i = 1; i < points.size(); ++i) {
        length += (points[i] - points[i - 1]).length();
    }
    constexpr double kMostCycles = 10'000;
    if (stroke.dashes.empty() || !(cycle > 0) || length > cycle * kMostCycles) {
        return {points};
    }
    size_t index = 0;
    double left = std::fmod(std::max(0.0, stroke.dash_offset * scale), 2 * cycle);
    while (left >= stroke.dashes[index % stroke.dashes.size()] * scale) {
        left -= stroke.dashes[index % stroke.dashes.size()] * scale;
        ++index;
    }
    left = stroke.dashes[index % stroke.dashes.size()] * scale - left;
    std::vector<std::vector<PointD>> pieces;
    std::vector<PointD> piece;
    const auto end_piece = [&] {
        if (piece.size() > 1) {
            pieces.push_back(piece);
        }
        piece.clear();
    };
    for (size_t i = 1; i < points.size(); ++i) {
        PointD at = points[i - 1];
        double rest = (points[i] - at).length();
        while (rest > 0) {
            const double step = std::min(rest, left);
            const PointD next = at + (points[i] - at) * (step / rest);
            if (index % 2 == 0) {
                if (piece.empty()) {
                    piece.push_back(at);
                }
                piece.push_back(next);
            }
            at = next;
            rest -= step;
            left -= step;
            if (left <= 0) {
                end_piece();
                ++index;
                left = stroke.dashes[index % stroke.dashes.size()] * scale;
                if (left <= 0) {  // of no length
                    ++index;
                    left = stroke.dashes[index % stroke.dashes.size()] * scale;
                }
            }
        }
    }
    end_piece();
    return pieces;
}

}  // namespace

DxfCanvas::DxfCanvas(drawwork::Backend& backend, const DxfSettings& settings)
    : m_backend(backend), m_settings(settings) {}

Argb DxfCanvas::color_of(const Paint& paint) {
    if (paint.kind == Paint::Kind::kTexture) {
        throw imagework::PictureError(imagework::Failure::kUnsupported, "DXF files hold no pictures of pixels");
    }
    if (paint.kind != Paint::Kind::kSolid) {
        throw imagework::PictureError(imagework::Failure::kUnsupported, "DXF files hold no gradients");
    }
    const auto alpha = static_cast<Argb>(std::lround((paint.color >> 24) * std::clamp(paint.opacity, 0.0, 1.0)));
    return (paint.color & 0xFFFFFF) | alpha << 24;
}

DxfCanvas::Entity& DxfCanvas::add(const char* name, const char* subclass, Argb color, int weight) {
    return m_entities.emplace_back(Entity{name, subclass, color, weight, {}});
}

void DxfCanvas::add_polyline(const Points& points, bool closed, double width, Argb color) {
    std::string& out = add("LWPOLYLINE", "AcDbPolyline", color, width > kThin ? -1 : line_weight(width)).pairs;
    put(out, 90, static_cast<int64_t>(points.size()));
    put(out, 70, closed ? 1 : 0);
    put_number(out, 43, width > kThin ? width : 0);
    for (const PointD p : points) {
        put_point(out, 10, upward(p), true);
    }
}

// Cubic curves that follow each other; straight lines are such curves too.
void DxfCanvas::add_spline(const Contour& contour, Argb color, int weight) {
    Points points{contour.start};
    PointD from = contour.start;
    const auto add_segment = [&](const Segment& s) {
        points.push_back(s.curved ? s.control1 : from + (s.end - from) * (1.0 / 3));
        points.push_back(s.curved ? s.control2 : from + (s.end - from) * (2.0 / 3));
        points.push_back(s.end);
        from = s.end;
    };
    for (const Segment& s : contour.segments) {
        add_segment(s);
    }
    if (contour.closed && from != contour.start) {
        add_segment({contour.start, {}, {}, false});
    }
    const size_t count = (points.size() - 1) / 3;
    std::string& out = add("SPLINE", "AcDbSpline", color, weight).pairs;
    put(out, 70, 8);  // in a plane
    put(out, 71, 3);  // degree
    put(out, 72, static_cast<int64_t>(points.size() + 4));
    put(out, 73, static_cast<int64_t>(points.size()));
    put(out, 74, 0);
    for (size_t knot = 0; knot <= count; ++knot) {
        for (int times = knot == 0 || knot == count ? 4 : 3; times > 0; --times) {
            put_number(out, 40, static_cast<double>(knot));
        }
    }
    for (const PointD p : points) {
        put_point(out, 10, upward(p));
    }
}

void DxfCanvas::add_hatch(const Outline& outline, Argb color) {
    std::string& out = add("HATCH", "AcDbHatch", color).pairs;
    put_point(out, 10, {});
    put_number(out, 210, 0);
    put_number(out, 220, 0);
    put_number(out, 230, 1);
    put(out, 2, "SOLID");
    put(out, 70, 1);
    put(out, 71, 0);
    put(out, 91, static_cast<int64_t>(outline.size()));
    for (const Contour& contour : outline) {
        Points points{contour.start};
        for (const Segment& s : contour.segments) {
            points.push_back(s.end);
        }
        if (points.back() == points.front()) {
            points.pop_back();
        }
        put(out, 92, 2);  // a polyline
        put(out, 72, 0);
        put(out, 73, 1);
        put(out, 93, static_cast<int64_t>(points.size()));
        for (const PointD p : points) {
            put_point(out, 10, upward(p), true);
        }
        put(out, 97, 0);
    }
    put(out, 75, 0);  // areas and holes by turns
    put(out, 76, 1);
    put(out, 98, 0);
}

void DxfCanvas::add_trapezoids(const Outline& outline, FillRule rule, Argb color) {
    RegionTree region = region_of(outline, rule);
    for (const auto& clip : all_clips()) {
        region = combined(region, region_of(clip->outline, clip->rule), RegionOperation::kIntersect);
    }
    for (const Trapezoid& t : trapezoids_of(*region)) {
        std::string& out = add("SOLID", "AcDbTrace", color).pairs;
        put_point(out, 10, upward({t.left_top, t.top}));
        put_point(out, 11, upward({t.right_top, t.top}));
        put_point(out, 12, upward({t.left_bottom, t.bottom}));
        put_point(out, 13, upward({t.right_bottom, t.bottom}));
    }
}

DxfCanvas::Clips DxfCanvas::all_clips() const {
    Clips all;
    for (const Clips& outer : m_outer_clips) {
        all.insert(all.end(), outer.begin(), outer.end());
    }
    all.insert(all.end(), clips().begin(), clips().end());
    return all;
}

bool DxfCanvas::is_within_clips(const RectD& area) const {
    constexpr double kClose = 0.01;
    const Clips all = all_clips();
    return std::all_of(all.begin(), all.end(), [&](const auto& clip) {
        const RectD r = rectangle_around(clip->outline);
        return is_mapped_rectangle(clip->outline, r, {}) && area.x >= r.x - kClose && area.y >= r.y - kClose &&
               area.right() <= r.right() + kClose && area.bottom() <= r.bottom() + kClose;
    });
}

std::vector<DxfCanvas::Points> DxfCanvas::cut(const Points& points) const {
    const Clips all = all_clips();
    std::vector<PointD> edges;  // pairs of points
    for (const auto& clip : all) {
        for (const Contour& contour : flattened(clip->outline, kFlatness)) {
            PointD from = contour.start;
            for (const Segment& s : contour.segments) {
                edges.push_back(from);
                edges.push_back(from = s.end);
            }
            edges.push_back(from);
            edges.push_back(contour.start);
        }
    }
    const auto inside = [&](PointD p) {
        return std::all_of(all.begin(), all.end(),
                           [&](const auto& clip) { return contains(clip->outline, clip->rule, p); });
    };
    std::vector<Points> pieces;
    bool open = false;
    for (size_t i = 1; i < points.size(); ++i) {
        const PointD from = points[i - 1], way = points[i] - from;
        std::vector<double> crossings{0, 1};
        for (size_t e = 0; e < edges.size(); e += 2) {
            const PointD edge = edges[e + 1] - edges[e], gap = edges[e] - from;
            const double turn = way.x * edge.y - way.y * edge.x;
            if (turn == 0) {
                continue;
            }
            const double at = (gap.x * edge.y - gap.y * edge.x) / turn;
            const double along = (gap.x * way.y - gap.y * way.x) / turn;
            if (at > 0 && at < 1 && along >= 0 && along <= 1) {
                crossings.push_back(at);
            }
        }
        std::sort(crossings.begin(), crossings.end());
        for (size_t k = 1; k < crossings.size(); ++k) {
            if (crossings[k] == crossings[k - 1] || !inside(from + way * ((crossings[k] + crossings[k - 1]) / 2))) {
                open = open && crossings[k] == crossings[k - 1];
                continue;
            }
            if (!open) {
                pieces.push_back({from + way * crossings[k - 1]});
            }
            pieces.back().push_back(from + way * crossings[k]);
            open = true;
        }
    }
    return pieces;
}

void DxfCanvas::fill(const Outline& outline, FillRule rule, const Paint& paint, bool) {
    const Argb color = color_of(paint);
    Outline flat = flattened(outline, kFlatness);
    std::erase_if(flat, [](const Contour& contour) { return contour.segments.size() < 2; });
    if (flat.empty() || color >> 24 == 0) {
        return;
    }
    for (Contour& contour : flat) {
        contour.closed = true;
    }
    if (!is_within_clips(rectangle_around(flat))) {
        return add_trapezoids(flat, rule, color);
    }
    // A hatch has areas and holes by turns.
    if (rule == FillRule::kWinding && edges_of(flat) <= kMostEdges) {
        const double winding = area_of(trapezoids_of(*region_of(flat, FillRule::kWinding)));
        const double alternate = area_of(trapezoids_of(*region_of(flat, FillRule::kAlternate)));
        if (std::abs(winding - alternate) > 1e-6 * winding) {
            return add_trapezoids(flat, rule, color);
        }
    }
    add_hatch(flat, color);
}

void DxfCanvas::stroke(const Outline& outline, const Stroke& stroke, const Paint& paint, bool) {
    const Argb color = color_of(paint);
    const double scale = stroke.nib.mean_scale();
    const double width = stroke.width * scale;
    if (color >> 24 == 0) {
        return;
    }
    const bool whole = is_within_clips(bounds_of(outline)) && stroke.dashes.empty();
    for (const Contour& contour : outline) {
        if (contour.segments.empty()) {
            continue;
        }
        if (whole && has_curves(contour) && width <= kThin) {
            add_spline(contour, color, line_weight(width));
            continue;
        }
        Points points = points_of_line(contour);
        if (whole) {
            const bool closed = contour.closed && points.size() > 2;
            if (closed) {
                points.pop_back();
            }
            add_polyline(points, closed, width, color);
            continue;
        }
        for (const Points& dash : dashed(points, stroke, scale)) {
            for (const Points& piece : cut(dash)) {
                add_polyline(piece, false, width, color);
            }
        }
    }
}

void DxfCanvas::clear(Argb color) {
    if (clips().empty() && !in_group()) {
        m_entities.clear();
    } else if (color >> 24 != 255) {
        throw imagework::PictureError(imagework::Failure::kUnsupported,
                                      "DXF files cannot make a part of a picture transparent again");
    }
    Paint paint;
    paint.color = color;
    fill(rectangle_outline({0, 0, m_settings.width, m_settings.height}), FillRule::kWinding, paint, false);
}

void DxfCanvas::add_outline_of_text(const Outline& outline, Argb color) {
    for (const Contour& contour : outline) {
        if (!has_curves(contour)) {
            add_polyline(flattened(contour, kFlatness), true, 0, color);
        } else if (!m_settings.convert_text_beziers) {
            Contour closed = contour;
            closed.closed = true;
            add_spline(closed, color, line_weight(0));
        } else {
            // As many lines as points are asked for between the ends of a curve.
            const int count = std::max(1, m_settings.bezier_point_count);
            Points points{contour.start};
            PointD from = contour.start;
            for (const Segment& s : contour.segments) {
                for (int i = 1; s.curved && i <= count; ++i) {
                    const double t = static_cast<double>(i) / (count + 1), u = 1 - t;
                    points.push_back(from * (u * u * u) + s.control1 * (3 * u * u * t) + s.control2 * (3 * u * t * t) +
                                     s.end * (t * t * t));
                }
                points.push_back(from = s.end);
            }
            if (points.size() > 1 && points.back() == points.front()) {
                points.pop_back();
            }
            add_polyline(points, true, 0, color);
        }
    }
}

void DxfCanvas::add_text(const TextLine& line, const TextLayout& layout, const Affine& placing, const TextScale& scale,
                         Argb color) {
    const std::string family = layout.family.substr(0, layout.family.find(','));
    auto known = std::find(m_families.begin(), m_families.end(), family);
    if (known == m_families.end()) {
        known = m_families.insert(known, family);
    }
    std::string& out = add("TEXT", "AcDbText", color).pairs;
    put_point(out, 10, upward(placing.apply({line.left, line.baseline})));
    put_number(out, 40, layout.size * scale.across * kCapitals);
    put(out, 1, plain_text(line.text));
    put_number(out, 50, std::atan2(-placing.m12, placing.m11) * 180 / M_PI);
    put_number(out, 41, scale.along / scale.across);
    put(out, 7, "FONT" + std::to_string(known - m_families.begin()));
    put(out, 100, "AcDbText");
}

void DxfCanvas::text(const TextLayout& layout, const Affine& placing, const Paint& paint) {
    const Argb color = color_of(paint);
    if (color >> 24 == 0) {
        return;
    }
    const TextExtent extent = m_backend.measure(layout);
    const RectD area =
        rectangle_around(mapped_outline(rectangle_outline({extent.left, 0, extent.width, extent.height}), placing));
    const std::optional<TextScale> scale = text_scale(placing);
    const bool plain = layout.tabs.empty() && layout.trimming == TextTrimming::kNone && layout.mnemonic < 0 &&
                       !layout.underline && !layout.strikeout && !layout.bold && !layout.italic;
    const bool within = is_within_clips(area);
    if (m_settings.text_as_lines && within) {
        return add_outline_of_text(mapped_outline(m_backend.outline_of(layout), placing), color);
    }
    if (m_settings.text_as_lines || !scale || !plain || !within) {
        return fill(mapped_outline(m_backend.outline_of(layout), placing), FillRule::kWinding, paint, true);
    }
    for (const TextLine& line : m_backend.lines_of(layout)) {
        if (!line.text.empty()) {
            add_text(line, layout, placing, *scale, color);
        }
    }
}

void DxfCanvas::open_group() {
    m_outer_clips.push_back(clips());
    m_group_begins.push_back(m_entities.size());
}

// Each entity gets the opacity of the group: where two of them lie over each other, the lower one is seen too.
void DxfCanvas::close_group(double opacity, Blend blend) {
    assert(!m_group_begins.empty());
    if (blend != Blend::kOver) {
        throw imagework::PictureError(imagework::Failure::kUnsupported, "DXF files have no blend modes");
    }
    for (size_t i = m_group_begins.back(); i < m_entities.size(); ++i) {
        Argb& color = m_entities[i].color;
        color = (color & 0xFFFFFF) | static_cast<Argb>(std::lround((color >> 24) * opacity)) << 24;
    }
    m_group_begins.pop_back();
    m_outer_clips.pop_back();
}

namespace {

// The handles of what every drawing has.
constexpr const char* kModelRecord = "1F";
constexpr const char* kPaperRecord = "1B";

void begin_table(std::string& out, const char* name, const char* handle, int count) {
    put(out, 0, "TABLE");
    put(out, 2, name);
    put(out, 5, handle);
    put(out, 330, "0");
    put(out, 100, "AcDbSymbolTable");
    put(out, 70, count);
}

void begin_record(std::string& out, const char* kind, const std::string& handle, const char* table,
                  const char* subclass, const std::string& name) {
    put(out, 0, kind);
    put(out, std::string_view(kind) == "DIMSTYLE" ? 105 : 5, handle);
    put(out, 330, table);
    put(out, 100, "AcDbSymbolTableRecord");
    put(out, 100, subclass);
    put(out, 2, name);
}

void end_table(std::string& out) {
    put(out, 0, "ENDTAB");
}

}  // namespace

std::string DxfCanvas::tables(uint32_t& handle) const {
    std::string out;
    put(out, 0, "SECTION");
    put(out, 2, "TABLES");
    begin_table(out, "VPORT", "8", 1);
    begin_record(out, "VPORT", "29", "8", "AcDbViewportTableRecord", "*Active");
    put(out, 70, 0);
    put_point(out, 10, {}, true);
    put_point(out, 11, {1, 1}, true);
    put_point(out, 12, {m_settings.width / 2, m_settings.height / 2}, true);
    put_number(out, 40, m_settings.height);
    put_number(out, 41, m_settings.height > 0 ? m_settings.width / m_settings.height : 1);
    end_table(out);
    begin_table(out, "LTYPE", "5", 3);
    const std::array<const char*, 3> line_types{"ByBlock", "ByLayer", "Continuous"};
    for (size_t i = 0; i < line_types.size(); ++i) {
        begin_record(out, "LTYPE", hexadecimal(static_cast<uint32_t>(0x14 + i)), "5", "AcDbLinetypeTableRecord",
                     line_types[i]);
        put(out, 70, 0);
        put(out, 3, "");
        put(out, 72, 65);
        put(out, 73, 0);
        put_number(out, 40, 0);
    }
    end_table(out);
    begin_table(out, "LAYER", "2", 1);
    begin_record(out, "LAYER", "10", "2", "AcDbLayerTableRecord", "0");
    put(out, 70, 0);
    put(out, 62, 7);
    put(out, 6, "Continuous");
    put(out, 370, -3);
    put(out, 390, "F");
    end_table(out);
    begin_table(out, "STYLE", "3", static_cast<int>(m_families.size() + 1));
    begin_record(out, "STYLE", "11", "3", "AcDbTextStyleTableRecord", "Standard");
    const auto style = [&](const std::string& family) {
        put(out, 70, 0);
        put_number(out, 40, 0);
        put_number(out, 41, 1);
        put_number(out, 50, 0);
        put(out, 71, 0);
        put_number(out, 42, 1);
        put(out, 3, "txt");
        put(out, 4, "");
        if (!family.empty()) {
            put(out, 1001, "ACAD");
            put(out, 1000, plain_text(family));
            put(out, 1071, 0);
        }
    };
    style("");
    for (size_t i = 0; i < m_families.size(); ++i) {
        begin_record(out, "STYLE", hexadecimal(handle++), "3", "AcDbTextStyleTableRecord", "FONT" + std::to_string(i));
        style(m_families[i]);
    }
    end_table(out);
    begin_table(out, "VIEW", "6", 0);
    end_table(out);
    begin_table(out, "UCS", "7", 0);
    end_table(out);
    begin_table(out, "APPID", "9", 1);
    begin_record(out, "APPID", "12", "9", "AcDbRegAppTableRecord", "ACAD");
    put(out, 70, 0);
    end_table(out);
    begin_table(out, "DIMSTYLE", "A", 1);
    put(out, 100, "AcDbDimStyleTable");
    begin_record(out, "DIMSTYLE", "27", "A", "AcDbDimStyleTableRecord", "Standard");
    put(out, 70, 0);
    end_table(out);
    begin_table(out, "BLOCK_RECORD", "1", 2);
    begin_record(out, "BLOCK_RECORD", kModelRecord, "1", "AcDbBlockTableRecord", "*Model_Space");
    put(out, 340, "0");
    begin_record(out, "BLOCK_RECORD", kPaperRecord, "1", "AcDbBlockTableRecord", "*Paper_Space");
    put(out, 340, "0");
    end_table(out);
    put(out, 0, "ENDSEC");
    put(out, 0, "SECTION");
    put(out, 2, "BLOCKS");
    for (const bool paper : {false, true}) {
        const char* record = paper ? kPaperRecord : kModelRecord;
        const char* name = paper ? "*Paper_Space" : "*Model_Space";
        put(out, 0, "BLOCK");
        put(out, 5, paper ? "1C" : "20");
        put(out, 330, record);
        put(out, 100, "AcDbEntity");
        put(out, 8, "0");
        put(out, 100, "AcDbBlockBegin");
        put(out, 2, name);
        put(out, 70, 0);
        put_point(out, 10, {});
        put(out, 3, name);
        put(out, 1, "");
        put(out, 0, "ENDBLK");
        put(out, 5, paper ? "1D" : "21");
        put(out, 330, record);
        put(out, 100, "AcDbEntity");
        put(out, 8, "0");
        put(out, 100, "AcDbBlockEnd");
    }
    put(out, 0, "ENDSEC");
    return out;
}

std::string DxfCanvas::finish() {
    uint32_t handle = 0x100;  // those below have their place in the tables
    const std::string all_tables = tables(handle);
    std::string entities;
    for (const Entity& entity : m_entities) {
        put(entities, 0, entity.name);
        put(entities, 5, hexadecimal(handle++));
        put(entities, 330, kModelRecord);
        put(entities, 100, "AcDbEntity");
        put(entities, 8, "0");
        put(entities, 62, color_number(entity.color));
        if (entity.line_weight >= 0) {
            put(entities, 370, entity.line_weight);
        }
        put(entities, 420, entity.color & 0xFFFFFF);
        if (entity.color >> 24 != 255) {
            put(entities, 440, 0x02000000 | entity.color >> 24);
        }
        put(entities, 100, entity.subclass);
        entities += entity.pairs;
    }
    std::string out;
    put(out, 0, "SECTION");
    put(out, 2, "HEADER");
    const auto variable = [&](const char* name) { put(out, 9, name); };
    variable("$ACADVER");
    put(out, 1, "AC1018");
    variable("$DWGCODEPAGE");
    put(out, 3, "ANSI_1252");
    variable("$INSUNITS");
    put(out, 70, 0);
    variable("$EXTMIN");
    put_point(out, 10, {});
    variable("$EXTMAX");
    put_point(out, 10, {m_settings.width, m_settings.height});
    variable("$HANDSEED");
    put(out, 5, hexadecimal(handle));
    put(out, 0, "ENDSEC");
    put(out, 0, "SECTION");
    put(out, 2, "CLASSES");
    put(out, 0, "ENDSEC");
    out += all_tables;
    put(out, 0, "SECTION");
    put(out, 2, "ENTITIES");
    out += entities;
    put(out, 0, "ENDSEC");
    put(out, 0, "SECTION");
    put(out, 2, "OBJECTS");
    const auto dictionary = [&](const char* own, const char* owner) {
        put(out, 0, "DICTIONARY");
        put(out, 5, own);
        put(out, 330, owner);
        put(out, 100, "AcDbDictionary");
        put(out, 281, 1);
    };
    dictionary("C", "0");
    put(out, 3, "ACAD_GROUP");
    put(out, 350, "D");
    put(out, 3, "ACAD_PLOTSTYLENAME");
    put(out, 350, "E");
    dictionary("D", "C");
    put(out, 0, "ACDBDICTIONARYWDFLT");
    put(out, 5, "E");
    put(out, 330, "C");
    put(out, 100, "AcDbDictionary");
    put(out, 281, 1);
    put(out, 3, "Normal");
    put(out, 350, "F");
    put(out, 100, "AcDbDictionaryWithDefault");
    put(out, 340, "F");
    put(out, 0, "ACDBPLACEHOLDER");
    put(out, 5, "F");
    put(out, 330, "E");
    put(out, 0, "ENDSEC");
    put(out, 0, "EOF");
    return out;
}

}  // namespace zelmor::embed
