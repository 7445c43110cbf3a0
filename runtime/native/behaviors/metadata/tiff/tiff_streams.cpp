// Readers and writers of TIFF numbers; see tiff_streams.h.
#include "runtime/native/behaviors/metadata/tiff/tiff_streams.h"

#include <algorithm>

#include "generated/runtime/Zelmor.Imaging.FileFormats.Tiff.FileManagement.BigTiff.h"
#include "generated/runtime/Zelmor.Imaging.FileFormats.Tiff.FileManagement.h"
#include "runtime/native/core/managed_exception.h"
#include "runtime/native/core/references.h"
#include "runtime/native/core/type_system.h"

namespace zelmor::embed {

namespace {

TiffStreamKind kind_of(const TypeInfo& type) {
    const std::string_view name = type.name;
    return {name.starts_with("TiffBigEndian") || name.ends_with("BE"), name.starts_with("BigTiff")};
}

namespace management = api::FileFormats::Tiff::FileManagement;
using ByteOrder = api::FileFormats::Tiff::Enums::TiffByteOrder;

// The classes in the order of form_index().
constexpr const char* kReaders[] = {
    management::TiffStreamReader::kType.name,
    management::TiffBigEndianStreamReader::kType.name,
    management::BigTiff::BigTiffReader::kType.name,
    management::BigTiff::BigTiffReaderBE::kType.name,
};
constexpr const char* kWriters[] = {
    management::TiffStreamWriter::kType.name,
    management::TiffBigEndianStreamWriter::kType.name,
    management::BigTiff::BigTiffWriter::kType.name,
    management::BigTiff::BigTiffWriterBE::kType.name,
};
size_t form_index(TiffStreamKind kind) {
    return (kind.big_tiff ? 2u : 0u) + (kind.big_endian ? 1u : 0u);
}

// Restores the position of a stream: a reader reads at given positions and does not move the stream.
class KeptPosition {
 public:
    explicit KeptPosition(ManagedStream& stream) : m_stream(stream), m_position(stream.position()) {}
    void restore() { m_stream.set_position(m_position); }

 private:
    ManagedStream& m_stream;
    int64_t m_position;
};

}  // namespace

const TypeInfo& tiff_reader_class(TiffStreamKind kind) {
    return require_type(kReaders[form_index(kind)]);
}

const TypeInfo& tiff_writer_class(TiffStreamKind kind) {
    return require_type(kWriters[form_index(kind)]);
}

TiffStreamKind tiff_stream_kind(ByteOrder byte_order, bool is_big_tiff) {
    if (byte_order != ByteOrder::kLittleEndian && byte_order != ByteOrder::kBigEndian) {
        throw_out_of_range("byte_order", "The value " + std::to_string(static_cast<int32_t>(byte_order)) +
                                             " is not one of TiffByteOrder.");
    }
    return {byte_order == ByteOrder::kBigEndian, is_big_tiff};
}

uint64_t read_number(std::span<const std::byte> bytes, bool big_endian) {
    uint64_t number = 0;
    for (size_t i = 0; i < bytes.size(); ++i) {
        number = number << 8 | std::to_integer<uint64_t>(bytes[big_endian ? i : bytes.size() - 1 - i]);
    }
    return number;
}

void put_number(Bytes& out, uint64_t number, size_t size, bool big_endian) {
    for (size_t i = 0; i < size; ++i) {
        out.push_back(static_cast<std::byte>(number >> 8 * (big_endian ? size - 1 - i : i)));
    }
}

// Directories and values lie in different places of a file.
constexpr size_t kReadAtOnce = 512;

TiffReaderObject::TiffReaderObject(const TypeInfo& type, imagework::SharedSource content)
    : ManagedObject(type), m_kind(kind_of(type)), m_bytes(std::in_place, std::move(content), kReadAtOnce) {}

TiffReaderObject::TiffReaderObject(const TypeInfo& type, Ref<StreamContainerObject> container)
    : ManagedObject(type), m_kind(kind_of(type)), m_container(std::move(container)) {
    track();
}

void TiffReaderObject::references(ReferenceVisitor& visitor) {
    visitor(m_container);
}

int64_t TiffReaderObject::length() {
    return m_container ? m_container->stream()->length() : static_cast<int64_t>(m_bytes->size());
}

void TiffReaderObject::read(int64_t position, std::span<std::byte> into) {
    const int64_t there = length();
    const auto wanted = static_cast<int64_t>(into.size());
    const int64_t from = std::clamp<int64_t>(position, 0, there);
    const int64_t count = position < 0 ? 0 : std::min(wanted, there - from);
    if (count < wanted && throw_exceptions) {
        throw ManagedException("EndOfStreamException", "There are no " + std::to_string(wanted) +
                                                           " bytes at the position " + std::to_string(position) +
                                                           ": the stream has " + std::to_string(there) + ".");
    }
    const auto part = into.first(static_cast<size_t>(count));
    if (part.empty()) {
        return;
    }
    if (!m_container) {
        m_bytes->copy(static_cast<uint64_t>(from), {reinterpret_cast<uint8_t*>(part.data()), part.size()});
        return;
    }
    const Ref<ManagedStream> stream = m_container->stream();
    KeptPosition kept(*stream);
    stream->set_position(from);
    stream->read_exactly(part);
    kept.restore();
}

uint64_t TiffReaderObject::number(int64_t position, size_t size) {
    std::byte bytes[8]{};
    read(position, {bytes, size});
    return read_number({bytes, size}, m_kind.big_endian);
}

int64_t TiffReaderObject::checked_count(int64_t position, int64_t count, size_t size) {
    if (count < 0) {
        throw_out_of_range("count", "A count is not negative.");
    }
    if (position < 0) {
        throw_out_of_range("position", "A position is not negative.");
    }
    const int64_t most = std::max<int64_t>(0, length() - position) / static_cast<int64_t>(size);
    if (count <= most) {
        return count;
    }
    if (!throw_exceptions) {
        return most;
    }
    throw ManagedException("EndOfStreamException", "There are no " + std::to_string(count) + " values of " +
                                                       std::to_string(size) + " bytes at the position " +
                                                       std::to_string(position) + ".");
}

Bytes TiffReaderObject::rest(int64_t position) {
    const int64_t there = length();
    if (position < 0 || position > there) {
        throw_out_of_range("start_position", "The position is not within the stream.");
    }
    Bytes bytes(static_cast<size_t>(there - position));
    read(position, bytes);
    return bytes;
}

TiffWriterObject::TiffWriterObject(const TypeInfo& type, Ref<StreamContainerObject> container)
    : ManagedObject(type), m_kind(kind_of(type)), m_container(std::move(container)) {
    track();
}

void TiffWriterObject::references(ReferenceVisitor& visitor) {
    visitor(m_container);
}

void TiffWriterObject::write(std::span<const std::byte> bytes) {
    m_container->stream()->write(bytes);
}

void TiffWriterObject::write_number(uint64_t number, size_t size) {
    Bytes bytes;
    put_number(bytes, number, size, m_kind.big_endian);
    write(bytes);
}

Ref<TiffReaderObject> make_tiff_reader(imagework::SharedSource content, bool big_endian, bool big_tiff) {
    const TypeInfo& type = tiff_reader_class({big_endian, big_tiff});
    return make_ref<TiffReaderObject>(type, std::move(content));
}

}  // namespace zelmor::embed
