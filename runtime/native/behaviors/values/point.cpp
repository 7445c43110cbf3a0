// Point and PointF: members, text, hash and conversions.
#include "generated/runtime/Zelmor.Imaging.h"
#include "runtime/native/behaviors/values/geometry.h"
#include "runtime/native/behaviors/values/hashing.h"
#include "runtime/native/behaviors/values/rounding.h"
#include "runtime/native/core/conversions.h"
#include "runtime/native/core/entry.h"

namespace zelmor::embed {

std::u16string text_of(const PointValue& value) {
    return u"{X=" + coordinate_text(value.x) + u",Y=" + coordinate_text(value.y) + u"}";
}
std::u16string text_of(const PointFValue& value) {
    return u"{X=" + coordinate_text(value.x) + u", Y=" + coordinate_text(value.y) + u"}";
}
int32_t hash_of(const PointValue& value) {
    return combined_hash(hash_word(value.x), hash_word(value.y));
}
int32_t hash_of(const PointFValue& value) {
    return combined_hash(hash_word(value.x), hash_word(value.y));
}

namespace {

// ---- Both

template <class Number>
struct PointMembers {
    using Point = typename Geometry<Number>::Point;
    using Size = typename Geometry<Number>::Size;

    static Point from_numbers(Number x, Number y) { return {x, y}; }
    static Point empty() { return {}; }
    static bool is_empty(Point& self) { return self == Point(); }
    static Point add(const Point& point, const Size& size) {
        return {sum(point.x, size.width), sum(point.y, size.height)};
    }
    static Point subtract(const Point& point, const Size& size) {
        return {difference(point.x, size.width), difference(point.y, size.height)};
    }
};

template <class Number, class Api>
BehaviorTable point_members() {
    using Members = PointMembers<Number>;
    using Point = typename Members::Point;
    return BehaviorTable({
        behavior<&Members::empty, Api::getsa_Empty>(),
        behavior<&Members::is_empty, Api::get_IsEmpty>(),
        field<&Point::x, Api::property_X>(),
        field<&Point::y, Api::property_Y>(),
    });
}
const BehaviorTable ZELMOR_UNNAMED = point_members<int32_t, api::Point>();
const BehaviorTable ZELMOR_UNNAMED = point_members<float, api::PointF>();

// ---- Point

using IntPoint = PointMembers<int32_t>;

PointValue from_size(const SizeValue& size) {
    return {size.width, size.height};
}
// A double word holds x in its low and y in its high half, both signed.
PointValue from_double_word(int32_t word) {
    return {static_cast<int16_t>(word), static_cast<int16_t>(static_cast<uint32_t>(word) >> 16)};
}

template <int32_t (*kRounded)(float)>
PointValue rounded(const PointFValue& point) {
    return {kRounded(point.x), kRounded(point.y)};
}

// A long holds x in its low and y in its high half. Both are delivered; x is the result as well.
int32_t from_long(int64_t packed, int32_t, int32_t* x, int32_t, int32_t* y) {
    *x = static_cast<int32_t>(packed);
    *y = static_cast<int32_t>(packed >> 32);
    return *x;
}
int64_t to_long(PointValue& self) {
    return static_cast<int64_t>(static_cast<uint64_t>(static_cast<uint32_t>(self.y)) << 32 |
                                static_cast<uint32_t>(self.x));
}

void offset_by(PointValue& self, int32_t dx, int32_t dy) {
    self = IntPoint::add(self, {dx, dy});
}
void offset(PointValue& self, const PointValue& by) {
    offset_by(self, by.x, by.y);
}

const BehaviorTable ZELMOR_UNNAMED({
    behavior<&IntPoint::from_numbers, api::Point::ctor_000_Point>(),
    behavior<&from_size, api::Point::ctor_001_Point, api::Point::call_000_CreateFromSize>(),
    behavior<&from_double_word, api::Point::ctor_002_Point, api::Point::call_000_CreateFromDWord>(),
    behavior<&IntPoint::empty, api::Point::ctor_003_Point>(),
    behavior<&IntPoint::add, api::Point::call_000_Add>(),
    behavior<&IntPoint::subtract, api::Point::call_000_Subtract>(),
    behavior<&rounded<&ceiling_to_int32>, api::Point::call_000_Ceiling>(),
    behavior<&rounded<&round_to_int32>, api::Point::call_000_Round>(),
    behavior<&rounded<&truncate_to_int32>, api::Point::call_000_Truncate>(),
    behavior<&from_long, api::Point::call_000_FromLong>(),
    behavior<&offset, api::Point::call_000_Offset>(),
    behavior<&offset_by, api::Point::call_001_Offset>(),
    behavior<&to_long, api::Point::call_000_ToLong>(),
});

// ---- PointF

using FloatPoint = PointMembers<float>;

SizeFValue in_floats(const SizeValue& size) {
    return {static_cast<float>(size.width), static_cast<float>(size.height)};
}
PointFValue add_whole(const PointFValue& point, const SizeValue& size) {
    return FloatPoint::add(point, in_floats(size));
}
PointFValue subtract_whole(const PointFValue& point, const SizeValue& size) {
    return FloatPoint::subtract(point, in_floats(size));
}

const BehaviorTable ZELMOR_UNNAMED({
    behavior<&FloatPoint::from_numbers, api::PointF::ctor_000_PointF>(),
    behavior<&FloatPoint::empty, api::PointF::ctor_001_PointF>(),
    behavior<&add_whole, api::PointF::call_000_Add, api::PointF::call_000_AddSize>(),
    behavior<&FloatPoint::add, api::PointF::call_001_Add, api::PointF::call_000_AddSizeF>(),
    behavior<&subtract_whole, api::PointF::call_000_Subtract, api::PointF::call_000_SubtractSize>(),
    behavior<&FloatPoint::subtract, api::PointF::call_001_Subtract, api::PointF::call_000_SubtractSizeF>(),
});

// ---- Factories and conversions

const FactoryRegistration ZELMOR_UNNAMED(api::Point::kType.name, new_box<PointValue>);
const FactoryRegistration ZELMOR_UNNAMED(api::PointF::kType.name, new_box<PointFValue>);

const ConversionRegistration ZELMOR_UNNAMED(api::Point::kType.name, api::PointF::kType.name, [](ManagedObject& point) {
    const auto& value = unbox<PointValue>(point);
    return box(PointFValue{static_cast<float>(value.x), static_cast<float>(value.y)});
});
const ConversionRegistration ZELMOR_UNNAMED(api::Point::kType.name, api::Size::kType.name, [](ManagedObject& point) {
    const auto& value = unbox<PointValue>(point);
    return box(SizeValue{value.x, value.y});
});

}  // namespace

}  // namespace zelmor::embed
