// Point and PointF: members, text, hash and conversions.
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
const Behavior kPointMembers[] = {
    {kPoint, "ctor_000_Point", entry<&from_numbers>()},
    {kPoint, "ctor_001_Point", entry<&from_size>()},
    {kPoint, "ctor_002_Point", entry<&from_double_word>()},
    {kPoint, "ctor_003_Point", entry<&empty>()},
    {kPoint, "call_000_CreateFromSize", entry<&from_size>()},
    {kPoint, "call_000_CreateFromDWord", entry<&from_double_word>()},
    {kPoint, "call_000_Add", entry<&add>()},
    {kPoint, "call_000_Subtract", entry<&subtract>()},
    {kPoint, "call_000_Ceiling", entry<&ceiling>()},
    {kPoint, "call_000_Round", entry<&round>()},
    {kPoint, "call_000_Truncate", entry<&truncate>()},
    {kPoint, "call_000_FromLong", entry<&from_long>()},
    {kPoint, "call_000_Offset", entry<&offset>()},
    {kPoint, "call_001_Offset", entry<&offset_by>()},
    {kPoint, "call_000_ToLong", entry<&to_long>()},
    {kPoint, "get_IsEmpty", entry<&is_empty>()},
    {kPoint, "get_X", entry<&get_x>()},
    {kPoint, "set_X", entry<&set_x>()},
    {kPoint, "get_Y", entry<&get_y>()},
    {kPoint, "set_Y", entry<&set_y>()},
    {kPoint, "getsa_Empty", entry<&empty>()},
};
const BehaviorTable point_table(Assembly::kImaging, kPointMembers);

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
const Behavior kPointFMembers[] = {
    {kPointF, "ctor_000_PointF", entry<&f_from_numbers>()},
    {kPointF, "ctor_001_PointF", entry<&f_empty>()},
    {kPointF, "call_000_Add", entry<&f_add>()},
    {kPointF, "call_001_Add", entry<&f_add_f>()},
    {kPointF, "call_000_Subtract", entry<&f_subtract>()},
    {kPointF, "call_001_Subtract", entry<&f_subtract_f>()},
    {kPointF, "call_000_AddSize", entry<&f_add>()},
    {kPointF, "call_000_SubtractSize", entry<&f_subtract>()},
    {kPointF, "call_000_AddSizeF", entry<&f_add_f>()},
    {kPointF, "call_000_SubtractSizeF", entry<&f_subtract_f>()},
    {kPointF, "get_IsEmpty", entry<&f_is_empty>()},
    {kPointF, "get_X", entry<&f_get_x>()},
    {kPointF, "set_X", entry<&f_set_x>()},
    {kPointF, "get_Y", entry<&f_get_y>()},
    {kPointF, "set_Y", entry<&f_set_y>()},
    {kPointF, "getsa_Empty", entry<&f_empty>()},
};
const BehaviorTable point_f_table(Assembly::kImaging, kPointFMembers);

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
