// The sources: the places to which a new image is written. Each makes a container around a file or a stream. See
// sources.h.
#include "runtime/native/behaviors/streams/sources.h"

#include "generated/runtime/Zelmor.Imaging.Sources.h"
#include "runtime/native/behaviors/streams/stream_container.h"
#include "runtime/native/core/entry.h"
#include "runtime/native/core/files.h"
#include "runtime/native/core/text.h"

namespace zelmor::embed {

namespace {

using namespace api::Sources;
using Path = std::optional<std::u16string>;

class StreamSourceObject final : public Record {
 public:
    static constexpr const char* kManagedName = StreamSource::kType.name;
    using Record::Record;
    bool own_memory = false;
};
const FactoryRegistration ZELMOR_UNNAMED(StreamSourceObject::kManagedName, [](const TypeInfo& type) {
    return Ref<ManagedObject>(make_ref<StreamSourceObject>(type));
});

Ref<ManagedObject> make_stream_source(Ref<ManagedStream> stream, bool dispose_stream) {
    auto source = make_instance(StreamSource::kType.name);
    set_property(*source, "Stream", Ref<ManagedObject>(std::move(stream)));
    set_property(*source, "DisposeStream", dispose_stream);
    return source;
}
// Without a stream the image is written to memory.
Ref<ManagedObject> memory_source() {
    auto source = make_stream_source(make_memory_stream(), true);
    cast_object<StreamSourceObject>(*source).own_memory = true;
    return source;
}
Ref<ManagedObject> stream_source(Ref<ManagedStream> stream) {
    return make_stream_source(std::move(stream), false);
}

Ref<StreamContainerObject> stream_container(Record& self) {
    const Ref<ManagedObject> stream = property_object(self, "Stream");
    if (!stream) {
        throw_invalid_operation("The source has no stream.");
    }
    return make_stream_container(StreamContainerObject::kManagedName,
                                 Ref<ManagedStream>(&cast_object<ManagedStream>(*stream)),
                                 property_bool(self, "DisposeStream"));
}

Ref<ManagedObject> make_file_source(const TypeName& type, const Path& file_path, bool is_temporal) {
    file_path_of(file_path, "file_path");  // refuses None and texts that name no file
    auto source = make_instance(type.name);
    set_property(*source, "FilePath", *file_path);
    set_property(*source, "IsTemporal", is_temporal);
    return source;
}
Ref<ManagedObject> create_source(const Path& file_path) {
    return make_file_source(FileCreateSource::kType, file_path, false);
}
Ref<ManagedObject> create_temporal_source(const Path& file_path, bool is_temporal) {
    return make_file_source(FileCreateSource::kType, file_path, is_temporal);
}
Ref<ManagedObject> open_source(const Path& file_path) {
    return make_file_source(FileOpenSource::kType, file_path, false);
}

Ref<StreamContainerObject> created_container(Record& self) {
    return make_file_container(property_string(self, "FilePath"), "file_path", true, property_bool(self, "IsTemporal"));
}
Ref<StreamContainerObject> opened_container(Record& self) {
    return make_file_container(property_string(self, "FilePath"), "file_path", false, false);
}

const BehaviorTable ZELMOR_UNNAMED({
    behavior<&memory_source, StreamSource::ctor_000_StreamSource>(),
    behavior<&stream_source, StreamSource::ctor_001_StreamSource>(),
    behavior<&make_stream_source, StreamSource::ctor_002_StreamSource>(),
    behavior<&stream_container, StreamSource::call_000_GetStreamContainer>(),
    behavior<&create_source, FileCreateSource::ctor_000_FileCreateSource>(),
    behavior<&create_temporal_source, FileCreateSource::ctor_001_FileCreateSource>(),
    behavior<&created_container, FileCreateSource::call_000_GetStreamContainer>(),
    behavior<&open_source, FileOpenSource::ctor_000_FileOpenSource>(),
    behavior<&opened_container, FileOpenSource::call_000_GetStreamContainer>(),
});

}  // namespace

bool ends_stream_with_image(const ManagedObject& stream_source) {
    const auto& source = dynamic_cast<const StreamSourceObject&>(stream_source);
    return property_bool(source, "DisposeStream") && !source.own_memory;
}

}  // namespace zelmor::embed
