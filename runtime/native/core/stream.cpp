// What all streams have in common, and streams as arguments and results.
#include "runtime/native/core/stream.h"

#include <algorithm>

#include "exchange/wire/tags.h"
#include "generated/runtime/Zelmor.Imaging.h"
#include "runtime/native/core/handles.h"
#include "runtime/native/core/managed_exception.h"
#include "runtime/native/core/type_system.h"

namespace zelmor::embed {

const TypeInfo& stream_type() {
    static const TypeInfo& type = intern_type("System.IO.Stream");
    return type;
}

std::vector<std::byte> ManagedStream::read_to_end() {
    // Room beyond the end, so that the last question, which nothing answers, moves no bytes.
    constexpr size_t kSpare = 1;
    constexpr size_t kBlock = 64 * 1024;
    std::vector<std::byte> all;
    if (can_seek()) {
        all.reserve(static_cast<size_t>(std::max<int64_t>(0, length() - position())) + kSpare);
    }
    size_t filled = 0;
    for (;;) {
        if (filled == all.size()) {
            all.resize(filled < all.capacity() ? all.capacity() : filled + filled / 2 + kBlock);
        }
        const size_t count = read(std::span(all).subspan(filled));
        filled += count;
        if (count == 0) {
            all.resize(filled);
            return all;
        }
    }
}

void ManagedStream::set_position(int64_t position) {
    seek(position, api::SeekOrigin::kBegin);
}

void require_known(api::SeekOrigin origin) {
    switch (origin) {
        case api::SeekOrigin::kBegin:
        case api::SeekOrigin::kCurrent:
        case api::SeekOrigin::kEnd:
            return;
    }
    throw_argument("The seek origin " + std::to_string(static_cast<int32_t>(origin)) + " is none of 0, 1, 2.");
}

int ManagedStream::read_byte() {
    std::byte byte;
    return read({&byte, 1}) == 1 ? static_cast<int>(byte) : -1;
}

void ManagedStream::write_byte(uint8_t value) {
    const std::byte byte{value};
    write({&byte, 1});
}

void ManagedStream::read_exactly(std::span<std::byte> into) {
    while (!into.empty()) {
        const size_t count = read(into);
        if (count == 0) {
            throw ManagedException("EndOfStreamException", "The stream ended " + std::to_string(into.size()) +
                                                               " bytes before the end of the data.");
        }
        into = into.subspan(count);
    }
}

Ref<ManagedStream> read_stream_or_null(const VariantArg* arg) {
    switch (arg->tag) {
        case kHandleObject:
            return Ref<ManagedStream>(target_or_null<ManagedStream>(arg->value));
        case kHandlePyObject:
            return make_python_file_stream(static_cast<PyObject*>(arg->value));
        default:
            throw_invalid_cast("a value with tag " + std::to_string(arg->tag), ManagedStream::kManagedName);
    }
}

Ref<ManagedStream> read_stream(const VariantArg* arg, const char* parameter) {
    auto stream = read_stream_or_null(arg);
    if (!stream) {
        throw_argument_null(parameter);
    }
    return stream;
}

void write_stream(const Ref<ManagedStream>& stream, PyCollectionArg* out) {
    *out = {};
    if (!stream) {
        return;
    }
    if (PyObject* file = stream->python_file()) {
        out->kind = kCollectionPyObject;
        out->value = file;
        return;
    }
    out->kind = kCollectionObject;
    out->type_id = type_id(stream->type());
    out->value = make_handle(stream);
}

}  // namespace zelmor::embed
