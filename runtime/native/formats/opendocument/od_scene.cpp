// Faces, lights and the camera of a scene; see od_scene.h.
#include "runtime/native/formats/opendocument/od_scene.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <string>
#include <vector>

#include "runtime/native/behaviors/drawing/outlines.h"
#include "runtime/native/formats/opendocument/od_shading.h"
#include "runtime/native/formats/opendocument/od_values.h"
#include "runtime/native/imagework/limits.h"
#include "runtime/native/imagework/picture_error.h"

namespace zelmor::embed {

using drawwork::Argb;

namespace {

constexpr const char* kSurface = "style:graphic-properties";
constexpr const char* kSceneElement = "dr3d:scene";
// Of a curve that is extruded or rotated, in units.
constexpr double kFlatness = 10;
constexpr int kUsualSegments = 24;
constexpr int kMostSegments = 256;
constexpr double kUsualDepth = 1000;
constexpr double kUsualShininess = 0.15;
// Faces that meet are a little larger, so that nothing shines through between them; in pixels of the canvas.
constexpr double kOverlap = 0.6;

using Color3 = std::array<double, 3>;

Color3 color_of(std::string_view text, Argb otherwise) {
    const Argb color = od_color(text).value_or(otherwise);
    return {(color >> 16 & 0xFF) / 255.0, (color >> 8 & 0xFF) / 255.0, (color & 0xFF) / 255.0};
}

// How a shape looks.
struct Surface {
    Color3 color{}, emissive{}, specular{};
    double shininess = kUsualShininess;
    double opacity = 1;
    bool filled = true;
    bool stroked = false;
    bool curved = true;  // faces that meet at a blunt angle are parts of one surface
    Argb line = 0xFF000000;
    double line_width = 0;
};

using Face = OdFace;

struct Light {
    Color3 color;
    Point3 direction;
    bool specular = false;
};

class Scene {
 public:
    Scene(OdCanvas& target, OdScope scope) : m_target(target), m_scope(scope) {}

    // Collects the shapes of a scene, and of the scenes in it.
    void add(const OdNode& element, const Map3& map) {
        for (const OdNode& each : element.children) {
            const Map3 own = od_transform3(each.get("dr3d:transform")).then(map);
            if (each.is(kSceneElement)) {
                add(each, own);
                continue;
            }
            if (!each.is("dr3d:cube") && !each.is("dr3d:sphere") && !each.is("dr3d:extrude") &&
                !each.is("dr3d:rotate")) {
                continue;
            }
            const OdStyle style = m_target.document.style(m_scope, "graphic", each.get("draw:style-name"));
            m_surfaces.push_back(surface_of(style));
            m_map = own;
            if (each.is("dr3d:cube")) {
                cube(each);
            } else if (each.is("dr3d:sphere")) {
                sphere(each, style);
            } else if (each.is("dr3d:extrude")) {
                extrude(each, style);
            } else {
                rotate(each, style);
            }
        }
    }

    void draw(const OdNode& scene, const OdShapePlace& place, const Affine& placing) {
        if (m_faces.empty() || !take_camera(scene, place)) {
            return;
        }
        take_lights(scene);
        take_shading(scene);
        for (Face& face : m_faces) {
            double sum = 0;
            for (const Point3& corner : face.contours[0]) {
                sum += (m_eye - corner).length();
            }
            face.distance = sum / static_cast<double>(face.contours[0].size());
        }
        std::stable_sort(m_faces.begin(), m_faces.end(),
                         [](const Face& a, const Face& b) { return a.distance > b.distance; });
        const Affine map = place.placing.then(placing);
        for (const Face& face : m_faces) {
            draw_face(face, map);
        }
    }

 private:
    Surface surface_of(const OdStyle& style) const {
        const auto get = [&](const char* attribute) { return style.get(kSurface, attribute); };
        Surface surface;
        constexpr Argb kUsualFill = 0xFF729FCF;
        const auto own = od_color(get("draw:fill-color"));
        surface.color = own ? color_of(get("draw:fill-color"), 0) : color_of(get("dr3d:diffuse-color"), kUsualFill);
        surface.emissive = color_of(get("dr3d:emissive-color"), 0);
        surface.specular = color_of(get("dr3d:specular-color"), 0xFFFFFFFF);
        surface.shininess = od_percent(get("dr3d:shininess")).value_or(kUsualShininess);
        surface.opacity = std::clamp(od_percent(get("draw:opacity")).value_or(1), 0.0, 1.0);
        surface.filled = get("draw:fill") != "none";
        surface.curved = get("dr3d:normals-kind") != "flat";
        surface.stroked = OdPainter(m_target, style).has_stroke();
        surface.line = od_color(get("svg:stroke-color")).value_or(0xFF000000);
        surface.line_width = od_length(get("svg:stroke-width"), 0);
        return surface;
    }

    void add_face(std::vector<std::vector<Point3>> contours) {
        if (m_faces.size() >= static_cast<size_t>(imagework::limits::kFillSteps)) {
            throw imagework::PictureError(imagework::Failure::kTooLarge, "a scene of the document has too many faces");
        }
        Face face;
        face.surface = m_surfaces.size() - 1;
        for (auto& contour : contours) {
            for (Point3& corner : contour) {
                widen(corner);
                corner = m_map.apply(corner);
            }
        }
        face.contours = std::move(contours);
        m_faces.push_back(std::move(face));
    }

    // The box around all shapes, in the space of the scene, by the boxes of the shapes.
    void widen(const Point3& corner) {
        const Point3 at = m_map.apply(corner);
        if (!m_any) {
            m_least = m_most = at;
            m_any = true;
        }
        m_least = {std::min(m_least.x, at.x), std::min(m_least.y, at.y), std::min(m_least.z, at.z)};
        m_most = {std::max(m_most.x, at.x), std::max(m_most.y, at.y), std::max(m_most.z, at.z)};
    }

    void cube(const OdNode& element) {
        const Point3 a = od_point3(element.get("dr3d:min-edge"), {-2500, -2500, -2500});
        const Point3 b = od_point3(element.get("dr3d:max-edge"), {2500, 2500, 2500});
        const auto corner = [&](int i) {
            return Point3{(i & 1) != 0 ? b.x : a.x, (i & 2) != 0 ? b.y : a.y, (i & 4) != 0 ? b.z : a.z};
        };
        constexpr int kSides[6][4] = {{0, 1, 3, 2}, {4, 5, 7, 6}, {0, 1, 5, 4},
                                      {2, 3, 7, 6}, {0, 2, 6, 4}, {1, 3, 7, 5}};
        for (const auto& side : kSides) {
            add_face({{corner(side[0]), corner(side[1]), corner(side[2]), corner(side[3])}});
        }
    }

    static int segments(const OdStyle& style, const char* attribute) {
        const double count = od_number(style.get(kSurface, attribute), kUsualSegments);
        return static_cast<int>(std::clamp(count, 3.0, static_cast<double>(kMostSegments)));
    }

    void sphere(const OdNode& element, const OdStyle& style) {
        const Point3 center = od_point3(element.get("dr3d:center"), {});
        const Point3 radii = od_point3(element.get("dr3d:size"), {5000, 5000, 5000}) * 0.5;
        const int around = segments(style, "dr3d:horizontal-segments");
        const int down = segments(style, "dr3d:vertical-segments");
        const auto at = [&](int i, int j) {
            const double turn = 2 * M_PI * i / around, rise = M_PI * j / down;
            return center + Point3{radii.x * std::sin(rise) * std::cos(turn), radii.y * std::cos(rise),
                                   radii.z * std::sin(rise) * std::sin(turn)};
        };
        for (int j = 0; j < down; j++) {
            for (int i = 0; i < around; i++) {
                add_face({{at(i, j), at(i + 1, j), at(i + 1, j + 1), at(i, j + 1)}});
            }
        }
    }

    // The outline of a shape, whose y points up.
    static Outline outline_of(const OdNode& element) { return flattened(od_outline(element.get("svg:d")), kFlatness); }
    static std::vector<Point3> corners_of(const Contour& contour, double z) {
        std::vector<Point3> corners{{contour.start.x, contour.start.y, z}};
        for (const Segment& segment : contour.segments) {
            corners.push_back({segment.end.x, segment.end.y, z});
        }
        const Point3 closing = corners.back() - corners.front();
        if (corners.size() > 1 && closing.x == 0 && closing.y == 0) {
            corners.pop_back();
        }
        return corners;
    }

    void extrude(const OdNode& element, const OdStyle& style) {
        const double depth = od_length3(style.get(kSurface, "dr3d:depth"), kUsualDepth);
        std::vector<std::vector<Point3>> back, front;
        for (const Contour& contour : outline_of(element)) {
            back.push_back(corners_of(contour, 0));
            front.push_back(corners_of(contour, depth));
            const size_t count = back.back().size();
            for (size_t i = 0; count > 1 && i < count; i++) {
                const size_t next = (i + 1) % count;
                add_face({{back.back()[i], back.back()[next], front.back()[next], front.back()[i]}});
            }
        }
        const auto is_flat = [](const std::vector<Point3>& contour) { return contour.size() < 3; };
        std::erase_if(back, is_flat);
        std::erase_if(front, is_flat);
        if (!back.empty()) {
            add_face(std::move(back));
            add_face(std::move(front));
        }
    }

    // Around the y-axis.
    void rotate(const OdNode& element, const OdStyle& style) {
        const int steps = segments(style, "dr3d:horizontal-segments");
        const std::string_view stated = style.get(kSurface, "dr3d:end-angle");
        const double sweep = stated.empty() ? 360 : std::clamp(od_angle(stated, 0.1), -360.0, 360.0);
        const auto turned = [&](const Point3& p, int i) {
            const double angle = sweep * M_PI / 180 * i / steps;
            return Point3{p.x * std::cos(angle), p.y, -p.x * std::sin(angle)};
        };
        std::vector<std::vector<Point3>> begin, end;
        for (const Contour& contour : outline_of(element)) {
            const std::vector<Point3> corners = corners_of(contour, 0);
            const size_t lines = contour.closed ? corners.size() : corners.size() - 1;
            for (size_t k = 0; k < lines; k++) {
                const Point3& a = corners[k];
                const Point3& b = corners[(k + 1) % corners.size()];
                for (int i = 0; i < steps; i++) {
                    add_face({{turned(a, i), turned(b, i), turned(b, i + 1), turned(a, i + 1)}});
                }
            }
            if (contour.closed && corners.size() > 2) {
                begin.push_back(corners);
                end.push_back(corners);
                for (Point3& corner : end.back()) {
                    corner = turned(corner, steps);
                }
            }
        }
        if (!begin.empty() && std::abs(sweep) < 360) {
            add_face(std::move(begin));
            add_face(std::move(end));
        }
    }

    // The box around the shapes, as the camera sees it, fills the place of the scene. False for an empty view.
    bool take_camera(const OdNode& scene, const OdShapePlace& place) {
        const Map3 map = od_transform3(scene.get("dr3d:transform"));
        constexpr double kUsualDistance = 10000;
        m_eye = od_point3(scene.get("dr3d:vrp"), {0, 0, kUsualDistance});
        m_back = od_point3(scene.get("dr3d:vpn"), {0, 0, 1}).normalized();
        const Point3 up = od_point3(scene.get("dr3d:vup"), {0, 1, 0});
        m_right = up.cross(m_back).normalized();
        m_up = m_back.cross(m_right);
        m_parallel = scene.get("dr3d:projection") == "parallel";
        for (Face& face : m_faces) {
            for (auto& contour : face.contours) {
                for (Point3& corner : contour) {
                    corner = map.apply(corner);
                }
            }
            // The sum over the corners is right for every polygon, also where corners coincide.
            const auto& outer = face.contours[0];
            for (size_t i = 0; i < outer.size(); i++) {
                face.normal = face.normal + (outer[i] - outer[0]).cross(outer[(i + 1) % outer.size()] - outer[0]);
            }
            face.normal = face.normal.normalized();
        }
        std::vector<PointD> seen;
        for (int i = 0; i < 8; i++) {
            const Point3 corner{(i & 1) != 0 ? m_most.x : m_least.x, (i & 2) != 0 ? m_most.y : m_least.y,
                                (i & 4) != 0 ? m_most.z : m_least.z};
            seen.push_back(projected(map.apply(corner)));
        }
        const RectD box = bounds_of(seen);
        if (!(box.width > 0) || !(box.height > 0) || !std::isfinite(box.width) || !std::isfinite(box.height)) {
            return false;
        }
        m_view = Affine::translation(-box.x, -box.y)
                     .then(Affine::scaling(place.width / box.width, place.height / box.height));
        return true;
    }

    // y points down.
    PointD projected(const Point3& at) const {
        const Point3 from_eye = at - m_eye;
        const PointD flat{from_eye.dot(m_right), -from_eye.dot(m_up)};
        if (m_parallel) {
            return flat;
        }
        // What is beside or behind the camera is as near as it gets.
        constexpr double kNearest = 1;
        return flat * (1 / std::max(kNearest, -from_eye.dot(m_back)));
    }

    void take_lights(const OdNode& scene) {
        m_ambient = color_of(scene.get("dr3d:ambient-color"), 0xFF666666);
        bool any = false;
        for (const OdNode& each : scene.children) {
            if (each.is("dr3d:light")) {
                any = true;
                if (od_bool(each.get("dr3d:enabled"), true)) {
                    m_lights.push_back({color_of(each.get("dr3d:diffuse-color"), 0xFFFFFFFF),
                                        od_point3(each.get("dr3d:direction"), {0, 0, 1}).normalized(),
                                        od_bool(each.get("dr3d:specular"), false)});
                }
            }
        }
        if (!any) {
            m_lights.push_back({color_of({}, 0xFFCCCCCC), Point3{1, 1, 1}.normalized(), true});
        }
    }

    void take_shading(const OdNode& scene) {
        const std::string_view mode = scene.get("dr3d:shade-mode");
        if (mode == "flat" || mode == "draft") {
            return;
        }
        m_exact = mode == "phong";
        add_corner_normals(m_faces, [&](size_t index) {
            const Surface& surface = m_surfaces[index];
            return surface.curved && surface.filled && surface.opacity >= 1;
        });
    }

    // Whether the side is seen from which the normal points away.
    bool is_back(const Face& face) const {
        const Point3 to_eye = m_parallel ? m_back : m_eye - face.contours[0][0];
        return face.normal.dot(to_eye) < 0;
    }

    Color3 lit(const Surface& surface, const Point3& normal) const {
        Color3 color = surface.emissive;
        for (size_t i = 0; i < color.size(); i++) {
            color[i] += surface.color[i] * m_ambient[i];
        }
        for (const Light& light : m_lights) {
            const double cosine = normal.dot(light.direction);
            if (cosine <= 0) {
                continue;
            }
            double shine = 0;
            if (light.specular) {
                const double half = normal.dot((light.direction + m_back).normalized());
                constexpr double kSharpest = 128;
                shine = half > 0 ? std::pow(half, std::max(1.0, surface.shininess * kSharpest)) : 0;
            }
            for (size_t i = 0; i < color.size(); i++) {
                color[i] += surface.color[i] * light.color[i] * cosine + surface.specular[i] * shine;
            }
        }
        for (double& part : color) {
            part = std::clamp(part, 0.0, 1.0);
        }
        return color;
    }

    static Argb argb_of(const Color3& color) {
        Argb result = 0xFF;
        for (const double part : color) {
            result = result << 8 | static_cast<Argb>(std::lround(255 * part));
        }
        return result;
    }

    // A face of a curved surface, in parts of one color that are hardly told apart.
    void draw_curved(const Face& face, const Affine& map) {
        const Surface& surface = m_surfaces[face.surface];
        const double side = is_back(face) ? -1 : 1;
        std::array<Color3, 4> colors;
        double difference = 0;
        for (size_t i = 0; i < colors.size(); ++i) {
            colors[i] = lit(surface, face.corner_normals[i] * side);
            for (size_t part = 0; part < 3; ++part) {
                difference = std::max(difference, std::abs(colors[i][part] - colors[0][part]));
            }
        }
        constexpr double kToldApart = 3 / 255.0;
        constexpr int kMostSteps = 8;
        const int steps = std::clamp(static_cast<int>(std::ceil(difference / kToldApart)), m_exact ? 2 : 1, kMostSteps);
        const std::vector<Point3>& normals = face.corner_normals;
        for_facets(face, steps, [&](const OdFacet& facet) {
            Color3 color;
            if (m_exact) {
                const Point3 normal = between(normals[0], normals[1], normals[2], normals[3], facet.across, facet.down);
                color = lit(surface, normal.normalized() * side);
            } else {
                for (size_t part = 0; part < color.size(); ++part) {
                    color[part] = between(colors[0][part], colors[1][part], colors[2][part], colors[3][part],
                                          facet.across, facet.down);
                }
            }
            fill({polygon_contour(shown(facet.corners, map), true)}, argb_of(color), true);
        });
    }

    std::vector<PointD> shown(std::span<const Point3> corners, const Affine& map) const {
        std::vector<PointD> points;
        for (const Point3& corner : corners) {
            points.push_back(map.apply(m_view.apply(projected(corner))));
        }
        return points;
    }

    void fill(const Outline& outline, Argb color, bool grown) {
        drawwork::Paint paint;
        paint.color = color;
        m_target.canvas.fill(outline, FillRule::kAlternate, paint, m_target.smooth);
        if (grown && m_target.smooth) {
            drawwork::Stroke pen;
            pen.join = drawwork::StrokeJoin::kBevel;
            pen.width = kOverlap;
            m_target.canvas.stroke(outline, pen, paint, true);
        }
    }

    void draw_face(const Face& face, const Affine& map) {
        Outline outline;
        for (const auto& contour : face.contours) {
            outline.push_back(polygon_contour(shown(contour, map), true));
        }
        const Surface& surface = m_surfaces[face.surface];
        if (!face.corner_normals.empty()) {
            draw_curved(face, map);
        } else if (surface.filled && surface.opacity > 0) {
            Argb color = argb_of(lit(surface, face.normal * (is_back(face) ? -1 : 1)));
            if (surface.opacity < 1) {
                color = (color & 0xFFFFFF) | static_cast<Argb>(std::lround(255 * surface.opacity)) << 24;
            }
            fill(outline, color, surface.opacity >= 1 && !surface.stroked);
        }
        if (surface.stroked) {
            drawwork::Paint paint;
            drawwork::Stroke pen;
            pen.join = drawwork::StrokeJoin::kBevel;
            paint.color = surface.line;
            pen.width = std::max(1.0, surface.line_width * map.mean_scale());
            m_target.canvas.stroke(outline, pen, paint, m_target.smooth);
        }
    }

    OdCanvas& m_target;
    OdScope m_scope;
    Map3 m_map;
    std::vector<Surface> m_surfaces;
    std::vector<Face> m_faces;
    std::vector<Light> m_lights;
    Color3 m_ambient{};
    bool m_any = false;
    Point3 m_least, m_most;
    Point3 m_eye, m_back, m_right, m_up;
    bool m_parallel = false;
    bool m_exact = false;  // each part of a curved face is lit by itself, not its corners alone
    Affine m_view;
};

}  // namespace

void draw_od_scene(OdCanvas& target, const OdNode& scene, OdScope scope, const OdShapePlace& place,
                   const Affine& placing) {
    Scene drawn(target, scope);
    drawn.add(scene, {});
    drawn.draw(scene, place, placing);
}

}  // namespace zelmor::embed
