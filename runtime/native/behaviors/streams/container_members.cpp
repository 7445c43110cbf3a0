// StreamContainer: members.
//
// Saving copies a stream from its beginning and restores its position. A stream that cannot seek is copied from where
// it is.
#include <algorithm>

#include "generated/runtime/Zelmor.Imaging.h"
#include "runtime/native/behaviors/streams/stream_container.h"
#include "runtime/native/core/conversions.h"
#include "runtime/native/core/entry.h"
#include "runtime/native/core/files.h"

namespace zelmor::embed {

namespace {

using api::SeekOrigin;
using ContainerApi = api::StreamContainer;
using Container = StreamContainerObject;
using Path = std::optional<std::u16string>;

constexpr int32_t kBufferSize = 4096;
constexpr int64_t kToTheEnd = -1;

Ref<Container> construct(Ref<ManagedStream> stream) {
    return make_stream_container(Container::kManagedName, std::move(stream), false);
}
Ref<Container> construct_owning(Ref<ManagedStream> stream, bool dispose_stream) {
    return make_stream_container(Container::kManagedName, std::move(stream), dispose_stream);
}

// Works on a stream from its beginning on and restores its position. A stream that cannot seek is used from where it
// is.
template <class Work>
auto from_beginning(ManagedStream& stream, Work work) {
    if (!stream.can_seek()) {
        return work();
    }
    const int64_t kept = stream.position();
    stream.set_position(0);
    try {
        auto result = work();
        stream.set_position(kept);
        return result;
    } catch (const ManagedException& failure) {
        try {
            stream.set_position(kept);
        } catch (const ManagedException&) {
            throw failure;  // the cause, which says more than the failure to restore the position
        }
        throw;
    }
}

void check_buffer_size(int32_t buffer_size) {
    if (buffer_size > 0) {
        return;
    }
    throw_out_of_range("buffer_size", "The size " + std::to_string(buffer_size) + " is not positive.");
}

// The number of bytes copied: `length`, or fewer where the stream ends before.
int64_t copy(ManagedStream& from, ManagedStream& to, int32_t buffer_size, int64_t length) {
    check_buffer_size(buffer_size);
    if (same_stream(from, to)) {
        throw_argument("A stream cannot be copied onto itself.");
    }
    int64_t copied = 0;
    Bytes buffer(static_cast<size_t>(buffer_size));
    for (int64_t left = length; length == kToTheEnd || left > 0;) {
        size_t wanted = buffer.size();
        if (length != kToTheEnd) {
            wanted = static_cast<size_t>(std::min<int64_t>(left, buffer_size));
        }
        const size_t count = from.read(std::span(buffer).first(wanted));
        if (count == 0) {
            break;
        }
        to.write(std::span(buffer).first(count));
        left -= static_cast<int64_t>(count);
        copied += static_cast<int64_t>(count);
    }
    return copied;
}

void check_length(int64_t length) {
    if (length < 0) {
        throw_out_of_range("length", "The length " + std::to_string(length) + " is negative.");
    }
}

void save_all(Container& self, ManagedStream& to, int32_t buffer_size, int64_t length) {
    check_buffer_size(buffer_size);
    const Ref<ManagedStream> from = self.stream();
    from_beginning(*from, [&] { return copy(*from, to, buffer_size, length); });
    to.flush();
}

void save(Container& self, Ref<ManagedStream> to) {
    save_all(self, *to, kBufferSize, kToTheEnd);
}
void save_buffered(Container& self, Ref<ManagedStream> to, int32_t buffer_size) {
    save_all(self, *to, buffer_size, kToTheEnd);
}
void save_part(Container& self, Ref<ManagedStream> to, int32_t buffer_size, int64_t length) {
    check_length(length);
    save_all(self, *to, buffer_size, length);
}
// The file is replaced after everything has been read: it may be the file that the container reads from.
void save_file_part(Container& self, const Path& file_path, int32_t buffer_size, int64_t length) {
    check_buffer_size(buffer_size);
    const std::string path = file_path_of(file_path, "file_path");
    self.stream();  // a container without a stream fails before it changes the file
    require_writable_target(path);
    const auto memory = make_memory_stream();
    save_all(self, *memory, buffer_size, length);
    memory->set_position(0);
    const Bytes content = memory->read_to_end();
    write_file(path, {reinterpret_cast<const uint8_t*>(content.data()), content.size()});
}
void save_file(Container& self, const Path& file_path) {
    save_file_part(self, file_path, kBufferSize, kToTheEnd);
}
void save_file_buffered(Container& self, const Path& file_path, int32_t buffer_size) {
    save_file_part(self, file_path, buffer_size, kToTheEnd);
}
void save_file_length(Container& self, const Path& file_path, int32_t buffer_size, int64_t length) {
    check_length(length);
    save_file_part(self, file_path, buffer_size, length);
}

void write_to(Container& self, Container& other) {
    copy(*self.stream(), *other.stream(), kBufferSize, kToTheEnd);
}
void write_part_to(Container& self, Container& other, int64_t length) {
    check_length(length);
    copy(*self.stream(), *other.stream(), kBufferSize, length);
}

// Fills an array up to the end of the stream.
void fill(Container& self, std::span<std::byte> bytes) {
    const Ref<ManagedStream> stream = self.stream();
    while (!bytes.empty()) {
        const size_t count = stream->read(bytes);
        if (count == 0) {
            return;
        }
        bytes = bytes.subspan(count);
    }
}
// The part of an array at an offset.
template <class Byte>
std::span<Byte> checked_range(std::span<Byte> buffer, int32_t offset, int32_t count) {
    if (offset < 0) {
        throw_out_of_range("offset", "The offset " + std::to_string(offset) + " is negative.");
    }
    if (count < 0 || static_cast<size_t>(offset) + static_cast<size_t>(count) > buffer.size()) {
        throw_out_of_range("count", "The range from " + std::to_string(offset) + " of " + std::to_string(count) +
                                        " bytes leaves an array of " + std::to_string(buffer.size()) + ".");
    }
    return buffer.subspan(static_cast<size_t>(offset), static_cast<size_t>(count));
}
// One call of the stream, which may deliver fewer bytes than the range holds.
int32_t read_range(Container& self, std::span<std::byte> buffer, int32_t offset, int32_t count) {
    return static_cast<int32_t>(self.stream()->read(checked_range(buffer, offset, count)));
}

void write(Container& self, std::span<const std::byte> bytes) {
    self.stream()->write(bytes);
}
void write_range(Container& self, std::span<const std::byte> buffer, int32_t offset, int32_t count) {
    self.stream()->write(checked_range(buffer, offset, count));
}
void write_byte(Container& self, uint8_t value) {
    self.stream()->write_byte(value);
}
int32_t read_byte(Container& self) {
    return self.stream()->read_byte();
}

Bytes to_bytes(Container& self) {
    const Ref<ManagedStream> stream = self.stream();
    return from_beginning(*stream, [&] { return stream->read_to_end(); });
}
Bytes range_to_bytes(Container& self, int64_t first, int64_t count) {
    if (first < 0) {
        throw_out_of_range("position", "The position " + std::to_string(first) + " is negative.");
    }
    const Ref<ManagedStream> stream = self.stream();
    const int64_t length = stream->length();
    if (count < 0 || first > length || count > length - first) {
        throw_out_of_range("bytes_count", "The range from " + std::to_string(first) + " of " + std::to_string(count) +
                                              " bytes leaves a stream of " + std::to_string(length) + ".");
    }
    return from_beginning(*stream, [&] {
        stream->set_position(first);
        Bytes bytes(static_cast<size_t>(count));
        stream->read_exactly(bytes);
        return bytes;
    });
}

void flush(Container& self) {
    self.stream()->flush();
}
int64_t seek(Container& self, int64_t offset, SeekOrigin origin) {
    require_known(origin);
    return self.stream()->seek(offset, origin);
}
void seek_begin(Container& self) {
    self.stream()->set_position(0);
}

// The object that callers lock: the container itself.
PyObject* sync_root(Container& self) {
    return py_object(Ref<ManagedObject>(&self));
}
int64_t get_position(Container& self) {
    return self.stream()->position();
}
void set_position(Container& self, int64_t position) {
    self.stream()->set_position(position);
}
Ref<ManagedStream> get_stream(Container& self) {
    return self.stream();
}
bool is_stream_disposed_on_close(Container& self) {
    return self.disposes_stream();
}
int64_t get_length(Container& self) {
    return self.stream()->length();
}
void set_length(Container& self, int64_t length) {
    self.stream()->set_length(length);
}
bool can_read(Container& self) {
    return self.stream()->can_read();
}
bool can_seek(Container& self) {
    return self.stream()->can_seek();
}
bool can_write(Container& self) {
    return self.stream()->can_write();
}
int32_t read_write_bytes_count() {
    return kBufferSize;
}

const BehaviorTable ZELMOR_UNNAMED({
    behavior<&construct, ContainerApi::ctor_000_StreamContainer>(),
    behavior<&construct_owning, ContainerApi::ctor_001_StreamContainer>(),
    behavior<&write, ContainerApi::call_000_Write>(),
    behavior<&write_range, ContainerApi::call_001_Write>(),
    behavior<&fill, ContainerApi::call_000_Read>(),
    behavior<&read_range, ContainerApi::call_001_Read>(),
    behavior<&to_bytes, ContainerApi::call_000_ToBytes>(),
    behavior<&range_to_bytes, ContainerApi::call_001_ToBytes>(),
    behavior<&save, ContainerApi::call_000_Save, ContainerApi::call_000_SaveToStream>(),
    behavior<&save_buffered, ContainerApi::call_001_Save, ContainerApi::call_000_SaveToStreamWithBufSize>(),
    behavior<&save_part, ContainerApi::call_002_Save, ContainerApi::call_000_SaveToStreamWithBufSizeAndLen>(),
    behavior<&save_file, ContainerApi::call_003_Save>(),
    behavior<&save_file_buffered, ContainerApi::call_004_Save, ContainerApi::call_000_SaveWithBufSize>(),
    behavior<&save_file_length, ContainerApi::call_005_Save, ContainerApi::call_000_SaveWithBufSizeAndLen>(),
    behavior<&write_to, ContainerApi::call_000_WriteTo>(),
    behavior<&write_part_to, ContainerApi::call_001_WriteTo>(),
    behavior<&flush, ContainerApi::call_000_Flush>(),
    behavior<&write_byte, ContainerApi::call_000_WriteByte>(),
    behavior<&read_byte, ContainerApi::call_000_ReadByte>(),
    behavior<&seek, ContainerApi::call_000_Seek>(),
    behavior<&seek_begin, ContainerApi::call_000_SeekBegin>(),
    behavior<&sync_root, ContainerApi::get_SyncRoot>(),
    property<&get_position, &set_position, ContainerApi::property_Position>(),
    behavior<&get_stream, ContainerApi::get_Stream>(),
    behavior<&is_stream_disposed_on_close, ContainerApi::get_IsStreamDisposedOnClose>(),
    property<&get_length, &set_length, ContainerApi::property_Length>(),
    behavior<&can_read, ContainerApi::get_CanRead>(),
    behavior<&can_seek, ContainerApi::get_CanSeek>(),
    behavior<&can_write, ContainerApi::get_CanWrite>(),
    behavior<&read_write_bytes_count, ContainerApi::getsa_ReadWriteBytesCount>(),
});

const FactoryRegistration ZELMOR_UNNAMED(Container::kManagedName, [](const TypeInfo& type) -> Ref<ManagedObject> {
    return make_ref<StreamContainerObject>(type);
});

const ConversionRegistration ZELMOR_UNNAMED(Container::kManagedName, "System.IO.Stream", [](ManagedObject& container) {
    return Ref<ManagedObject>(cast_object<Container>(container).stream());
});

}  // namespace

}  // namespace zelmor::embed
