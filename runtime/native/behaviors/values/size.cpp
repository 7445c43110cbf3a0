// Size and SizeF: members, text, hash and conversions.
#include "generated/runtime/Zelmor.Imaging.h"
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
using SizeApi = api::Size;
using SizeFApi = api::SizeF;

const BehaviorTable size_table({
    behavior<&from_point, SizeApi::ctor_000_Size>(),
    behavior<&from_numbers, SizeApi::ctor_001_Size>(),
    behavior<&empty, SizeApi::ctor_002_Size, SizeApi::getsa_Empty>(),
    behavior<&add, SizeApi::call_000_Add>(),
    behavior<&ceiling, SizeApi::call_000_Ceiling>(),
    behavior<&subtract, SizeApi::call_000_Subtract>(),
    behavior<&truncate, SizeApi::call_000_Truncate>(),
    behavior<&round, SizeApi::call_000_Round>(),
    behavior<&is_empty, SizeApi::get_IsEmpty>(),
    behavior<&get_width, SizeApi::get_Width>(),
    behavior<&set_width, SizeApi::set_Width>(),
    behavior<&get_height, SizeApi::get_Height>(),
    behavior<&set_height, SizeApi::set_Height>(),
});

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
const BehaviorTable size_f_table({
    behavior<&f_copy, SizeFApi::ctor_000_SizeF, SizeFApi::call_000_CreateFromSizeF>(),
    behavior<&f_from_point, SizeFApi::ctor_001_SizeF, SizeFApi::call_000_CreateFromPointF>(),
    behavior<&f_from_numbers, SizeFApi::ctor_002_SizeF>(),
    behavior<&f_empty, SizeFApi::ctor_003_SizeF, SizeFApi::getsa_Empty>(),
    behavior<&f_add, SizeFApi::call_000_Add>(),
    behavior<&f_subtract, SizeFApi::call_000_Subtract>(),
    behavior<&f_to_point, SizeFApi::call_000_ToPointF>(),
    behavior<&f_to_size, SizeFApi::call_000_ToSize>(),
    behavior<&f_is_empty, SizeFApi::get_IsEmpty>(),
    behavior<&f_get_width, SizeFApi::get_Width>(),
    behavior<&f_set_width, SizeFApi::set_Width>(),
    behavior<&f_get_height, SizeFApi::get_Height>(),
    behavior<&f_set_height, SizeFApi::set_Height>(),
});

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
