// Members of TiffDataType and its kin, and of the factory of tags.
#include <algorithm>
#include <array>
#include <utility>

#include "runtime/native/behaviors/metadata/tiff/tag_values.h"
#include "runtime/native/core/entry.h"
#include "runtime/native/core/managed_exception.h"
#include "runtime/native/core/records.h"

namespace zelmor::embed {

namespace {

constexpr const char* kTag = TagObject::kManagedName;
constexpr const char* kCommon = "Zelmor.Imaging.FileFormats.Tiff.TiffTagTypes.TiffCommonArrayType";
constexpr const char* kUnknown = UnknownTagObject::kManagedName;

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
// What does not fit in the entry itself stands elsewhere, filled up to whole values of an entry.
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
    if (!object) {
        throw_argument("obj: A tag is compared with a tag.");
    }
    const int difference = self.id() - cast_object<TagObject>(**object).id();
    return difference < 0 ? -1 : difference > 0 ? 1 : 0;
}

Ref<ManagedObject> deep_clone(TagObject& self) {
    return self.copy();
}

Ref<ManagedObject> read_one(TiffReaderObject* data_stream, int64_t position) {
    if (!data_stream) {
        throw_argument_null("data_stream");
    }
    return read_tag(*data_stream, position);
}

TiffWriterObject& required(TiffWriterObject* writer) {
    if (!writer) {
        throw_argument_null("data_stream");
    }
    return *writer;
}

// An unknown type says nothing of the size of its values, so that these cannot be moved to another file.
void refuse_unknown(const TagObject& self) {
    if (dynamic_cast<const UnknownTagObject*>(&self)) {
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
uint16_t tag_type(TagObject& self) {
    return static_cast<uint16_t>(self.data_type());
}
Value value(TagObject& self) {
    return self.value();
}
void set_value(TagObject& self, const VariantArg* value) {
    self.assign(read_variant(value));
}
bool is_valid(TagObject& self) {
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
    if (!stream) {
        throw_argument_null("stream");
    }
    return make_ref<UnknownTagObject>(Ref<TiffReaderObject>(stream), tag_type, tag_id, count, offset_or_value);
}

Ref<ManagedObject> create_instance(uint16_t data_type, uint16_t tag_id) {
    auto tag = make_tag(data_type, tag_id);
    if (!tag) {
        throw_out_of_range("data_type", "The number " + std::to_string(data_type) + " is no type of TIFF.");
    }
    return tag;
}

// The classes that are constructed from a number alone: the names of both constructors and of the property that the
// class has for its value beside `Value`.
struct Constructed {
    TiffType type;
    const char* name;
    const char* first;
    const char* second;
    const char* getter;
    const char* setter;
};
#define ZELMOR_CONSTRUCTED(type, name, property)                                                        \
    {                                                                                                   \
        type, "Zelmor.Imaging.FileFormats.Tiff.TiffTagTypes." name, "ctor_000_" name, "ctor_001_" name, \
            "get_" property, "set_" property                                                            \
    }
constexpr Constructed kConstructed[] = {
    ZELMOR_CONSTRUCTED(TiffType::kAscii, "TiffASCIIType", "Text"),
    ZELMOR_CONSTRUCTED(TiffType::kUndefined, "TiffUndefinedType", "Data"),
    ZELMOR_CONSTRUCTED(TiffType::kByte, "TiffByteType", "Values"),
    ZELMOR_CONSTRUCTED(TiffType::kShort, "TiffShortType", "Values"),
    ZELMOR_CONSTRUCTED(TiffType::kLong, "TiffLongType", "Values"),
    ZELMOR_CONSTRUCTED(TiffType::kRational, "TiffRationalType", "Values"),
    ZELMOR_CONSTRUCTED(TiffType::kSByte, "TiffSByteType", "Values"),
    ZELMOR_CONSTRUCTED(TiffType::kSShort, "TiffSShortType", "Values"),
    ZELMOR_CONSTRUCTED(TiffType::kSLong, "TiffSLongType", "Values"),
    ZELMOR_CONSTRUCTED(TiffType::kSRational, "TiffSRationalType", "Values"),
    ZELMOR_CONSTRUCTED(TiffType::kFloat, "TiffFloatType", "Values"),
    ZELMOR_CONSTRUCTED(TiffType::kDouble, "TiffDoubleType", "Values"),
    ZELMOR_CONSTRUCTED(TiffType::kIfd, "TiffIfdType", "Values"),
    ZELMOR_CONSTRUCTED(TiffType::kLong8, "TiffLong8Type", "Values"),
    ZELMOR_CONSTRUCTED(TiffType::kSLong8, "TiffSLong8Type", "Values"),
    ZELMOR_CONSTRUCTED(TiffType::kIfd8, "TiffIfd8Type", ""),
};
#undef ZELMOR_CONSTRUCTED

template <size_t kIndex>
Ref<ManagedObject> construct(uint16_t tag_id) {
    return make_tag(static_cast<uint16_t>(kConstructed[kIndex].type), tag_id);
}

std::optional<std::u16string> text(TagObject& self) {
    return text_of_tag(self.value());
}
void set_text(TagObject& self, const std::optional<std::u16string>& value) {
    self.assign(given_text(value));
}
std::optional<Bytes> bytes(TagObject& self) {
    return bytes_of_tag(self.value());
}
void set_bytes(TagObject& self, const PyBytesArg* value) {
    self.assign(given_bytes(value));
}
Collection array(TagObject& self) {
    return {Ref<ManagedObject>(self.values())};
}
void set_array(TagObject& self, const VariantArg* value) {
    const CollectionInfo& collection = find_property(self.type(), "Values")->info->collection;
    self.assign(Ref<ManagedObject>(read_list(value, element_of(collection))));
}

template <size_t kIndex>
void add_class(BehaviorTable& table) {
    constexpr const Constructed& type = kConstructed[kIndex];
    table.add({type.name, type.first, entry<&construct<kIndex>>()});
    table.add({type.name, type.second, entry<&construct<kIndex>>()});
    const auto add = [&](EntryPoint get, EntryPoint set) {
        table.add({type.name, type.getter, get});
        table.add({type.name, type.setter, set});
    };
    if constexpr (type.type == TiffType::kAscii) {
        add(entry<&text>(), entry<&set_text>());
    } else if constexpr (type.type == TiffType::kUndefined || type.type == TiffType::kByte) {
        add(entry<&bytes>(), entry<&set_bytes>());
    } else if constexpr (type.type != TiffType::kIfd8) {  // which has the properties of its base
        add(entry<&array>(), entry<&set_array>());
    }
}

template <size_t... kIndex>
void add_classes(BehaviorTable& table, std::index_sequence<kIndex...>) {
    (add_class<kIndex>(table), ...);
}

[[maybe_unused]] const bool registered = [] {
    static auto& table = *new BehaviorTable(
        Assembly::kImaging, {
                                {kTag, "call_000_ReadTag", entry<&read_one>()},
                                {kTag, "call_000_GetAlignedDataSize", entry<&get_aligned_data_size>()},
                                {kTag, "call_000_GetAdditionalDataSize", entry<&get_additional_data_size>()},
                                {kTag, "call_000_CompareTo", entry<&compare_to>()},
                                {kTag, "call_000_DeepClone", entry<&deep_clone>()},
                                {kTag, "call_000_WriteTag", entry<&write_tag>()},
                                {kTag, "call_000_WriteAdditionalData", entry<&write_additional_data>()},
                                {kTag, "get_ElementSize", entry<&element_size>()},
                                {kTag, "get_DataSize", entry<&data_size>()},
                                {kTag, "get_Count", entry<&count>()},
                                {kTag, "get_Id", entry<&id>()},
                                {kTag, "get_TagId", entry<&tag_id>()},
                                {kTag, "get_TagType", entry<&tag_type>()},
                                {kTag, "get_Value", entry<&value>()},
                                {kTag, "set_Value", entry<&set_value>()},
                                {kTag, "get_IsValid", entry<&is_valid>()},
                                {kCommon, "get_ValuesContainer", entry<&values_container>()},
                                {kUnknown, "ctor_000_TiffUnknownType", entry<&make_unknown>()},
                                {kUnknown, "get_Count", entry<&unknown_count>()},
                                {kUnknown, "get_OffsetOrValue", entry<&unknown_offset>()},
                                {kUnknown, "get_Stream", entry<&unknown_stream>()},
                                {"Zelmor.Imaging.FileFormats.Tiff.InstanceFactory.TiffTagFactory",
                                 "call_000_CreateInstance", entry<&create_instance>()},
                            });
    add_classes(table, std::make_index_sequence<std::size(kConstructed)>());
    return true;
}();

}  // namespace

}  // namespace zelmor::embed
