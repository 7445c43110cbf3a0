// Shapes, figures and paths: their outlines and transformations. The members of the API are in shape_members.cpp and
// paths.cpp.
#include "runtime/native/behaviors/drawing/shapes.h"

#include <algorithm>

#include "runtime/native/core/enumeration_properties.h"
#include "runtime/native/core/references.h"
#include "runtime/native/core/text.h"
#include "runtime/native/core/type_system.h"

namespace zelmor::embed {

namespace {

template <class T>
Ref<T> copy_of(const T& object) {
    return Ref<T>(&cast_object<T>(*object.copy()));
}

}  // namespace

// ---- Framed shapes

FramedShape::FramedShape(const TypeInfo& type)
    : ShapeObject(type),
      m_kind(is_a(type, api::Shapes::TextShape::kType)      ? Kind::kText
             : is_a(type, api::Shapes::ArcShape::kType)     ? Kind::kArc
             : is_a(type, api::Shapes::PieShape::kType)     ? Kind::kPie
             : is_a(type, api::Shapes::EllipseShape::kType) ? Kind::kEllipse
                                                            : Kind::kRectangle) {}

void FramedShape::set_rectangle(const RectD& rect) {
    left_top = {rect.x, rect.y};
    right_top = {rect.right(), rect.y};
    left_bottom = {rect.x, rect.bottom()};
}

RectD FramedShape::size() const {
    return {0, 0, (right_top - left_top).length(), (left_bottom - left_top).length()};
}

Affine FramedShape::placing() const {
    const RectD frame = size();
    const auto to_unit = Affine::scaling(frame.width, frame.height).inverse();
    if (!to_unit) {
        return Affine::translation(left_top.x, left_top.y);
    }
    return to_unit->then(Affine::of_corners(left_top, right_top, left_bottom));
}

Outline FramedShape::outline() const {
    const RectD frame = size();
    // The corners as they are: the way through the unit square would change their last bits.
    if (m_kind == Kind::kRectangle) {
        const std::vector<PointD> corners{left_top, right_top, right_bottom(), left_bottom};
        return {polygon_contour(corners, true)};
    }
    if (m_kind == Kind::kText) {
        return text_outline(*this);
    }
    Contour contour;
    if (m_kind == Kind::kEllipse) {
        contour = ellipse_contour(frame);
    } else {
        const double start = property_double(*this, "StartAngle"), sweep = property_double(*this, "SweepAngle");
        contour = m_kind == Kind::kPie ? pie_contour(frame, start, sweep)
                                       : arc_contour(frame, start, sweep, property_bool(*this, "IsClosed"));
    }
    return transformed({contour}, placing());
}

void FramedShape::transform(const Affine& map) {
    left_top = map.apply(left_top);
    right_top = map.apply(right_top);
    left_bottom = map.apply(left_bottom);
}

RectD FramedShape::bounds() const {
    if (m_kind != Kind::kText && m_kind != Kind::kRectangle) {
        return ShapeObject::bounds();
    }
    return bounds_of(std::vector<PointD>{left_top, right_top, right_bottom(), left_bottom});
}

bool FramedShape::has_segments() const {
    if (m_kind != Kind::kText) {
        return true;
    }
    return !property_string(*this, "Text").value_or(u"").empty();
}

void FramedShape::reverse() {
    if (m_kind != Kind::kArc) {
        return;
    }
    const double start = property_double(*this, "StartAngle"), sweep = property_double(*this, "SweepAngle");
    set_property(*this, "StartAngle", start + sweep);
    set_property(*this, "SweepAngle", -sweep);
}

Ref<ManagedObject> FramedShape::copy() const {
    auto twin = make_ref<FramedShape>(type());
    twin->assign_from(*this);
    twin->left_top = left_top;
    twin->right_top = right_top;
    twin->left_bottom = left_bottom;
    return twin;
}

// ---- Shapes of points

PointsShape::PointsShape(const TypeInfo& type)
    : ShapeObject(type),
      m_kind(is_a(type, api::Shapes::BezierShape::kType)  ? Kind::kBezier
             : is_a(type, api::Shapes::CurveShape::kType) ? Kind::kCurve
                                                          : Kind::kPolygon) {}

std::vector<PointD> PointsShape::points() const {
    return points_of(property(*this, "Points"));
}

void PointsShape::set_points(const std::vector<PointD>& points) {
    set_property(*this, "Points", Value(Ref<ManagedObject>(point_array(points))));
}

Outline PointsShape::outline() const {
    const std::vector<PointD> corners = points();
    if (corners.empty()) {
        return {};
    }
    const bool closed = property_bool(*this, "IsClosed");
    switch (m_kind) {
        case Kind::kBezier:
            return {bezier_contour(corners, closed)};
        case Kind::kCurve:
            return {spline_contour(corners, property_double(*this, "Tension"), closed)};
        case Kind::kPolygon:
            break;
    }
    return {polygon_contour(corners, closed)};
}

void PointsShape::transform(const Affine& map) {
    std::vector<PointD> moved = points();
    for (PointD& point : moved) {
        point = map.apply(point);
    }
    if (!moved.empty()) {
        set_points(moved);
    }
}

void PointsShape::reverse() {
    std::vector<PointD> turned = points();
    std::reverse(turned.begin(), turned.end());
    if (!turned.empty()) {
        set_points(turned);
    }
}

// ---- Figures

Outline FigureObject::outline() const {
    Outline result;
    bool joins = false;  // whether the next open shape continues the last contour
    for (const auto& shape : shapes) {
        for (const Contour& contour : shape->outline()) {
            if (joins && !contour.closed) {
                if (result.back().end() != contour.start) {
                    result.back().line_to(contour.start);
                }
                auto& segments = result.back().segments;
                segments.insert(segments.end(), contour.segments.begin(), contour.segments.end());
                continue;
            }
            result.push_back(contour);
            joins = !contour.closed;
        }
    }
    if (property_bool(*this, "IsClosed")) {
        for (Contour& contour : result) {
            contour.closed = true;
        }
    }
    return result;
}

void FigureObject::transform(const Affine& map) {
    for (const auto& shape : shapes) {
        shape->transform(map);
    }
}

void FigureObject::reverse() {
    std::reverse(shapes.begin(), shapes.end());
    for (const auto& shape : shapes) {
        shape->reverse();
    }
}

void FigureObject::references(ReferenceVisitor& visitor) {
    OutlinedObject::references(visitor);
    visitor(shapes);
}

Ref<ManagedObject> FigureObject::copy() const {
    auto twin = make_ref<FigureObject>(type());
    twin->assign_from(*this);
    for (const auto& shape : shapes) {
        twin->shapes.push_back(copy_of(*shape));
    }
    return twin;
}

// ---- Paths

Outline PathObject::outline() const {
    Outline result;
    for (const auto& figure : figures) {
        Outline part = figure->outline();
        result.insert(result.end(), part.begin(), part.end());
    }
    return result;
}

void PathObject::transform(const Affine& map) {
    for (const auto& figure : figures) {
        figure->transform(map);
    }
}

FillRule PathObject::fill_rule() const {
    const auto mode = property_enum<api::FillMode>(*this, "FillMode");
    return mode == api::FillMode::kWinding ? FillRule::kWinding : FillRule::kAlternate;
}

void PathObject::become(const Outline& polygons) {
    figures.clear();
    for (const Contour& contour : polygons) {
        std::vector<PointD> points{contour.start};
        for (const Segment& segment : contour.segments) {
            points.push_back(segment.end);
        }
        auto shape = make_ref<PointsShape>(require_type(PointsShape::kManagedName));
        shape->set_points(points);
        set_property(*shape, "IsClosed", contour.closed);
        auto figure = make_ref<FigureObject>();
        figure->shapes.emplace_back(shape);
        figures.push_back(figure);
    }
}

void PathObject::references(ReferenceVisitor& visitor) {
    OutlinedObject::references(visitor);
    visitor(figures);
}

Ref<ManagedObject> PathObject::copy() const {
    auto twin = make_ref<PathObject>(type());
    twin->assign_from(*this);
    for (const auto& figure : figures) {
        twin->figures.push_back(copy_of(*figure));
    }
    return twin;
}

}  // namespace zelmor::embed
