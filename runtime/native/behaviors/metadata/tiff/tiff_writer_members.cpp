// Members of TiffStreamWriter and the classes derived from it.
#include <bit>

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

Ref<ManagedObject> over(const TypeInfo& type, StreamContainerObject* container, const char* parameter) {
    if (container == nullptr) {
        throw_argument_null(parameter);
    }
    return make_ref<TiffWriterObject>(type, Ref<StreamContainerObject>(container));
}

// The writers differ in their class alone: a row is the constructor's name, which has the class.
using WriterConstructor = const EntryName*;
namespace management = api::FileFormats::Tiff::FileManagement;
constexpr WriterConstructor kWriterConstructors[] = {
    &management::TiffStreamWriter::ctor_000_TiffStreamWriter,
    &management::TiffBigEndianStreamWriter::ctor_000_TiffBigEndianStreamWriter,
    &management::BigTiff::BigTiffWriter::ctor_000_BigTiffWriter,
    &management::BigTiff::BigTiffWriterBE::ctor_000_BigTiffWriterBE,
};
Ref<ManagedObject> construct(const WriterConstructor& row, StreamContainerObject* writer) {
    return over(require_type(row->type.name), writer, "writer");
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

// All values are converted before the first is written: a bad value leaves the stream unchanged.
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
    if (data == nullptr) {
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
    self.container().stream()->set_position(value);
}
// The object to lock while several threads write: the container, which all writers of a stream share.
Value sync_root(TiffWriterObject& self) {
    return Ref<ManagedObject>(&self.container());
}

Ref<ManagedObject> get_writer(StreamContainerObject* stream, api::FileFormats::Tiff::Enums::TiffByteOrder byte_order,
                              bool is_big_tiff) {
    return over(tiff_writer_class(tiff_stream_kind(byte_order, is_big_tiff)), stream, "stream");
}

using WriterFactory = management::TiffStreamFactory;
using Writer = management::TiffStreamWriter;

const BehaviorTable ZELMOR_UNNAMED(each_row(kWriterConstructors, [](const WriterConstructor& row) {
    return row_behavior<&construct>(row, row);
}));
const BehaviorTable ZELMOR_UNNAMED({
    behavior<&write_part, Writer::call_000_Write>(),
    behavior<&write_bytes, Writer::call_001_Write, Writer::call_000_WriteBytes>(),
    behavior<&write_one<double>, Writer::call_002_Write, Writer::call_000_WriteDouble>(),
    behavior<&write_many<double>, Writer::call_003_Write, Writer::call_000_WriteDoubles>(),
    behavior<&write_one<float>, Writer::call_004_Write, Writer::call_000_WriteFloat>(),
    behavior<&write_many<float>, Writer::call_005_Write, Writer::call_000_WriteFloats>(),
    behavior<&write_rational, Writer::call_006_Write, Writer::call_007_Write, Writer::call_000_WriteRational,
             Writer::call_000_WriteSRational>(),
    behavior<&write_rationals<false>, Writer::call_008_Write, Writer::call_000_WriteRationals>(),
    behavior<&write_rationals<true>, Writer::call_009_Write, Writer::call_000_WriteSRationals>(),
    behavior<&write_one<int8_t>, Writer::call_010_Write, Writer::call_000_WriteSByte>(),
    behavior<&write_many<int8_t>, Writer::call_011_Write, Writer::call_000_WriteSBytes>(),
    behavior<&write_many<int32_t>, Writer::call_012_Write, Writer::call_000_WriteInts>(),
    behavior<&write_one<int16_t>, Writer::call_013_Write, Writer::call_000_WriteShort>(),
    behavior<&write_many<int16_t>, Writer::call_014_Write, Writer::call_000_WriteShorts>(),
    behavior<&write_one<int32_t>, Writer::call_015_Write, Writer::call_000_WriteInt>(),
    behavior<&write_one<uint8_t>, Writer::call_016_Write, Writer::call_000_WriteByte>(),
    behavior<&write_one<uint32_t>, Writer::call_017_Write, Writer::call_000_WriteUint>(),
    behavior<&write_many<uint32_t>, Writer::call_018_Write, Writer::call_000_WriteUints>(),
    behavior<&write_one<uint16_t>, Writer::call_019_Write, Writer::call_000_WriteUshort>(),
    behavior<&write_many<uint16_t>, Writer::call_020_Write, Writer::call_000_WriteUshorts>(),
    behavior<&write_one<int64_t>, Writer::call_021_Write, Writer::call_000_WriteLong>(),
    behavior<&write_many<int64_t>, Writer::call_022_Write, Writer::call_000_WriteLongs>(),
    behavior<&write_one<uint64_t>, Writer::call_023_Write, Writer::call_000_WriteUlong>(),
    behavior<&write_many<uint64_t>, Writer::call_024_Write, Writer::call_000_WriteUlongs>(),
    behavior<&position, Writer::get_Position>(),
    behavior<&set_position, Writer::set_Position>(),
    behavior<&sync_root, Writer::get_SyncRoot>(),
    behavior<&get_writer, WriterFactory::call_000_GetTiffWriter>(),
});

}  // namespace

}  // namespace zelmor::embed
