// Elements and attributes of SVG; see svg_canvas.h.
#include "runtime/native/formats/svg/svg_canvas.h"

#include <algorithm>
#include <array>
#include <cassert>
#include <cmath>

#include "runtime/native/drawwork/decimal_text.h"
#include "runtime/native/drawwork/outline_maps.h"
#include "runtime/native/formats/escaped_xml.h"

namespace zelmor::embed {

using namespace drawwork;

namespace {

std::string attribute(const char* name, const std::string& value) {
    return std::string(" ") + name + "=\"" + value + '"';
}
std::string attribute(const char* name, double value) {
    return attribute(name, decimal_text(value));
}

// Nothing for the identity.
std::string transform_attribute(const char* name, const Affine& map) {
    if (map == Affine{}) {
        return {};
    }
    std::string text = "matrix(";
    for (const double part : {map.m11, map.m12, map.m21, map.m22, map.dx, map.dy}) {
        text += (text.back() == '(' ? "" : " ") + decimal_text(part, 8);
    }
    return attribute(name, text + ')');
}

std::string color_text(Argb color) {
    constexpr std::string_view kDigits = "0123456789abcdef";
    std::string text = "#";
    for (int shift = 20; shift >= 0; shift -= 4) {
        text += kDigits[color >> shift & 15];
    }
    return text;
}

std::string opacity_attribute(const char* name, double opacity) {
    return opacity < 1 ? attribute(name, opacity) : std::string();
}

const char* blend_name(Blend blend) {
    constexpr std::array kNames{"normal",      "multiply",   "screen",     "overlay",    "darken",     "lighten",
                                "color-dodge", "color-burn", "hard-light", "soft-light", "difference", "exclusion"};
    static_assert(kNames.size() == static_cast<size_t>(Blend::kExclusion) + 1);
    return kNames[static_cast<size_t>(blend)];
}

std::string crisp(bool smooth) {
    return smooth ? "" : attribute("shape-rendering", "crispEdges");
}

std::string rule_attribute(const char* name, FillRule rule) {
    return rule == FillRule::kAlternate ? attribute(name, "evenodd") : std::string();
}

// A gradient between circles, neither of which has the other inside, has no form in SVG.
bool has_form(const Paint& paint) {
    return paint.kind != Paint::Kind::kRadial ||
           (paint.to - paint.from).length() <= std::abs(paint.to_radius - paint.from_radius);
}

}  // namespace

std::string path_data(const Outline& outline) {
    std::string text;
    const auto append = [&](const char* before, const PointD& point) {
        text += before;
        drawwork::append_decimal(text, point.x);
        text += ' ';
        drawwork::append_decimal(text, point.y);
    };
    for (const Contour& contour : outline) {
        append(text.empty() ? "M" : " M", contour.start);
        for (const Segment& s : contour.segments) {
            if (s.curved) {
                append(" C", s.control1);
                append(" ", s.control2);
                append(" ", s.end);
            } else {
                append(" L", s.end);
            }
        }
        if (contour.closed) {
            text += " Z";
        }
    }
    return text;
}

SvgCanvas::SvgCanvas(Backend& backend, SvgCanvasSettings settings)
    : m_backend(backend), m_settings(std::move(settings)) {}

Argb SvgCanvas::shown(Argb color) const {
    if (!m_settings.gray) {
        return color;
    }
    const Argb gray = ((color >> 16 & 255) * 299 + (color >> 8 & 255) * 587 + (color & 255) * 114 + 500) / 1000;
    return (color & 0xFF000000) | gray << 16 | gray << 8 | gray;
}

// Definitions with the same text are one.
std::string SvgCanvas::define(const std::string& prefix, const std::string& name, const std::string& rest) {
    const std::string key = name + rest;
    const auto [entry, is_new] =
        m_names.emplace(key, m_settings.name_prefix + prefix + std::to_string(m_names.size() + 1));
    if (is_new) {
        m_definitions += '<' + name + attribute("id", entry->second) + rest + "</" + name + ">\n";
    }
    return entry->second;
}

std::string SvgCanvas::stops_of(const Paint& paint, bool backwards) const {
    std::vector<GradientStop> stops = paint.stops;
    if (backwards) {
        std::reverse(stops.begin(), stops.end());
        for (GradientStop& stop : stops) {
            stop.at = 1 - stop.at;
        }
    }
    if (paint.extend == Extend::kNone && !stops.empty()) {
        stops.insert(stops.begin(), {0, stops.front().color & 0xFFFFFF});
        stops.push_back({1, stops.back().color & 0xFFFFFF});
    }
    std::string text;
    for (const GradientStop& stop : stops) {
        text += "<stop" + attribute("offset", decimal_text(stop.at, 6)) +
                attribute("stop-color", color_text(shown(stop.color))) +
                opacity_attribute("stop-opacity", (stop.color >> 24) / 255.0) + "/>";
    }
    return text;
}

std::string SvgCanvas::gradient(const Paint& paint) {
    std::string rest = attribute("gradientUnits", "userSpaceOnUse");
    bool backwards = false;
    if (paint.kind == Paint::Kind::kLinear) {
        rest += attribute("x1", paint.from.x) + attribute("y1", paint.from.y) + attribute("x2", paint.to.x) +
                attribute("y2", paint.to.y);
    } else {
        backwards = paint.from_radius > paint.to_radius;
        const PointD inner = backwards ? paint.to : paint.from, outer = backwards ? paint.from : paint.to;
        const double least = std::min(paint.from_radius, paint.to_radius);
        rest += attribute("cx", outer.x) + attribute("cy", outer.y) +
                attribute("r", std::max(paint.from_radius, paint.to_radius)) + attribute("fx", inner.x) +
                attribute("fy", inner.y) + (least > 0 ? attribute("fr", least) : std::string());
    }
    rest += transform_attribute("gradientTransform", paint.placing);
    if (paint.extend == Extend::kRepeat || paint.extend == Extend::kReflect) {
        rest += attribute("spreadMethod", paint.extend == Extend::kRepeat ? "repeat" : "reflect");
    }
    const bool linear = paint.kind == Paint::Kind::kLinear;
    return define("g", linear ? "linearGradient" : "radialGradient", rest + '>' + stops_of(paint, backwards));
}

// An element in the space of its pixels.
std::string SvgCanvas::image(const TextureTile& tile, Sampling sampling) {
    std::vector<Argb> pixels = tile.pixels;
    for (Argb& pixel : pixels) {
        pixel = shown(pixel);
    }
    return "<image" + attribute("width", tile.width) + attribute("height", tile.height) +
           attribute("preserveAspectRatio", "none") +
           (sampling == Sampling::kNearest ? attribute("image-rendering", "optimizeSpeed") : std::string()) +
           attribute("xlink:href", escaped_xml(m_settings.address_of(pixels, tile.width, tile.height)));
}

std::string SvgCanvas::pattern(const Paint& paint, const RectD& reach) {
    const TextureTile tile = tile_of(paint, reach);
    return define("p", "pattern",
                  attribute("patternUnits", "userSpaceOnUse") + attribute("width", tile.width) +
                      attribute("height", tile.height) + transform_attribute("patternTransform", tile.placing) + '>' +
                      image(tile, paint.sampling) + "/>");
}

std::string SvgCanvas::painted(const char* key, const Paint& paint, const RectD& reach) {
    const std::string opacity_key = std::string(key) + "-opacity";
    if (paint.kind == Paint::Kind::kSolid) {
        return attribute(key, color_text(shown(paint.color))) +
               opacity_attribute(opacity_key.c_str(), (paint.color >> 24) / 255.0 * paint.opacity);
    }
    std::string name;
    if (paint.kind == Paint::Kind::kTexture) {
        name = pattern(paint, reach);
    } else {
        name = has_form(paint) ? gradient(paint) : pattern(texture_of_paint(m_backend, paint, reach), reach);
    }
    return attribute(key, "url(#" + name + ')') + opacity_attribute(opacity_key.c_str(), paint.opacity);
}

void SvgCanvas::fill_with_picture(const Outline& outline, FillRule rule, const TextureTile& tile, const Paint& paint,
                                  bool smooth) {
    std::string element = image(tile, paint.sampling) + transform_attribute("transform", tile.placing) +
                          opacity_attribute("opacity", paint.opacity) + "/>";
    if (!is_mapped_rectangle(outline, {0, 0, double(tile.width), double(tile.height)}, tile.placing)) {
        const std::string clip = define(
            "c", "clipPath",
            "><path" + attribute("d", path_data(outline)) + rule_attribute("clip-rule", rule) + crisp(smooth) + "/>");
        element = "<g" + attribute("clip-path", "url(#" + clip + ')') + '>' + element + "</g>";
    }
    m_body += element + '\n';
}

void SvgCanvas::fill(const Outline& outline, FillRule rule, const Paint& paint, bool smooth) {
    if (outline.empty()) {
        return;
    }
    sync_clips();
    const RectD reach = rectangle_around(outline);
    if (paint.kind == Paint::Kind::kTexture) {
        if (const TextureTile tile = tile_of(paint, reach); !tile.repeats) {
            return fill_with_picture(outline, rule, tile, paint, smooth);
        }
    }
    m_body += "<path" + attribute("d", path_data(outline)) + painted("fill", paint, reach) +
              rule_attribute("fill-rule", rule) + crisp(smooth) + "/>\n";
}

void SvgCanvas::stroke(const Outline& outline, const Stroke& stroke, const Paint& paint, bool smooth) {
    if (outline.empty()) {
        return;
    }
    sync_clips();
    // Where the pen is not round on the canvas, the element has a space of its own, in which it is.
    Affine nib = stroke.nib;
    nib.dx = nib.dy = 0;
    const double scale = nib.mean_scale();
    const bool round = std::abs(nib.m11 * nib.m21 + nib.m12 * nib.m22) < 1e-9 * (scale * scale + 1e-300) &&
                       std::abs(std::hypot(nib.m11, nib.m12) - std::hypot(nib.m21, nib.m22)) < 1e-6 * scale;
    const auto back = nib.inverse();
    if (!back) {
        return;
    }
    const double factor = round ? scale : 1;
    Outline shape = outline;
    Paint own = paint;
    if (!round) {
        shape = mapped_outline(outline, *back);
        own.placing = paint.placing.then(*back);
    }
    RectD reach = reach_of_stroke(outline, stroke);
    if (!round) {
        reach = rectangle_around(mapped_outline(rectangle_outline(reach), *back));
    }
    std::string element = "<path" + attribute("d", path_data(shape)) + attribute("fill", "none") +
                          painted("stroke", own, reach) + attribute("stroke-width", stroke.width * factor);
    if (stroke.cap != StrokeCap::kFlat) {
        element += attribute("stroke-linecap", stroke.cap == StrokeCap::kRound ? "round" : "square");
    }
    if (stroke.join != StrokeJoin::kMiter) {
        element += attribute("stroke-linejoin", stroke.join == StrokeJoin::kRound ? "round" : "bevel");
    } else if (stroke.miter_limit != 4) {
        element += attribute("stroke-miterlimit", std::max(1.0, stroke.miter_limit));
    }
    if (!stroke.dashes.empty()) {
        std::string dashes;
        for (const double dash : stroke.dashes) {
            dashes += (dashes.empty() ? "" : " ") + decimal_text(dash * factor);
        }
        element += attribute("stroke-dasharray", dashes);
        if (stroke.dash_offset != 0) {
            element += attribute("stroke-dashoffset", stroke.dash_offset * factor);
        }
    }
    element += round ? std::string() : transform_attribute("transform", nib);
    m_body += element + crisp(smooth) + "/>\n";
}

void SvgCanvas::clear(Argb color) {
    if (color >> 24 != 255) {
        // Nothing takes away what was drawn before, unless it is everything or there is nothing yet.
        if (!m_body.empty() && (!clips().empty() || in_group())) {
            throw DrawError("SVG cannot make a part of a picture transparent again");
        }
        sync_clips();
        m_body.clear();
    }
    if (color >> 24 == 0) {
        return;
    }
    Paint paint;
    paint.color = color;
    fill(rectangle_outline({0, 0, m_settings.width, m_settings.height}), FillRule::kWinding, paint, false);
}

void SvgCanvas::text(const TextLayout& layout, const Affine& placing, const Paint& paint) {
    const bool plain =
        layout.tabs.empty() && layout.trimming == TextTrimming::kNone && layout.mnemonic < 0 && layout.folders.empty();
    if (m_settings.text_as_shapes || !plain || paint.kind == Paint::Kind::kTexture || !has_form(paint)) {
        return fill(mapped_outline(m_backend.outline_of(layout), placing), FillRule::kWinding, paint, true);
    }
    const auto back = placing.inverse();
    if (!back) {
        return;
    }
    sync_clips();
    Paint own = paint;
    own.placing = paint.placing.then(*back);
    std::string element = "<text" + transform_attribute("transform", placing) +
                          attribute("font-family", escaped_xml(layout.family)) + attribute("font-size", layout.size) +
                          painted("fill", own, {}) + attribute("xml:space", "preserve");
    element += layout.bold ? attribute("font-weight", "bold") : std::string();
    element += layout.italic ? attribute("font-style", "italic") : std::string();
    if (layout.underline || layout.strikeout) {
        element += attribute("text-decoration", std::string(layout.underline ? "underline" : "") +
                                                    (layout.underline && layout.strikeout ? " " : "") +
                                                    (layout.strikeout ? "line-through" : ""));
    }
    element += layout.right_to_left ? attribute("direction", "rtl") : std::string();
    element += '>';
    for (const TextLine& line : m_backend.lines_of(layout)) {
        if (!line.text.empty()) {
            element += "<tspan" + attribute("x", layout.right_to_left ? line.left + line.width : line.left) +
                       attribute("y", line.baseline) + '>' + escaped_xml(line.text) + "</tspan>";
        }
    }
    m_body += element + "</text>\n";
}

void SvgCanvas::open_clip(const Clip& clip) {
    const std::string name = define("c", "clipPath",
                                    "><path" + attribute("d", path_data(clip.outline)) +
                                        rule_attribute("clip-rule", clip.rule) + crisp(clip.smooth) + "/>");
    m_body += "<g" + attribute("clip-path", "url(#" + name + ')') + ">\n";
}

void SvgCanvas::close_clip() {
    m_body += "</g>\n";
}

void SvgCanvas::open_group() {
    m_body += "<g";
    m_groups.push_back(m_body.size());
    m_body += ">\n";
}

void SvgCanvas::close_group(double opacity, Blend blend) {
    assert(!m_groups.empty());
    std::string attributes = opacity_attribute("opacity", opacity);
    if (blend != Blend::kOver) {
        attributes += attribute("style", std::string("mix-blend-mode:") + blend_name(blend));
    }
    m_body.insert(m_groups.back(), attributes);
    m_groups.pop_back();
    m_body += "</g>\n";
}

std::string SvgCanvas::finish() {
    close_clips();
    const std::string width = decimal_text(m_settings.width), height = decimal_text(m_settings.height);
    std::string text =
        "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<svg xmlns=\"http://www.w3.org/2000/svg\""
        " xmlns:xlink=\"http://www.w3.org/1999/xlink\" version=\"1.1\"" +
        attribute("width", width) + attribute("height", height) + attribute("viewBox", "0 0 " + width + ' ' + height) +
        ">\n";
    if (!m_definitions.empty()) {
        text += "<defs>\n" + m_definitions + "</defs>\n";
    }
    return text + m_body + "</svg>\n";
}

}  // namespace zelmor::embed
