// Size and SizeF: members, text, hash and conversions.
#include "runtime/native/behaviors/values/rounding.h"
#include "runtime/native/core/conversions.h"
#include "runtime/native/core/entry.h"

namespace zelmor::embed {

std::u16string text_of(const SizeValue& value) {
    return u"{Width=" + number_text(int64_t{value.width}) + u", Height=" + number_text(int64_t{value.height}) + u"}";
}
std::u16string text_of(const SizeFValue& value) {
    return u"{Width=" + number_text(value.width) + u", Height=" + number_text(value.height) + u"}";
}
int32_t hash_of(const SizeValue& value) {
    return combined_hash(value.width, value.height);
}
int32_t hash_of(const SizeFValue& value) {
    return combined_hash(float_word(value.width), float_word(value.height));
}

namespace {

SizeValue from_point(const PointValue& point) {
    return {point.x, point.y};
}
SizeValue from_numbers(int32_t width, int32_t height) {
    return {width, height};
}
SizeValue empty() {
    return {};
}

SizeValue add(const SizeValue& a, const SizeValue& b) {
    return {wrapping_add(a.width, b.width), wrapping_add(a.height, b.height)};
}
SizeValue subtract(const SizeValue& a, const SizeValue& b) {
    return {wrapping_subtract(a.width, b.width), wrapping_subtract(a.height, b.height)};
}
SizeValue ceiling(const SizeFValue& size) {
    return {ceiling_to_int32(size.width), ceiling_to_int32(size.height)};
}
SizeValue truncate(const SizeFValue& size) {
    return {truncate_to_int32(size.width), truncate_to_int32(size.height)};
}
SizeValue round(const SizeFValue& size) {
    return {round_to_int32(size.width), round_to_int32(size.height)};
}

bool is_empty(SizeValue& self) {
    return self == SizeValue();
}
int32_t get_width(SizeValue& self) {
    return self.width;
}
void set_width(SizeValue& self, int32_t width) {
    self.width = width;
}
int32_t get_height(SizeValue& self) {
    return self.height;
}
void set_height(SizeValue& self, int32_t height) {
    self.height = height;
}

constexpr const char* kSize = "Zelmor.Imaging.Size";
const Behavior kSizeMembers[] = {
    {kSize, "ctor_000_Size", entry<&from_point>()},   {kSize, "ctor_001_Size", entry<&from_numbers>()},
    {kSize, "ctor_002_Size", entry<&empty>()},        {kSize, "call_000_Add", entry<&add>()},
    {kSize, "call_000_Ceiling", entry<&ceiling>()},   {kSize, "call_000_Subtract", entry<&subtract>()},
    {kSize, "call_000_Truncate", entry<&truncate>()}, {kSize, "call_000_Round", entry<&round>()},
    {kSize, "get_IsEmpty", entry<&is_empty>()},       {kSize, "get_Width", entry<&get_width>()},
    {kSize, "set_Width", entry<&set_width>()},        {kSize, "get_Height", entry<&get_height>()},
    {kSize, "set_Height", entry<&set_height>()},      {kSize, "getsa_Empty", entry<&empty>()},
};
const BehaviorTable size_table(Assembly::kImaging, kSizeMembers);

SizeFValue f_copy(const SizeFValue& size) {
    return size;
}
SizeFValue f_from_point(const PointFValue& point) {
    return {point.x, point.y};
}
SizeFValue f_from_numbers(float width, float height) {
    return {width, height};
}
SizeFValue f_empty() {
    return {};
}

SizeFValue f_add(const SizeFValue& a, const SizeFValue& b) {
    return {a.width + b.width, a.height + b.height};
}
SizeFValue f_subtract(const SizeFValue& a, const SizeFValue& b) {
    return {a.width - b.width, a.height - b.height};
}
PointFValue f_to_point(SizeFValue& self) {
    return {self.width, self.height};
}
SizeValue f_to_size(SizeFValue& self) {
    return truncate(self);
}

bool f_is_empty(SizeFValue& self) {
    return self.width == 0 && self.height == 0;
}
float f_get_width(SizeFValue& self) {
    return self.width;
}
void f_set_width(SizeFValue& self, float width) {
    self.width = width;
}
float f_get_height(SizeFValue& self) {
    return self.height;
}
void f_set_height(SizeFValue& self, float height) {
    self.height = height;
}

constexpr const char* kSizeF = "Zelmor.Imaging.SizeF";
const Behavior kSizeFMembers[] = {
    {kSizeF, "ctor_000_SizeF", entry<&f_copy>()},
    {kSizeF, "ctor_001_SizeF", entry<&f_from_point>()},
    {kSizeF, "ctor_002_SizeF", entry<&f_from_numbers>()},
    {kSizeF, "ctor_003_SizeF", entry<&f_empty>()},
    {kSizeF, "call_000_CreateFromSizeF", entry<&f_copy>()},
    {kSizeF, "call_000_CreateFromPointF", entry<&f_from_point>()},
    {kSizeF, "call_000_Add", entry<&f_add>()},
    {kSizeF, "call_000_Subtract", entry<&f_subtract>()},
    {kSizeF, "call_000_ToPointF", entry<&f_to_point>()},
    {kSizeF, "call_000_ToSize", entry<&f_to_size>()},
    {kSizeF, "get_IsEmpty", entry<&f_is_empty>()},
    {kSizeF, "get_Width", entry<&f_get_width>()},
    {kSizeF, "set_Width", entry<&f_set_width>()},
    {kSizeF, "get_Height", entry<&f_get_height>()},
    {kSizeF, "set_Height", entry<&f_set_height>()},
    {kSizeF, "getsa_Empty", entry<&f_empty>()},
};
const BehaviorTable size_f_table(Assembly::kImaging, kSizeFMembers);

const FactoryRegistration size_factory(kSize, [](const TypeInfo&) { return box(SizeValue()); });
const FactoryRegistration size_f_factory(kSizeF, [](const TypeInfo&) { return box(SizeFValue()); });

const ConversionRegistration to_size_f(kSize, kSizeF, [](ManagedObject& size) {
    const auto& value = unbox<SizeValue>(size);
    return box(SizeFValue{static_cast<float>(value.width), static_cast<float>(value.height)});
});
const ConversionRegistration to_point(kSize, StructTraits<PointValue>::kName, [](ManagedObject& size) {
    const auto& value = unbox<SizeValue>(size);
    return box(PointValue{value.width, value.height});
});
const ConversionRegistration f_to_point_f(kSizeF, StructTraits<PointFValue>::kName,
                                          [](ManagedObject& size) { return box(f_to_point(unbox<SizeFValue>(size))); });

}  // namespace

}  // namespace zelmor::embed
