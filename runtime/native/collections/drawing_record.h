// A value of the drawing module (System.Drawing.PointF, Color) as an element: the bytes of its record.
//
// The records belong to that module; here they are only carried and compared.
#pragma once

#include <array>

#include "runtime/native/core/collection.h"

namespace zelmor::embed {

class DrawingRecord final : public ManagedObject {
 public:
    static constexpr const char* kManagedName = "a value of System.Drawing";
    static size_t size_of(const ElementType& element);
    // A copy of the record behind the pointer; ArgumentNullException for null.
    static Ref<DrawingRecord> read(const void* record, const ElementType& element);
    // The record of the object, or one of zeros for none; InvalidCastException for another kind of object.
    static void write(ManagedObject* object, const ElementType& element, void* out);

    explicit DrawingRecord(const ElementType& element);
    bool equals(const ManagedObject& other) const override;
    int32_t hash_code() const override;
    Ref<ManagedObject> copy() const override;

    std::array<std::byte, 32> bytes{};

 private:
    const ElementType* element_;
};

}  // namespace zelmor::embed
