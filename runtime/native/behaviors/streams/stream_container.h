// StreamContainer and the classes that derive from it: an object around a managed stream, which it may own.
#ifndef ZELMOR_RUNTIME_NATIVE_BEHAVIORS_STREAMS_STREAM_CONTAINER_H
#define ZELMOR_RUNTIME_NATIVE_BEHAVIORS_STREAMS_STREAM_CONTAINER_H

#include <optional>
#include <string>

#include "generated/runtime/Zelmor.Imaging.h"
#include "runtime/native/behaviors/streams/joined_stream.h"
#include "runtime/native/core/managed_exception.h"
#include "runtime/native/core/records.h"
#include "runtime/native/core/stream.h"

namespace zelmor::embed {

class StreamContainerObject : public Record {
 public:
    static constexpr const char* kManagedName = api::StreamContainer::kType.name;
    explicit StreamContainerObject(const TypeInfo& type) : Record(type) { track(); }
    ~StreamContainerObject() override;
    void attach(Ref<ManagedStream> stream, bool dispose_stream);

    // The stream; ObjectDisposedException once the container is disposed, InvalidOperationException without one.
    // The caller holds it by a reference: the Python file behind it, or another thread, may dispose of the container.
    Ref<ManagedStream> stream() const;
    // Inserts the content of another stream at a position, in bytes from the beginning.
    void insert(int64_t position, Ref<ManagedStream> stream, bool dispose_stream);
    bool disposes_stream() const { return m_dispose_stream; }
    // The path of the file, from the root on; empty for a container of something else.
    std::string file_path;
    // A temporary file is removed with the container.
    bool is_temporary = false;

    void on_dispose() override;
    void references(ReferenceVisitor& visitor) override;
    Ref<ManagedObject> copy() const override { throw_not_supported("Copying a stream container"); }

 private:
    void remove_temporary();

    Ref<ManagedStream> m_stream;
    bool m_dispose_stream = false;
    Ref<JoinedStream> m_joined;  // the same as m_stream after the first insertion
};

// True for one stream, and for two that stand for the same Python file.
bool same_stream(const ManagedStream& a, const ManagedStream& b);

// A container of the named type ("Zelmor.Imaging.StreamContainer") around a stream.
Ref<StreamContainerObject> make_stream_container(const char* type_name, Ref<ManagedStream> stream, bool dispose_stream);
// A FileStreamContainer over a file, which is created or opened, and removed with the container if it is temporary.
Ref<StreamContainerObject> make_file_container(const std::optional<std::u16string>& file_path, const char* parameter,
                                               bool create, bool is_temporal);

// The same over an existing file.
Ref<StreamContainerObject> open_file_container(const std::string& path);

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_BEHAVIORS_STREAMS_STREAM_CONTAINER_H
