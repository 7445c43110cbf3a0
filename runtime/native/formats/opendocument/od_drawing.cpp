// Pages and shapes; see od_drawing.h.
#include "runtime/native/formats/opendocument/od_drawing.h"

#include <algorithm>
#include <cmath>
#include <numeric>

#include "runtime/native/behaviors/drawing/outlines.h"
#include "runtime/native/formats/opendocument/od_geometry.h"
#include "runtime/native/formats/opendocument/od_scene.h"
#include "runtime/native/formats/opendocument/od_table.h"
#include "runtime/native/formats/opendocument/od_text.h"
#include "runtime/native/formats/opendocument/od_values.h"

namespace zelmor::embed {

namespace {

// A page without a layout: A4, upright.
constexpr PointD kUsualPage{210 * kPixelsOfMillimeter, 297 * kPixelsOfMillimeter};

constexpr double kHundredths = kPixelsOfMillimeter / 100;  // of a millimeter

const OdNode* master_of(const OdDocument& document, size_t index) {
    return document.master_page(document.pages()[index]->get("draw:master-page-name"));
}

double length_of(const OdNode& element, const char* attribute) {
    return od_length(element.get(attribute), 0);
}

// The outline of a path or polygon, from its view box to the size of the shape.
Outline fitted(Outline outline, const OdNode& shape, const OdShapePlace& place) {
    const RectD box = od_view_box(shape.get("svg:viewBox")).value_or(bounds_of(outline));
    const Affine map = Affine::translation(-box.x, -box.y)
                           .then(Affine::scaling(box.width != 0 ? place.width / box.width : 1,
                                                 box.height != 0 ? place.height / box.height : 1));
    return transformed(outline, map);
}

class PageDrawer {
 public:
    PageDrawer(OdCanvas& target, size_t page) : m_target(target), m_page(page) {}

    void children(const OdNode& element, OdScope scope, const Affine& placing) {
        for (const OdNode& each : element.children) {
            shape(each, scope, placing);
        }
    }

 private:
    void shape(const OdNode& element, OdScope scope, const Affine& placing) {
        if (!m_target.document.shows_layer(element.get("draw:layer")) || element.get("draw:display") == "none" ||
            element.get("draw:display") == "printer" || element.get("presentation:class") == "notes") {
            return;
        }
        if (element.is("draw:g") || element.is("draw:a")) {
            // A group draws in the space of the page.
            children(element, scope, placing);
            return;
        }
        OdStyle style = m_target.document.style(scope, "graphic", element.get("draw:style-name"));
        if (style.own("style:name").empty() && element.find("presentation:style-name") != nullptr) {
            style = m_target.document.style(scope, "presentation", element.get("presentation:style-name"));
        }
        if (element.is("draw:line")) {
            line(element, style, scope, placing);
        } else if (element.is("draw:connector")) {
            connector(element, style, scope, placing);
        } else if (element.is("draw:measure")) {
            measure(element, style, scope, placing);
        } else if (element.is("draw:frame")) {
            frame(element, style, scope, placing);
        } else if (element.is("dr3d:scene")) {
            draw_od_scene(m_target, element, scope, od_shape_place(element), placing);
        } else if (element.is("draw:custom-shape")) {
            custom_shape(element, style, scope, placing);
        } else {
            simple_shape(element, style, scope, placing);
        }
    }

    void text(const OdNode& element, const OdNode& shape, const OdStyle& style, OdScope scope, const RectD& area,
              const Affine& placing) {
        OdTextPlace place;
        place.scope = scope;
        place.shape = &style;
        place.paragraph_style = shape.get("draw:text-style-name");
        place.area = area;
        place.placing = placing;
        place.page_number = m_page + 1;
        draw_od_text(m_target, element, place);
    }

    void simple_shape(const OdNode& element, const OdStyle& style, OdScope scope, const Affine& placing) {
        OdShapePlace place = od_shape_place(element);
        Outline outline;
        bool filled = true;
        if (element.is("draw:rect") || element.is("draw:caption")) {
            outline = od_rectangle(element, place);
        } else if (element.is("draw:circle") || element.is("draw:ellipse")) {
            outline = od_ellipse(element, place);
            filled = element.get("draw:kind") != "arc";
        } else if (element.is("draw:polygon") || element.is("draw:polyline")) {
            const std::vector<PointD> points = od_points(element.get("draw:points"));
            filled = element.is("draw:polygon");
            if (points.size() > 1) {
                outline = fitted({polygon_contour(points, filled)}, element, place);
            }
        } else if (element.is("draw:path")) {
            outline = fitted(od_outline(element.get("svg:d")), element, place);
            // A path that is open everywhere is a line.
            filled = std::any_of(outline.begin(), outline.end(), [](const Contour& each) { return each.closed; });
        } else if (element.is("draw:regular-polygon")) {
            outline = regular_polygon(element, place);
        } else {
            return;
        }
        const Affine map = place.placing.then(placing);
        OdPainter painter(m_target, style);
        painter.shape(outline, map, filled, true);
        if (element.is("draw:caption") && element.find("draw:caption-point-x") != nullptr) {
            Contour pointer{
                {length_of(element, "draw:caption-point-x"), length_of(element, "draw:caption-point-y")}, {}, false};
            const PointD at = pointer.start;
            pointer.line_to({std::clamp(at.x, 0.0, place.width), std::clamp(at.y, 0.0, place.height)});
            painter.stroke({pointer}, map);
        }
        text(element, element, style, scope, {0, 0, place.width, place.height}, map);
    }

    static Outline regular_polygon(const OdNode& element, const OdShapePlace& place) {
        constexpr double kMostCorners = 1000;
        const int corners = static_cast<int>(std::clamp(od_number(element.get("draw:corners"), 3), 3.0, kMostCorners));
        const bool star = od_bool(element.get("draw:concave"), false);
        const double inner = 1 - std::clamp(od_percent(element.get("draw:sharpness")).value_or(0.5), 0.0, 1.0);
        std::vector<PointD> points;
        const int count = star ? 2 * corners : corners;
        for (int i = 0; i < count; i++) {
            const double angle = 2 * M_PI * i / count - M_PI / 2;
            const double radius = star && i % 2 == 1 ? inner : 1;
            points.push_back(
                {place.width / 2 * (1 + radius * std::cos(angle)), place.height / 2 * (1 + radius * std::sin(angle))});
        }
        return {polygon_contour(points, true)};
    }

    void open_line(const OdNode& element, const OdStyle& style, OdScope scope, const Outline& outline,
                   const Affine& placing) {
        OdPainter(m_target, style).shape(outline, placing, false, true);
        text(element, element, style, scope, bounds_of(outline), placing);
    }

    static Contour straight(PointD from, PointD to) {
        Contour contour{from, {}, false};
        contour.line_to(to);
        return contour;
    }

    void line(const OdNode& element, const OdStyle& style, OdScope scope, const Affine& placing) {
        const Outline outline{straight({length_of(element, "svg:x1"), length_of(element, "svg:y1")},
                                       {length_of(element, "svg:x2"), length_of(element, "svg:y2")})};
        open_line(element, style, scope, outline, od_transform(element.get("draw:transform")).then(placing));
    }

    // The end of a connector: stated, or at a shape.
    PointD connector_end(const OdNode& element, bool first) const {
        if (element.find(first ? "svg:x1" : "svg:x2") != nullptr) {
            return {length_of(element, first ? "svg:x1" : "svg:x2"), length_of(element, first ? "svg:y1" : "svg:y2")};
        }
        const OdNode* shape = m_target.document.shape(element.get(first ? "draw:start-shape" : "draw:end-shape"));
        if (shape == nullptr) {
            return {};
        }
        const OdShapePlace place = od_shape_place(*shape);
        // The usual points to glue a line at: in the middle of each side, clockwise from the top.
        const std::string_view glue = element.get(first ? "draw:start-glue-point" : "draw:end-glue-point");
        constexpr PointD kGlue[] = {{0.5, 0}, {1, 0.5}, {0.5, 1}, {0, 0.5}};
        const double index = od_number(glue, -1);
        const PointD at = index >= 0 && index < 4 ? kGlue[static_cast<size_t>(index)] : PointD{0.5, 0.5};
        return place.placing.apply({at.x * place.width, at.y * place.height});
    }

    void connector(const OdNode& element, const OdStyle& style, OdScope scope, const Affine& placing) {
        const PointD from = connector_end(element, true);
        const PointD to = connector_end(element, false);
        Outline outline = od_outline(element.get("svg:d"));
        if (!outline.empty()) {
            // Hundredths of a millimeter; the first point is the beginning of the line.
            const PointD start = outline.front().start * kHundredths;
            outline = transformed(outline, Affine::scaling(kHundredths, kHundredths)
                                               .then(Affine::translation(from.x - start.x, from.y - start.y)));
        } else {
            const std::string_view type = element.get("draw:type");
            Contour contour{from, {}, false};
            const double middle = (from.x + to.x) / 2;
            if (type == "curve") {
                contour.curve_to({middle, from.y}, {middle, to.y}, to);
            } else {
                if (type != "line" && type != "lines") {
                    contour.line_to({middle, from.y});
                    contour.line_to({middle, to.y});
                }
                contour.line_to(to);
            }
            outline = {contour};
        }
        open_line(element, style, scope, outline, od_transform(element.get("draw:transform")).then(placing));
    }

    // A line with two guides that shows a length.
    void measure(const OdNode& element, const OdStyle& style, OdScope scope, const Affine& placing) {
        const PointD from{length_of(element, "svg:x1"), length_of(element, "svg:y1")};
        const PointD to{length_of(element, "svg:x2"), length_of(element, "svg:y2")};
        const double length = (to - from).length();
        if (length == 0) {
            return;
        }
        const auto get = [&](const char* attribute, double otherwise) {
            return od_length(style.get("style:graphic-properties", attribute), otherwise);
        };
        const PointD along = (to - from) * (1 / length);
        const bool below = od_bool(style.get("style:graphic-properties", "draw:show-below"), false);
        const PointD aside = PointD{along.y, -along.x} * (below ? -1.0 : 1.0);
        const double distance = get("draw:line-distance", 8 * kPixelsOfMillimeter);
        const double overhang = get("draw:guide-overhang", 2 * kPixelsOfMillimeter);
        const double gap = get("draw:guide-distance", kPixelsOfMillimeter);
        const PointD offset = aside * distance;
        OdPainter painter(m_target, style);
        painter.stroke({straight(from + offset, to + offset)}, placing);
        OdStyle plain;  // guides have no arrows
        const auto guide = [&](PointD at, const char* more) {
            const double end = distance + overhang + get(more, 0);
            const double start = distance >= 0 ? gap : -gap;
            return straight(at + aside * start, at + aside * end);
        };
        const Outline guides{guide(from, "draw:start-guide"), guide(to, "draw:end-guide")};
        drawwork::Paint paint;
        paint.color = od_color(style.get("style:graphic-properties", "svg:stroke-color")).value_or(0xFF000000);
        drawwork::Stroke pen;
        pen.width = std::max(kPixelsOfMillimeter / 30, get("svg:stroke-width", 0));
        pen.nib = placing;
        pen.nib.dx = pen.nib.dy = 0;
        if (painter.has_stroke()) {
            m_target.canvas.stroke(transformed(guides, placing), pen, paint, m_target.smooth);
        }
        const double angle = std::atan2(along.y, along.x) * 180 / M_PI;
        const bool upside_down = std::abs(angle) > 90;
        const PointD middle = (from + to) * 0.5 + offset;
        const double room = 2 * kPixelsOfMillimeter * 10;
        const RectD area{-length / 2, -room, length, 2 * room};
        OdStyle centered = style;
        text(element, element, centered, scope, area,
             Affine::rotation(upside_down ? angle + 180 : angle)
                 .then(Affine::translation(middle.x, middle.y))
                 .then(placing));
    }

    void custom_shape(const OdNode& element, const OdStyle& style, OdScope scope, const Affine& placing) {
        const OdShapePlace place = od_shape_place(element);
        const Affine map = place.placing.then(placing);
        RectD area{0, 0, place.width, place.height};
        const OdNode* geometry = element.child("draw:enhanced-geometry");
        OdPainter painter(m_target, style);
        const bool has_path = geometry != nullptr && geometry->find("draw:enhanced-path") != nullptr;
        if (has_path) {
            const OdGeometry shape(*geometry, place.width, place.height);
            for (const OdSubshape& part : shape.subshapes()) {
                painter.shape(transformed(part.outline, shape.placing()), map, part.filled, part.stroked);
            }
            if (const auto box = shape.text_area()) {
                const PointD a = shape.placing().apply({box->x, box->y});
                const PointD b = shape.placing().apply({box->right(), box->bottom()});
                area = {std::min(a.x, b.x), std::min(a.y, b.y), std::abs(b.x - a.x), std::abs(b.y - a.y)};
            }
        } else {
            const bool round = geometry != nullptr && geometry->get("draw:type") == "ellipse";
            painter.shape({round ? ellipse_contour(area) : rectangle_contour(area)}, map, true, true);
        }
        text(element, element, style, scope, area, map);
    }

    // A frame shows the first of its children that can be shown.
    void frame(const OdNode& element, const OdStyle& style, OdScope scope, const Affine& placing) {
        const OdShapePlace place = od_shape_place(element);
        const Affine map = place.placing.then(placing);
        for (const OdNode& each : element.children) {
            if (each.is("draw:text-box")) {
                RectD area{0, 0, place.width, place.height};
                area.height = std::max(area.height, od_length(each.get("fo:min-height"), 0));
                area.width = std::max(area.width, od_length(each.get("fo:min-width"), 0));
                const OdShapePlace whole{area.width, area.height, place.placing};
                OdPainter(m_target, style).shape(od_rectangle(each, whole), map, true, true);
                text(each, element, style, scope, area, map);
                return;
            }
            if (each.is("table:table")) {
                draw_od_table(m_target, each, scope, place, map, m_page + 1);
                return;
            }
            if (each.is("draw:image")) {
                picture(each, style, place, map);
                text(each, element, style, scope, {0, 0, place.width, place.height}, map);
                return;
            }
        }
    }

    void picture(const OdNode& image, const OdStyle& style, const OdShapePlace& place, const Affine& map) {
        // "rect(top, right, bottom, left)" is cut from the picture, in the size that it has by itself.
        Affine unit = Affine::scaling(place.width, place.height).then(map);
        drawwork::Canvas& canvas = m_target.canvas;
        std::string_view cut = style.get("style:graphic-properties", "fo:clip");
        const auto decoded = decoded_picture(m_target, image);
        double sides[4] = {};
        bool is_cut = false;
        if (decoded != nullptr && cut.starts_with("rect(") && cut.ends_with(')')) {
            cut = cut.substr(5, cut.size() - 6);
            for (double& side : sides) {
                const size_t begin = std::min(cut.find_first_not_of(" ,"), cut.size());
                const size_t end = std::min(cut.find_first_of(" ,", begin), cut.size());
                side = od_length(cut.substr(begin, end - begin), 0);
                is_cut = is_cut || side != 0;
                cut.remove_prefix(end);
            }
        }
        const double opacity =
            od_percent(style.get("style:graphic-properties", "draw:image-opacity"))
                .value_or(od_percent(style.get("style:graphic-properties", "draw:opacity")).value_or(1));
        if (is_cut) {
            const double width = decoded->width, height = decoded->height;
            const double left = sides[3] / width, top = sides[0] / height;
            const double across = 1 - left - sides[1] / width, down = 1 - top - sides[2] / height;
            if (across > 0 && down > 0) {
                canvas.save();
                canvas.clip(transformed({rectangle_contour({0, 0, 1, 1})}, unit), FillRule::kAlternate,
                            m_target.smooth);
                unit = Affine::translation(-left, -top).then(Affine::scaling(1 / across, 1 / down)).then(unit);
                draw_od_picture(m_target, image, unit, opacity);
                canvas.restore();
                return;
            }
        }
        draw_od_picture(m_target, image, unit, opacity);
    }

    OdCanvas& m_target;
    size_t m_page;
};

}  // namespace

PointD od_page_size(const OdDocument& document, size_t index) {
    const OdNode* master = master_of(document, index);
    const OdNode* layout = master != nullptr ? document.page_layout(*master) : nullptr;
    if (layout == nullptr) {
        return kUsualPage;
    }
    const double width = od_length(layout->get("fo:page-width"), 0);
    const double height = od_length(layout->get("fo:page-height"), 0);
    return {width > 0 ? width : kUsualPage.x, height > 0 ? height : kUsualPage.y};
}

OdShapePlace od_shape_place(const OdNode& shape) {
    OdShapePlace place;
    PointD at{length_of(shape, "svg:x"), length_of(shape, "svg:y")};
    place.width = std::abs(length_of(shape, "svg:width"));
    place.height = std::abs(length_of(shape, "svg:height"));
    if (shape.find("svg:cx") != nullptr && shape.find("svg:width") == nullptr) {
        const double radius = length_of(shape, "svg:r");
        const PointD radii{radius != 0 ? radius : length_of(shape, "svg:rx"),
                           radius != 0 ? radius : length_of(shape, "svg:ry")};
        at = {length_of(shape, "svg:cx") - radii.x, length_of(shape, "svg:cy") - radii.y};
        place.width = 2 * std::abs(radii.x);
        place.height = 2 * std::abs(radii.y);
    }
    place.placing = Affine::translation(at.x, at.y).then(od_transform(shape.get("draw:transform")));
    return place;
}

Outline od_rectangle(const OdNode& shape, const OdShapePlace& place) {
    double rx = od_length(shape.get("svg:rx"), -1);
    double ry = od_length(shape.get("svg:ry"), -1);
    const double corner = od_length(shape.get("draw:corner-radius"), 0);
    rx = rx < 0 ? (ry < 0 ? corner : ry) : rx;
    ry = ry < 0 ? rx : ry;
    rx = std::min(rx, place.width / 2);
    ry = std::min(ry, place.height / 2);
    const RectD box{0, 0, place.width, place.height};
    if (rx <= 0 || ry <= 0) {
        return {rectangle_contour(box)};
    }
    Contour contour{{rx, 0}, {}, true};
    const auto corner_at = [&](double x, double y, double start) {
        const Contour arc = arc_contour({x, y, 2 * rx, 2 * ry}, start, 90, false);
        contour.line_to(arc.start);
        contour.segments.insert(contour.segments.end(), arc.segments.begin(), arc.segments.end());
    };
    corner_at(box.width - 2 * rx, 0, -90);
    corner_at(box.width - 2 * rx, box.height - 2 * ry, 0);
    corner_at(0, box.height - 2 * ry, 90);
    corner_at(0, 0, 180);
    return {contour};
}

Outline od_ellipse(const OdNode& shape, const OdShapePlace& place) {
    const RectD box{0, 0, place.width, place.height};
    const std::string_view kind = shape.get("draw:kind");
    if (kind.empty() || kind == "full") {
        return {ellipse_contour(box)};
    }
    // Angles are counterclockwise.
    const double start = od_angle(shape.get("draw:start-angle"), 1);
    double sweep = std::fmod(od_angle(shape.get("draw:end-angle"), 1) - start, 360);
    if (sweep <= 0) {
        sweep += 360;
    }
    if (kind == "section") {
        return {pie_contour(box, -start, -sweep)};
    }
    return {arc_contour(box, -start, -sweep, kind == "cut")};
}

void draw_od_page(OdCanvas& target, size_t index, const Affine& placing) {
    const OdDocument& document = target.document;
    const OdNode& page = *document.pages()[index];
    const OdNode* master = master_of(document, index);
    const PointD size = od_page_size(document, index);
    const char* const kPage = "style:drawing-page-properties";
    OdStyle style = document.style(OdScope::kContent, "drawing-page", page.get("draw:style-name"));
    OdStyle master_style;
    if (master != nullptr) {
        master_style = document.style(OdScope::kMaster, "drawing-page", master->get("draw:style-name"));
    }
    // A page has the background of its master page unless it has one of its own.
    const bool own = style.find(kPage, "draw:fill") != nullptr && style.get(kPage, "draw:fill") != "none";
    const OdStyle& background = own ? style : master_style;
    if (style.get(kPage, "presentation:background-visible") != "false" || own) {
        OdPainter(target, background, kPage).fill({rectangle_contour({0, 0, size.x, size.y})}, placing);
    }
    PageDrawer drawer(target, index);
    if (master != nullptr && style.get(kPage, "presentation:background-objects-visible") != "false") {
        drawer.children(*master, OdScope::kMaster, placing);
    }
    drawer.children(page, OdScope::kContent, placing);
}

}  // namespace zelmor::embed
