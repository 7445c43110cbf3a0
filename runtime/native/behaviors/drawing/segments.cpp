// The segments of shapes: lines and Bézier curves between two points.
#include "generated/runtime/Zelmor.Imaging.ShapeSegments.h"
#include "generated/runtime/Zelmor.Imaging.h"
#include "runtime/native/behaviors/drawing/shapes.h"
#include "runtime/native/core/type_system.h"

namespace zelmor::embed {

namespace {

constexpr const char* kBase = "Zelmor.Imaging.ShapeSegment";
constexpr const char* kLine = "Zelmor.Imaging.ShapeSegments.LineSegment";
constexpr const char* kBezier = "Zelmor.Imaging.ShapeSegments.BezierSegment";

class SegmentObject final : public Record {
 public:
    static constexpr const char* kManagedName = kBase;
    SegmentObject(const TypeInfo& type, PointD start, Segment segment) : Record(type), start(start), segment(segment) {}
    PointD start;
    Segment segment;
    Ref<ManagedObject> copy() const override { return make_ref<SegmentObject>(type(), start, segment); }
};

Ref<SegmentObject> segment_from(PointD start, const Segment& segment) {
    return make_ref<SegmentObject>(require_type(segment.curved ? kBezier : kLine), start, segment);
}
Ref<SegmentObject> line(PointArg start, PointArg end) {
    return segment_from(start, {end, {}, {}, false});
}
Ref<SegmentObject> bezier(PointArg start, PointArg control1, PointArg control2, PointArg end) {
    return segment_from(start, {end, control1, control2, true});
}

PointFValue start_point(SegmentObject& self) {
    return to_point_f(self.start);
}
template <PointD Segment::*kMember>
PointFValue point(SegmentObject& self) {
    return to_point_f(self.segment.*kMember);
}

using BezierSegmentApi = api::ShapeSegments::BezierSegment;
using LineSegmentApi = api::ShapeSegments::LineSegment;
using ShapeSegmentApi = api::ShapeSegment;

const BehaviorTable table({
    behavior<&start_point, ShapeSegmentApi::get_StartPoint, LineSegmentApi::get_StartPoint>(),
    behavior<&point<&Segment::end>, ShapeSegmentApi::get_EndPoint, LineSegmentApi::get_EndPoint>(),
    behavior<&line, LineSegmentApi::ctor_000_LineSegment>(),
    behavior<&bezier, BezierSegmentApi::ctor_000_BezierSegment>(),
    behavior<&point<&Segment::control1>, BezierSegmentApi::get_FirstControlPoint>(),
    behavior<&point<&Segment::control2>, BezierSegmentApi::get_SecondControlPoint>(),
});

}  // namespace

Ref<ManagedList> segment_array(const Outline& outline) {
    std::vector<Ref<SegmentObject>> segments;
    for (const Contour& contour : outline) {
        PointD from = contour.start;
        for (const Segment& segment : contour.segments) {
            segments.push_back(segment_from(from, segment));
            from = segment.end;
        }
        if (contour.closed && from != contour.start) {
            segments.push_back(segment_from(from, {contour.start, {}, {}, false}));
        }
    }
    return object_array(kBase, segments);
}

}  // namespace zelmor::embed
