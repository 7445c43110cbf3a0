// StreamExtensions: makes managed streams in memory and over files.
#include <string_view>

#include "generated/runtime/System.IO.h"
#include "generated/runtime/Zelmor.Imaging.Extensions.h"
#include "generated/runtime/Zelmor.Imaging.h"
#include "runtime/native/core/entry.h"
#include "runtime/native/core/files.h"
#include "runtime/native/core/stream.h"

namespace zelmor::embed {

namespace {

using FileMode = api::System::IO::FileMode;

Ref<ManagedStream> memory_stream() {
    return make_memory_stream();
}
// The capacity of a stream is not its length: a new stream is empty.
Ref<ManagedStream> memory_stream_with_size(int32_t capacity) {
    if (capacity < 0) {
        throw_out_of_range("capacity", "The value " + std::to_string(capacity) + " is negative.");
    }
    return make_memory_stream();
}
Ref<ManagedStream> memory_stream_from_bytes(std::span<const std::byte> array) {
    return make_memory_stream({array.begin(), array.end()});
}

Ref<ManagedStream> file_stream(const std::optional<std::u16string>& text, FileMode file_mode) {
    const std::string path = file_path_of(text, "path");
    switch (file_mode) {
        case FileMode::kCreateNew:
            if (file_exists(path)) {
                throw ManagedException("IOException", "The file '" + path + "' already exists.");
            }
            return open_file_stream(path, FileUse::kCreate);
        case FileMode::kCreate:
            return open_file_stream(path, FileUse::kCreate);
        case FileMode::kOpen:
            return open_file_stream(path, FileUse::kReadWrite);
        case FileMode::kOpenOrCreate:
            return open_file_stream(path, file_exists(path) ? FileUse::kReadWrite : FileUse::kCreate);
        case FileMode::kTruncate: {
            auto stream = open_file_stream(path, FileUse::kReadWrite);
            stream->set_length(0);
            return stream;
        }
        case FileMode::kAppend: {
            auto stream = open_file_stream(path, file_exists(path) ? FileUse::kReadWrite : FileUse::kCreate);
            stream->seek(0, api::SeekOrigin::kEnd);
            return stream;
        }
    }
    throw_out_of_range("file_mode", "There is no file mode " + std::to_string(static_cast<int32_t>(file_mode)) + ".");
}

using StreamExtensionsApi = api::Extensions::StreamExtensions;

const BehaviorTable ZELMOR_UNNAMED({
    behavior<&memory_stream, StreamExtensionsApi::call_000_CreateMemoryStream>(),
    behavior<&memory_stream_with_size, StreamExtensionsApi::call_000_CreateMemoryStreamWithSize>(),
    behavior<&memory_stream_from_bytes, StreamExtensionsApi::call_000_CreateMemoryStreamFromBytes>(),
    behavior<&file_stream, StreamExtensionsApi::call_000_CreateFileStream>(),
});

}  // namespace

}  // namespace zelmor::embed
