// Calls of a 2D context; see script_canvas.h.
#include "runtime/native/formats/html5canvas/script_canvas.h"

#include <algorithm>
#include <array>
#include <cassert>
#include <cmath>

#include "runtime/native/core/text.h"
#include "runtime/native/drawwork/decimal_text.h"
#include "runtime/native/drawwork/outline_maps.h"

namespace zelmor::embed {

using namespace drawwork;

namespace {

std::string pair_text(PointD p) {
    return decimal_text(p.x) + ',' + decimal_text(p.y);
}

std::string matrix_text(const Affine& map) {
    std::string text;
    for (const double part : {map.m11, map.m12, map.m21, map.m22, map.dx, map.dy}) {
        text += (text.empty() ? "" : ",") + decimal_text(part, 8);
    }
    return text;
}

std::string color_literal(Argb color, double opacity = 1) {
    std::string text = "\"rgba(";
    for (int shift = 16; shift >= 0; shift -= 8) {
        text += std::to_string(color >> shift & 255) + ',';
    }
    return text + decimal_text((color >> 24) / 255.0 * opacity) + ")\"";
}

const char* rule_argument(FillRule rule) {
    return rule == FillRule::kAlternate ? "(\"evenodd\");\n" : "(\"nonzero\");\n";
}

const char* operation_literal(Blend blend) {
    constexpr std::array kNames{"\"source-over\"", "\"multiply\"",   "\"screen\"",      "\"overlay\"",
                                "\"darken\"",      "\"lighten\"",    "\"color-dodge\"", "\"color-burn\"",
                                "\"hard-light\"",  "\"soft-light\"", "\"difference\"",  "\"exclusion\""};
    static_assert(kNames.size() == static_cast<size_t>(Blend::kExclusion) + 1);
    return kNames[static_cast<size_t>(blend)];
}

// Whether the map keeps angles, up to a reflection.
bool is_conformal(const Affine& map) {
    const double scale = map.mean_scale();
    return std::abs(map.m11 * map.m21 + map.m12 * map.m22) < 1e-9 * scale * scale &&
           std::abs(std::hypot(map.m11, map.m12) - std::hypot(map.m21, map.m22)) < 1e-6 * scale;
}

// The same colors without a map. Lines of one color stay such under a map, but not at right angles to the direction.
void place_linear(Paint& paint) {
    const PointD direction = paint.to - paint.from;
    const PointD from = paint.placing.apply(paint.from), to = paint.placing.apply(paint.to);
    const PointD along = paint.placing.apply_vector({-direction.y, direction.x});
    const double square = along.x * along.x + along.y * along.y;
    const PointD gap = to - from;
    const double part = square > 0 ? (gap.x * along.x + gap.y * along.y) / square : 0;
    paint.from = from;
    paint.to = to - along * part;
}

// The context goes on with the last color around a gradient. One that is repeated there gets as many stops as the area
// needs. False where these would be too many.
bool unroll(Paint& paint, const RectD& reach) {
    const PointD direction = paint.to - paint.from;
    const double square = direction.x * direction.x + direction.y * direction.y;
    if (!(square > 0)) {
        return false;
    }
    double low = 0, high = 1;
    for (const PointD corner : {PointD{reach.x, reach.y}, PointD{reach.right(), reach.y},
                                PointD{reach.x, reach.bottom()}, PointD{reach.right(), reach.bottom()}}) {
        const PointD gap = corner - paint.from;
        const double at = (gap.x * direction.x + gap.y * direction.y) / square;
        low = std::min(low, std::floor(at));
        high = std::max(high, std::ceil(at));
    }
    constexpr double kMost = 200;
    if (!(high - low <= kMost)) {
        return false;
    }
    std::vector<GradientStop> stops;
    for (int turns = 0; turns < static_cast<int>(high - low); ++turns) {
        const double turn = low + turns;
        const bool mirrored = paint.extend == Extend::kReflect && std::fmod(std::abs(turn), 2) == 1;
        std::vector<GradientStop> part = paint.stops;
        if (mirrored) {
            std::reverse(part.begin(), part.end());
        }
        for (const GradientStop& stop : part) {
            stops.push_back({(turn - low + (mirrored ? 1 - stop.at : stop.at)) / (high - low), stop.color});
        }
    }
    const PointD from = paint.from;
    paint.from = from + direction * low;
    paint.to = from + direction * high;
    paint.stops = std::move(stops);
    return true;
}

}  // namespace

std::string script_literal(const std::string& text) {
    std::string result = "\"";
    for (const char16_t c : to_utf16(text)) {
        if (c >= ' ' && c < 127 && c != '"' && c != '\\' && c != '<' && c != '&') {
            result += static_cast<char>(c);
        } else {
            constexpr std::string_view kDigits = "0123456789abcdef";
            result += "\\u";
            for (int shift = 12; shift >= 0; shift -= 4) {
                result += kDigits[static_cast<size_t>(c >> shift & 15)];
            }
        }
    }
    return result + '"';
}

ScriptCanvas::ScriptCanvas(drawwork::Backend& backend, ScriptSettings settings)
    : m_backend(backend), m_settings(std::move(settings)) {}

void ScriptCanvas::path(const Outline& outline) {
    m_script += "c.beginPath();\n";
    for (const Contour& contour : outline) {
        m_script += "c.moveTo(" + pair_text(contour.start) + ");\n";
        for (const Segment& s : contour.segments) {
            m_script += s.curved ? "c.bezierCurveTo(" + pair_text(s.control1) + ',' + pair_text(s.control2) + ',' +
                                       pair_text(s.end) + ");\n"
                                 : "c.lineTo(" + pair_text(s.end) + ");\n";
        }
        if (contour.closed) {
            m_script += "c.closePath();\n";
        }
    }
}

size_t ScriptCanvas::image(const TextureTile& tile) {
    std::string address = m_settings.address_of(tile.pixels, tile.width, tile.height);
    const auto known = std::find(m_images.begin(), m_images.end(), address);
    const auto index = static_cast<size_t>(known - m_images.begin());
    if (known == m_images.end()) {
        m_images.push_back(std::move(address));
    }
    return index;
}

void ScriptCanvas::transform(const Affine& map) {
    if (map != Affine{}) {
        m_script += "c.transform(" + matrix_text(map) + ");\n";
    }
}

void ScriptCanvas::set_style(const char* style, const Paint& paint, const RectD& reach) {
    const std::string assign = std::string("c.") + style + "=";
    if (paint.kind == Paint::Kind::kSolid) {
        m_script += assign + color_literal(paint.color, paint.opacity) + ";\n";
        return;
    }
    Paint own = paint;
    if (own.kind == Paint::Kind::kLinear) {
        place_linear(own);
    } else if (own.kind == Paint::Kind::kRadial && is_conformal(own.placing)) {
        const double scale = own.placing.mean_scale();
        own.from = own.placing.apply(own.from);
        own.to = own.placing.apply(own.to);
        own.from_radius *= scale;
        own.to_radius *= scale;
        own.placing = {};
    }
    const bool rolls = own.extend == Extend::kRepeat || own.extend == Extend::kReflect;
    const bool has_form = own.kind == Paint::Kind::kLinear
                              ? !rolls || unroll(own, reach)
                              : own.kind == Paint::Kind::kRadial && !rolls && own.placing == Affine{};
    if (!has_form) {
        const TextureTile tile =
            tile_of(paint.kind == Paint::Kind::kTexture ? paint : texture_of_paint(m_backend, paint, reach), reach);
        m_script += "p=c.createPattern(images[" + std::to_string(image(tile)) + "]," +
                    (tile.repeats ? "\"repeat\"" : "\"no-repeat\"") + ");\n";
        m_script += "p.setTransform(new DOMMatrix([" + matrix_text(tile.placing) + "]));\n" + assign + "p;\n";
        return;
    }
    if (own.kind == Paint::Kind::kLinear) {
        m_script += "p=c.createLinearGradient(" + pair_text(own.from) + ',' + pair_text(own.to) + ");\n";
    } else {
        m_script += "p=c.createRadialGradient(" + pair_text(own.from) + ',' + decimal_text(own.from_radius) + ',' +
                    pair_text(own.to) + ',' + decimal_text(own.to_radius) + ");\n";
    }
    if (own.extend == Extend::kNone && !own.stops.empty()) {
        own.stops.insert(own.stops.begin(), {0, own.stops.front().color & 0xFFFFFF});
        own.stops.push_back({1, own.stops.back().color & 0xFFFFFF});
    }
    for (const GradientStop& stop : own.stops) {
        m_script += "p.addColorStop(" + decimal_text(std::clamp(stop.at, 0.0, 1.0), 6) + ',' +
                    color_literal(stop.color) + ");\n";
    }
    m_script += assign + "p;\n";
}

void ScriptCanvas::draw_image(const Outline& outline, FillRule rule, const TextureTile& tile, const Paint& paint) {
    m_script += "c.save();\n";
    if (!is_mapped_rectangle(outline, {0, 0, double(tile.width), double(tile.height)}, tile.placing)) {
        path(outline);
        (m_script += "c.clip") += rule_argument(rule);
    }
    transform(tile.placing);
    if (paint.sampling == Sampling::kNearest) {
        m_script += "c.imageSmoothingEnabled=false;\n";
    }
    if (paint.opacity < 1) {
        m_script += "c.globalAlpha=" + decimal_text(paint.opacity) + ";\n";
    }
    m_script += "c.drawImage(images[" + std::to_string(image(tile)) + "],0,0);\nc.restore();\n";
}

void ScriptCanvas::fill(const Outline& outline, FillRule rule, const Paint& paint, bool) {
    if (outline.empty()) {
        return;
    }
    sync_clips();
    const RectD reach = rectangle_around(outline);
    if (paint.kind == Paint::Kind::kTexture) {
        if (const TextureTile tile = tile_of(paint, reach); !tile.repeats) {
            return draw_image(outline, rule, tile, paint);
        }
    }
    // An elliptic gradient is a round one in another space.
    const auto back = paint.placing.inverse();
    const bool elliptic = paint.kind == Paint::Kind::kRadial && back && !is_conformal(paint.placing);
    const bool has_alpha = paint.kind != Paint::Kind::kSolid && paint.opacity < 1;
    if (elliptic || has_alpha) {
        m_script += "c.save();\n";
    }
    if (has_alpha) {
        m_script += "c.globalAlpha=" + decimal_text(paint.opacity) + ";\n";
    }
    if (elliptic) {
        Paint own = paint;
        own.placing = {};
        transform(paint.placing);
        path(mapped_outline(outline, *back));
        set_style("fillStyle", own, rectangle_around(mapped_outline(rectangle_outline(reach), *back)));
    } else {
        path(outline);
        set_style("fillStyle", paint, reach);
    }
    (m_script += "c.fill") += rule_argument(rule);
    if (elliptic || has_alpha) {
        m_script += "c.restore();\n";
    }
}

void ScriptCanvas::stroke(const Outline& outline, const Stroke& stroke, const Paint& paint, bool) {
    Affine nib = stroke.nib;
    nib.dx = nib.dy = 0;
    const auto back = nib.inverse();
    if (outline.empty() || !back) {
        return;
    }
    sync_clips();
    m_script += "c.save();\n";
    const bool round = is_conformal(nib);
    const double factor = round ? nib.mean_scale() : 1;
    Paint own = paint;
    RectD reach = reach_of_stroke(outline, stroke);
    if (round) {
        path(outline);
    } else {
        transform(nib);
        path(mapped_outline(outline, *back));
        own.placing = paint.placing.then(*back);
        reach = rectangle_around(mapped_outline(rectangle_outline(reach), *back));
    }
    if (paint.kind != Paint::Kind::kSolid && paint.opacity < 1) {
        m_script += "c.globalAlpha=" + decimal_text(paint.opacity) + ";\n";
    }
    set_style("strokeStyle", own, reach);
    m_script += "c.lineWidth=" + decimal_text(stroke.width * factor) + ";\n";
    if (stroke.cap != StrokeCap::kFlat) {
        m_script += std::string("c.lineCap=") + (stroke.cap == StrokeCap::kRound ? "\"round\"" : "\"square\"") + ";\n";
    }
    if (stroke.join != StrokeJoin::kMiter) {
        m_script +=
            std::string("c.lineJoin=") + (stroke.join == StrokeJoin::kRound ? "\"round\"" : "\"bevel\"") + ";\n";
    }
    m_script += "c.miterLimit=" + decimal_text(std::max(1.0, stroke.miter_limit)) + ";\n";
    if (!stroke.dashes.empty()) {
        std::string dashes;
        for (const double dash : stroke.dashes) {
            dashes += (dashes.empty() ? "" : ",") + decimal_text(dash * factor);
        }
        m_script += "c.setLineDash([" + dashes + "]);\n";
        m_script += "c.lineDashOffset=" + decimal_text(stroke.dash_offset * factor) + ";\n";
    }
    m_script += "c.stroke();\nc.restore();\n";
}

void ScriptCanvas::clear(Argb color) {
    sync_clips();
    const std::string all = "(0,0," + decimal_text(m_settings.width) + ',' + decimal_text(m_settings.height) + ");\n";
    m_script += "c.clearRect" + all;
    if (color >> 24 != 0) {
        m_script += "c.fillStyle=" + color_literal(color) + ";\nc.fillRect" + all;
    }
}

void ScriptCanvas::text(const TextLayout& layout, const Affine& placing, const Paint& paint) {
    const bool plain = layout.tabs.empty() && layout.trimming == TextTrimming::kNone && layout.mnemonic < 0 &&
                       !layout.underline && !layout.strikeout && layout.folders.empty();
    const auto back = placing.inverse();
    if (!plain || !back || paint.kind == Paint::Kind::kTexture) {
        return fill(mapped_outline(m_backend.outline_of(layout), placing), FillRule::kWinding, paint, true);
    }
    sync_clips();
    m_script += "c.save();\n";
    transform(placing);
    std::string font =
        std::string(layout.italic ? "italic " : "") + (layout.bold ? "bold " : "") + decimal_text(layout.size) + "px ";
    std::string families;
    for (size_t at = 0; at <= layout.family.size();) {
        const size_t end = std::min(layout.family.find(',', at), layout.family.size());
        std::string name = layout.family.substr(at, end - at);
        std::erase_if(name, [](char c) { return c == '"' || c == '\\'; });
        families += (families.empty() ? "\"" : ",\"") + name + '"';
        at = end + 1;
    }
    m_script += "c.font=" + script_literal(font + families) + ";\n";
    Paint own = paint;
    own.placing = paint.placing.then(*back);
    const TextExtent extent = m_backend.measure(layout);
    set_style("fillStyle", own, {extent.left, 0, extent.width, extent.height});
    if (own.kind != Paint::Kind::kSolid && own.opacity < 1) {
        m_script += "c.globalAlpha=" + decimal_text(own.opacity) + ";\n";
    }
    if (layout.right_to_left) {
        m_script += "c.direction=\"rtl\";\nc.textAlign=\"left\";\n";
    }
    for (const TextLine& line : m_backend.lines_of(layout)) {
        if (!line.text.empty()) {
            m_script += "c.fillText(" + script_literal(line.text) + ',' + decimal_text(line.left) + ',' +
                        decimal_text(line.baseline) + ");\n";
        }
    }
    m_script += "c.restore();\n";
}

void ScriptCanvas::open_clip(const Clip& clip) {
    m_script += "c.save();\n";
    path(clip.outline);
    (m_script += "c.clip") += rule_argument(clip.rule);
}

void ScriptCanvas::close_clip() {
    m_script += "c.restore();\n";
}

void ScriptCanvas::open_group() {
    m_script += "below.push(c);\nc=layer();\n";
}

void ScriptCanvas::close_group(double opacity, Blend blend) {
    m_script += "p=c.canvas;\nc=below.pop();\nc.save();\n";
    m_script += "c.globalAlpha=" + decimal_text(opacity) + ";\n";
    m_script += std::string("c.globalCompositeOperation=") + operation_literal(blend) + ";\n";
    m_script += "c.drawImage(p,0,0);\nc.restore();\n";
}

std::string ScriptCanvas::finish() {
    close_clips();
    const std::string id = script_literal(m_settings.element_id);
    std::string html_id;
    char32_t high = 0;
    for (const char16_t unit : to_utf16(m_settings.element_id)) {
        if ((unit & 0xFC00) == 0xD800) {
            high = unit;
            continue;
        }
        const char32_t c = high == 0 ? unit : 0x10000 + ((high & 0x3FF) << 10) + (unit & 0x3FF);
        high = 0;
        const bool plain = c >= ' ' && c < 127 && c != '"' && c != '<' && c != '&';
        html_id += plain ? std::string(1, static_cast<char>(c)) : "&#" + std::to_string(static_cast<uint32_t>(c)) + ';';
    }
    std::string text = "<canvas id=\"" + html_id + "\" width=\"" + decimal_text(std::ceil(m_settings.width - 1e-4)) +
                       "\" height=\"" + decimal_text(std::ceil(m_settings.height - 1e-4)) + "\"></canvas>\n";
    text += "<script>\n(function () {\n\"use strict\";\nvar canvas = document.getElementById(" + id + ");\n";
    text +=
        "function layer() {\n    var other = document.createElement(\"canvas\");\n"
        "    other.width = canvas.width;\n    other.height = canvas.height;\n"
        "    return other.getContext(\"2d\");\n}\n";
    text += "function draw(images) {\nvar c = canvas.getContext(\"2d\"), below = [], p;\n" + m_script + "}\n";
    text += "var addresses = [";
    for (const std::string& address : m_images) {
        text += (&address == m_images.data() ? "\n" : ",\n") + script_literal(address);
    }
    text +=
        "];\nvar missing = addresses.length;\n"
        "var images = addresses.map(function (address) {\n    var image = new Image();\n"
        "    image.onload = function () {\n        missing -= 1;\n        if (missing === 0) {\n"
        "            draw(images);\n        }\n    };\n    return image;\n});\n"
        "images.forEach(function (image, i) {\n    image.src = addresses[i];\n});\n"
        "if (missing === 0) {\n    draw(images);\n}\n})();\n</script>\n";
    return text;
}

}  // namespace zelmor::embed
