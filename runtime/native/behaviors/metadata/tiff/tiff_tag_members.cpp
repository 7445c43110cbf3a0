// Members of TiffDataType and its kin, and of the factory of tags.
#include <algorithm>

#include "generated/runtime/Zelmor.Imaging.FileFormats.Tiff.InstanceFactory.h"
#include "generated/runtime/Zelmor.Imaging.FileFormats.Tiff.TiffTagTypes.h"
#include "generated/runtime/Zelmor.Imaging.FileFormats.Tiff.h"
#include "runtime/native/behaviors/metadata/tiff/tag_values.h"
#include "runtime/native/core/entry.h"
#include "runtime/native/core/managed_exception.h"
#include "runtime/native/core/records.h"
#include "runtime/native/delegates/row_behavior.h"

namespace zelmor::embed {

namespace {

namespace types = api::FileFormats::Tiff::TiffTagTypes;

int32_t clamped(uint64_t number) {
    return static_cast<int32_t>(std::min<uint64_t>(number, INT32_MAX));
}

void check_size_of_value(uint8_t size) {
    if (size == 0) {
        throw_out_of_range("size_of_tag_value", "The space for the value of a tag is not empty.");
    }
}

uint64_t aligned_size(const TagObject& tag, size_t size_of_value) {
    return (tag.data_size() + size_of_value - 1) / size_of_value * size_of_value;
}
// The size of values that do not fit in the entry, rounded up to a multiple of the space in an entry.
uint64_t additional_size(const TagObject& tag, size_t size_of_value) {
    return tag.data_size() <= size_of_value ? 0 : aligned_size(tag, size_of_value);
}

int32_t get_aligned_data_size(TagObject& self, uint8_t size_of_tag_value) {
    check_size_of_value(size_of_tag_value);
    return clamped(aligned_size(self, size_of_tag_value));
}
int32_t get_additional_data_size(TagObject& self, uint8_t size_of_tag_value) {
    check_size_of_value(size_of_tag_value);
    return clamped(additional_size(self, size_of_tag_value));
}

int32_t compare_to(TagObject& self, const VariantArg* obj) {
    const Value value = read_variant(obj);
    if (is_null(value)) {
        return 1;
    }
    const auto* object = std::get_if<Ref<ManagedObject>>(&value);
    if (object == nullptr) {
        throw_argument("obj: A tag is compared with a tag.");
    }
    const int difference = self.id() - cast_object<TagObject>(**object).id();
    return difference < 0 ? -1 : difference > 0 ? 1 : 0;
}

Ref<ManagedObject> deep_clone(TagObject& self) {
    return self.copy();
}

Ref<ManagedObject> read_one_tag(TiffReaderObject* data_stream, int64_t position) {
    if (data_stream == nullptr) {
        throw_argument_null("data_stream");
    }
    return read_tag(*data_stream, position);
}

TiffWriterObject& required(TiffWriterObject* writer) {
    if (writer == nullptr) {
        throw_argument_null("data_stream");
    }
    return *writer;
}

// The size of the values of an unknown type is not known, so that they cannot be copied to another file.
void refuse_unknown(const TagObject& self) {
    if (dynamic_cast<const UnknownTagObject*>(&self) != nullptr) {
        throw ManagedException("NotSupportedException",
                               "A tag of the unknown type " + std::to_string(static_cast<int>(self.data_type())) +
                                   " cannot be written: nobody knows how long its values are.");
    }
}

void write_tag(TagObject& self, TiffWriterObject* data_stream, int64_t additional_data_offset) {
    TiffWriterObject& writer = required(data_stream);
    refuse_unknown(self);
    const size_t word = inline_size(writer.big_tiff());
    Bytes entry;
    put_number(entry, self.id(), 2, writer.big_endian());
    put_number(entry, static_cast<uint16_t>(self.data_type()), 2, writer.big_endian());
    put_number(entry, self.count(), word, writer.big_endian());
    const bool in_place = self.data_size() <= word;
    if (in_place) {
        const Bytes data = self.encoded(writer.big_endian());
        entry.insert(entry.end(), data.begin(), data.end());
    } else {
        const int64_t last = word == 8 ? INT64_MAX : int64_t{UINT32_MAX};
        if (additional_data_offset < 0 || additional_data_offset > last) {
            throw_out_of_range("additional_data_offset", "The offset does not fit in the entry of a tag.");
        }
        put_number(entry, static_cast<uint64_t>(additional_data_offset), word, writer.big_endian());
    }
    entry.resize(directory_entry_size(writer.big_tiff()));
    writer.write(entry);
}

int32_t write_additional_data(TagObject& self, TiffWriterObject* data_stream) {
    TiffWriterObject& writer = required(data_stream);
    refuse_unknown(self);
    const uint64_t size = additional_size(self, inline_size(writer.big_tiff()));
    if (size == 0) {
        return 0;
    }
    Bytes data = self.encoded(writer.big_endian());
    data.resize(static_cast<size_t>(size));
    writer.write(data);
    return clamped(size);
}

int32_t element_size(TagObject& self) {
    return clamped(tiff_element_size(static_cast<uint16_t>(self.data_type())));
}
int32_t data_size(TagObject& self) {
    return clamped(self.data_size());
}
int32_t count(TagObject& self) {
    return clamped(self.count());
}
int32_t id(TagObject& self) {
    return self.id();
}
uint16_t tag_id(TagObject& self) {
    return self.id();
}
TiffType tag_type(TagObject& self) {
    return self.data_type();
}
Value value_of_tag(TagObject& self) {
    return self.value();
}
void set_value(TagObject& self, const VariantArg* value) {
    self.assign(read_variant(value));
}
bool is_valid_tag(TagObject& self) {
    return self.count() > 0 && tiff_element_size(static_cast<uint16_t>(self.data_type())) > 0;
}
Collection values_container(TagObject& self) {
    return {Ref<ManagedObject>(self.values())};
}

uint64_t unknown_count(UnknownTagObject& self) {
    return self.count();
}
uint64_t unknown_offset(UnknownTagObject& self) {
    return self.offset_or_value();
}
Ref<ManagedObject> unknown_stream(UnknownTagObject& self) {
    return Ref<ManagedObject>(self.reader());
}
Ref<ManagedObject> make_unknown(TiffReaderObject* stream, uint16_t tag_type, uint16_t tag_id, uint64_t count,
                                uint64_t offset_or_value) {
    if (stream == nullptr) {
        throw_argument_null("stream");
    }
    return make_ref<UnknownTagObject>(Ref<TiffReaderObject>(stream), tag_type, tag_id, count, offset_or_value);
}

Ref<ManagedObject> create_instance(TiffType data_type, uint16_t tag_id) {
    const auto number = static_cast<uint16_t>(data_type);
    auto tag = make_tag(number, tag_id);
    if (!tag) {
        throw_out_of_range("data_type", "The number " + std::to_string(number) + " is no type of TIFF.");
    }
    return tag;
}

std::optional<std::u16string> text_of_tag(TagObject& self) {
    return text_of_tag(self.value());
}
void set_text_of_tag(TagObject& self, const std::optional<std::u16string>& value) {
    self.assign(given_text(value));
}
std::optional<Bytes> bytes(TagObject& self) {
    return bytes_of_tag(self.value());
}
void set_bytes(TagObject& self, const PyBytesArg* value) {
    self.assign(given_bytes(value));
}
Collection array_of_tag(TagObject& self) {
    return {Ref<ManagedObject>(self.values())};
}
void set_array_of_tag(TagObject& self, const VariantArg* value) {
    const CollectionInfo& collection = find_property(self.type(), "Values")->info->collection;
    self.assign(Ref<ManagedObject>(read_list(value, element_of(collection))));
}

// A class whose two constructors take the number of a tag and nothing else.
struct TagClassRow {
    TiffType type;
    const EntryName* first;
    const EntryName* second;
};
constexpr TagClassRow kTagClasses[] = {
    {TiffType::kAscii, &types::TiffASCIIType::ctor_000_TiffASCIIType, &types::TiffASCIIType::ctor_001_TiffASCIIType},
    {TiffType::kUndefined, &types::TiffUndefinedType::ctor_000_TiffUndefinedType,
     &types::TiffUndefinedType::ctor_001_TiffUndefinedType},
    {TiffType::kByte, &types::TiffByteType::ctor_000_TiffByteType, &types::TiffByteType::ctor_001_TiffByteType},
    {TiffType::kShort, &types::TiffShortType::ctor_000_TiffShortType, &types::TiffShortType::ctor_001_TiffShortType},
    {TiffType::kLong, &types::TiffLongType::ctor_000_TiffLongType, &types::TiffLongType::ctor_001_TiffLongType},
    {TiffType::kRational, &types::TiffRationalType::ctor_000_TiffRationalType,
     &types::TiffRationalType::ctor_001_TiffRationalType},
    {TiffType::kSbyte, &types::TiffSByteType::ctor_000_TiffSByteType, &types::TiffSByteType::ctor_001_TiffSByteType},
    {TiffType::kSshort, &types::TiffSShortType::ctor_000_TiffSShortType,
     &types::TiffSShortType::ctor_001_TiffSShortType},
    {TiffType::kSlong, &types::TiffSLongType::ctor_000_TiffSLongType, &types::TiffSLongType::ctor_001_TiffSLongType},
    {TiffType::kSrational, &types::TiffSRationalType::ctor_000_TiffSRationalType,
     &types::TiffSRationalType::ctor_001_TiffSRationalType},
    {TiffType::kFloat, &types::TiffFloatType::ctor_000_TiffFloatType, &types::TiffFloatType::ctor_001_TiffFloatType},
    {TiffType::kDouble, &types::TiffDoubleType::ctor_000_TiffDoubleType,
     &types::TiffDoubleType::ctor_001_TiffDoubleType},
    {TiffType::kIfd, &types::TiffIfdType::ctor_000_TiffIfdType, &types::TiffIfdType::ctor_001_TiffIfdType},
    {TiffType::kLong8, &types::TiffLong8Type::ctor_000_TiffLong8Type, &types::TiffLong8Type::ctor_001_TiffLong8Type},
    {TiffType::kSLong8, &types::TiffSLong8Type::ctor_000_TiffSLong8Type,
     &types::TiffSLong8Type::ctor_001_TiffSLong8Type},
    {TiffType::kIfd8, &types::TiffIfd8Type::ctor_000_TiffIfd8Type, &types::TiffIfd8Type::ctor_001_TiffIfd8Type},
};

Ref<ManagedObject> construct_tag(const TagClassRow& row, uint16_t tag_id) {
    return make_tag(static_cast<uint16_t>(row.type), tag_id);
}

BehaviorRow constructors_of(const TagClassRow& row) {
    return {row_behavior<&construct_tag>(row.first, row), row_behavior<&construct_tag>(row.second, row)};
}

using TagApi = api::FileFormats::Tiff::TiffDataType;
using TagFactory = api::FileFormats::Tiff::InstanceFactory::TiffTagFactory;
const BehaviorTable ZELMOR_UNNAMED(each_row(kTagClasses, constructors_of));
const BehaviorTable ZELMOR_UNNAMED({
    behavior<&read_one_tag, TagApi::call_000_ReadTag>(),
    behavior<&get_aligned_data_size, TagApi::call_000_GetAlignedDataSize>(),
    behavior<&get_additional_data_size, TagApi::call_000_GetAdditionalDataSize>(),
    behavior<&compare_to, TagApi::call_000_CompareTo>(),
    behavior<&deep_clone, TagApi::call_000_DeepClone>(),
    behavior<&write_tag, TagApi::call_000_WriteTag>(),
    behavior<&write_additional_data, TagApi::call_000_WriteAdditionalData>(),
    behavior<&element_size, TagApi::get_ElementSize>(),
    behavior<&data_size, TagApi::get_DataSize>(),
    behavior<&count, TagApi::get_Count>(),
    behavior<&id, TagApi::get_Id>(),
    behavior<&tag_id, TagApi::get_TagId>(),
    behavior<&tag_type, TagApi::get_TagType>(),
    behavior<&value_of_tag, TagApi::get_Value>(),
    behavior<&set_value, TagApi::set_Value>(),
    behavior<&is_valid_tag, TagApi::get_IsValid>(),
    behavior<&values_container, types::TiffCommonArrayType::get_ValuesContainer>(),
    behavior<&make_unknown, types::TiffUnknownType::ctor_000_TiffUnknownType>(),
    behavior<&unknown_count, types::TiffUnknownType::get_Count>(),
    behavior<&unknown_offset, types::TiffUnknownType::get_OffsetOrValue>(),
    behavior<&unknown_stream, types::TiffUnknownType::get_Stream>(),
    behavior<&create_instance, TagFactory::call_000_CreateInstance>(),
    property<&text_of_tag, &set_text_of_tag, types::TiffASCIIType::property_Text>(),
    property<&bytes, &set_bytes, types::TiffUndefinedType::property_Data>(),
    property<&bytes, &set_bytes, types::TiffByteType::property_Values>(),
    property<&array_of_tag, &set_array_of_tag, types::TiffShortType::property_Values>(),
    property<&array_of_tag, &set_array_of_tag, types::TiffLongType::property_Values>(),
    property<&array_of_tag, &set_array_of_tag, types::TiffRationalType::property_Values>(),
    property<&array_of_tag, &set_array_of_tag, types::TiffSByteType::property_Values>(),
    property<&array_of_tag, &set_array_of_tag, types::TiffSShortType::property_Values>(),
    property<&array_of_tag, &set_array_of_tag, types::TiffSLongType::property_Values>(),
    property<&array_of_tag, &set_array_of_tag, types::TiffSRationalType::property_Values>(),
    property<&array_of_tag, &set_array_of_tag, types::TiffFloatType::property_Values>(),
    property<&array_of_tag, &set_array_of_tag, types::TiffDoubleType::property_Values>(),
    property<&array_of_tag, &set_array_of_tag, types::TiffIfdType::property_Values>(),
    property<&array_of_tag, &set_array_of_tag, types::TiffLong8Type::property_Values>(),
    property<&array_of_tag, &set_array_of_tag, types::TiffSLong8Type::property_Values>(),
});

}  // namespace

}  // namespace zelmor::embed
