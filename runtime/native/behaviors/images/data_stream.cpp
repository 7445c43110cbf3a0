// The data stream of an image: a container over the file or stream that it was loaded from or created for.
//
// It is for programs: the image itself reads its pixels through a file or stream of its own.
#include "generated/runtime/Zelmor.Imaging.h"
#include "runtime/native/behaviors/images/image_base.h"
#include "runtime/native/behaviors/streams/stream_container.h"
#include "runtime/native/core/files.h"
#include "runtime/native/core/managed_exception.h"

namespace zelmor::embed {

namespace {

// A new container each time: saving puts another file under the same name. Null for an image that came from nowhere,
// and for a file that is not written yet.
Ref<StreamContainerObject> data_stream_container(ImageBase& self) {
    self.require_live();
    const Ref<ManagedStream>& stream = self.target_stream ? self.target_stream : self.source_stream;
    if (stream) {
        return make_stream_container(api::StreamContainer::kType.name, stream, false);
    }
    if (self.target_path.empty() || !file_exists(self.target_path)) {
        return nullptr;
    }
    return open_file_container(self.target_path);
}

using DataStreamSupporterApi = api::DataStreamSupporter;

const BehaviorTable ZELMOR_UNNAMED({
    behavior<&data_stream_container, DataStreamSupporterApi::get_DataStreamContainer>(),
});

}  // namespace

}  // namespace zelmor::embed
