// StreamContainer: members.
//
// Copies go from the beginning of a stream that can seek, whose position they leave alone, and from where it stands
// otherwise.
#include "runtime/native/behaviors/streams/stream_container.h"
#include "generated/runtime/Zelmor.Imaging.h"

#include <unistd.h>

#include <algorithm>

#include "runtime/native/core/conversions.h"
#include "runtime/native/core/entry.h"
#include "runtime/native/core/files.h"

namespace zelmor::embed {

namespace {

bool same_stream(const ManagedStream& a, const ManagedStream& b) {
    return &a == &b || (a.python_file() && a.python_file() == b.python_file());
}

}  // namespace

void StreamContainerObject::attach(Ref<ManagedStream> stream, bool dispose_stream) {
    m_stream = std::move(stream);
    m_dispose_stream = dispose_stream;
}

Ref<ManagedStream> StreamContainerObject::stream() const {
    require_live();
    if (!m_stream) {
        throw_invalid_operation("The container has no stream.");
    }
    return m_stream;
}

void StreamContainerObject::on_dispose() {
    const Ref<ManagedStream> stream = std::move(m_stream);
    m_stream = nullptr;
    // A joined stream knows which of its own it disposes of.
    if (stream && (m_dispose_stream || m_joined)) {
        stream->dispose();
    }
    m_joined = nullptr;
    remove_temporary();
}

void StreamContainerObject::insert(int64_t position, Ref<ManagedStream> stream, bool dispose_stream) {
    const Ref<ManagedStream> own = this->stream();
    if (same_stream(*own, *stream)) {
        throw_argument("A stream cannot be put into itself.");
    }
    const Ref<JoinedStream> joined = m_joined ? m_joined : make_ref<JoinedStream>(own, m_dispose_stream);
    joined->insert(position, std::move(stream), dispose_stream);
    // The streams were asked for their lengths, and a Python file may have done anything then.
    require_live();
    if (m_stream != own) {
        throw_changed();
    }
    m_joined = joined;
    m_stream = joined;
}

// A temporary file goes with the last reference too, if nobody disposed of the container.
StreamContainerObject::~StreamContainerObject() {
    remove_temporary();
}

void StreamContainerObject::remove_temporary() {
    if (!temporary_path.empty()) {
        ::unlink(temporary_path.c_str());
    }
    temporary_path.clear();
}

Ref<StreamContainerObject> make_stream_container(const char* type_name, Ref<ManagedStream> stream,
                                                 bool dispose_stream) {
    const Ref<ManagedObject> made = make_instance(type_name);
    auto& container = cast_object<StreamContainerObject>(*made);
    container.attach(std::move(stream), dispose_stream);
    return Ref<StreamContainerObject>(&container);
}

namespace {

using Container = StreamContainerObject;
using Path = std::optional<std::u16string>;

constexpr const char* kContainer = "Zelmor.Imaging.StreamContainer";
constexpr int32_t kBufferSize = 4096;
constexpr int64_t kToTheEnd = -1;

Ref<Container> construct(Ref<ManagedStream> stream) {
    return make_stream_container(kContainer, std::move(stream), false);
}
Ref<Container> construct_owning(Ref<ManagedStream> stream, bool dispose_stream) {
    return make_stream_container(kContainer, std::move(stream), dispose_stream);
}

// Works on a stream from its beginning on and puts it back where it stood; one that cannot seek is worked on as it is.
template <class Work>
auto from_beginning(ManagedStream& stream, Work work) {
    if (!stream.can_seek()) {
        return work();
    }
    const int64_t kept = stream.position();
    stream.seek(0, SeekFrom::kBegin);
    try {
        auto result = work();
        stream.seek(kept, SeekFrom::kBegin);
        return result;
    } catch (const ManagedException& failure) {
        try {
            stream.seek(kept, SeekFrom::kBegin);
        } catch (const ManagedException&) {
            throw failure;  // it came first, and says more than that the way back is barred too
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
// The file is replaced when everything has been read: it may be the one that the container stands over.
void save_file_part(Container& self, const Path& file_path, int32_t buffer_size, int64_t length) {
    check_buffer_size(buffer_size);
    const std::string path = file_path_of(file_path, "file_path");
    self.stream();  // a container without a stream must not touch the file
    require_writable_target(path);
    const auto memory = make_memory_stream();
    save_all(self, *memory, buffer_size, length);
    memory->seek(0, SeekFrom::kBegin);
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

// An array is filled as far as the stream goes.
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
// The part of an array that `offset` and `count` mean.
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
// One question to the stream: it may have less than was asked for.
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
        stream->seek(first, SeekFrom::kBegin);
        Bytes bytes(static_cast<size_t>(count));
        stream->read_exactly(bytes);
        return bytes;
    });
}

void flush(Container& self) {
    self.stream()->flush();
}
int64_t seek(Container& self, int64_t offset, int32_t origin) {
    if (origin < 0 || origin > 2) {
        throw_argument("The seek origin " + std::to_string(origin) + " is none of 0, 1, 2.");
    }
    return self.stream()->seek(offset, static_cast<SeekFrom>(origin));
}
void seek_begin(Container& self) {
    self.stream()->seek(0, SeekFrom::kBegin);
}

// What callers lock on: the container itself.
PyObject* sync_root(Container& self) {
    return py_object(Ref<ManagedObject>(&self));
}
int64_t get_position(Container& self) {
    return self.stream()->position();
}
void set_position(Container& self, int64_t position) {
    self.stream()->seek(position, SeekFrom::kBegin);
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

using StreamContainerApi = api::StreamContainer;

const BehaviorTable table({
    behavior<&construct, StreamContainerApi::ctor_000_StreamContainer>(),
    behavior<&construct_owning, StreamContainerApi::ctor_001_StreamContainer>(),
    behavior<&write, StreamContainerApi::call_000_Write>(),
    behavior<&write_range, StreamContainerApi::call_001_Write>(),
    behavior<&fill, StreamContainerApi::call_000_Read>(),
    behavior<&read_range, StreamContainerApi::call_001_Read>(),
    behavior<&to_bytes, StreamContainerApi::call_000_ToBytes>(),
    behavior<&range_to_bytes, StreamContainerApi::call_001_ToBytes>(),
    behavior<&save, StreamContainerApi::call_000_Save, StreamContainerApi::call_000_SaveToStream>(),
    behavior<&save_buffered, StreamContainerApi::call_001_Save, StreamContainerApi::call_000_SaveToStreamWithBufSize>(),
    behavior<&save_part, StreamContainerApi::call_002_Save,
             StreamContainerApi::call_000_SaveToStreamWithBufSizeAndLen>(),
    behavior<&save_file, StreamContainerApi::call_003_Save>(),
    behavior<&save_file_buffered, StreamContainerApi::call_004_Save, StreamContainerApi::call_000_SaveWithBufSize>(),
    behavior<&save_file_length, StreamContainerApi::call_005_Save,
             StreamContainerApi::call_000_SaveWithBufSizeAndLen>(),
    behavior<&write_to, StreamContainerApi::call_000_WriteTo>(),
    behavior<&write_part_to, StreamContainerApi::call_001_WriteTo>(),
    behavior<&flush, StreamContainerApi::call_000_Flush>(),
    behavior<&write_byte, StreamContainerApi::call_000_WriteByte>(),
    behavior<&read_byte, StreamContainerApi::call_000_ReadByte>(),
    behavior<&seek, StreamContainerApi::call_000_Seek>(),
    behavior<&seek_begin, StreamContainerApi::call_000_SeekBegin>(),
    behavior<&sync_root, StreamContainerApi::get_SyncRoot>(),
    behavior<&get_position, StreamContainerApi::get_Position>(),
    behavior<&set_position, StreamContainerApi::set_Position>(),
    behavior<&get_stream, StreamContainerApi::get_Stream>(),
    behavior<&is_stream_disposed_on_close, StreamContainerApi::get_IsStreamDisposedOnClose>(),
    behavior<&get_length, StreamContainerApi::get_Length>(),
    behavior<&set_length, StreamContainerApi::set_Length>(),
    behavior<&can_read, StreamContainerApi::get_CanRead>(),
    behavior<&can_seek, StreamContainerApi::get_CanSeek>(),
    behavior<&can_write, StreamContainerApi::get_CanWrite>(),
    behavior<&read_write_bytes_count, StreamContainerApi::getsa_ReadWriteBytesCount>(),
});

const FactoryRegistration factory(kContainer, [](const TypeInfo& type) -> Ref<ManagedObject> {
    return make_ref<StreamContainerObject>(type);
});

const ConversionRegistration to_stream(kContainer, "System.IO.Stream", [](ManagedObject& container) {
    return Ref<ManagedObject>(cast_object<Container>(container).stream());
});

}  // namespace

}  // namespace zelmor::embed
