// Members of TiffStreamReader and the classes derived from it.
#include <algorithm>
#include <bit>
#include <cstring>

#include "generated/runtime/Zelmor.Imaging.FileFormats.Tiff.FileManagement.BigTiff.h"
#include "generated/runtime/Zelmor.Imaging.FileFormats.Tiff.FileManagement.h"
#include "runtime/native/behaviors/metadata/tiff/rationals.h"
#include "runtime/native/behaviors/metadata/tiff/tiff_streams.h"
#include "runtime/native/collections/collection.h"
#include "runtime/native/core/entry.h"
#include "runtime/native/core/managed_exception.h"
#include "runtime/native/delegates/row_behavior.h"

namespace zelmor::embed {

namespace {

Ref<ManagedObject> over_bytes(const TypeInfo& type, std::span<const std::byte> data, int32_t start_index,
                              int32_t data_length) {
    const auto size = static_cast<int64_t>(data.size());
    if (start_index < 0 || start_index > size) {
        throw_out_of_range("start_index", "The index is not within the " + std::to_string(size) + " bytes.");
    }
    if (data_length < 0 || data_length > size - start_index) {
        throw_out_of_range("data_length", "There are no " + std::to_string(data_length) + " bytes behind the index.");
    }
    const auto part = data.subspan(static_cast<size_t>(start_index), static_cast<size_t>(data_length));
    const auto* first = reinterpret_cast<const uint8_t*>(part.data());
    return make_ref<TiffReaderObject>(type, imagework::memory_source({first, first + part.size()}));
}

Ref<ManagedObject> over_container(const TypeInfo& type, StreamContainerObject* container) {
    if (container == nullptr) {
        throw_argument_null("stream_container");
    }
    return make_ref<TiffReaderObject>(type, Ref<StreamContainerObject>(container));
}

// The readers have the same constructors under numbers of their own.
struct ReaderConstructor;
using ReaderKind = Behavior (*)(const EntryName* const& name, const ReaderConstructor& row);
struct ReaderConstructor {
    const EntryName* entry;
    ReaderKind kind;

    const TypeInfo& made() const { return require_type(entry->type.name); }
};

Ref<ManagedObject> of_bytes(const ReaderConstructor& row, std::span<const std::byte> data) {
    return over_bytes(row.made(), data, 0, static_cast<int32_t>(data.size()));
}
Ref<ManagedObject> of_bytes_from(const ReaderConstructor& row, std::span<const std::byte> data, int32_t start_index) {
    return over_bytes(row.made(), data, start_index,
                      std::max<int32_t>(0, static_cast<int32_t>(data.size()) - start_index));
}
Ref<ManagedObject> of_bytes_within(const ReaderConstructor& row, std::span<const std::byte> data, int32_t start_index,
                                   int32_t data_length) {
    return over_bytes(row.made(), data, start_index, data_length);
}
Ref<ManagedObject> of_container(const ReaderConstructor& row, StreamContainerObject* stream_container) {
    return over_container(row.made(), stream_container);
}

constexpr ReaderKind kBytes = &row_behavior<&of_bytes>;
constexpr ReaderKind kBytesFrom = &row_behavior<&of_bytes_from>;
constexpr ReaderKind kBytesWithin = &row_behavior<&of_bytes_within>;
constexpr ReaderKind kContainer = &row_behavior<&of_container>;

namespace management = api::FileFormats::Tiff::FileManagement;
using Reader = management::TiffStreamReader;
using ReaderBE = management::TiffBigEndianStreamReader;
using BigReader = management::BigTiff::BigTiffReader;
using BigReaderBE = management::BigTiff::BigTiffReaderBE;

constexpr ReaderConstructor kReaderConstructors[] = {
    {&Reader::ctor_000_TiffStreamReader, kBytes},
    {&Reader::ctor_001_TiffStreamReader, kBytesFrom},
    {&Reader::ctor_002_TiffStreamReader, kBytesWithin},
    {&Reader::ctor_003_TiffStreamReader, kContainer},
    {&ReaderBE::ctor_000_TiffBigEndianStreamReader, kBytes},
    {&ReaderBE::ctor_001_TiffBigEndianStreamReader, kBytesFrom},
    {&ReaderBE::ctor_002_TiffBigEndianStreamReader, kBytesWithin},
    {&ReaderBE::ctor_003_TiffBigEndianStreamReader, kContainer},
    {&BigReader::ctor_000_BigTiffReader, kBytes},
    {&BigReader::ctor_001_BigTiffReader, kContainer},
    {&BigReader::ctor_002_BigTiffReader, kBytesFrom},
    {&BigReader::ctor_003_BigTiffReader, kBytesWithin},
    {&BigReaderBE::ctor_000_BigTiffReaderBE, kBytes},
    {&BigReaderBE::ctor_001_BigTiffReaderBE, kContainer},
    {&BigReaderBE::ctor_002_BigTiffReaderBE, kBytesFrom},
    {&BigReaderBE::ctor_003_BigTiffReaderBE, kBytesWithin},
};

template <class T>
T number_of(std::span<const std::byte> bytes, bool big_endian) {
    const uint64_t bits = read_number(bytes, big_endian);
    if constexpr (std::is_same_v<T, float>) {
        return std::bit_cast<float>(static_cast<uint32_t>(bits));
    } else if constexpr (std::is_same_v<T, double>) {
        return std::bit_cast<double>(bits);
    } else {
        return static_cast<T>(bits);
    }
}

template <class T>
T read_one(TiffReaderObject& self, int64_t position) {
    std::byte bytes[sizeof(T)]{};
    self.read(position, bytes);
    return number_of<T>(bytes, self.big_endian());
}

template <class T>
Collection read_many(TiffReaderObject& self, int64_t position, int64_t count) {
    const auto items = static_cast<size_t>(self.checked_count(position, count, sizeof(T)));
    Bytes bytes(items * sizeof(T));
    self.read(position, bytes);
    Ref<ManagedList> list = make_list(ListShape::kArray, element_of(wire_of<T>()), items);
    auto* numbers = static_cast<T*>(list->numbers());
    for (size_t i = 0; i < items; ++i) {
        numbers[i] = number_of<T>(std::span(bytes).subspan(i * sizeof(T), sizeof(T)), self.big_endian());
    }
    return {Ref<ManagedObject>(list)};
}

template <bool kSigned>
Ref<ManagedObject> read_rational(TiffReaderObject& self, int64_t position) {
    using Part = std::conditional_t<kSigned, int32_t, uint32_t>;
    return make_rational(read_one<Part>(self, position), read_one<Part>(self, position + 4), kSigned);
}

template <bool kSigned>
Collection read_rationals(TiffReaderObject& self, int64_t position, int64_t count) {
    const int64_t items = self.checked_count(position, count, 8);
    std::vector<Value> values;
    for (int64_t i = 0; i < items; ++i) {
        values.emplace_back(read_rational<kSigned>(self, position + 8 * i));
    }
    const char* name = kSigned ? RationalObject::kSignedName : RationalObject::kManagedName;
    return {
        Ref<ManagedObject>(make_ref<ValueList>(ListShape::kArray, element_of(Wire::kClass, name), std::move(values)))};
}

Bytes read_bytes(TiffReaderObject& self, int64_t position, int64_t count) {
    Bytes bytes(static_cast<size_t>(self.checked_count(position, count, 1)));
    self.read(position, bytes);
    return bytes;
}

void read_bytes_into(TiffReaderObject& self, std::span<std::byte> array, int32_t array_index, int64_t position,
                     int64_t count) {
    const auto size = static_cast<int64_t>(array.size());
    if (array_index < 0 || array_index > size) {
        throw_out_of_range("array_index", "The index is not within the " + std::to_string(size) + " bytes.");
    }
    if (count < 0 || count > size - array_index) {
        throw_out_of_range("count", "There is no room for " + std::to_string(count) + " bytes behind the index.");
    }
    const Bytes bytes = read_bytes(self, position, count);
    std::copy(bytes.begin(), bytes.end(), array.begin() + array_index);
}

Ref<ManagedObject> to_stream_container(TiffReaderObject& self, int64_t start_position) {
    return make_stream_container(StreamContainerObject::kManagedName, make_memory_stream(self.rest(start_position)),
                                 true);
}

int64_t length(TiffReaderObject& self) {
    return self.length();
}
bool throws(TiffReaderObject& self) {
    return self.throw_exceptions;
}
void set_throws(TiffReaderObject& self, bool value) {
    self.throw_exceptions = value;
}

using ByteOrder = api::FileFormats::Tiff::Enums::TiffByteOrder;
Ref<ManagedObject> get_reader(StreamContainerObject* stream, ByteOrder byte_order, bool is_big_tiff) {
    return over_container(tiff_reader_class(tiff_stream_kind(byte_order, is_big_tiff)), stream);
}
Ref<ManagedObject> get_reader_of_bytes(std::span<const std::byte> bytes, int32_t bytes_offset, int32_t data_length,
                                       ByteOrder byte_order, bool is_big_tiff) {
    return over_bytes(tiff_reader_class(tiff_stream_kind(byte_order, is_big_tiff)), bytes, bytes_offset, data_length);
}

using ReaderFactory = api::FileFormats::Tiff::FileManagement::TiffStreamFactory;

const BehaviorTable ZELMOR_UNNAMED(each_row(kReaderConstructors,
                                            [](const ReaderConstructor& row) { return row.kind(row.entry, row); }));
const BehaviorTable ZELMOR_UNNAMED({
    behavior<&read_bytes_into, Reader::call_000_ReadBytes>(),
    behavior<&read_bytes, Reader::call_001_ReadBytes>(),
    behavior<&read_one<double>, Reader::call_000_ReadDouble>(),
    behavior<&read_many<double>, Reader::call_000_ReadDoubleArray>(),
    behavior<&read_one<float>, Reader::call_000_ReadFloat>(),
    behavior<&read_many<float>, Reader::call_000_ReadFloatArray>(),
    behavior<&read_rational<false>, Reader::call_000_ReadRational>(),
    behavior<&read_rational<true>, Reader::call_000_ReadSRational>(),
    behavior<&read_rationals<false>, Reader::call_000_ReadRationalArray>(),
    behavior<&read_rationals<true>, Reader::call_000_ReadSRationalArray>(),
    behavior<&read_one<int8_t>, Reader::call_000_ReadSByte>(),
    behavior<&read_many<int8_t>, Reader::call_000_ReadSByteArray>(),
    behavior<&read_one<int32_t>, Reader::call_000_ReadSInt>(),
    behavior<&read_many<int32_t>, Reader::call_000_ReadSIntArray>(),
    behavior<&read_one<int16_t>, Reader::call_000_ReadSShort>(),
    behavior<&read_many<int16_t>, Reader::call_000_ReadSShortArray>(),
    behavior<&read_one<uint32_t>, Reader::call_000_ReadUInt>(),
    behavior<&read_many<uint32_t>, Reader::call_000_ReadUIntArray>(),
    behavior<&read_one<uint16_t>, Reader::call_000_ReadUShort>(),
    behavior<&read_many<uint16_t>, Reader::call_000_ReadUShortArray>(),
    behavior<&read_one<int64_t>, Reader::call_000_ReadLong>(),
    behavior<&read_many<int64_t>, Reader::call_000_ReadLongArray>(),
    behavior<&read_one<uint64_t>, Reader::call_000_ReadULong>(),
    behavior<&read_many<uint64_t>, Reader::call_000_ReadULongArray>(),
    behavior<&to_stream_container, Reader::call_000_ToStreamContainer>(),
    behavior<&length, Reader::get_Length>(),
    behavior<&throws, Reader::get_ThrowExceptions>(),
    behavior<&set_throws, Reader::set_ThrowExceptions>(),
    behavior<&get_reader, ReaderFactory::call_000_GetTiffReader>(),
    behavior<&get_reader_of_bytes, ReaderFactory::call_001_GetTiffReader>(),
});

}  // namespace

}  // namespace zelmor::embed
