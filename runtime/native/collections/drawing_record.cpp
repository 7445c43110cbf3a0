// Carrying the drawing module's records.
#include "runtime/native/collections/drawing_record.h"

#include <cstring>

#include "exchange/wire/records.h"
#include "runtime/native/core/managed_exception.h"

namespace zelmor::embed {

namespace {

constexpr const char* kPointF = "System.Drawing.PointF";
constexpr const char* kColor = "System.Drawing.Color";
// The states of the drawing module's colors.
constexpr int16_t kNumbered = 1;
constexpr int16_t kComponents = 2;

bool holds_color(const ElementType& element) {
    return std::strcmp(element.name, kColor) == 0;
}

const TypeInfo& record_type(const ElementType& element) {
    return intern_type(element.name, TypeKind::kStruct);
}

}  // namespace

size_t DrawingRecord::size_of(const ElementType& element) {
    return holds_color(element) ? sizeof(ShlColorObject) : sizeof(ShlPointFObject);
}

bool DrawingRecord::is_color() const {
    return holds_color(*m_element);
}

Ref<DrawingRecord> DrawingRecord::of(const PointFValue& point) {
    const ShlPointFObject record{point.x, point.y};
    return read(&record, element_of(Wire::kRecord, kPointF));
}

// A known color stays one; a name without a meaning, which has no components, becomes the empty color.
Ref<DrawingRecord> DrawingRecord::of(const ColorValue& color) {
    const bool known = color.state == ColorValue::kStateKnown;
    const bool components = color.state == ColorValue::kStateArgb;
    const ShlColorObject record{color.argb, known ? color.known_color : int16_t{0},
                                known        ? kNumbered
                                : components ? kComponents
                                             : int16_t{0}};
    return read(&record, element_of(Wire::kRecord, kColor));
}

Ref<DrawingRecord> DrawingRecord::made_of(const ManagedObject& value, const ElementType& element) {
    if (&value.type() == &record_type(element)) {
        return Ref<DrawingRecord>(const_cast<DrawingRecord*>(static_cast<const DrawingRecord*>(&value)));
    }
    if (holds_color(element)) {
        const auto* color = dynamic_cast<const Box<ColorValue>*>(&value);
        return color != nullptr ? of(color->value) : nullptr;
    }
    const auto* point = dynamic_cast<const Box<PointFValue>*>(&value);
    return point != nullptr ? of(point->value) : nullptr;
}

Ref<DrawingRecord> DrawingRecord::of(const Value& value, const ElementType& element) {
    const auto* object = std::get_if<Ref<ManagedObject>>(&value);
    auto record = object != nullptr && *object ? made_of(**object, element) : nullptr;
    if (!record) {
        throw_invalid_value_cast(value, element.name);
    }
    return record;
}

Ref<ManagedObject> DrawingRecord::shown_as() const {
    if (!is_color()) {
        ShlPointFObject point;
        std::memcpy(&point, bytes.data(), sizeof point);
        return box(PointFValue{static_cast<float>(point.x), static_cast<float>(point.y)});
    }
    ShlColorObject color;
    std::memcpy(&color, bytes.data(), sizeof color);
    if (color.state == 0) {
        return box(ColorValue{});
    }
    if (color.known_color == 0) {
        return box(ColorValue::from_argb(color.argb));
    }
    return box(ColorValue{color.argb, color.known_color, ColorValue::kStateKnown, {}});
}

DrawingRecord::DrawingRecord(const ElementType& element) : ManagedObject(record_type(element)), m_element(&element) {}

Ref<DrawingRecord> DrawingRecord::read(const void* record, const ElementType& element) {
    if (record == nullptr) {
        throw_argument_null("value");
    }
    auto made = make_ref<DrawingRecord>(element);
    std::memcpy(made->bytes.data(), record, size_of(element));
    return made;
}

void DrawingRecord::write(ManagedObject* object, const ElementType& element, void* out) {
    if (object != nullptr && &object->type() != &record_type(element)) {
        throw_invalid_cast(object->type().full_name, element.name);
    }
    std::memset(out, 0, size_of(element));
    if (object != nullptr) {
        std::memcpy(out, cast_object<DrawingRecord>(*object).bytes.data(), size_of(element));
    }
}

bool DrawingRecord::equals(const ManagedObject& other) const {
    const auto same = made_of(other, *m_element);
    return same && same->bytes == bytes;
}

// That of the value of this library that it is equal to.
int32_t DrawingRecord::hash_code() const {
    return shown_as()->hash_code();
}

Ref<ManagedObject> DrawingRecord::copy() const {
    return read(bytes.data(), *m_element);
}

}  // namespace zelmor::embed
