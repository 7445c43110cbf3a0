// SplitStreamContainer: a container whose content other streams can be put into; the rest is that of StreamContainer.
//
// It works on its stream itself until the first insertion, and on a joined one from then on.
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

const Behavior kMembers[] = {
    {kSplit, "ctor_000_SplitStreamContainer", entry<&split>()},
    {kSplit, "ctor_001_SplitStreamContainer", entry<&split_owning>()},
    {kSplit, "ctor_002_SplitStreamContainer", entry<&split_container>()},
    {kSplit, "call_000_CreateFromStream", entry<&split_owning>()},
    {kSplit, "call_000_CreateFromStreamContainer", entry<&split_container>()},
    {kSplit, "call_000_Insert", entry<&insert>()},
};
const BehaviorTable table(Assembly::kImaging, kMembers);

}  // namespace

}  // namespace zelmor::embed
