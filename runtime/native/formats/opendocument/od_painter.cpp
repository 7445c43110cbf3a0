// Painting shapes; see od_painter.h.
#include "runtime/native/formats/opendocument/od_painter.h"

#include <algorithm>
#include <cmath>

#include "runtime/native/behaviors/drawing/outlines.h"
#include "runtime/native/drawwork/copying_canvas.h"
#include "runtime/native/formats/opendocument/od_values.h"
#include "runtime/native/imagework/limits.h"

namespace zelmor::embed {

using drawwork::Argb;
using drawwork::Paint;
using drawwork::Stroke;

namespace {

// A line of no width is a pixel wide; on paper it is a tenth of a point.
constexpr double kHairline = 0.1 * kPixelsOfInch / 72;

double hairline(const drawwork::Canvas& canvas, const Affine& placing) {
    const double scale = placing.mean_scale();
    return canvas.is_screen() && scale > 0 ? 1 / scale : kHairline;
}
constexpr int kMostDots = 1000;

Argb with_opacity(Argb color, double opacity) {
    const double alpha = std::clamp(opacity, 0.0, 1.0) * (color >> 24);
    return (color & 0xFFFFFF) | static_cast<Argb>(std::lround(alpha)) << 24;
}

Paint solid(Argb color, double opacity) {
    Paint paint;
    paint.color = with_opacity(color, opacity);
    return paint;
}

double percent(std::string_view text, double otherwise) {
    return od_percent(text).value_or(otherwise);
}

// A color of a gradient, which can be made darker.
Argb intense(Argb color, double intensity) {
    const auto part = [&](int shift) {
        return static_cast<Argb>(std::lround((color >> shift & 0xFF) * std::clamp(intensity, 0.0, 1.0))) << shift;
    };
    return 0xFF000000 | part(16) | part(8) | part(0);
}

Argb mixed(Argb a, Argb b, double t) {
    Argb color = 0;
    for (const int shift : {0, 8, 16, 24}) {
        const double from = a >> shift & 0xFF;
        const double to = b >> shift & 0xFF;
        color |= static_cast<Argb>(std::lround(from + (to - from) * t)) << shift;
    }
    return color;
}

// The colors of a gradient from its outside (0) to its inside (1).
using Stops = std::vector<drawwork::GradientStop>;

Stops stops_of(const OdNode& gradient) {
    Stops stops;
    for (const OdNode& each : gradient.children) {
        if (each.is("loext:gradient-stop")) {
            const Argb color = od_color(each.get("loext:color-value")).value_or(0xFF000000);
            stops.push_back({std::clamp(od_number(each.get("svg:offset"), 0), 0.0, 1.0), color});
        }
    }
    if (stops.size() >= 2) {
        return stops;
    }
    const auto color = [&](const char* name, const char* intensity) {
        return intense(od_color(gradient.get(name)).value_or(0xFF000000), percent(gradient.get(intensity), 1));
    };
    return {{0, color("draw:start-color", "draw:start-intensity")}, {1, color("draw:end-color", "draw:end-intensity")}};
}

// Of a gradient of opacity: black with the opacity as its alpha.
Stops opacity_stops_of(const OdNode& gradient) {
    return {{0, with_opacity(0xFF000000, percent(gradient.get("draw:start"), 1))},
            {1, with_opacity(0xFF000000, percent(gradient.get("draw:end"), 1))}};
}

Argb color_at(const Stops& stops, double at) {
    for (size_t i = 0; i < stops.size(); i++) {
        if (at <= stops[i].at) {
            if (i == 0 || stops[i].at <= stops[i - 1].at) {
                return stops[i].color;
            }
            return mixed(stops[i - 1].color, stops[i].color, (at - stops[i - 1].at) / (stops[i].at - stops[i - 1].at));
        }
    }
    return stops.back().color;
}

// A gradient over the box of a shape.
struct GradientPlace {
    std::string_view style;
    double angle = 0;   // degrees, counterclockwise
    double border = 0;  // the part at the outside with the first color
    PointD center;
    RectD box;

    GradientPlace(const OdNode& gradient, const RectD& of_shape) : box(of_shape) {
        style = gradient.get("draw:style");
        angle = od_angle(gradient.get("draw:angle"), 0.1);
        border = std::clamp(percent(gradient.get("draw:border"), 0), 0.0, 1.0);
        center = {box.x + box.width * percent(gradient.get("draw:cx"), 0.5),
                  box.y + box.height * percent(gradient.get("draw:cy"), 0.5)};
    }
    bool is_in_steps() const { return style == "square" || style == "rectangular"; }

    // The box around the shape, turned by the angle: half of its sides.
    PointD half_of_turned() const {
        const double sine = std::abs(std::sin(angle * M_PI / 180));
        const double cosine = std::abs(std::cos(angle * M_PI / 180));
        return {(box.width * cosine + box.height * sine) / 2, (box.width * sine + box.height * cosine) / 2};
    }
};

// A gradient that canvases know: along a line, or from circle to circle.
Paint gradient_paint(const GradientPlace& place, const Stops& stops) {
    Paint paint;
    const Affine turn = Affine::rotation(-place.angle);
    if (place.style == "radial" || place.style == "ellipsoid") {
        paint.kind = Paint::Kind::kRadial;
        const double radius = std::hypot(place.box.width, place.box.height) / 2;
        paint.to_radius = 1;
        Affine map = place.style == "radial" ? Affine::scaling(radius, radius)
                                             : Affine::scaling(place.box.width / M_SQRT2, place.box.height / M_SQRT2);
        if (place.style == "ellipsoid") {
            map = map.then(turn);
        }
        paint.placing = map.then(Affine::translation(place.center.x, place.center.y));
        // From the inside to the outside.
        for (auto stop = stops.rbegin(); stop != stops.rend(); ++stop) {
            paint.stops.push_back({(1 - stop->at) * (1 - place.border), stop->color});
        }
        return paint;
    }
    paint.kind = Paint::Kind::kLinear;
    const double reach = place.half_of_turned().y;
    const PointD along = turn.apply_vector({0, reach});
    const PointD middle = place.box.center();
    paint.from = middle - along;
    paint.to = middle + along;
    if (place.style == "axial") {
        // The first color is in the middle, the last one at both ends.
        for (auto stop = stops.rbegin(); stop != stops.rend(); ++stop) {
            paint.stops.push_back({(place.border + (1 - stop->at) * (1 - place.border)) / 2, stop->color});
        }
        for (const auto& stop : stops) {
            paint.stops.push_back({1 - (place.border + (1 - stop.at) * (1 - place.border)) / 2, stop.color});
        }
    } else {
        for (const auto& stop : stops) {
            paint.stops.push_back({place.border + stop.at * (1 - place.border), stop.color});
        }
    }
    return paint;
}

}  // namespace

double OdPainter::opacity() const {
    return std::clamp(percent(get("draw:opacity"), 1), 0.0, 1.0);
}

void OdPainter::shape(const Outline& outline, const Affine& placing, bool filled, bool stroked) {
    if (get("draw:shadow") == "visible") {
        shadow(outline, placing, filled, stroked);
    }
    if (filled) {
        fill(outline, placing);
    }
    if (stroked) {
        stroke(outline, placing);
    }
}

void OdPainter::shadow(const Outline& outline, const Affine& placing, bool filled, bool stroked) {
    const PointD offset{od_length(get("draw:shadow-offset-x"), 0.3 * 10 * kPixelsOfMillimeter),
                        od_length(get("draw:shadow-offset-y"), 0.3 * 10 * kPixelsOfMillimeter)};
    const PointD moved = placing.apply_vector(offset);
    const Affine behind = placing.then(Affine::translation(moved.x, moved.y));
    const Argb color = od_color(get("draw:shadow-color")).value_or(0xFF808080);
    const Paint paint = solid(color, percent(get("draw:shadow-opacity"), 1));
    const std::string_view kind = get("draw:fill");
    if (filled && !kind.empty() && kind != "none") {
        m_target.canvas.fill(transformed(outline, behind), FillRule::kAlternate, paint, m_target.smooth);
    } else if (stroked && has_stroke()) {
        const double stated = od_length(get("svg:stroke-width"), 0);
        const double width = stated > 0 ? stated : hairline(m_target.canvas, behind);
        m_target.canvas.stroke(transformed(outline, behind), pen(behind, width), paint, m_target.smooth);
    }
}

void OdPainter::fill(const Outline& outline, const Affine& placing) {
    const std::string_view kind = get("draw:fill");
    const FillRule rule = get("svg:fill-rule") == "nonzero" ? FillRule::kWinding : FillRule::kAlternate;
    if (kind == "gradient") {
        fill_gradient(outline, placing, rule);
    } else if (kind == "hatch") {
        if (od_bool(get("draw:fill-hatch-solid"), false)) {
            fill_solid(outline, placing, rule, od_color(get("draw:fill-color")).value_or(0xFFFFFFFF));
        }
        fill_hatch(outline, placing, rule);
    } else if (kind == "bitmap") {
        fill_picture(outline, placing, rule);
    } else if (kind == "solid") {
        fill_solid(outline, placing, rule, od_color(get("draw:fill-color")).value_or(0xFFFFFFFF));
    }
}

void OdPainter::fill_solid(const Outline& outline, const Affine& placing, FillRule rule, Argb color) {
    const OdNode* gradual = m_target.document.named("draw:opacity", get("draw:opacity-name"));
    if (gradual != nullptr && !GradientPlace(*gradual, {}).is_in_steps()) {
        Stops stops = opacity_stops_of(*gradual);
        for (auto& stop : stops) {
            stop.color = (stop.color & 0xFF000000) | (color & 0xFFFFFF);
        }
        Paint paint = gradient_paint(GradientPlace(*gradual, bounds_of(outline)), stops);
        paint.placing = paint.placing.then(placing);
        m_target.canvas.fill(transformed(outline, placing), rule, paint, m_target.smooth);
        return;
    }
    m_target.canvas.fill(transformed(outline, placing), rule, solid(color, opacity()), m_target.smooth);
}

void OdPainter::fill_gradient(const Outline& outline, const Affine& placing, FillRule rule) {
    const OdNode* gradient = m_target.document.named("draw:gradient", get("draw:fill-gradient-name"));
    if (gradient == nullptr) {
        fill_solid(outline, placing, rule, od_color(get("draw:fill-color")).value_or(0xFFFFFFFF));
        return;
    }
    const GradientPlace place(*gradient, bounds_of(outline));
    Stops stops = stops_of(*gradient);
    drawwork::Canvas& canvas = m_target.canvas;
    if (!place.is_in_steps()) {
        for (auto& stop : stops) {
            stop.color = with_opacity(stop.color, opacity());
        }
        Paint paint = gradient_paint(place, stops);
        paint.placing = paint.placing.then(placing);
        canvas.fill(transformed(outline, placing), rule, paint, m_target.smooth);
        return;
    }
    // Rectangles, each within the one before, which a group makes as transparent as the shape.
    constexpr int kSteps = 64;
    canvas.save();
    canvas.clip(transformed(outline, placing), rule, m_target.smooth);
    canvas.begin_group();
    canvas.fill(transformed(outline, placing), rule, solid(color_at(stops, 0), 1), m_target.smooth);
    PointD half = place.half_of_turned();
    if (place.style == "square") {
        half.x = half.y = std::max(half.x, half.y);
    }
    const Affine map =
        Affine::rotation(-place.angle).then(Affine::translation(place.center.x, place.center.y)).then(placing);
    for (int i = 0; i < kSteps; i++) {
        const double size = (1 - place.border) * (1 - static_cast<double>(i) / kSteps);
        const Contour step = rectangle_contour({-half.x * size, -half.y * size, 2 * half.x * size, 2 * half.y * size});
        canvas.fill(transformed({step}, map), FillRule::kAlternate, solid(color_at(stops, (i + 0.5) / kSteps), 1),
                    m_target.smooth);
    }
    canvas.end_group(opacity(), drawwork::Blend::kOver);
    canvas.restore();
}

void OdPainter::fill_hatch(const Outline& outline, const Affine& placing, FillRule rule) {
    const OdNode* hatch = m_target.document.named("draw:hatch", get("draw:fill-hatch-name"));
    if (hatch == nullptr) {
        return;
    }
    const RectD box = bounds_of(outline);
    const double reach = std::hypot(box.width, box.height) / 2;
    double distance = std::max(0.1, od_length(hatch->get("draw:distance"), 10));
    distance = std::max(distance, 2 * reach / static_cast<double>(imagework::limits::kFillSteps));
    const double angle = od_angle(hatch->get("draw:rotation"), 0.1);
    const std::string_view style = hatch->get("draw:style");
    std::vector<double> angles{angle};
    if (style == "double" || style == "triple") {
        angles.push_back(angle + 90);
    }
    if (style == "triple") {
        angles.push_back(angle - 45);
    }
    Outline lines;
    for (const double each : angles) {
        const Affine map =
            Affine::rotation(-each).then(Affine::translation(box.center().x, box.center().y)).then(placing);
        const auto count = static_cast<int64_t>(reach / distance);
        for (int64_t i = -count; i <= count; i++) {
            const double y = static_cast<double>(i) * distance;
            Contour line{map.apply({-reach, y}), {}, false};
            line.line_to(map.apply({reach, y}));
            lines.push_back(std::move(line));
        }
    }
    const Paint paint = solid(od_color(hatch->get("draw:color")).value_or(0xFF000000), opacity());
    drawwork::Canvas& canvas = m_target.canvas;
    canvas.save();
    canvas.clip(transformed(outline, placing), rule, m_target.smooth);
    canvas.stroke(lines, pen(placing, hairline(canvas, placing)), paint, m_target.smooth);
    canvas.restore();
}

void OdPainter::fill_picture(const Outline& outline, const Affine& placing, FillRule rule) {
    const OdNode* image = m_target.document.named("draw:fill-image", get("draw:fill-image-name"));
    const auto picture = image != nullptr ? decoded_picture(m_target, *image) : nullptr;
    if (picture == nullptr) {
        return;
    }
    const RectD box = bounds_of(outline);
    const std::string_view repeat = get("style:repeat");
    // The size of one picture: stated as a length or in parts of the shape, or that of its pixels.
    const auto side = [&](const char* attribute, double whole, int32_t pixels) {
        const std::string_view text = get(attribute);
        double length = od_percent(text) ? *od_percent(text) * whole : od_length(text, 0);
        return length > 0 ? length : static_cast<double>(pixels);
    };
    PointD size{side("draw:fill-image-width", box.width, picture->width),
                side("draw:fill-image-height", box.height, picture->height)};
    PointD at{box.x, box.y};
    Paint paint;
    if (repeat == "stretch") {
        size = {box.width, box.height};
        paint.extend = drawwork::Extend::kPad;
    } else {
        const std::string_view point = get("draw:fill-image-ref-point");
        const auto holds = [&](const char* word) { return point.find(word) != std::string_view::npos; };
        const double across = holds("left") ? 0 : holds("right") ? 1 : 0.5;
        const double down = holds("top") ? 0 : holds("bottom") ? 1 : 0.5;
        at = {box.x + (box.width - size.x) * across, box.y + (box.height - size.y) * down};
        if (repeat == "no-repeat") {
            paint.extend = drawwork::Extend::kNone;
        } else {
            paint.extend = drawwork::Extend::kRepeat;
            at.x += size.x * percent(get("draw:fill-image-ref-point-x"), 0);
            at.y += size.y * percent(get("draw:fill-image-ref-point-y"), 0);
        }
    }
    paint.kind = Paint::Kind::kTexture;
    paint.pixels = picture->pixels;
    paint.width = picture->width;
    paint.height = picture->height;
    paint.opacity = opacity();
    paint.placing = Affine::scaling(size.x / picture->width, size.y / picture->height)
                        .then(Affine::translation(at.x, at.y))
                        .then(placing);
    m_target.canvas.fill(transformed(outline, placing), rule, paint, m_target.smooth);
}

bool OdPainter::has_stroke() const {
    // Without any style a shape has a thin line.
    const std::string_view kind = get("draw:stroke");
    return kind.empty() ? m_properties == "style:graphic-properties" : kind != "none";
}

Stroke OdPainter::pen(const Affine& placing, double width) const {
    Stroke pen;
    pen.width = width;
    pen.nib = {placing.m11, placing.m12, placing.m21, placing.m22, 0, 0};
    return pen;
}

namespace {

// Cuts a length from the beginning of a contour, along its lines.
void shorten_start(Contour& contour, double length) {
    while (length > 0 && !contour.segments.empty()) {
        drawwork::Segment& first = contour.segments.front();
        const PointD way = first.end - contour.start;
        if (first.curved) {
            // Only the beginning of a curve moves: arrows are short beside the curves they stand at.
            const PointD toward = first.control1 != contour.start ? first.control1 - contour.start : way;
            const double size = toward.length();
            if (size > 0 && size > length) {
                contour.start = contour.start + toward * (length / size);
            }
            return;
        }
        if (way.length() > length) {
            contour.start = contour.start + way * (length / way.length());
            return;
        }
        length -= way.length();
        contour.start = first.end;
        contour.segments.erase(contour.segments.begin());
    }
}

// The direction in which a contour comes to its beginning, seen from inside; nothing for a contour without length.
std::optional<PointD> outward_at_start(const Contour& contour) {
    for (const drawwork::Segment& segment : contour.segments) {
        for (const PointD& next : {segment.curved ? segment.control1 : segment.end,
                                   segment.curved ? segment.control2 : segment.end, segment.end}) {
            const PointD way = contour.start - next;
            if (way.length() > 1e-9) {
                return way * (1 / way.length());
            }
        }
    }
    return std::nullopt;
}

}  // namespace

void OdPainter::arrow(const Outline& marker, PointD tip, PointD direction, double length, double width,
                      const RectD& box, bool centered, const Affine& placing, const Paint& paint) {
    // The marker points up in its box. One outline within another is a hole in it.
    const double back = centered ? box.y + box.height / 2 : box.y;
    const Affine map = Affine::translation(-(box.x + box.width / 2), -back)
                           .then(Affine::scaling(width / box.width, length / box.height))
                           .then({-direction.y, direction.x, -direction.x, -direction.y, tip.x, tip.y})
                           .then(placing);
    m_target.canvas.fill(transformed(marker, map), FillRule::kAlternate, paint, m_target.smooth);
}

void OdPainter::stroke(const Outline& outline, const Affine& placing) {
    if (!has_stroke()) {
        return;
    }
    const double width = std::max(0.0, od_length(get("svg:stroke-width"), 0));
    const double drawn_width = width > 0 ? width : hairline(m_target.canvas, placing);
    const Paint paint = solid(od_color(get("svg:stroke-color")).value_or(0xFF000000),
                              percent(get("svg:stroke-opacity"), od_number(get("svg:stroke-opacity"), 1)));
    Stroke line = pen(placing, drawn_width);
    const std::string_view join = get("draw:stroke-linejoin");
    line.join = join == "miter"                     ? drawwork::StrokeJoin::kMiter
                : join == "bevel" || join == "none" ? drawwork::StrokeJoin::kBevel
                                                    : drawwork::StrokeJoin::kRound;
    const std::string_view cap = get("svg:stroke-linecap");
    line.cap = cap == "round"    ? drawwork::StrokeCap::kRound
               : cap == "square" ? drawwork::StrokeCap::kSquare
                                 : drawwork::StrokeCap::kFlat;
    const OdNode* dash =
        get("draw:stroke") == "dash" ? m_target.document.named("draw:stroke-dash", get("draw:stroke-dash")) : nullptr;
    if (dash != nullptr) {
        const bool round = dash->get("draw:style") == "round";
        const auto length = [&](const char* attribute, double otherwise) {
            const std::string_view text = dash->get(attribute);
            return std::max(0.0, od_percent(text) ? *od_percent(text) * drawn_width : od_length(text, otherwise));
        };
        const double distance = length("draw:distance", drawn_width);
        double total = 0;
        const auto add = [&](const char* count, const char* size) {
            const double dots = std::clamp(od_number(dash->get(count), 0), 0.0, double{kMostDots});
            for (int i = 0; i < static_cast<int>(dots); i++) {
                const double dot = length(size, round ? 0 : drawn_width);
                line.dashes.push_back(dot);
                line.dashes.push_back(distance);
                total += dot + distance;
            }
        };
        add("draw:dots1", "draw:dots1-length");
        add("draw:dots2", "draw:dots2-length");
        // Dashes far too fine to see would take endless time.
        const RectD box = bounds_of(outline);
        if (total <= 0 || (box.width + box.height) / total > static_cast<double>(imagework::limits::kFillSteps)) {
            line.dashes.clear();
        }
        if (round) {
            line.cap = drawwork::StrokeCap::kRound;
        }
    }

    // Arrows stand at the ends of open contours, which are cut so that their line ends inside the arrow.
    Outline lines = outline;
    constexpr double kInside = 0.8;  // of the arrow's length that the line leaves to it
    for (const bool at_start : {true, false}) {
        const auto name = get(at_start ? "draw:marker-start" : "draw:marker-end");
        const OdNode* marker = name.empty() ? nullptr : m_target.document.named("draw:marker", name);
        if (marker == nullptr) {
            continue;
        }
        const Outline shape = od_outline(marker->get("svg:d"));
        const RectD box = od_view_box(marker->get("svg:viewBox")).value_or(bounds_of(shape));
        const double across = od_length(get(at_start ? "draw:marker-start-width" : "draw:marker-end-width"), 0);
        if (box.width <= 0 || box.height <= 0 || across <= 0) {
            continue;
        }
        const double along = across * box.height / box.width;
        const bool centered = od_bool(get(at_start ? "draw:marker-start-center" : "draw:marker-end-center"), false);
        for (Contour& contour : lines) {
            if (contour.closed) {
                continue;
            }
            if (!at_start) {
                contour = reversed(contour);
            }
            if (const auto direction = outward_at_start(contour)) {
                arrow(shape, contour.start, *direction, along, across, box, centered, placing, paint);
                if (!centered) {
                    shorten_start(contour, along * kInside);
                }
            }
            if (!at_start) {
                contour = reversed(contour);
            }
        }
    }
    m_target.canvas.stroke(transformed(lines, placing), line, paint, m_target.smooth);
}

std::shared_ptr<const OdPicture> decoded_picture(OdCanvas& target, const OdNode& element) {
    const auto [found, is_new] = target.pictures.try_emplace(&element);
    if (is_new) {
        const std::vector<uint8_t> bytes = target.document.picture(element);
        found->second = bytes.empty() ? nullptr : target.services.picture(bytes);
    }
    return found->second;
}

void draw_od_picture(OdCanvas& target, const OdNode& element, const Affine& placing, double opacity) {
    const auto picture = decoded_picture(target, element);
    if (picture == nullptr) {
        if (const std::vector<uint8_t> bytes = target.document.picture(element); !bytes.empty()) {
            const bool whole = opacity >= 1;
            if (!whole) {
                target.canvas.begin_group();
            }
            target.services.draw_picture(target.canvas, bytes, placing);
            if (!whole) {
                target.canvas.end_group(opacity, drawwork::Blend::kOver);
            }
        }
        return;
    }
    Paint paint;
    paint.kind = Paint::Kind::kTexture;
    paint.pixels = picture->pixels;
    paint.width = picture->width;
    paint.height = picture->height;
    paint.opacity = opacity;
    paint.placing = Affine::scaling(1.0 / picture->width, 1.0 / picture->height).then(placing);
    target.canvas.fill(transformed({rectangle_contour({0, 0, 1, 1})}, placing), FillRule::kAlternate, paint,
                       target.smooth);
}

}  // namespace zelmor::embed
