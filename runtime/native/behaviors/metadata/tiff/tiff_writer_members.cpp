// Members of TiffStreamWriter and the classes derived from it.
#include <bit>

#include "generated/runtime/Zelmor.Imaging.FileFormats.Tiff.FileManagement.h"
#include "runtime/native/behaviors/metadata/tiff/rationals.h"
#include "runtime/native/behaviors/metadata/tiff/tiff_streams.h"
#include "runtime/native/collections/collection.h"
#include "runtime/native/core/entry.h"
#include "runtime/native/core/managed_exception.h"

namespace zelmor::embed {

namespace {

constexpr const char* kWriters[] = {
    "Zelmor.Imaging.FileFormats.Tiff.FileManagement.TiffStreamWriter",
    "Zelmor.Imaging.FileFormats.Tiff.FileManagement.TiffBigEndianStreamWriter",
    "Zelmor.Imaging.FileFormats.Tiff.FileManagement.BigTiff.BigTiffWriter",
    "Zelmor.Imaging.FileFormats.Tiff.FileManagement.BigTiff.BigTiffWriterBE",
};

Ref<ManagedObject> over(const char* type, StreamContainerObject* container, const char* parameter) {
    if (!container) {
        throw_argument_null(parameter);
    }
    return make_ref<TiffWriterObject>(require_type(type), Ref<StreamContainerObject>(container));
}
template <size_t kClass>
Ref<ManagedObject> construct(StreamContainerObject* writer) {
    return over(kWriters[kClass], writer, "writer");
}

template <class T>
uint64_t bits_of(T number) {
    if constexpr (std::is_same_v<T, float>) {
        return std::bit_cast<uint32_t>(number);
    } else if constexpr (std::is_same_v<T, double>) {
        return std::bit_cast<uint64_t>(number);
    } else {
        return static_cast<uint64_t>(number);
    }
}

template <class T>
void write_one(TiffWriterObject& self, T data) {
    self.write_number(bits_of(data), sizeof(T));
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

// All values are put together before the first is written, so that a bad one leaves the stream as it was.
template <class T>
void write_many(TiffWriterObject& self, const VariantArg* data) {
    const Ref<ManagedList> list = read_list(data, element_of(wire_of<T>()));
    if (!list) {
        throw_argument_null("data");
    }
    const auto* numbers = static_cast<const T*>(list->numbers());
    Bytes bytes;
    bytes.reserve(list->size() * sizeof(T));
    for (size_t i = 0; i < list->size(); ++i) {
        put_number(bytes, bits_of(numbers[i]), sizeof(T), self.big_endian());
    }
    self.write(bytes);
}

void put_rational(Bytes& out, const RationalObject& rational, bool big_endian) {
    put_number(out, static_cast<uint64_t>(rational.nominator()), 4, big_endian);
    put_number(out, static_cast<uint64_t>(rational.denominator()), 4, big_endian);
}

void write_rational(TiffWriterObject& self, RationalObject* data) {
    if (!data) {
        throw_argument_null("data");
    }
    Bytes bytes;
    put_rational(bytes, *data, self.big_endian());
    self.write(bytes);
}

template <bool kSigned>
void write_rationals(TiffWriterObject& self, const VariantArg* data) {
    const char* name = kSigned ? RationalObject::kSignedName : RationalObject::kManagedName;
    Bytes bytes;
    for (const Value& item : read_elements(data, element_of(Wire::kClass, name), "data")) {
        if (is_null(item)) {
            throw_argument_null("an element of data");
        }
        put_rational(bytes, cast_object<RationalObject>(*std::get<Ref<ManagedObject>>(item)), self.big_endian());
    }
    self.write(bytes);
}

void write_bytes(TiffWriterObject& self, std::span<const std::byte> data) {
    self.write(data);
}

void write_part(TiffWriterObject& self, std::span<const std::byte> data, int32_t offset, int32_t data_length) {
    const auto size = static_cast<int64_t>(data.size());
    if (offset < 0 || offset > size) {
        throw_out_of_range("offset", "The offset is not within the bytes.");
    }
    if (data_length < 0 || data_length > size - offset) {
        throw_out_of_range("data_length", "There are no " + std::to_string(data_length) + " bytes behind the offset.");
    }
    self.write(data.subspan(static_cast<size_t>(offset), static_cast<size_t>(data_length)));
}

int64_t position(TiffWriterObject& self) {
    return self.container().stream()->position();
}
void set_position(TiffWriterObject& self, int64_t value) {
    if (value < 0) {
        throw_out_of_range("value", "A position is not negative.");
    }
    self.container().stream()->seek(value, SeekFrom::kBegin);
}
// What to lock while several write: the container, which all writers of one stream share.
Value sync_root(TiffWriterObject& self) {
    return Ref<ManagedObject>(&self.container());
}

constexpr int32_t kLittleEndian = 0x4949;
constexpr int32_t kBigEndian = 0x4D4D;

Ref<ManagedObject> get_writer(StreamContainerObject* stream, int32_t byte_order, bool is_big_tiff) {
    if (byte_order != kLittleEndian && byte_order != kBigEndian) {
        throw_out_of_range("byte_order", "The value " + std::to_string(byte_order) + " is not one of TiffByteOrder.");
    }
    return over(kWriters[(is_big_tiff ? 2 : 0) + (byte_order == kBigEndian ? 1 : 0)], stream, "stream");
}

using TiffStreamFactoryApi = api::FileFormats::Tiff::FileManagement::TiffStreamFactory;
using TiffStreamWriterApi = api::FileFormats::Tiff::FileManagement::TiffStreamWriter;

const BehaviorTable table({
    behavior<&write_part, TiffStreamWriterApi::call_000_Write>(),
    behavior<&write_bytes, TiffStreamWriterApi::call_001_Write, TiffStreamWriterApi::call_000_WriteBytes>(),
    behavior<&write_one<double>, TiffStreamWriterApi::call_002_Write, TiffStreamWriterApi::call_000_WriteDouble>(),
    behavior<&write_many<double>, TiffStreamWriterApi::call_003_Write, TiffStreamWriterApi::call_000_WriteDoubles>(),
    behavior<&write_one<float>, TiffStreamWriterApi::call_004_Write, TiffStreamWriterApi::call_000_WriteFloat>(),
    behavior<&write_many<float>, TiffStreamWriterApi::call_005_Write, TiffStreamWriterApi::call_000_WriteFloats>(),
    behavior<&write_rational, TiffStreamWriterApi::call_006_Write, TiffStreamWriterApi::call_007_Write,
             TiffStreamWriterApi::call_000_WriteRational, TiffStreamWriterApi::call_000_WriteSRational>(),
    behavior<&write_rationals<false>, TiffStreamWriterApi::call_008_Write,
             TiffStreamWriterApi::call_000_WriteRationals>(),
    behavior<&write_rationals<true>, TiffStreamWriterApi::call_009_Write,
             TiffStreamWriterApi::call_000_WriteSRationals>(),
    behavior<&write_one<int8_t>, TiffStreamWriterApi::call_010_Write, TiffStreamWriterApi::call_000_WriteSByte>(),
    behavior<&write_many<int8_t>, TiffStreamWriterApi::call_011_Write, TiffStreamWriterApi::call_000_WriteSBytes>(),
    behavior<&write_many<int32_t>, TiffStreamWriterApi::call_012_Write, TiffStreamWriterApi::call_000_WriteInts>(),
    behavior<&write_one<int16_t>, TiffStreamWriterApi::call_013_Write, TiffStreamWriterApi::call_000_WriteShort>(),
    behavior<&write_many<int16_t>, TiffStreamWriterApi::call_014_Write, TiffStreamWriterApi::call_000_WriteShorts>(),
    behavior<&write_one<int32_t>, TiffStreamWriterApi::call_015_Write, TiffStreamWriterApi::call_000_WriteInt>(),
    behavior<&write_one<uint8_t>, TiffStreamWriterApi::call_016_Write, TiffStreamWriterApi::call_000_WriteByte>(),
    behavior<&write_one<uint32_t>, TiffStreamWriterApi::call_017_Write, TiffStreamWriterApi::call_000_WriteUint>(),
    behavior<&write_many<uint32_t>, TiffStreamWriterApi::call_018_Write, TiffStreamWriterApi::call_000_WriteUints>(),
    behavior<&write_one<uint16_t>, TiffStreamWriterApi::call_019_Write, TiffStreamWriterApi::call_000_WriteUshort>(),
    behavior<&write_many<uint16_t>, TiffStreamWriterApi::call_020_Write, TiffStreamWriterApi::call_000_WriteUshorts>(),
    behavior<&write_one<int64_t>, TiffStreamWriterApi::call_021_Write, TiffStreamWriterApi::call_000_WriteLong>(),
    behavior<&write_many<int64_t>, TiffStreamWriterApi::call_022_Write, TiffStreamWriterApi::call_000_WriteLongs>(),
    behavior<&write_one<uint64_t>, TiffStreamWriterApi::call_023_Write, TiffStreamWriterApi::call_000_WriteUlong>(),
    behavior<&write_many<uint64_t>, TiffStreamWriterApi::call_024_Write, TiffStreamWriterApi::call_000_WriteUlongs>(),
    behavior<&position, TiffStreamWriterApi::get_Position>(),
    behavior<&set_position, TiffStreamWriterApi::set_Position>(),
    behavior<&sync_root, TiffStreamWriterApi::get_SyncRoot>(),
    behavior<&get_writer, TiffStreamFactoryApi::call_000_GetTiffWriter>(),
});

}  // namespace

}  // namespace zelmor::embed
