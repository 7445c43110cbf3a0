// What Python asks of a managed stream.
#include "runtime/native/collections/list_services.h"
#include "runtime/native/core/managed_exception.h"
#include "runtime/native/core/stream.h"

namespace zelmor::embed {

namespace {

// Held: a Python file behind the stream may let go of it in the middle of the call.
Ref<ManagedStream> stream_of(ServiceCall& call) {
    return Ref<ManagedStream>(&target<ManagedStream>(call.frame.argument<Handle>(0)));
}

size_t checked_count(int32_t count) {
    if (count < 0) {
        throw_out_of_range("count", "The count " + std::to_string(count) + " is negative.");
    }
    return static_cast<size_t>(count);
}

void can_read(ServiceCall& call) {
    call.frame.set_result<uint8_t>(stream_of(call)->can_read() ? 1 : 0);
}
void can_seek(ServiceCall& call) {
    call.frame.set_result<uint8_t>(stream_of(call)->can_seek() ? 1 : 0);
}
void can_write(ServiceCall& call) {
    call.frame.set_result<uint8_t>(stream_of(call)->can_write() ? 1 : 0);
}
void stream_length(ServiceCall& call) {
    call.frame.set_result(stream_of(call)->length());
}
void position(ServiceCall& call) {
    call.frame.set_result(stream_of(call)->position());
}
void close(ServiceCall& call) {
    stream_of(call)->close();
}
void flush(ServiceCall& call) {
    stream_of(call)->flush();
}

void read(ServiceCall& call) {
    auto* data = call.frame.argument<std::byte*>(1);
    const size_t count = checked_count(call.frame.argument<int32_t>(2));
    call.frame.set_result(static_cast<int32_t>(stream_of(call)->read({data, count})));
}

void write(ServiceCall& call) {
    const auto* data = call.frame.argument<const std::byte*>(1);
    stream_of(call)->write({data, checked_count(call.frame.argument<int32_t>(2))});
}

void seek(ServiceCall& call) {
    const auto origin = call.frame.argument<api::SeekOrigin>(2);
    require_known(origin);
    call.frame.set_result(stream_of(call)->seek(call.frame.argument<int64_t>(1), origin));
}

// With the flag set, the stream ends at its position.
void set_length(ServiceCall& call) {
    const auto stream = stream_of(call);
    const int64_t length = call.frame.argument<int32_t>(1) ? stream->position() : call.frame.argument<int64_t>(2);
    stream->set_length(length);
    call.frame.set_result(length);
}

constexpr ServiceOperation kStreamOperations[] = {
    {"CanRead", "bp", can_read},   {"CanSeek", "bp", can_seek},
    {"CanWrite", "bp", can_write}, {"Length", "lp", stream_length},
    {"Position", "lp", position},  {"Close", "vp", close},
    {"Flush", "vp", flush},        {"Read", "ippi", read},
    {"Seek", "lpli", seek},        {"SetLength", "lpil", set_length},
    {"Write", "vppi", write},
};

}  // namespace

std::span<const ServiceOperation> stream_operations() {
    return kStreamOperations;
}

}  // namespace zelmor::embed
