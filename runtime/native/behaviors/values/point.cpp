// Point and PointF: members, text, hash and conversions.
#include "generated/runtime/Zelmor.Imaging.h"
#include "runtime/native/behaviors/values/rounding.h"
#include "runtime/native/core/conversions.h"
#include "runtime/native/core/entry.h"

namespace zelmor::embed {

std::u16string text_of(const PointValue& value) {
    return u"{X=" + number_text(int64_t{value.x}) + u",Y=" + number_text(int64_t{value.y}) + u"}";
}
std::u16string text_of(const PointFValue& value) {
    return u"{X=" + number_text(value.x) + u", Y=" + number_text(value.y) + u"}";
}
int32_t hash_of(const PointValue& value) {
    return combined_hash(value.x, value.y);
}
int32_t hash_of(const PointFValue& value) {
    return combined_hash(float_word(value.x), float_word(value.y));
}

namespace {

PointValue from_numbers(int32_t x, int32_t y) {
    return {x, y};
}
PointValue from_size(const SizeValue& size) {
    return {size.width, size.height};
}
// A double word holds x in its low and y in its high half, both signed.
PointValue from_double_word(int32_t word) {
    return {static_cast<int16_t>(word), static_cast<int16_t>(static_cast<uint32_t>(word) >> 16)};
}
PointValue empty() {
    return {};
}

PointValue add(const PointValue& point, const SizeValue& size) {
    return {wrapping_add(point.x, size.width), wrapping_add(point.y, size.height)};
}
PointValue subtract(const PointValue& point, const SizeValue& size) {
    return {wrapping_subtract(point.x, size.width), wrapping_subtract(point.y, size.height)};
}
PointValue ceiling(const PointFValue& point) {
    return {ceiling_to_int32(point.x), ceiling_to_int32(point.y)};
}
PointValue round(const PointFValue& point) {
    return {round_to_int32(point.x), round_to_int32(point.y)};
}
PointValue truncate(const PointFValue& point) {
    return {truncate_to_int32(point.x), truncate_to_int32(point.y)};
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
    self = add(self, {dx, dy});
}
void offset(PointValue& self, const PointValue& by) {
    offset_by(self, by.x, by.y);
}

bool is_empty(PointValue& self) {
    return self == PointValue();
}
int32_t get_x(PointValue& self) {
    return self.x;
}
void set_x(PointValue& self, int32_t x) {
    self.x = x;
}
int32_t get_y(PointValue& self) {
    return self.y;
}
void set_y(PointValue& self, int32_t y) {
    self.y = y;
}

constexpr const char* kPoint = "Zelmor.Imaging.Point";
using PointApi = api::Point;
using PointFApi = api::PointF;

const BehaviorTable point_table({
    behavior<&from_numbers, PointApi::ctor_000_Point>(),
    behavior<&from_size, PointApi::ctor_001_Point, PointApi::call_000_CreateFromSize>(),
    behavior<&from_double_word, PointApi::ctor_002_Point, PointApi::call_000_CreateFromDWord>(),
    behavior<&empty, PointApi::ctor_003_Point, PointApi::getsa_Empty>(),
    behavior<&add, PointApi::call_000_Add>(),
    behavior<&subtract, PointApi::call_000_Subtract>(),
    behavior<&ceiling, PointApi::call_000_Ceiling>(),
    behavior<&round, PointApi::call_000_Round>(),
    behavior<&truncate, PointApi::call_000_Truncate>(),
    behavior<&from_long, PointApi::call_000_FromLong>(),
    behavior<&offset, PointApi::call_000_Offset>(),
    behavior<&offset_by, PointApi::call_001_Offset>(),
    behavior<&to_long, PointApi::call_000_ToLong>(),
    behavior<&is_empty, PointApi::get_IsEmpty>(),
    behavior<&get_x, PointApi::get_X>(),
    behavior<&set_x, PointApi::set_X>(),
    behavior<&get_y, PointApi::get_Y>(),
    behavior<&set_y, PointApi::set_Y>(),
});

PointFValue f_from_numbers(float x, float y) {
    return {x, y};
}
PointFValue f_empty() {
    return {};
}
PointFValue f_add(const PointFValue& point, const SizeValue& size) {
    return {point.x + static_cast<float>(size.width), point.y + static_cast<float>(size.height)};
}
PointFValue f_subtract(const PointFValue& point, const SizeValue& size) {
    return {point.x - static_cast<float>(size.width), point.y - static_cast<float>(size.height)};
}
PointFValue f_add_f(const PointFValue& point, const SizeFValue& size) {
    return {point.x + size.width, point.y + size.height};
}
PointFValue f_subtract_f(const PointFValue& point, const SizeFValue& size) {
    return {point.x - size.width, point.y - size.height};
}
bool f_is_empty(PointFValue& self) {
    return self.x == 0 && self.y == 0;
}
float f_get_x(PointFValue& self) {
    return self.x;
}
void f_set_x(PointFValue& self, float x) {
    self.x = x;
}
float f_get_y(PointFValue& self) {
    return self.y;
}
void f_set_y(PointFValue& self, float y) {
    self.y = y;
}

constexpr const char* kPointF = "Zelmor.Imaging.PointF";
const BehaviorTable point_f_table({
    behavior<&f_from_numbers, PointFApi::ctor_000_PointF>(),
    behavior<&f_empty, PointFApi::ctor_001_PointF, PointFApi::getsa_Empty>(),
    behavior<&f_add, PointFApi::call_000_Add, PointFApi::call_000_AddSize>(),
    behavior<&f_add_f, PointFApi::call_001_Add, PointFApi::call_000_AddSizeF>(),
    behavior<&f_subtract, PointFApi::call_000_Subtract, PointFApi::call_000_SubtractSize>(),
    behavior<&f_subtract_f, PointFApi::call_001_Subtract, PointFApi::call_000_SubtractSizeF>(),
    behavior<&f_is_empty, PointFApi::get_IsEmpty>(),
    behavior<&f_get_x, PointFApi::get_X>(),
    behavior<&f_set_x, PointFApi::set_X>(),
    behavior<&f_get_y, PointFApi::get_Y>(),
    behavior<&f_set_y, PointFApi::set_Y>(),
});

const FactoryRegistration point_factory(kPoint, [](const TypeInfo&) { return box(PointValue()); });
const FactoryRegistration point_f_factory(kPointF, [](const TypeInfo&) { return box(PointFValue()); });

const ConversionRegistration to_point_f(kPoint, kPointF, [](ManagedObject& point) {
    const auto& value = unbox<PointValue>(point);
    return box(PointFValue{static_cast<float>(value.x), static_cast<float>(value.y)});
});
const ConversionRegistration to_size(kPoint, StructTraits<SizeValue>::kName, [](ManagedObject& point) {
    const auto& value = unbox<PointValue>(point);
    return box(SizeValue{value.x, value.y});
});

}  // namespace

}  // namespace zelmor::embed
