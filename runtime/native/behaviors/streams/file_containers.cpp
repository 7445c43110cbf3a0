// FileStreamContainer: how one is made, and whether its file is removed with it. It inherits the rest from
// StreamContainer.
#include <unistd.h>

#include "generated/runtime/Zelmor.Imaging.h"
#include "runtime/native/behaviors/streams/stream_container.h"
#include "runtime/native/core/entry.h"
#include "runtime/native/core/files.h"
#include "runtime/native/core/text.h"

namespace zelmor::embed {

namespace {

using FileContainerApi = api::FileStreamContainer;
using Path = std::optional<std::u16string>;

Ref<StreamContainerObject> create_file_stream(const Path& file_location, bool is_temporal) {
    return make_file_container(file_location, "file_location", true, is_temporal);
}
Ref<StreamContainerObject> open_file(const Path& file_location) {
    return make_file_container(file_location, "file_location", false, false);
}
void set_is_temporal(StreamContainerObject& self, bool is_temporal) {
    self.require_live();
    set_property(self, "IsTemporal", is_temporal);
    self.is_temporary = is_temporal && !self.file_path.empty();
}

const BehaviorTable ZELMOR_UNNAMED({
    behavior<&create_file_stream, FileContainerApi::call_000_CreateFileStream>(),
    behavior<&open_file, FileContainerApi::call_000_OpenFileStream>(),
    behavior<&set_is_temporal, FileContainerApi::set_IsTemporal>(),
});

}  // namespace

namespace {

Ref<StreamContainerObject> container_over(const std::string& path, std::u16string text, FileUse use, bool is_temporal) {
    auto container = make_stream_container(FileContainerApi::kType.name, open_file_stream(path, use), true);
    container->file_path = absolute_path(path);
    set_property(*container, "FilePath", std::move(text));
    set_property(*container, "IsCreated", use == FileUse::kCreate);
    set_is_temporal(*container, is_temporal);
    return container;
}

// A file that cannot be written is opened for reading.
FileUse use_of_existing(const std::string& path) {
    return ::access(path.c_str(), W_OK) == 0 ? FileUse::kReadWrite : FileUse::kRead;
}

}  // namespace

Ref<StreamContainerObject> make_file_container(const Path& file_path, const char* parameter, bool create,
                                               bool is_temporal) {
    const std::string path = file_path_of(file_path, parameter);
    return container_over(path, *file_path, create ? FileUse::kCreate : use_of_existing(path), is_temporal);
}

Ref<StreamContainerObject> open_file_container(const std::string& path) {
    return container_over(path, text_of_file_path(path), use_of_existing(path), false);
}

}  // namespace zelmor::embed
