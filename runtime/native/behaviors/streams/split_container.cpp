// SplitStreamContainer: a container whose content other streams can be put into; the rest is that of StreamContainer.
//
// It works on its stream itself until the first insertion, and on a joined one from then on.
#include "generated/runtime/Zelmor.Imaging.h"
#include "runtime/native/behaviors/streams/stream_container.h"
#include "runtime/native/core/entry.h"

namespace zelmor::embed {

namespace {

constexpr const char* kSplit = "Zelmor.Imaging.SplitStreamContainer";

Ref<StreamContainerObject> split(Ref<ManagedStream> stream) {
    return make_stream_container(kSplit, std::move(stream), false);
}
Ref<StreamContainerObject> split_owning(Ref<ManagedStream> stream, bool dispose_stream) {
    return make_stream_container(kSplit, std::move(stream), dispose_stream);
}
Ref<StreamContainerObject> split_container(StreamContainerObject* stream, bool dispose_stream) {
    if (!stream) {
        throw_argument_null("stream");
    }
    return make_stream_container(kSplit, stream->stream(), dispose_stream);
}

void insert(StreamContainerObject& self, int32_t position, StreamContainerObject* stream, bool dispose_stream) {
    if (!stream) {
        throw_argument_null("stream");
    }
    self.insert(position, stream->stream(), dispose_stream);
}

using SplitStreamContainerApi = api::SplitStreamContainer;

const BehaviorTable table({
    behavior<&split, SplitStreamContainerApi::ctor_000_SplitStreamContainer>(),
    behavior<&split_owning, SplitStreamContainerApi::ctor_001_SplitStreamContainer,
             SplitStreamContainerApi::call_000_CreateFromStream>(),
    behavior<&split_container, SplitStreamContainerApi::ctor_002_SplitStreamContainer,
             SplitStreamContainerApi::call_000_CreateFromStreamContainer>(),
    behavior<&insert, SplitStreamContainerApi::call_000_Insert>(),
});

}  // namespace

}  // namespace zelmor::embed
