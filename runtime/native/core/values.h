// The value types of geometry and color, and the box in which a handle names a copy of one.
//
// A value crosses as a struct handle; each crossing makes a new box. The members of these types are in
// behaviors/values; here is only what other behavior needs to read and make them.
#ifndef ZELMOR_RUNTIME_NATIVE_CORE_VALUES_H
#define ZELMOR_RUNTIME_NATIVE_CORE_VALUES_H

#include <cstdint>
#include <string>

#include "exchange/wire/records.h"
#include "exchange/wire/tags.h"
#include "runtime/native/core/handles.h"
#include "runtime/native/core/managed_exception.h"
#include "runtime/native/core/type_system.h"

namespace zelmor::embed {

struct SizeValue {
    int32_t width = 0, height = 0;
    bool operator==(const SizeValue&) const = default;
};
struct SizeFValue {
    float width = 0, height = 0;
    bool operator==(const SizeFValue&) const = default;
};
struct PointValue {
    int32_t x = 0, y = 0;
    bool operator==(const PointValue&) const = default;
};
struct PointFValue {
    float x = 0, y = 0;
    bool operator==(const PointFValue&) const = default;
};
struct RectangleValue {
    int32_t x = 0, y = 0, width = 0, height = 0;
    bool operator==(const RectangleValue&) const = default;
};
struct RectangleFValue {
    float x = 0, y = 0, width = 0, height = 0;
    bool operator==(const RectangleFValue&) const = default;
};

// A color is what it was made from: a known color, a name without a meaning, or four components. Two colors are
// equal when they were made alike, so that the known red differs from the red of its components.
struct ColorValue {
    uint32_t argb = 0;        // 0xAARRGGBB, filled in for known colors too
    int16_t known_color = 0;  // a KnownColor, or 0
    int16_t state = 0;        // of the kState constants; 0 for the empty color
    std::u16string name;      // where state is kStateName

    static constexpr int16_t kStateKnown = 1;
    static constexpr int16_t kStateArgb = 2;
    static constexpr int16_t kStateName = 8;
    static ColorValue from_argb(uint32_t argb) { return {argb, 0, kStateArgb, {}}; }
    uint8_t a() const { return static_cast<uint8_t>(argb >> 24); }
    uint8_t r() const { return static_cast<uint8_t>(argb >> 16); }
    uint8_t g() const { return static_cast<uint8_t>(argb >> 8); }
    uint8_t b() const { return static_cast<uint8_t>(argb); }
    bool operator==(const ColorValue&) const = default;
};

struct CmykValue {
    uint8_t c = 0, m = 0, y = 0, k = 0;
    bool operator==(const CmykValue&) const = default;
};

// The managed type of a value type.
template <class V>
struct StructTraits;
#define ZELMOR_STRUCT_TRAITS(Value, full_name)          \
    template <>                                         \
    struct StructTraits<Value> {                        \
        static constexpr const char* kName = full_name; \
    }
ZELMOR_STRUCT_TRAITS(SizeValue, "Zelmor.Imaging.Size");
ZELMOR_STRUCT_TRAITS(SizeFValue, "Zelmor.Imaging.SizeF");
ZELMOR_STRUCT_TRAITS(PointValue, "Zelmor.Imaging.Point");
ZELMOR_STRUCT_TRAITS(PointFValue, "Zelmor.Imaging.PointF");
ZELMOR_STRUCT_TRAITS(RectangleValue, "Zelmor.Imaging.Rectangle");
ZELMOR_STRUCT_TRAITS(RectangleFValue, "Zelmor.Imaging.RectangleF");
ZELMOR_STRUCT_TRAITS(ColorValue, "Zelmor.Imaging.Color");
ZELMOR_STRUCT_TRAITS(CmykValue, "Zelmor.Imaging.CmykColor");
#undef ZELMOR_STRUCT_TRAITS

template <class V>
concept StructValue = requires { StructTraits<V>::kName; };

template <StructValue V>
const TypeInfo& struct_type() {
    static const TypeInfo& type = require_type(StructTraits<V>::kName);
    return type;
}

// Text, hash: ToString() and GetHashCode() of each value type.
std::u16string text_of(const SizeValue& value);
std::u16string text_of(const SizeFValue& value);
std::u16string text_of(const PointValue& value);
std::u16string text_of(const PointFValue& value);
std::u16string text_of(const RectangleValue& value);
std::u16string text_of(const RectangleFValue& value);
std::u16string text_of(const ColorValue& value);
std::u16string text_of(const CmykValue& value);
int32_t hash_of(const SizeValue& value);
int32_t hash_of(const SizeFValue& value);
int32_t hash_of(const PointValue& value);
int32_t hash_of(const PointFValue& value);
int32_t hash_of(const RectangleValue& value);
int32_t hash_of(const RectangleFValue& value);
int32_t hash_of(const ColorValue& value);
int32_t hash_of(const CmykValue& value);

// A boxed copy of a value.
template <StructValue V>
class Box final : public ManagedObject {
 public:
    static constexpr const char* kManagedName = StructTraits<V>::kName;
    explicit Box(V initial = {}) : ManagedObject(struct_type<V>()), value(std::move(initial)) {}
    V value;

    std::u16string to_text() const override { return text_of(value); }
    bool equals(const ManagedObject& other) const override {
        return &other.type() == &type() && static_cast<const Box&>(other).value == value;
    }
    int32_t hash_code() const override { return hash_of(value); }
    Ref<ManagedObject> copy() const override { return make_ref<Box>(value); }
};

template <StructValue V>
Ref<ManagedObject> box(V value) {
    return make_ref<Box<V>>(std::move(value));
}

// The value in a box; InvalidCastException for another object.
template <StructValue V>
V& unbox(ManagedObject& object) {
    if (&object.type() != &struct_type<V>()) {
        throw_invalid_cast(object.type().full_name, StructTraits<V>::kName);
    }
    return static_cast<Box<V>&>(object).value;
}
template <StructValue V>
const V& unbox(const ManagedObject& object) {
    return unbox<V>(const_cast<ManagedObject&>(object));
}

// The value behind a struct handle (a member's own instance).
template <StructValue V>
V& struct_target(Handle handle) {
    return unbox<V>(require_object(handle));
}

// A struct argument. None cannot become a value: NullReferenceException, as unboxing null does.
template <StructValue V>
const V& read_struct(const VariantArg* arg) {
    if (arg->tag > kHandleStruct) {
        throw_invalid_cast("a Python object", StructTraits<V>::kName);
    }
    ManagedObject* object = object_of(arg->value);
    if (object == nullptr) {
        throw_null_reference(std::string("None cannot become a value of ") + StructTraits<V>::kName);
    }
    return unbox<V>(*object);
}

// A new struct handle to a boxed copy, for a result.
template <StructValue V>
Handle make_struct_handle(V value) {
    return make_handle(box(std::move(value)));
}

// The slow templates are compiled once, in values.cpp: nearly every source uses some of them.
#define ZELMOR_STRUCT_FUNCTIONS(declared, V)                      \
    declared template class Box<V>;                               \
    declared template Ref<ManagedObject> box<V>(V);               \
    declared template const V& read_struct<V>(const VariantArg*); \
    declared template Handle make_struct_handle<V>(V)
ZELMOR_STRUCT_FUNCTIONS(extern, SizeValue);
ZELMOR_STRUCT_FUNCTIONS(extern, SizeFValue);
ZELMOR_STRUCT_FUNCTIONS(extern, PointValue);
ZELMOR_STRUCT_FUNCTIONS(extern, PointFValue);
ZELMOR_STRUCT_FUNCTIONS(extern, RectangleValue);
ZELMOR_STRUCT_FUNCTIONS(extern, RectangleFValue);
ZELMOR_STRUCT_FUNCTIONS(extern, ColorValue);
ZELMOR_STRUCT_FUNCTIONS(extern, CmykValue);

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_CORE_VALUES_H
