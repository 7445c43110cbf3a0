// The records of a path resource, as Photoshop resources publish them: 26 bytes each, a selector of two bytes and then
// numbers, high byte first. Coordinates are fractions of the picture with 24 bits behind the point. See path_records.h.
#include "runtime/native/behaviors/formats/path_records.h"

#include <array>
#include <cmath>
#include <string_view>

#include "runtime/native/behaviors/drawing/arguments.h"
#include "runtime/native/behaviors/metadata/tiff/tiff_streams.h"
#include "runtime/native/collections/collection.h"
#include "runtime/native/core/entry.h"
#include "runtime/native/core/records.h"

namespace zelmor::embed {

namespace {

constexpr const char* kClipboard = api::FileFormats::Core::VectorPaths::ClipboardRecord::kType.name;

// The selectors.
using PathType = api::FileFormats::Core::VectorPaths::VectorPathType;
using PathOperations = api::FileFormats::Core::VectorPaths::PathOperations;

class PathRecordReader {
 public:
    explicit PathRecordReader(std::span<const std::byte> data) : m_data(data) {
        if (data.size() < kPathRecordBytes) {
            throw_argument("A path record has " + std::to_string(kPathRecordBytes) + " bytes; there are " +
                           std::to_string(data.size()) + ". (Parameter 'data')");
        }
        if (type() < PathType::kClosedSubpathLengthRecord || type() > PathType::kInitialFillRuleRecord) {
            throw_argument("A path record of type " + std::to_string(int16(0)) + " is not known. (Parameter 'data')");
        }
    }

    PathType type() const { return static_cast<PathType>(int16(0)); }
    int16_t int16(size_t offset) const {
        return static_cast<int16_t>(std::to_integer<uint16_t>(m_data[offset]) << 8 |
                                    std::to_integer<uint16_t>(m_data[offset + 1]));
    }
    uint16_t uint16(size_t offset) const { return static_cast<uint16_t>(int16(offset)); }
    int32_t int32(size_t offset) const {
        return static_cast<int32_t>(static_cast<uint32_t>(uint16(offset)) << 16 | uint16(offset + 2));
    }
    float fixed_point(size_t offset) const { return static_cast<float>(int32(offset) / kFixedPointOne); }

 private:
    std::span<const std::byte> m_data;
};

bool is_knot(PathType type) {
    return type == PathType::kClosedSubpathBezierKnotLinked || type == PathType::kClosedSubpathBezierKnotUnlinked ||
           type == PathType::kOpenSubpathBezierKnotLinked || type == PathType::kOpenSubpathBezierKnotUnlinked;
}
bool is_length(PathType type) {
    return type == PathType::kClosedSubpathLengthRecord || type == PathType::kOpenSubpathLengthRecord;
}
bool is_open(PathType type) {
    return type >= PathType::kOpenSubpathLengthRecord && type <= PathType::kOpenSubpathBezierKnotUnlinked;
}
bool is_linked(PathType type) {
    return type == PathType::kClosedSubpathBezierKnotLinked || type == PathType::kOpenSubpathBezierKnotLinked;
}

const char* class_of(PathType type) {
    if (is_knot(type)) {
        return kKnotRecord;
    }
    if (is_length(type)) {
        return kLengthRecord;
    }
    if (type == PathType::kPathFillRuleRecord) {
        return kFillRuleRecord;
    }
    return type == PathType::kClipboardRecord ? kClipboard : kInitialFillRecord;
}

void fill_knot(ManagedObject& record, const PathRecordReader& reader) {
    // The control point before the anchor, the anchor, and the one behind it; down comes before right.
    std::vector<Value> raw, fractions;
    for (size_t offset = 2; offset < kPathRecordBytes; offset += 8) {
        raw.emplace_back(box(PointValue{reader.int32(offset + 4), reader.int32(offset)}));
        fractions.emplace_back(box(PointFValue{reader.fixed_point(offset + 4), reader.fixed_point(offset)}));
    }
    const auto array = [](const char* element, std::vector<Value> points) -> Ref<ManagedObject> {
        return make_ref<ValueList>(ListShape::kArray, element_of(Wire::kStruct, element), std::move(points));
    };
    set_property(record, "Points", array(StructTraits<PointValue>::kName, std::move(raw)));
    set_property(record, "PathPoints", array(StructTraits<PointFValue>::kName, std::move(fractions)));
    set_property(record, "IsOpen", is_open(reader.type()));
    set_property(record, "IsClosed", !is_open(reader.type()));
    set_property(record, "IsLinked", is_linked(reader.type()));
}

void fill_length(ManagedObject& record, const PathRecordReader& reader) {
    set_property(record, "IsOpen", is_open(reader.type()));
    set_property(record, "IsClosed", !is_open(reader.type()));
    set_property(record, "RecordCount", int64_t{reader.uint16(2)});
    set_property(record, "BezierKnotRecordsCount", int64_t{reader.uint16(2)});
    // Older writers store -1 for no operation: the shape is combined with those below it.
    const auto operation = static_cast<PathOperations>(reader.int16(4));
    const bool known =
        operation >= PathOperations::kExcludeOverlappingShapes && operation <= PathOperations::kIntersectShapeAreas;
    set_property(record, "PathOperations", static_cast<int64_t>(known ? operation : PathOperations::kCombineShapes));
    set_property(record, "ShapeIndex", int64_t{reader.int32(12)});
}

void fill_clipboard(ManagedObject& record, const PathRecordReader& reader) {
    const float top = reader.fixed_point(2), left = reader.fixed_point(6);
    const float bottom = reader.fixed_point(10), right = reader.fixed_point(14);
    set_property(record, "BoundingRect", box(RectangleFValue{left, top, right - left, bottom - top}));
    set_property(record, "Resolution", double{reader.fixed_point(18)});
}

Ref<ManagedObject> record_of(const PathRecordReader& reader) {
    auto record = make_instance(class_of(reader.type()));
    if (is_knot(reader.type())) {
        fill_knot(*record, reader);
    } else if (is_length(reader.type())) {
        fill_length(*record, reader);
    } else if (reader.type() == PathType::kClipboardRecord) {
        fill_clipboard(*record, reader);
    } else if (reader.type() == PathType::kInitialFillRuleRecord) {
        set_property(*record, "IsFillStartsWithAllPixels", reader.int16(2) != 0);
    }
    return record;
}

Ref<ManagedObject> record_of(const char* type, std::span<const std::byte> data) {
    const PathRecordReader reader(data);
    if (std::string_view(class_of(reader.type())) != type) {
        throw_argument("The data are those of a " + std::string(require_type(class_of(reader.type())).name) +
                       ", not of a " + require_type(type).name + ". (Parameter 'data')");
    }
    return record_of(reader);
}

Ref<ManagedObject> knot_of(std::span<const std::byte> data) {
    return record_of(kKnotRecord, data);
}
Ref<ManagedObject> clipboard_of(std::span<const std::byte> data) {
    return record_of(kClipboard, data);
}
Ref<ManagedObject> initial_fill_of(std::span<const std::byte> data) {
    return record_of(kInitialFillRecord, data);
}
Ref<ManagedObject> length_of(std::span<const std::byte> data) {
    return record_of(kLengthRecord, data);
}
Ref<ManagedObject> fill_rule_of(std::span<const std::byte> data) {
    return record_of(kFillRuleRecord, data);
}
Ref<ManagedObject> produce(ManagedObject&, std::span<const std::byte> data) {
    return record_of(PathRecordReader(data));
}

// The selector that the record would be written with.
PathType get_record_type(Record& self) {
    const std::string_view type = self.type().full_name;
    if (type == kLengthRecord) {
        return property_bool(self, "IsOpen") ? PathType::kOpenSubpathLengthRecord
                                             : PathType::kClosedSubpathLengthRecord;
    }
    if (type == kKnotRecord) {
        const bool linked = property_bool(self, "IsLinked");
        if (property_bool(self, "IsOpen")) {
            return linked ? PathType::kOpenSubpathBezierKnotLinked : PathType::kOpenSubpathBezierKnotUnlinked;
        }
        return linked ? PathType::kClosedSubpathBezierKnotLinked : PathType::kClosedSubpathBezierKnotUnlinked;
    }
    if (type == kClipboard) {
        return PathType::kClipboardRecord;
    }
    return type == kInitialFillRecord ? PathType::kInitialFillRuleRecord : PathType::kPathFillRuleRecord;
}

// A path is either open or closed: setting one property sets the other.
void set_open(Record& self, bool value) {
    set_property(self, "IsOpen", value);
    set_property(self, "IsClosed", !value);
}
void set_closed(Record& self, bool value) {
    set_open(self, !value);
}
// The records after a length record are the knots, so that both counts are equal.
void set_count(Record& self, int32_t value) {
    set_property(self, "RecordCount", int64_t{value});
    set_property(self, "BezierKnotRecordsCount", int64_t{value});
}

// ---- To bytes

int32_t fixed_point_of(double value) {
    const double scaled = std::round(value * kFixedPointOne);
    if (!(std::abs(scaled) <= INT32_MAX)) {
        throw_argument("A number of a path record is too large for a file.");
    }
    return static_cast<int32_t>(scaled);
}

// The fractions count; where they say the same as the exact numbers, these are written.
void put_knot(Bytes& out, const ManagedObject& record) {
    const Value& fractions = property(record, "PathPoints");
    const Value& raw = property(record, "Points");
    const std::vector<PointD> points = points_of(is_null(fractions) ? raw : fractions);
    const std::vector<PointD> exact = is_null(raw) ? std::vector<PointD>() : points_of(raw);
    constexpr size_t kPoints = 3;
    if (points.size() != kPoints) {
        throw_argument("A knot has three points, not " + std::to_string(points.size()) + ".");
    }
    const auto number = [&](size_t i, double PointD::*side) {
        const double wanted = points[i].*side;
        if (is_null(fractions)) {
            return static_cast<int32_t>(wanted);
        }
        const bool same = exact.size() == kPoints &&
                          static_cast<float>(exact[i].*side / kFixedPointOne) == static_cast<float>(wanted);
        return same ? static_cast<int32_t>(exact[i].*side) : fixed_point_of(wanted);
    };
    for (size_t i = 0; i < kPoints; ++i) {
        put_number(out, static_cast<uint32_t>(number(i, &PointD::y)), 4, true);
        put_number(out, static_cast<uint32_t>(number(i, &PointD::x)), 4, true);
    }
}

void put_length(Bytes& out, const ManagedObject& record) {
    const int64_t count = property_int(record, "BezierKnotRecordsCount");
    if (count < 0 || count > UINT16_MAX) {
        throw_argument("A figure of " + std::to_string(count) + " points does not fit a path resource.");
    }
    constexpr size_t kUnknownBytes = 6;
    put_number(out, static_cast<uint64_t>(count), 2, true);
    put_number(out, static_cast<uint64_t>(property_int(record, "PathOperations")), 2, true);
    out.resize(out.size() + kUnknownBytes);
    put_number(out, static_cast<uint32_t>(property_int(record, "ShapeIndex")), 4, true);
}

void put_clipboard(Bytes& out, const ManagedObject& record) {
    const Ref<ManagedObject> stored = property_object(record, "BoundingRect");
    const RectangleFValue bounds = stored ? unbox<RectangleFValue>(*stored) : RectangleFValue{};
    const double sides[] = {bounds.y, bounds.x, static_cast<double>(bounds.y) + bounds.height,
                            static_cast<double>(bounds.x) + bounds.width, property_double(record, "Resolution")};
    for (const double side : sides) {
        put_number(out, static_cast<uint32_t>(fixed_point_of(side)), 4, true);
    }
}

Ref<ManagedObject> make_closed(const TypeInfo& type) {
    auto record = make_ref<Record>(type);
    set_open(*record, false);
    return record;
}
const FactoryRegistration ZELMOR_UNNAMED(kKnotRecord, make_closed);
const FactoryRegistration ZELMOR_UNNAMED(kLengthRecord, make_closed);

}  // namespace

Ref<ManagedObject> path_record_of_bytes(std::span<const std::byte> data) {
    return record_of(PathRecordReader(data));
}

void put_path_record(Bytes& out, ManagedObject& record) {
    const size_t start = out.size();
    const PathType type = get_record_type(cast_object<Record>(record));
    put_number(out, static_cast<uint64_t>(type), 2, true);
    if (is_knot(type)) {
        put_knot(out, record);
    } else if (is_length(type)) {
        put_length(out, record);
    } else if (type == PathType::kClipboardRecord) {
        put_clipboard(out, record);
    } else if (type == PathType::kInitialFillRuleRecord) {
        put_number(out, property_bool(record, "IsFillStartsWithAllPixels") ? 1 : 0, 2, true);
    }
    out.resize(start + kPathRecordBytes);
}

namespace {

using BezierKnotRecordApi = api::FileFormats::Core::VectorPaths::BezierKnotRecord;
using ClipboardRecordApi = api::FileFormats::Core::VectorPaths::ClipboardRecord;
using InitialFillRuleRecordApi = api::FileFormats::Core::VectorPaths::InitialFillRuleRecord;
using LengthRecordApi = api::FileFormats::Core::VectorPaths::LengthRecord;
using PathFillRuleRecordApi = api::FileFormats::Core::VectorPaths::PathFillRuleRecord;
using VectorPathRecordApi = api::FileFormats::Core::VectorPaths::VectorPathRecord;
using VectorPathRecordFactoryApi = api::FileFormats::Core::VectorPaths::VectorPathRecordFactory;

const BehaviorTable ZELMOR_UNNAMED({
    behavior<&get_record_type, VectorPathRecordApi::get_Type, BezierKnotRecordApi::get_Type,
             ClipboardRecordApi::get_Type, InitialFillRuleRecordApi::get_Type, LengthRecordApi::get_Type,
             PathFillRuleRecordApi::get_Type>(),
    behavior<&knot_of, BezierKnotRecordApi::ctor_001_BezierKnotRecord>(),
    behavior<&set_open, BezierKnotRecordApi::set_IsOpen, LengthRecordApi::set_IsOpen>(),
    behavior<&set_closed, BezierKnotRecordApi::set_IsClosed, LengthRecordApi::set_IsClosed>(),
    behavior<&clipboard_of, ClipboardRecordApi::ctor_001_ClipboardRecord>(),
    behavior<&initial_fill_of, InitialFillRuleRecordApi::ctor_002_InitialFillRuleRecord>(),
    behavior<&length_of, LengthRecordApi::ctor_000_LengthRecord>(),
    behavior<&set_count, LengthRecordApi::set_RecordCount, LengthRecordApi::set_BezierKnotRecordsCount>(),
    behavior<&fill_rule_of, PathFillRuleRecordApi::ctor_001_PathFillRuleRecord>(),
    behavior<&produce, VectorPathRecordFactoryApi::call_000_ProducePathRecord>(),
});

}  // namespace

}  // namespace zelmor::embed
