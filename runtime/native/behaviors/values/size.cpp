// Size and SizeF: members, text, hash and conversions.
#include "generated/runtime/Zelmor.Imaging.h"
#include "runtime/native/behaviors/values/geometry.h"
#include "runtime/native/behaviors/values/hashing.h"
#include "runtime/native/behaviors/values/rounding.h"
#include "runtime/native/core/conversions.h"
#include "runtime/native/core/entry.h"

namespace zelmor::embed {

namespace {

// ---- Both

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
BehaviorTable size_members() {
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
const BehaviorTable ZELMOR_UNNAMED = size_members<int32_t, api::Size>();
const BehaviorTable ZELMOR_UNNAMED = size_members<float, api::SizeF>();

// ---- Size

using IntSize = SizeMembers<int32_t>;

template <int32_t (*kRounded)(float)>
SizeValue rounded_size(const SizeFValue& size) {
    return {kRounded(size.width), kRounded(size.height)};
}

const BehaviorTable ZELMOR_UNNAMED({
    behavior<&IntSize::from_point, api::Size::ctor_000_Size>(),
    behavior<&IntSize::from_numbers, api::Size::ctor_001_Size>(),
    behavior<&IntSize::empty, api::Size::ctor_002_Size>(),
    behavior<&rounded_size<&ceiling_to_int32>, api::Size::call_000_Ceiling>(),
    behavior<&rounded_size<&truncate_to_int32>, api::Size::call_000_Truncate>(),
    behavior<&rounded_size<&round_to_int32>, api::Size::call_000_Round>(),
});

// ---- SizeF

using FloatSize = SizeMembers<float>;

SizeFValue copy(const SizeFValue& size) {
    return size;
}
PointFValue to_point(SizeFValue& self) {
    return {self.width, self.height};
}
SizeValue to_size(SizeFValue& self) {
    return rounded_size<&truncate_to_int32>(self);
}

const BehaviorTable ZELMOR_UNNAMED({
    behavior<&copy, api::SizeF::ctor_000_SizeF, api::SizeF::call_000_CreateFromSizeF>(),
    behavior<&FloatSize::from_point, api::SizeF::ctor_001_SizeF, api::SizeF::call_000_CreateFromPointF>(),
    behavior<&FloatSize::from_numbers, api::SizeF::ctor_002_SizeF>(),
    behavior<&FloatSize::empty, api::SizeF::ctor_003_SizeF>(),
    behavior<&to_point, api::SizeF::call_000_ToPointF>(),
    behavior<&to_size, api::SizeF::call_000_ToSize>(),
});

// ---- Factories and conversions

const FactoryRegistration ZELMOR_UNNAMED(api::Size::kType.name, new_box<SizeValue>);
const FactoryRegistration ZELMOR_UNNAMED(api::SizeF::kType.name, new_box<SizeFValue>);

const ConversionRegistration ZELMOR_UNNAMED(api::Size::kType.name, api::SizeF::kType.name, [](ManagedObject& size) {
    const auto& value = unbox<SizeValue>(size);
    return box(SizeFValue{static_cast<float>(value.width), static_cast<float>(value.height)});
});
const ConversionRegistration ZELMOR_UNNAMED(api::Size::kType.name, api::Point::kType.name, [](ManagedObject& size) {
    const auto& value = unbox<SizeValue>(size);
    return box(PointValue{value.width, value.height});
});
const ConversionRegistration ZELMOR_UNNAMED(api::SizeF::kType.name, api::PointF::kType.name,
                                            [](ManagedObject& size) { return box(to_point(unbox<SizeFValue>(size))); });

}  // namespace

std::u16string text_of(const SizeValue& value) {
    return IntSize::text(value);
}
std::u16string text_of(const SizeFValue& value) {
    return FloatSize::text(value);
}
int32_t hash_of(const SizeValue& value) {
    return IntSize::hash(value);
}
int32_t hash_of(const SizeFValue& value) {
    return FloatSize::hash(value);
}

}  // namespace zelmor::embed
