// The segments of shapes: lines and Bézier curves between two points.
#include "generated/runtime/Zelmor.Imaging.ShapeSegments.h"
#include "generated/runtime/Zelmor.Imaging.h"
#include "runtime/native/behaviors/drawing/shapes.h"
#include "runtime/native/core/type_system.h"

namespace zelmor::embed {

using api::ShapeSegments::BezierSegment;
using api::ShapeSegments::LineSegment;

namespace {

class SegmentObject final : public Record {
 public:
    static constexpr const char* kManagedName = api::ShapeSegment::kType.name;
    SegmentObject(const TypeInfo& type, PointD start, Segment segment) : Record(type), start(start), segment(segment) {}
    PointD start;
    Segment segment;
    Ref<ManagedObject> copy() const override { return make_ref<SegmentObject>(type(), start, segment); }
};

Ref<SegmentObject> segment_from(PointD start, const Segment& segment) {
    return make_ref<SegmentObject>(require_type((segment.curved ? BezierSegment::kType : LineSegment::kType).name),
                                   start, segment);
}
Ref<SegmentObject> line(PointArg start, PointArg end) {
    return segment_from(start, {end, {}, {}, false});
}
Ref<SegmentObject> bezier(PointArg start, PointArg control1, PointArg control2, PointArg end) {
    return segment_from(start, {end, control1, control2, true});
}

PointFValue segment_start(SegmentObject& self) {
    return to_point_f(self.start);
}
template <PointD Segment::*kMember>
PointFValue point(SegmentObject& self) {
    return to_point_f(self.segment.*kMember);
}

const BehaviorTable ZELMOR_UNNAMED({
    behavior<&segment_start, api::ShapeSegment::get_StartPoint, LineSegment::get_StartPoint>(),
    behavior<&point<&Segment::end>, api::ShapeSegment::get_EndPoint, LineSegment::get_EndPoint>(),
    behavior<&line, LineSegment::ctor_000_LineSegment>(),
    behavior<&bezier, BezierSegment::ctor_000_BezierSegment>(),
    behavior<&point<&Segment::control1>, BezierSegment::get_FirstControlPoint>(),
    behavior<&point<&Segment::control2>, BezierSegment::get_SecondControlPoint>(),
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
    return object_array(api::ShapeSegment::kType, segments);
}

}  // namespace zelmor::embed
