// StreamContainer and its kin: an object around a managed stream, which it may own.
#pragma once

#include <string>

#include "runtime/native/core/records.h"
#include "runtime/native/core/stream.h"

namespace zelmor::embed {

class StreamContainerObject : public Record {
 public:
    static constexpr const char* kManagedName = "Zelmor.Imaging.StreamContainer";
    explicit StreamContainerObject(const TypeInfo& type) : Record(type) {}
    void attach(Ref<ManagedStream> stream, bool dispose_stream);

    // The stream; ObjectDisposedException once the container is disposed, InvalidOperationException without one.
    ManagedStream& stream() const;
    const Ref<ManagedStream>& stream_reference() const { return stream_; }
    bool disposes_stream() const { return dispose_stream_; }
    // A file that goes with the container, for a temporary one.
    std::string temporary_path;

    void on_dispose() override;
    Ref<ManagedObject> copy() const override { return ManagedObject::copy(); }

 private:
    Ref<ManagedStream> stream_;
    bool dispose_stream_ = false;
};

// A container of the named type ("Zelmor.Imaging.StreamContainer") around a stream.
Ref<StreamContainerObject> make_stream_container(const char* type_name, Ref<ManagedStream> stream, bool dispose_stream);
// A FileStreamContainer over a file, which is created or opened, and removed with the container if it is temporary.
Ref<StreamContainerObject> make_file_container(const std::string& path, bool create, bool is_temporal);

}  // namespace zelmor::embed
