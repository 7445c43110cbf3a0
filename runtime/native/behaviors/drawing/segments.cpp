// The segments of shapes: lines and Bézier curves between two points.
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

const Behavior kMembers[] = {
    {kBase, "get_StartPoint", entry<&start_point>()},
    {kBase, "get_EndPoint", entry<&point<&Segment::end>>()},
    {kLine, "ctor_000_LineSegment", entry<&line>()},
    {kLine, "get_StartPoint", entry<&start_point>()},
    {kLine, "get_EndPoint", entry<&point<&Segment::end>>()},
    {kBezier, "ctor_000_BezierSegment", entry<&bezier>()},
    {kBezier, "get_FirstControlPoint", entry<&point<&Segment::control1>>()},
    {kBezier, "get_SecondControlPoint", entry<&point<&Segment::control2>>()},
};
const BehaviorTable table(Assembly::kImaging, kMembers);

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
