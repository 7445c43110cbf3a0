// Reading and writing numbers of TIFF in either byte order: TiffStreamReader, TiffStreamWriter and their kin.
//
// A reader stands over the bytes of a source or over a stream container; positions count from the beginning of either.
// A writer writes where its container stands.
#ifndef ZELMOR_RUNTIME_NATIVE_BEHAVIORS_METADATA_TIFF_TIFF_STREAMS_H
#define ZELMOR_RUNTIME_NATIVE_BEHAVIORS_METADATA_TIFF_TIFF_STREAMS_H

#include <cstdint>
#include <optional>
#include <span>

#include "generated/runtime/Zelmor.Imaging.FileFormats.Tiff.Enums.h"
#include "generated/runtime/Zelmor.Imaging.FileFormats.Tiff.FileManagement.h"
#include "runtime/native/behaviors/streams/stream_container.h"
#include "runtime/native/core/object.h"
#include "runtime/native/core/value.h"
#include "runtime/native/imagework/limits.h"
#include "runtime/native/imagework/pixels/source_bytes.h"

namespace zelmor::embed {

// The form in which a file has its numbers. There is a class of readers and one of writers for each.
struct TiffStreamKind {
    bool big_endian = false;
    bool big_tiff = false;
};
const TypeInfo& tiff_reader_class(TiffStreamKind kind);
const TypeInfo& tiff_writer_class(TiffStreamKind kind);
// The form with a byte order; ArgumentOutOfRangeException for a number that is none.
TiffStreamKind tiff_stream_kind(api::FileFormats::Tiff::Enums::TiffByteOrder byte_order, bool is_big_tiff);

// Numbers in either order, 2, 4 or 8 bytes of them.
uint64_t read_number(std::span<const std::byte> bytes, bool big_endian);
void put_number(Bytes& out, uint64_t number, size_t size, bool big_endian);

class TiffReaderObject final : public ManagedObject {
 public:
    static constexpr const char* kManagedName = api::FileFormats::Tiff::FileManagement::TiffStreamReader::kType.name;
    TiffReaderObject(const TypeInfo& type, Ref<StreamContainerObject> container);
    TiffReaderObject(const TypeInfo& type, imagework::SharedSource content);

    bool big_endian() const { return m_kind.big_endian; }
    bool big_tiff() const { return m_kind.big_tiff; }
    int64_t length();
    bool throw_exceptions = true;
    // What is left to those who read whole directories of a file (limits.h).
    uint64_t tag_bytes_left = imagework::limits::kTagBytes;

    // The bytes at a position. Where there are fewer, EndOfStreamException; if exceptions are off, the rest of the
    // memory stays as it was given.
    void read(int64_t position, std::span<std::byte> into);
    uint64_t number(int64_t position, size_t size);
    // Refuses a count whose bytes cannot be there; with exceptions off it is brought down to what is there.
    int64_t checked_count(int64_t position, int64_t count, size_t size);
    // All bytes from a position to the end.
    Bytes rest(int64_t position);

    void references(ReferenceVisitor& visitor) override;

 private:
    TiffStreamKind m_kind;
    std::optional<imagework::SourceBytes> m_bytes;  // absent where there is a container
    Ref<StreamContainerObject> m_container;
};

class TiffWriterObject final : public ManagedObject {
 public:
    static constexpr const char* kManagedName = api::FileFormats::Tiff::FileManagement::TiffStreamWriter::kType.name;
    TiffWriterObject(const TypeInfo& type, Ref<StreamContainerObject> container);

    bool big_endian() const { return m_kind.big_endian; }
    bool big_tiff() const { return m_kind.big_tiff; }
    void write(std::span<const std::byte> bytes);
    void write_number(uint64_t number, size_t size);
    StreamContainerObject& container() { return *m_container; }
    void references(ReferenceVisitor& visitor) override;

 private:
    TiffStreamKind m_kind;
    Ref<StreamContainerObject> m_container;
};

// The wire kind of the elements of an array of these numbers.
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

// A reader of the class for this order and form.
Ref<TiffReaderObject> make_tiff_reader(imagework::SharedSource content, bool big_endian, bool big_tiff = false);

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_BEHAVIORS_METADATA_TIFF_TIFF_STREAMS_H
