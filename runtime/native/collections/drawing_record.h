// A value of the drawing module (System.Drawing.PointF, Color) as an element: the bytes of its record.
//
// The records belong to that module. Where the element's type is known they cross as they are; where it is not, as in a
// collection of any values, there is no way to make that module's value, and the element is a PointF or Color of this
// library in both directions.
#ifndef ZELMOR_RUNTIME_NATIVE_COLLECTIONS_DRAWING_RECORD_H
#define ZELMOR_RUNTIME_NATIVE_COLLECTIONS_DRAWING_RECORD_H

#include <array>

#include "runtime/native/collections/collection.h"
#include "runtime/native/core/values.h"

namespace zelmor::embed {

class DrawingRecord final : public ManagedObject {
 public:
    static constexpr const char* kManagedName = "a value of System.Drawing";
    static size_t size_of(const ElementType& element);
    static Ref<DrawingRecord> of(const PointFValue& point);
    static Ref<DrawingRecord> of(const ColorValue& color);
    // What an element is to be: a record of its type, or one made of this library's value. InvalidCastException.
    static Ref<DrawingRecord> of(const Value& value, const ElementType& element);
    // A copy of the record behind the pointer; ArgumentNullException for null.
    static Ref<DrawingRecord> read(const void* record, const ElementType& element);
    // The record of the object, or one of zeros for none; InvalidCastException for another kind of object.
    static void write(ManagedObject* object, const ElementType& element, void* out);

    explicit DrawingRecord(const ElementType& element);
    bool equals(const ManagedObject& other) const override;
    int32_t hash_code() const override;
    Ref<ManagedObject> copy() const override;
    Ref<ManagedObject> shown_as() const override;

    std::array<std::byte, 32> bytes{};

 private:
    // The same value as a record; empty where there is none.
    static Ref<DrawingRecord> made_of(const ManagedObject& value, const ElementType& element);
    bool is_color() const;

    const ElementType* m_element;
};

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_COLLECTIONS_DRAWING_RECORD_H
