// Size and SizeF: members, text, hash and conversions.
#include "generated/runtime/Zelmor.Imaging.h"
#include "runtime/native/behaviors/values/geometry.h"
#include "runtime/native/behaviors/values/hashing.h"
#include "runtime/native/behaviors/values/rounding.h"
#include "runtime/native/core/conversions.h"
#include "runtime/native/core/entry.h"

namespace zelmor::embed {

namespace {

// ---- What both have

template <class Number>
struct SizeMembers {
    using Point = typename Geometry<Number>::Point;
    using Size = typename Geometry<Number>::Size;

    static std::u16string text(const Size& value) {
        return u"{Width=" + coordinate_text(value.width) + u", Height=" + coordinate_text(value.height) + u"}";
    }
    static int32_t hash(const Size& value) { return combined_hash(hash_word(value.width), hash_word(value.height)); }

    static Size from_point(const Point& point) { return {point.x, point.y}; }
    static Size from_numbers(Number width, Number height) { return {width, height}; }
    static Size empty() { return {}; }
    static bool is_empty(Size& self) { return self == Size(); }
    static Size add(const Size& a, const Size& b) { return {sum(a.width, b.width), sum(a.height, b.height)}; }
    static Size subtract(const Size& a, const Size& b) {
        return {difference(a.width, b.width), difference(a.height, b.height)};
    }
};

template <class Number, class Api>
BehaviorTable shared_members() {
    using Members = SizeMembers<Number>;
    using Size = typename Members::Size;
    return BehaviorTable({
        behavior<&Members::empty, Api::getsa_Empty>(),
        behavior<&Members::add, Api::call_000_Add>(),
        behavior<&Members::subtract, Api::call_000_Subtract>(),
        behavior<&Members::is_empty, Api::get_IsEmpty>(),
        field<&Size::width, Api::property_Width>(),
        field<&Size::height, Api::property_Height>(),
    });
}
const BehaviorTable shared_table = shared_members<int32_t, api::Size>();
const BehaviorTable shared_f_table = shared_members<float, api::SizeF>();

// ---- Size

using Members = SizeMembers<int32_t>;

template <int32_t (*kRounded)(float)>
SizeValue rounded(const SizeFValue& size) {
    return {kRounded(size.width), kRounded(size.height)};
}

const BehaviorTable size_table({
    behavior<&Members::from_point, api::Size::ctor_000_Size>(),
    behavior<&Members::from_numbers, api::Size::ctor_001_Size>(),
    behavior<&Members::empty, api::Size::ctor_002_Size>(),
    behavior<&rounded<&ceiling_to_int32>, api::Size::call_000_Ceiling>(),
    behavior<&rounded<&truncate_to_int32>, api::Size::call_000_Truncate>(),
    behavior<&rounded<&round_to_int32>, api::Size::call_000_Round>(),
});

// ---- SizeF

using MembersF = SizeMembers<float>;

SizeFValue copy(const SizeFValue& size) {
    return size;
}
PointFValue to_point(SizeFValue& self) {
    return {self.width, self.height};
}
SizeValue to_size(SizeFValue& self) {
    return rounded<&truncate_to_int32>(self);
}

const BehaviorTable size_f_table({
    behavior<&copy, api::SizeF::ctor_000_SizeF, api::SizeF::call_000_CreateFromSizeF>(),
    behavior<&MembersF::from_point, api::SizeF::ctor_001_SizeF, api::SizeF::call_000_CreateFromPointF>(),
    behavior<&MembersF::from_numbers, api::SizeF::ctor_002_SizeF>(),
    behavior<&MembersF::empty, api::SizeF::ctor_003_SizeF>(),
    behavior<&to_point, api::SizeF::call_000_ToPointF>(),
    behavior<&to_size, api::SizeF::call_000_ToSize>(),
});

// ---- Factories and conversions

const FactoryRegistration factory(api::Size::kType.name, new_box<SizeValue>);
const FactoryRegistration factory_f(api::SizeF::kType.name, new_box<SizeFValue>);

const ConversionRegistration size_to_size_f(api::Size::kType.name, api::SizeF::kType.name, [](ManagedObject& size) {
    const auto& value = unbox<SizeValue>(size);
    return box(SizeFValue{static_cast<float>(value.width), static_cast<float>(value.height)});
});
const ConversionRegistration size_to_point(api::Size::kType.name, api::Point::kType.name, [](ManagedObject& size) {
    const auto& value = unbox<SizeValue>(size);
    return box(PointValue{value.width, value.height});
});
const ConversionRegistration size_f_to_point_f(api::SizeF::kType.name, api::PointF::kType.name,
                                               [](ManagedObject& size) {
                                                   return box(to_point(unbox<SizeFValue>(size)));
                                               });

}  // namespace

std::u16string text_of(const SizeValue& value) {
    return Members::text(value);
}
std::u16string text_of(const SizeFValue& value) {
    return MembersF::text(value);
}
int32_t hash_of(const SizeValue& value) {
    return Members::hash(value);
}
int32_t hash_of(const SizeFValue& value) {
    return MembersF::hash(value);
}

}  // namespace zelmor::embed
