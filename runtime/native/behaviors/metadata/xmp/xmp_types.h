// The typed values of XMP: text, numbers, dates, rational numbers, identifiers, and structures of fields.
//
// Their properties are stored like those of any record. This is how they are written in a packet and made from one
// that is read. Arrays and language alternatives, which are not typed values, are in xmp_arrays.h.
#ifndef ZELMOR_RUNTIME_NATIVE_BEHAVIORS_METADATA_XMP_XMP_TYPES_H
#define ZELMOR_RUNTIME_NATIVE_BEHAVIORS_METADATA_XMP_XMP_TYPES_H

#include <memory>
#include <string>

#include "generated/runtime/Zelmor.Imaging.Xmp.Types.h"
#include "runtime/native/behaviors/metadata/xmp/xmp_node.h"
#include "runtime/native/core/records.h"

namespace zelmor::embed {

// An object of a class derived from XmpTypeBase. Two are equal when they are of one type and hold the same.
class XmpTypeObject final : public Record {
 public:
    static constexpr const char* kManagedName = api::Xmp::Types::XmpTypeBase::kType.name;
    explicit XmpTypeObject(const TypeInfo& type);

    // The text for the value inside the element of a property.
    std::string representation() const;

    // A value as it was read, of a form that none of the classes has; such a one is a ComplexTypeBase.
    std::shared_ptr<const XmpNode> node;

    bool equals(const ManagedObject& other) const override;
    int32_t hash_code() const override;
    std::u16string to_text() const override;
    Ref<ManagedObject> copy() const override;
};

// One of the values that a class has ready as static properties, such as Stereo; equal to itself alone.
class XmpTokenObject final : public ManagedObject {
 public:
    static constexpr const char* kManagedName = "an XMP token";
    XmpTokenObject(const TypeInfo& type, const char* token) : ManagedObject(type), m_token(token) {}
    const char* token() const { return m_token; }
    std::u16string to_text() const override;

 private:
    const char* m_token;
};

// The object of such a class that stands for this word of the format; null where there is none.
Ref<ManagedObject> find_xmp_token(const TypeInfo& type, std::string_view word);

// The value of a property that was read: text, a LangAlt, an XmpArray, one of the structures, or a ComplexTypeBase that
// keeps the node as it is.
Value value_of_node(XmpNode node);

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_BEHAVIORS_METADATA_XMP_XMP_TYPES_H
