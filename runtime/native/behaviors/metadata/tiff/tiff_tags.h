// TiffDataType and the classes derived from it: one tag of a TIFF directory, its number, type and values.
//
// Values of arrays are kept in a managed array, so that what a member hands out is what the tag has. Text is UTF-8 in a
// file, which 7-bit ASCII is a part of.
#ifndef ZELMOR_RUNTIME_NATIVE_BEHAVIORS_METADATA_TIFF_TIFF_TAGS_H
#define ZELMOR_RUNTIME_NATIVE_BEHAVIORS_METADATA_TIFF_TIFF_TAGS_H

#include <cstdint>
#include <optional>
#include <string>

#include "generated/runtime/Zelmor.Imaging.Exif.h"
#include "generated/runtime/Zelmor.Imaging.FileFormats.Tiff.Enums.h"
#include "generated/runtime/Zelmor.Imaging.FileFormats.Tiff.TiffTagTypes.h"
#include "generated/runtime/Zelmor.Imaging.FileFormats.Tiff.h"
#include "runtime/native/behaviors/metadata/tiff/tiff_streams.h"
#include "runtime/native/collections/collection.h"
#include "runtime/native/core/object.h"

namespace zelmor::embed {

using TiffType = api::FileFormats::Tiff::Enums::TiffDataTypes;

// The number of a tag in a file.
constexpr uint16_t number_of(api::FileFormats::Tiff::Enums::TiffTags tag) {
    return static_cast<uint16_t>(tag);
}
constexpr uint16_t number_of(api::Exif::ExifProperties tag) {
    return static_cast<uint16_t>(tag);
}

// The bytes that one value takes; 0 for a number that is no type.
size_t tiff_element_size(uint16_t type);

class TagObject : public ManagedObject {
 public:
    static constexpr const char* kManagedName = api::FileFormats::Tiff::TiffDataType::kType.name;
    TagObject(const TypeInfo& type, TiffType data_type, uint16_t id);

    uint16_t id() const { return m_id; }
    TiffType data_type() const { return m_data_type; }
    virtual uint64_t count() const;
    virtual uint64_t data_size() const { return count() * tiff_element_size(static_cast<uint16_t>(m_data_type)); }
    // Text, bytes, or the array; null where nothing was set.
    virtual Value value() const;
    // InvalidCastException for what is no value of the type, OverflowException for a number out of its range. A single
    // number or fraction becomes an array of one.
    virtual void assign(const Value& value);
    // The array of a type that has one, of bytes for those; null where nothing was set.
    virtual Ref<ManagedList> values() const;

    // The values as they stand in a file.
    virtual Bytes encoded(bool big_endian) const;
    void decode(std::span<const std::byte> data, bool big_endian);

    bool equals(const ManagedObject& other) const override;
    int32_t hash_code() const override;
    Ref<ManagedObject> copy() const override;

 private:
    uint16_t m_id;
    TiffType m_data_type;
    Ref<ManagedList> m_list;
    std::optional<std::u16string> m_text;
    std::optional<Bytes> m_bytes;
};

// A tag of a type that TIFF does not define: it keeps the offset of its values, not the values.
class UnknownTagObject final : public TagObject {
 public:
    static constexpr const char* kManagedName = api::FileFormats::Tiff::TiffTagTypes::TiffUnknownType::kType.name;
    UnknownTagObject(Ref<TiffReaderObject> reader, uint16_t type, uint16_t id, uint64_t count,
                     uint64_t offset_or_value);
    uint64_t count() const override { return m_count; }
    uint64_t data_size() const override { return 0; }
    Value value() const override { return m_value; }
    void assign(const Value& value) override { m_value = value; }
    Ref<ManagedList> values() const override { return nullptr; }
    Bytes encoded(bool) const override { return {}; }
    bool equals(const ManagedObject& other) const override { return this == &other; }
    Ref<ManagedObject> copy() const override;
    void references(ReferenceVisitor& visitor) override;

    const Ref<TiffReaderObject>& reader() const { return m_reader; }
    uint64_t offset_or_value() const { return m_offset_or_value; }

 private:
    Ref<TiffReaderObject> m_reader;
    uint64_t m_count;
    uint64_t m_offset_or_value;
    Value m_value = Ref<ManagedObject>();
};

// An empty tag; null for a number that is no type.
Ref<TagObject> make_tag(uint16_t data_type, uint16_t id);
Ref<TagObject> make_tag(TiffType data_type, uint16_t id, const Value& value);

// The bytes of the values that the directory entry at a position claims to have.
uint64_t tag_bytes(TiffReaderObject& reader, int64_t position);
// The tag of the directory entry at a position.
Ref<TagObject> read_tag(TiffReaderObject& reader, int64_t position);
constexpr size_t directory_entry_size(bool big_tiff) {
    return big_tiff ? 20 : 12;
}
// The space of an entry for values that need no place of their own.
constexpr size_t inline_size(bool big_tiff) {
    return big_tiff ? 8 : 4;
}

// A number among the values of a tag; nothing if the tag has no whole number at the index.
std::optional<int64_t> tag_integer(const TagObject& tag, size_t index = 0);

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_BEHAVIORS_METADATA_TIFF_TIFF_TAGS_H
