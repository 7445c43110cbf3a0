// PathResourceConverter: the paths of a picture as resources of knots, and back as figures of Bézier curves. A knot is
// an anchor with the control points before and behind it, in fractions of the picture.
#include <cmath>
#include <limits>

#include "generated/runtime/Zelmor.Imaging.FileFormats.Tiff.PathResources.h"
#include "generated/runtime/Zelmor.Imaging.Shapes.h"
#include "runtime/native/behaviors/drawing/shapes.h"
#include "runtime/native/behaviors/formats/path_records.h"
#include "runtime/native/collections/collection.h"

namespace zelmor::embed {

namespace {

constexpr const char* kRecord = api::FileFormats::Core::VectorPaths::VectorPathRecord::kType.name;
constexpr const char* kResource = api::FileFormats::Tiff::PathResources::PathResource::kType.name;
constexpr const char* kBezier = api::Shapes::BezierShape::kType.name;

// The identifiers of saved paths begin here.
constexpr int64_t kFirstPathBlock = 2000;

struct Knot {
    PointD before, anchor, behind;
};

void require_size(const SizeValue& size) {
    if (size.width <= 0 || size.height <= 0) {
        throw_out_of_range("image_size", "A picture of " + std::to_string(size.width) + " by " +
                                             std::to_string(size.height) + " has no fractions.");
    }
}

// ---- From a path

std::vector<Knot> knots_of(const Contour& contour) {
    std::vector<Knot> knots{{contour.start, contour.start, contour.start}};
    for (const Segment& segment : contour.segments) {
        knots.back().behind = segment.curved ? segment.control1 : knots.back().anchor;
        knots.push_back({segment.curved ? segment.control2 : segment.end, segment.end, segment.end});
    }
    // Where the last line goes back to the first point, both are one knot.
    if (contour.closed && knots.size() > 1 && knots.back().anchor == knots.front().anchor) {
        knots.front().before = knots.back().before;
        knots.pop_back();
    }
    return knots;
}

Value point_of_fraction(double x, double y) {
    return box(PointFValue{static_cast<float>(x), static_cast<float>(y)});
}
int32_t fixed_point(double fraction) {
    const double scaled = std::round(fraction * kFixedPointOne);
    if (!(std::abs(scaled) <= std::numeric_limits<int32_t>::max())) {
        throw_out_of_range("graphics_path", "A point lies too far outside of the picture for a path resource.");
    }
    return static_cast<int32_t>(scaled);
}

Ref<ManagedObject> knot_record(const Knot& knot, bool closed, const SizeValue& size) {
    std::vector<Value> fractions, raw;
    for (const PointD& point : {knot.before, knot.anchor, knot.behind}) {
        const double x = point.x / size.width, y = point.y / size.height;
        raw.emplace_back(box(PointValue{fixed_point(x), fixed_point(y)}));
        fractions.push_back(point_of_fraction(x, y));
    }
    auto record = make_instance(kKnotRecord);
    set_property(*record, "Points",
                 Ref<ManagedObject>(make_ref<ValueList>(
                     ListShape::kArray, element_of(Wire::kStruct, StructTraits<PointValue>::kName), std::move(raw))));
    set_property(
        *record, "PathPoints",
        Ref<ManagedObject>(make_ref<ValueList>(
            ListShape::kArray, element_of(Wire::kStruct, StructTraits<PointFValue>::kName), std::move(fractions))));
    set_property(*record, "IsClosed", closed);
    set_property(*record, "IsOpen", !closed);
    return record;
}

Ref<ManagedObject> length_record(size_t count, bool closed) {
    if (count > std::numeric_limits<uint16_t>::max()) {
        throw_argument("A figure of " + std::to_string(count) + " points does not fit a path resource.");
    }
    auto record = make_instance(kLengthRecord);
    set_property(*record, "RecordCount", static_cast<int64_t>(count));
    set_property(*record, "BezierKnotRecordsCount", static_cast<int64_t>(count));
    set_property(*record, "IsClosed", closed);
    set_property(*record, "IsOpen", !closed);
    return record;
}

Collection from_graphics_path(PathObject* graphics_path, const SizeValue& image_size) {
    if (graphics_path == nullptr) {
        throw_argument_null("graphics_path");
    }
    require_size(image_size);
    std::vector<Value> records{make_instance(kFillRuleRecord), make_instance(kInitialFillRecord)};
    for (const Contour& contour : graphics_path->outline()) {
        const std::vector<Knot> knots = knots_of(contour);
        records.emplace_back(length_record(knots.size(), contour.closed));
        for (const Knot& knot : knots) {
            records.emplace_back(knot_record(knot, contour.closed, image_size));
        }
    }
    auto resource = make_instance(kResource);
    set_property(*resource, "BlockId", kFirstPathBlock);
    set_property(*resource, "Name", std::u16string(u"Path 1"));
    set_property(*resource, "Records",
                 Ref<ManagedObject>(
                     make_ref<ValueList>(ListShape::kList, element_of(Wire::kClass, kRecord), std::move(records))));
    return {Ref<ManagedObject>(
        make_ref<ValueList>(ListShape::kArray, element_of(Wire::kClass, kResource), std::vector<Value>{resource}))};
}

// ---- To a path

Knot knot_of(const ManagedObject& record, const SizeValue& size) {
    std::vector<PointD> points;
    if (const Value& fractions = property(record, "PathPoints"); !is_null(fractions)) {
        points = points_of(fractions);
    } else {
        for (const PointD& raw : points_of(property(record, "Points"))) {
            points.push_back(raw * (1 / kFixedPointOne));
        }
    }
    if (points.size() != 3) {
        throw_argument("A knot has three points, not " + std::to_string(points.size()) +
                       ". (Parameter 'path_resources')");
    }
    for (PointD& point : points) {
        point = {point.x * size.width, point.y * size.height};
    }
    return {points[0], points[1], points[2]};
}

Ref<FigureObject> figure_of(const std::vector<Knot>& knots, bool closed) {
    std::vector<PointD> points{knots.front().anchor};
    const auto curve = [&](const Knot& from, const Knot& to) {
        points.insert(points.end(), {from.behind, to.before, to.anchor});
    };
    for (size_t i = 1; i < knots.size(); ++i) {
        curve(knots[i - 1], knots[i]);
    }
    if (closed) {
        curve(knots.back(), knots.front());
    }
    auto shape = make_ref<PointsShape>(require_type(kBezier));
    shape->set_points(points);
    set_property(*shape, "IsClosed", closed);
    auto figure = make_ref<FigureObject>();
    set_property(*figure, "IsClosed", closed);
    figure->shapes.emplace_back(std::move(shape));
    return figure;
}

void add_figures(PathObject& path, const ManagedObject& resource, const SizeValue& size) {
    size_t expected = 0;
    bool closed = false;
    std::vector<Knot> knots;
    for (const Value& each : elements_of(property(resource, "Records"))) {
        const auto& record = std::get<Ref<ManagedObject>>(each);
        if (!record) {
            throw_argument("A record of the path resource is null. (Parameter 'path_resources')");
        }
        const std::string_view type = record->type().full_name;
        if (type != kLengthRecord && type != kKnotRecord) {
            continue;
        }
        if ((type == kKnotRecord) != (expected > 0)) {
            throw_argument("The lengths of the path resource do not fit its knots. (Parameter 'path_resources')");
        }
        if (type == kLengthRecord) {
            expected = static_cast<size_t>(std::max<int64_t>(property_int(*record, "BezierKnotRecordsCount"), 0));
            closed = property_bool(*record, "IsClosed");
            continue;
        }
        knots.push_back(knot_of(*record, size));
        if (--expected == 0) {
            path.figures.push_back(figure_of(std::exchange(knots, {}), closed));
        }
    }
    if (expected > 0) {
        throw_argument("The path resource ends before its last figure does. (Parameter 'path_resources')");
    }
}

Ref<PathObject> to_graphics_path(const VariantArg* path_resources, const SizeValue& image_size) {
    require_size(image_size);
    auto path = make_ref<PathObject>();
    for (const Value& each : read_elements(path_resources, element_of(Wire::kClass, kResource), "path_resources")) {
        const auto& resource = std::get<Ref<ManagedObject>>(each);
        if (!resource) {
            throw_argument_null("path_resources");
        }
        add_figures(*path, *resource, image_size);
    }
    return path;
}

using PathResourceConverterApi = api::FileFormats::Tiff::PathResources::PathResourceConverter;

const BehaviorTable ZELMOR_UNNAMED({
    behavior<&from_graphics_path, PathResourceConverterApi::call_000_FromGraphicsPath>(),
    behavior<&to_graphics_path, PathResourceConverterApi::call_000_ToGraphicsPath>(),
});

}  // namespace

}  // namespace zelmor::embed
