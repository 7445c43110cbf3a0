// The base of all images; see image_base.h.
#include "runtime/native/behaviors/images/image_base.h"

#include <unistd.h>

#include <utility>

#include "runtime/native/core/references.h"

namespace zelmor::embed {

ImageBase::~ImageBase() = default;

void ImageBase::references(ReferenceVisitor& visitor) {
    Record::references(visitor);
    visitor(target_stream);
    visitor(source_stream);
}

void ImageBase::on_dispose() {
    source_stream = nullptr;
    if (delete_target) {
        ::unlink(target_path.c_str());
    }
    // Last: closing a Python file runs its code, and may fail.
    const Ref<ManagedStream> stream = std::exchange(target_stream, nullptr);
    if (stream && dispose_target_stream) {
        stream->dispose();
    }
}

}  // namespace zelmor::embed
