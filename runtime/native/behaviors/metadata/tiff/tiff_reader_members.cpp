// Members of TiffStreamReader and the classes derived from it.
#include <algorithm>
#include <bit>
#include <cstring>

#include "generated/runtime/Zelmor.Imaging.FileFormats.Tiff.FileManagement.h"
#include "runtime/native/behaviors/metadata/tiff/rationals.h"
#include "runtime/native/behaviors/metadata/tiff/tiff_streams.h"
#include "runtime/native/collections/collection.h"
#include "runtime/native/core/entry.h"
#include "runtime/native/core/managed_exception.h"

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
    return make_ref<TiffReaderObject>(type, Bytes(part.begin(), part.end()));
}

Ref<ManagedObject> over_container(const TypeInfo& type, StreamContainerObject* container) {
    if (!container) {
        throw_argument_null("stream_container");
    }
    return make_ref<TiffReaderObject>(type, Ref<StreamContainerObject>(container));
}

// The five readers differ in their class alone.
constexpr const char* kReaders[] = {
    "Zelmor.Imaging.FileFormats.Tiff.FileManagement.TiffStreamReader",
    "Zelmor.Imaging.FileFormats.Tiff.FileManagement.TiffBigEndianStreamReader",
    "Zelmor.Imaging.FileFormats.Tiff.FileManagement.BigTiff.BigTiffReader",
    "Zelmor.Imaging.FileFormats.Tiff.FileManagement.BigTiff.BigTiffReaderBE",
};
template <size_t kClass>
const TypeInfo& class_of() {
    static const TypeInfo& type = require_type(kReaders[kClass]);
    return type;
}
template <size_t kClass>
Ref<ManagedObject> of_bytes(std::span<const std::byte> data) {
    return over_bytes(class_of<kClass>(), data, 0, static_cast<int32_t>(data.size()));
}
template <size_t kClass>
Ref<ManagedObject> of_bytes_from(std::span<const std::byte> data, int32_t start_index) {
    return over_bytes(class_of<kClass>(), data, start_index,
                      std::max<int32_t>(0, static_cast<int32_t>(data.size()) - start_index));
}
template <size_t kClass>
Ref<ManagedObject> of_bytes_within(std::span<const std::byte> data, int32_t start_index, int32_t data_length) {
    return over_bytes(class_of<kClass>(), data, start_index, data_length);
}
template <size_t kClass>
Ref<ManagedObject> of_container(StreamContainerObject* stream_container) {
    return over_container(class_of<kClass>(), stream_container);
}

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
constexpr Wire wire_of() {
    if constexpr (std::is_same_v<T, float>) {
        return Wire::kSingle;
    }
    if constexpr (std::is_same_v<T, double>) {
        return Wire::kDouble;
    }
    if constexpr (std::is_same_v<T, int8_t>) {
        return Wire::kInt8;
    }
    if constexpr (std::is_same_v<T, int16_t>) {
        return Wire::kInt16;
    }
    if constexpr (std::is_same_v<T, uint16_t>) {
        return Wire::kUInt16;
    }
    if constexpr (std::is_same_v<T, int32_t>) {
        return Wire::kInt32;
    }
    if constexpr (std::is_same_v<T, uint32_t>) {
        return Wire::kUInt32;
    }
    if constexpr (std::is_same_v<T, int64_t>) {
        return Wire::kInt64;
    }
    return Wire::kUInt64;
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

// TiffByteOrder: the letters at the beginning of a file, twice.
constexpr int32_t kLittleEndian = 0x4949;
constexpr int32_t kBigEndian = 0x4D4D;

size_t class_for(int32_t byte_order, bool is_big_tiff) {
    if (byte_order != kLittleEndian && byte_order != kBigEndian) {
        throw_out_of_range("byte_order", "The value " + std::to_string(byte_order) + " is not one of TiffByteOrder.");
    }
    return (is_big_tiff ? 2u : 0u) + (byte_order == kBigEndian ? 1u : 0u);
}
Ref<ManagedObject> get_reader(StreamContainerObject* stream, int32_t byte_order, bool is_big_tiff) {
    return over_container(require_type(kReaders[class_for(byte_order, is_big_tiff)]), stream);
}
Ref<ManagedObject> get_reader_of_bytes(std::span<const std::byte> bytes, int32_t bytes_offset, int32_t data_length,
                                       int32_t byte_order, bool is_big_tiff) {
    return over_bytes(require_type(kReaders[class_for(byte_order, is_big_tiff)]), bytes, bytes_offset, data_length);
}

using TiffStreamFactoryApi = api::FileFormats::Tiff::FileManagement::TiffStreamFactory;
using TiffStreamReaderApi = api::FileFormats::Tiff::FileManagement::TiffStreamReader;

const BehaviorTable table({
    behavior<&read_bytes_into, TiffStreamReaderApi::call_000_ReadBytes>(),
    behavior<&read_bytes, TiffStreamReaderApi::call_001_ReadBytes>(),
    behavior<&read_one<double>, TiffStreamReaderApi::call_000_ReadDouble>(),
    behavior<&read_many<double>, TiffStreamReaderApi::call_000_ReadDoubleArray>(),
    behavior<&read_one<float>, TiffStreamReaderApi::call_000_ReadFloat>(),
    behavior<&read_many<float>, TiffStreamReaderApi::call_000_ReadFloatArray>(),
    behavior<&read_rational<false>, TiffStreamReaderApi::call_000_ReadRational>(),
    behavior<&read_rational<true>, TiffStreamReaderApi::call_000_ReadSRational>(),
    behavior<&read_rationals<false>, TiffStreamReaderApi::call_000_ReadRationalArray>(),
    behavior<&read_rationals<true>, TiffStreamReaderApi::call_000_ReadSRationalArray>(),
    behavior<&read_one<int8_t>, TiffStreamReaderApi::call_000_ReadSByte>(),
    behavior<&read_many<int8_t>, TiffStreamReaderApi::call_000_ReadSByteArray>(),
    behavior<&read_one<int32_t>, TiffStreamReaderApi::call_000_ReadSInt>(),
    behavior<&read_many<int32_t>, TiffStreamReaderApi::call_000_ReadSIntArray>(),
    behavior<&read_one<int16_t>, TiffStreamReaderApi::call_000_ReadSShort>(),
    behavior<&read_many<int16_t>, TiffStreamReaderApi::call_000_ReadSShortArray>(),
    behavior<&read_one<uint32_t>, TiffStreamReaderApi::call_000_ReadUInt>(),
    behavior<&read_many<uint32_t>, TiffStreamReaderApi::call_000_ReadUIntArray>(),
    behavior<&read_one<uint16_t>, TiffStreamReaderApi::call_000_ReadUShort>(),
    behavior<&read_many<uint16_t>, TiffStreamReaderApi::call_000_ReadUShortArray>(),
    behavior<&read_one<int64_t>, TiffStreamReaderApi::call_000_ReadLong>(),
    behavior<&read_many<int64_t>, TiffStreamReaderApi::call_000_ReadLongArray>(),
    behavior<&read_one<uint64_t>, TiffStreamReaderApi::call_000_ReadULong>(),
    behavior<&read_many<uint64_t>, TiffStreamReaderApi::call_000_ReadULongArray>(),
    behavior<&to_stream_container, TiffStreamReaderApi::call_000_ToStreamContainer>(),
    behavior<&length, TiffStreamReaderApi::get_Length>(),
    behavior<&throws, TiffStreamReaderApi::get_ThrowExceptions>(),
    behavior<&set_throws, TiffStreamReaderApi::set_ThrowExceptions>(),
    behavior<&get_reader, TiffStreamFactoryApi::call_000_GetTiffReader>(),
    behavior<&get_reader_of_bytes, TiffStreamFactoryApi::call_001_GetTiffReader>(),
});

}  // namespace

}  // namespace zelmor::embed
