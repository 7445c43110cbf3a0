// Carrying the drawing module's records.
#include "runtime/native/collections/drawing_record.h"

#include <cstring>

#include "exchange/wire/records.h"
#include "runtime/native/core/managed_exception.h"

namespace zelmor::embed {

namespace {

const TypeInfo& record_type(const ElementType& element) {
    return intern_type(element.name, TypeKind::kStruct);
}

}  // namespace

size_t DrawingRecord::size_of(const ElementType& element) {
    return std::strcmp(element.name, "System.Drawing.Color") == 0 ? sizeof(ShlColorObject) : sizeof(ShlPointFObject);
}

DrawingRecord::DrawingRecord(const ElementType& element) : ManagedObject(record_type(element)), element_(&element) {}

Ref<DrawingRecord> DrawingRecord::read(const void* record, const ElementType& element) {
    if (!record) throw_argument_null("value");
    auto made = make_ref<DrawingRecord>(element);
    std::memcpy(made->bytes.data(), record, size_of(element));
    return made;
}

void DrawingRecord::write(ManagedObject* object, const ElementType& element, void* out) {
    if (object && &object->type() != &record_type(element)) throw_invalid_cast(object->type().full_name, element.name);
    std::memset(out, 0, size_of(element));
    if (object) std::memcpy(out, cast_object<DrawingRecord>(*object).bytes.data(), size_of(element));
}

bool DrawingRecord::equals(const ManagedObject& other) const {
    return &other.type() == &type() && static_cast<const DrawingRecord&>(other).bytes == bytes;
}

int32_t DrawingRecord::hash_code() const {
    uint32_t hash = 17;
    for (const std::byte each : bytes)
        hash = hash * 31 + static_cast<uint32_t>(each);
    return static_cast<int32_t>(hash);
}

Ref<ManagedObject> DrawingRecord::copy() const {
    return read(bytes.data(), *element_);
}

}  // namespace zelmor::embed
