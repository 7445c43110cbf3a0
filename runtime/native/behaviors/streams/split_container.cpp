// SplitStreamContainer: a container into which other streams can be inserted. It inherits the rest from
// StreamContainer.
//
// It works on its stream itself until the first insertion, and on a joined stream from then on.
#include "generated/runtime/Zelmor.Imaging.h"
#include "runtime/native/behaviors/streams/stream_container.h"
#include "runtime/native/core/entry.h"

namespace zelmor::embed {

namespace {

using SplitContainerApi = api::SplitStreamContainer;

Ref<StreamContainerObject> split(Ref<ManagedStream> stream) {
    return make_stream_container(SplitContainerApi::kType.name, std::move(stream), false);
}
Ref<StreamContainerObject> split_owning(Ref<ManagedStream> stream, bool dispose_stream) {
    return make_stream_container(SplitContainerApi::kType.name, std::move(stream), dispose_stream);
}
Ref<StreamContainerObject> split_container(StreamContainerObject* stream, bool dispose_stream) {
    if (stream == nullptr) {
        throw_argument_null("stream");
    }
    return make_stream_container(SplitContainerApi::kType.name, stream->stream(), dispose_stream);
}

void insert(StreamContainerObject& self, int32_t position, StreamContainerObject* stream, bool dispose_stream) {
    if (stream == nullptr) {
        throw_argument_null("stream");
    }
    self.insert(position, stream->stream(), dispose_stream);
}

const BehaviorTable ZELMOR_UNNAMED({
    behavior<&split, SplitContainerApi::ctor_000_SplitStreamContainer>(),
    behavior<&split_owning, SplitContainerApi::ctor_001_SplitStreamContainer,
             SplitContainerApi::call_000_CreateFromStream>(),
    behavior<&split_container, SplitContainerApi::ctor_002_SplitStreamContainer,
             SplitContainerApi::call_000_CreateFromStreamContainer>(),
    behavior<&insert, SplitContainerApi::call_000_Insert>(),
});

}  // namespace

}  // namespace zelmor::embed
