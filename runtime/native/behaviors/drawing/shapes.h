// Shapes, the figures that hold them and the paths that hold figures.
//
// A shape knows its outline; bounds, segments and hit tests follow from that. A figure joins its open shapes: a line
// leads from the end of one to the start of the next.
#ifndef ZELMOR_RUNTIME_NATIVE_BEHAVIORS_DRAWING_SHAPES_H
#define ZELMOR_RUNTIME_NATIVE_BEHAVIORS_DRAWING_SHAPES_H

#include <vector>

#include "generated/runtime/Zelmor.Imaging.Shapes.h"
#include "generated/runtime/Zelmor.Imaging.h"
#include "runtime/native/behaviors/drawing/arguments.h"
#include "runtime/native/core/records.h"

namespace zelmor::embed {

// A shape, a figure or a path.
class OutlinedObject : public Record {
 public:
    static constexpr const char* kManagedName = api::ObjectWithBounds::kType.name;
    using Record::Record;
    virtual Outline outline() const = 0;
    virtual void transform(const Affine& map) = 0;
    virtual RectD bounds() const { return bounds_of(outline()); }
    virtual FillRule fill_rule() const { return FillRule::kAlternate; }
};

class ShapeObject : public OutlinedObject {
 public:
    static constexpr const char* kManagedName = api::Shape::kType.name;
    using OutlinedObject::OutlinedObject;
    virtual PointD center() const { return bounds().center(); }
    virtual bool has_segments() const { return !outline().empty(); }
    virtual void reverse() {}  // of ordered shapes
};

// A rectangle, or a shape that is defined by one: an ellipse, a pie, an arc, text. A transformation makes the rectangle
// a parallelogram.
class FramedShape : public ShapeObject {
 public:
    static constexpr const char* kManagedName = api::Shapes::RectangleProjectedShape::kType.name;
    explicit FramedShape(const TypeInfo& type);

    PointD left_top, right_top, left_bottom;
    PointD right_bottom() const { return right_top + left_bottom - left_top; }
    void set_rectangle(const RectD& rect);
    // Maps the rectangle of the untransformed shape, which has the size of the frame, to its place.
    Affine placing() const;
    RectD size() const;

    Outline outline() const override;
    void transform(const Affine& map) override;
    RectD bounds() const override;
    PointD center() const override { return (right_top + left_bottom) * 0.5; }
    void reverse() override;
    Ref<ManagedObject> copy() const override;
    bool has_segments() const override;

 private:
    enum class Kind { kRectangle, kEllipse, kPie, kArc, kText };
    Kind m_kind;
};

// Points joined by lines, by Bézier curves or by a spline.
class PointsShape final : public ShapeObject {
 public:
    static constexpr const char* kManagedName = api::Shapes::PolygonShape::kType.name;
    explicit PointsShape(const TypeInfo& type);

    std::vector<PointD> points() const;
    void set_points(const std::vector<PointD>& points);
    Outline outline() const override;
    void transform(const Affine& map) override;
    void reverse() override;

 private:
    enum class Kind { kPolygon, kBezier, kCurve };
    Kind m_kind;
};

class FigureObject final : public OutlinedObject {
 public:
    static constexpr const char* kManagedName = api::Figure::kType.name;
    explicit FigureObject(const TypeInfo& type) : OutlinedObject(type) { track(); }
    FigureObject() : FigureObject(require_type(kManagedName)) {}

    std::vector<Ref<ShapeObject>> shapes;
    Outline outline() const override;
    void transform(const Affine& map) override;
    void reverse();
    Ref<ManagedObject> copy() const override;  // with copies of the shapes
    void references(ReferenceVisitor& visitor) override;
};

class PathObject final : public OutlinedObject {
 public:
    static constexpr const char* kManagedName = api::GraphicsPath::kType.name;
    explicit PathObject(const TypeInfo& type) : OutlinedObject(type) { track(); }
    PathObject() : PathObject(require_type(kManagedName)) {}

    std::vector<Ref<FigureObject>> figures;
    Outline outline() const override;
    void transform(const Affine& map) override;
    FillRule fill_rule() const override;
    // Replaces the figures by polygons, one figure for each contour.
    void become(const Outline& polygons);
    Ref<ManagedObject> copy() const override;  // with copies of the figures
    void references(ReferenceVisitor& visitor) override;
};

// The segments of an outline as an array of line and Bézier segments; closing lines are among them.
Ref<ManagedList> segment_array(const Outline& outline);
// The outline of text in a frame; asks the drawing backend.
Outline text_outline(const FramedShape& shape);

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_BEHAVIORS_DRAWING_SHAPES_H
