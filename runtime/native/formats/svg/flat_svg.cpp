// Groups, paths, paints and references of a flat SVG document on a canvas; see flat_svg.h.
#include "runtime/native/formats/svg/flat_svg.h"

#include <cairo.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <set>

#include "runtime/native/drawwork/outline_maps.h"
#include "runtime/native/formats/svg/base64.h"
#include "runtime/native/formats/svg/flat_tree.h"
#include "runtime/native/imagework/picture_error.h"

namespace zelmor::imagework {
namespace {

using drawwork::Affine;
using drawwork::Argb;
using drawwork::Canvas;
using drawwork::Extend;
using drawwork::FillRule;
using drawwork::GradientStop;
using drawwork::mapped_outline;
using drawwork::Outline;
using drawwork::Paint;
using drawwork::rectangle_around;
using drawwork::rectangle_outline;
using drawwork::RectD;

// Elements that are drawn as pixels one by one. A document with more of them is drawn as pixels altogether.
constexpr size_t kMostPictures = 100;

RectD common(const RectD& a, const RectD& b) {
    const double x = std::max(a.x, b.x), y = std::max(a.y, b.y);
    return {x, y, std::max(0.0, std::min(a.right(), b.right()) - x),
            std::max(0.0, std::min(a.bottom(), b.bottom()) - y)};
}

RectD around(const RectD& a, const RectD& b) {
    const double x = std::min(a.x, b.x), y = std::min(a.y, b.y);
    return {x, y, std::max(a.right(), b.right()) - x, std::max(a.bottom(), b.bottom()) - y};
}

bool holds(const RectD& outer, const RectD& inner) {
    constexpr double kClose = 0.01;
    return inner.x >= outer.x - kClose && inner.y >= outer.y - kClose && inner.right() <= outer.right() + kClose &&
           inner.bottom() <= outer.bottom() + kClose;
}

Argb channel(double part) {
    return static_cast<Argb>(std::lround(std::clamp(part, 0.0, 1.0) * 255));
}

// "rgb(100%,0%,0%)"
Argb color_of(std::string_view text, double opacity) {
    Argb color = channel(opacity) << 24;
    text.remove_prefix(std::min<size_t>(text.find('(') + 1, text.size()));
    for (int shift = 16; shift >= 0; shift -= 8) {
        const auto numbers = flat_numbers(text);
        color |= channel(numbers.empty() ? 0 : numbers[0] / 100) << shift;
        text.remove_prefix(std::min(text.find(','), text.size() - 1) + 1);
        if (text.empty()) {
            break;
        }
    }
    return color;
}

FillRule rule_of(std::string_view text) {
    return text == "evenodd" ? FillRule::kAlternate : FillRule::kWinding;
}

struct PngReading {
    std::span<const uint8_t> rest;
};
cairo_status_t read_png(void* data, unsigned char* out, unsigned int length) {
    auto& reading = *static_cast<PngReading*>(data);
    if (length > reading.rest.size()) {
        return CAIRO_STATUS_READ_ERROR;
    }
    std::copy_n(reading.rest.begin(), length, out);
    reading.rest = reading.rest.subspan(length);
    return CAIRO_STATUS_SUCCESS;
}

// A texture of the pixels of an <image>, in its own space.
Paint picture_of(const FlatNode& image) {
    std::string_view uri = image.get("xlink:href");
    constexpr std::string_view kPng = "data:image/png;base64,";
    const auto bytes = uri.starts_with(kPng) ? from_base64(uri.substr(kPng.size())) : std::nullopt;
    if (!bytes) {
        throw PictureError(Failure::kInternal, "the drawing cannot be taken apart: a picture is no PNG");
    }
    PngReading reading{*bytes};
    const std::unique_ptr<cairo_surface_t, decltype(&cairo_surface_destroy)> surface(
        cairo_image_surface_create_from_png_stream(&read_png, &reading), &cairo_surface_destroy);
    const cairo_format_t format = cairo_image_surface_get_format(surface.get());
    if (cairo_surface_status(surface.get()) != CAIRO_STATUS_SUCCESS ||
        (format != CAIRO_FORMAT_ARGB32 && format != CAIRO_FORMAT_RGB24 && format != CAIRO_FORMAT_A8)) {
        throw PictureError(Failure::kInternal, "the drawing cannot be taken apart: a picture cannot be read");
    }
    Paint paint;
    paint.kind = Paint::Kind::kTexture;
    paint.width = cairo_image_surface_get_width(surface.get());
    paint.height = cairo_image_surface_get_height(surface.get());
    const auto stride = static_cast<size_t>(cairo_image_surface_get_stride(surface.get()));
    const uint8_t* data = cairo_image_surface_get_data(surface.get());
    for (int32_t y = 0; y < paint.height; ++y) {
        const uint8_t* row = data + static_cast<size_t>(y) * stride;
        for (int32_t x = 0; x < paint.width; ++x) {
            if (format == CAIRO_FORMAT_A8) {
                paint.pixels.push_back(static_cast<Argb>(row[x]) << 24);
            } else {
                const Argb pixel = reinterpret_cast<const Argb*>(row)[x];
                paint.pixels.push_back(format == CAIRO_FORMAT_RGB24 ? pixel | 0xFF000000 : straight_color(pixel));
            }
        }
    }
    return paint;
}

class Player {
 public:
    Player(std::string_view document, Canvas& canvas, const Affine& placing, double width, double height, bool smooth,
           const FlatRenderer& render)
        : m_document(document),
          m_tree(flat_tree(document)),
          m_canvas(canvas),
          m_placing(placing),
          m_page{0, 0, width, height},
          m_smooth(smooth),
          m_render(render) {}

    void play() {
        if (pictures_in(*m_tree.root) > kMostPictures) {
            draw_pixels(m_render.page(), {});
            return;
        }
        for (const auto& child : m_tree.root->children) {
            draw(*child, {}, m_page);
        }
    }

 private:
    std::string_view text_of(const FlatNode& node) const {
        return m_document.substr(node.begin, node.end - node.begin);
    }

    // ---- Paints

    // The opacity that a mask gives to all that it covers; nothing for a mask that differs from place to place.
    std::optional<double> even_mask(const FlatNode& mask) const {
        const FlatNode* node = &mask;
        while (node->name != "rect" && node->children.size() == 1) {
            node = node->children[0].get();
        }
        const bool even = node->name == "rect" && node->get("fill").starts_with("rgb(");
        return even ? std::optional(node->number("fill-opacity", 1)) : std::nullopt;
    }

    // The picture of a pattern that shows one picture, or null.
    const FlatNode* picture_in(const FlatNode& pattern) const {
        const FlatNode* node = pattern.children.size() == 1 ? pattern.children[0].get() : nullptr;
        if (node != nullptr && node->name == "use") {
            const FlatNode* used = m_tree.target(node->get("xlink:href"));
            node = used != nullptr && used->name == "image" && node->get("transform").empty() ? used : nullptr;
        }
        return node != nullptr && node->name == "image" ? node : nullptr;
    }

    // Whether an element has no place on a canvas by itself.
    bool is_hard(const FlatNode& node) const {
        if (const FlatNode* mask = m_tree.target(node.get("mask")); mask != nullptr && !even_mask(*mask)) {
            return true;
        }
        if (!node.get("filter").empty()) {
            return true;
        }
        for (const char* key : {"fill", "stroke"}) {
            const FlatNode* paint = m_tree.target(node.get(key));
            if (paint != nullptr && paint->name == "pattern" && picture_in(*paint) == nullptr) {
                return true;
            }
        }
        return false;
    }

    // What stands in masks and patterns is drawn with the elements that have them.
    size_t pictures_in(const FlatNode& node) const {
        if (node.name == "mask" || node.name == "pattern" || node.name == "filter") {
            return 0;
        }
        size_t count = is_hard(node) ? 1 : 0;
        for (const auto& child : node.children) {
            count += pictures_in(*child);
        }
        return count;
    }

    std::vector<GradientStop> stops_of(const FlatNode& gradient) const {
        std::vector<GradientStop> stops;
        for (const auto& child : gradient.children) {
            stops.push_back(
                {child->number("offset"), color_of(child->get("stop-color"), child->number("stop-opacity", 1))});
        }
        return stops;
    }

    // The paint of "fill" or "stroke", in the space of the element. Nothing for "none".
    std::optional<Paint> paint_of(const FlatNode& node, const std::string& key, const Affine& map) const {
        const std::string_view value = node.get(key);
        if (value.empty() || value == "none") {
            return std::nullopt;
        }
        Paint paint;
        const FlatNode* target = m_tree.target(value);
        if (target == nullptr) {
            paint.color = color_of(value, node.number(key + "-opacity", 1));
            return paint;
        }
        if (target->name == "pattern") {
            paint = picture_of(*picture_in(*target));
            paint.extend = Extend::kRepeat;
            paint.placing = flat_matrix(target->get("patternTransform")).then(map);
            return paint;
        }
        const std::string_view spread = target->get("spreadMethod");
        paint.extend = spread == "repeat" ? Extend::kRepeat : spread == "reflect" ? Extend::kReflect : Extend::kPad;
        paint.stops = stops_of(*target);
        paint.placing = flat_matrix(target->get("gradientTransform")).then(map);
        paint.opacity = node.number(key + "-opacity", 1);
        if (target->name == "linearGradient") {
            paint.kind = Paint::Kind::kLinear;
            paint.from = {target->number("x1"), target->number("y1")};
            paint.to = {target->number("x2"), target->number("y2")};
        } else {
            paint.kind = Paint::Kind::kRadial;
            paint.from = {target->number("fx"), target->number("fy")};
            paint.to = {target->number("cx"), target->number("cy")};
            paint.to_radius = target->number("r");
        }
        return paint;
    }

    // ---- Elements. `map` leads from the element's space to the page; nothing outside of `seen`, an area of the page,
    // is seen.

    void fill(const Outline& shape, FillRule rule, Paint paint, const Affine& map, const RectD& seen) {
        // A picture that is seen once at most is no pattern.
        if (paint.kind == Paint::Kind::kTexture) {
            const Outline tile =
                mapped_outline(rectangle_outline({0, 0, double(paint.width), double(paint.height)}), paint.placing);
            if (holds(rectangle_around(tile), common(seen, rectangle_around(mapped_outline(shape, map))))) {
                paint.extend = Extend::kPad;
            }
        }
        paint.placing = paint.placing.then(m_placing);
        m_canvas.fill(mapped_outline(shape, map.then(m_placing)), rule, paint, m_smooth);
    }

    void stroke(const FlatNode& node, const Outline& shape, Paint paint, const Affine& map) {
        drawwork::Stroke line;
        line.width = node.number("stroke-width", 1);
        const std::string_view cap = node.get("stroke-linecap"), join = node.get("stroke-linejoin");
        line.cap = cap == "round"    ? drawwork::StrokeCap::kRound
                   : cap == "square" ? drawwork::StrokeCap::kSquare
                                     : drawwork::StrokeCap::kFlat;
        line.join = join == "round"   ? drawwork::StrokeJoin::kRound
                    : join == "bevel" ? drawwork::StrokeJoin::kBevel
                                      : drawwork::StrokeJoin::kMiter;
        line.miter_limit = node.number("stroke-miterlimit", 10);
        if (node.get("stroke-dasharray") != "none") {
            line.dashes = flat_numbers(node.get("stroke-dasharray"));
        }
        line.dash_offset = node.number("stroke-dashoffset");
        line.nib = map.then(m_placing);
        line.nib.dx = line.nib.dy = 0;
        paint.placing = paint.placing.then(m_placing);
        m_canvas.stroke(mapped_outline(shape, map.then(m_placing)), line, paint, m_smooth);
    }

    void draw_shape(const FlatNode& node, const Outline& shape, const Affine& map, const RectD& seen) {
        if (const auto paint = paint_of(node, "fill", map)) {
            fill(shape, rule_of(node.get("fill-rule")), *paint, map, seen);
        }
        if (const auto paint = paint_of(node, "stroke", map)) {
            stroke(node, shape, *paint, map);
        }
    }

    void draw_pixels(const FlatPixels& pixels, const Affine& map) {
        // Only what is not transparent.
        const auto visible = [](Argb pixel) { return pixel >> 24 != 0; };
        int32_t left = pixels.width, right = 0, top = pixels.height, bottom = 0;
        for (int32_t y = 0; y < pixels.height; ++y) {
            const Argb* row = pixels.pixels.data() + static_cast<size_t>(y) * static_cast<size_t>(pixels.width);
            const Argb* first = std::find_if(row, row + pixels.width, visible);
            if (first == row + pixels.width) {
                continue;
            }
            const auto last =
                std::find_if(std::make_reverse_iterator(row + pixels.width), std::make_reverse_iterator(row), visible);
            left = std::min(left, static_cast<int32_t>(first - row));
            right = std::max(right, static_cast<int32_t>(last.base() - row));
            top = std::min(top, y);
            bottom = y + 1;
        }
        if (right <= left) {
            return;
        }
        Paint paint;
        paint.kind = Paint::Kind::kTexture;
        paint.width = right - left;
        paint.height = bottom - top;
        for (int32_t y = top; y < bottom; ++y) {
            const Argb* row = pixels.pixels.data() + static_cast<size_t>(y) * static_cast<size_t>(pixels.width);
            paint.pixels.insert(paint.pixels.end(), row + left, row + right);
        }
        const double x = pixels.area.width / pixels.width, y = pixels.area.height / pixels.height;
        paint.placing = Affine{x, 0, 0, y, pixels.area.x + left * x, pixels.area.y + top * y}.then(map).then(m_placing);
        m_canvas.fill(
            mapped_outline(rectangle_outline({0, 0, double(paint.width), double(paint.height)}), paint.placing),
            FillRule::kWinding, paint, false);
    }

    // The area that an element and those inside of it can cover, behind `outer`, which leads out of the space that the
    // element lies in. Masks and filters of a flat document make it no larger. Nothing for an element that draws
    // nothing.
    std::optional<RectD> covered_by(const FlatNode& node, const Affine& outer) const {
        Affine map = flat_matrix(node.get("transform")).then(outer);
        if (node.name == "use") {
            map = Affine::translation(node.number("x"), node.number("y")).then(map);
            const FlatNode* target = m_tree.target(node.get("xlink:href"));
            return target != nullptr ? covered_by(*target, map) : std::nullopt;
        }
        if (node.name == "image") {
            const RectD area{node.number("x"), node.number("y"), node.number("width"), node.number("height")};
            return rectangle_around(mapped_outline(rectangle_outline(area), map));
        }
        if (node.name == "path" || node.name == "rect") {
            const RectD area = rectangle_around(mapped_outline(shape_of(node), map));
            const bool lined = !node.get("stroke").empty() && node.get("stroke") != "none";
            const double corner = std::max(2.0, node.number("stroke-miterlimit", 10));
            const double line = lined ? node.number("stroke-width", 1) / 2 * corner * map.largest_scale() : 0;
            return RectD{area.x - line, area.y - line, area.width + 2 * line, area.height + 2 * line};
        }
        std::optional<RectD> all;
        for (const auto& child : node.children) {
            if (const auto area = covered_by(*child, map)) {
                all = all ? around(*all, *area) : *area;
            }
        }
        return all;
    }

    // The definitions that an element refers to, and those that they refer to, in any order.
    void define(const FlatNode& node, std::set<const FlatNode*>& known, std::string& text) const {
        for (const auto& [key, value] : node.attributes) {
            const FlatNode* target = m_tree.target(value);
            if (target != nullptr && known.insert(target).second) {
                text += text_of(*target);
                define(*target, known, text);
            }
        }
        for (const auto& child : node.children) {
            define(*child, known, text);
        }
    }

    // The element alone, as pixels.
    void draw_as_pixels(const FlatNode& node, const Affine& map) {
        const auto back = map.inverse();
        const auto covered = covered_by(node, {});
        if (!back || !covered) {
            return;
        }
        const double edge = back->largest_scale();  // half-covered pixels lie outside
        const RectD area =
            common(rectangle_around(mapped_outline(rectangle_outline(m_page), *back)),
                   {covered->x - edge, covered->y - edge, covered->width + 2 * edge, covered->height + 2 * edge});
        if (area.width <= 0 || area.height <= 0) {
            return;
        }
        std::string text = "<svg xmlns=\"http://www.w3.org/2000/svg\" xmlns:xlink=\"http://www.w3.org/1999/xlink\">";
        std::set<const FlatNode*> known;
        text += "<defs>";
        define(node, known, text);
        text += "</defs>";
        text += text_of(node);
        text += "</svg>";
        draw_pixels(m_render.element(text, area), map);
    }

    void draw_children(const FlatNode& node, const Affine& map, const RectD& seen) {
        for (const auto& child : node.children) {
            draw(*child, map, seen);
        }
    }

    void draw_used(const FlatNode& node, Affine map, const RectD& seen) {
        const FlatNode* target = m_tree.target(node.get("xlink:href"));
        if (target == nullptr) {
            throw PictureError(Failure::kInternal, "the drawing cannot be taken apart: an element is missing");
        }
        map = Affine::translation(node.number("x"), node.number("y")).then(map);
        if (target->name == "symbol") {
            draw_children(*target, map, seen);
        } else {
            draw(*target, map, seen);
        }
    }

    // The shapes of a clip, as one outline of the page.
    Outline clip_outline(const FlatNode& clip, const Affine& map) const {
        Outline outline;
        for (const auto& child : clip.children) {
            const Affine own = flat_matrix(child->get("transform")).then(map);
            const Outline shape = mapped_outline(shape_of(*child), own);
            outline.insert(outline.end(), shape.begin(), shape.end());
        }
        return outline;
    }

    // The glyphs of a text are shapes that are used again and again.
    const Outline& shape_of(const FlatNode& node) const {
        const auto [shape, is_new] = m_shapes.try_emplace(&node);
        if (is_new) {
            shape->second = node.name == "rect" ? rectangle_outline({node.number("x"), node.number("y"),
                                                                     node.number("width"), node.number("height")})
                                                : flat_outline(node.get("d"));
        }
        return shape->second;
    }

    void draw(const FlatNode& node, const Affine& outer, const RectD& outer_seen) {
        if (node.name == "defs") {
            return;
        }
        if (is_hard(node)) {
            return draw_as_pixels(node, outer);
        }
        const Affine map = flat_matrix(node.get("transform")).then(outer);
        RectD seen = outer_seen;
        const FlatNode* clip = m_tree.target(node.get("clip-path"));
        const FlatNode* mask = m_tree.target(node.get("mask"));
        if (clip != nullptr) {
            const Outline outline = clip_outline(*clip, map);
            seen = common(seen, rectangle_around(outline));
            // A clip to the whole page is no clip.
            if (outline.size() == 1 && holds(rectangle_around(outline), m_page)) {
                clip = nullptr;
            } else {
                m_canvas.save();
                m_canvas.clip(mapped_outline(outline, m_placing), rule_of(node.get("clip-rule")), m_smooth);
            }
        }
        if (mask != nullptr) {
            m_canvas.begin_group();
        }
        draw_inside(node, map, seen);
        if (mask != nullptr) {
            m_canvas.end_group(*even_mask(*mask), drawwork::Blend::kOver);
        }
        if (clip != nullptr) {
            m_canvas.restore();
        }
    }

    void draw_inside(const FlatNode& node, const Affine& map, const RectD& seen) {
        if (node.name == "g") {
            draw_children(node, map, seen);
        } else if (node.name == "use") {
            draw_used(node, map, seen);
        } else if (node.name == "path" || node.name == "rect") {
            draw_shape(node, shape_of(node), map, seen);
        } else if (node.name == "image") {
            Paint paint = picture_of(node);
            paint.placing = Affine::translation(node.number("x"), node.number("y")).then(map);
            const Outline shape = rectangle_outline({0, 0, double(paint.width), double(paint.height)});
            const Affine place = paint.placing;
            fill(shape, FillRule::kWinding, std::move(paint), place, seen);
        } else {
            throw PictureError(Failure::kInternal, "the drawing cannot be taken apart: '" + node.name + "' is unknown");
        }
    }

    std::string_view m_document;
    FlatTree m_tree;
    Canvas& m_canvas;
    Affine m_placing;
    RectD m_page;
    bool m_smooth;
    const FlatRenderer& m_render;
    mutable std::map<const FlatNode*, Outline> m_shapes;
};

}  // namespace

Argb straight_color(Argb color) {
    const Argb alpha = color >> 24;
    if (alpha == 0 || alpha == 255) {
        return alpha == 0 ? 0 : color;
    }
    const auto part = [&](unsigned shift) {
        return std::min<Argb>(255, ((color >> shift & 255) * 255 + alpha / 2) / alpha) << shift;
    };
    return alpha << 24 | part(16) | part(8) | part(0);
}

void draw_flat_svg(std::string_view document, Canvas& canvas, const Affine& placing, double width, double height,
                   bool smooth, const FlatRenderer& render) {
    Player(document, canvas, placing, width, height, smooth, render).play();
}

}  // namespace zelmor::imagework
