// The object behind a StreamContainer; its members are in container_members.cpp.
#include "runtime/native/behaviors/streams/stream_container.h"

#include <unistd.h>

#include "runtime/native/core/handles.h"
#include "runtime/native/core/references.h"

namespace zelmor::embed {

bool same_stream(const ManagedStream& a, const ManagedStream& b) {
    return &a == &b || (a.python_file() != nullptr && a.python_file() == b.python_file());
}

void StreamContainerObject::attach(Ref<ManagedStream> stream, bool dispose_stream) {
    m_stream = std::move(stream);
    m_dispose_stream = dispose_stream;
}

Ref<ManagedStream> StreamContainerObject::stream() const {
    require_live();
    if (!m_stream) {
        throw_invalid_operation("The container has no stream.");
    }
    return m_stream;
}

void StreamContainerObject::on_dispose() {
    const Ref<ManagedStream> stream = std::move(m_stream);
    m_stream = nullptr;
    // A joined stream disposes of those of its streams that it owns.
    if (stream && (m_dispose_stream || m_joined)) {
        stream->dispose();
    }
    m_joined = nullptr;
    remove_temporary();
}

void StreamContainerObject::insert(int64_t position, Ref<ManagedStream> stream, bool dispose_stream) {
    const Ref<ManagedStream> own = this->stream();
    if (same_stream(*own, *stream)) {
        throw_argument("A stream cannot be put into itself.");
    }
    const Ref<JoinedStream> joined = m_joined ? m_joined : make_ref<JoinedStream>(own, m_dispose_stream);
    joined->insert(position, std::move(stream), dispose_stream);
    // Asking a Python file for its length runs its code, which may have done anything.
    require_live();
    if (m_stream != own) {
        throw_changed();
    }
    m_joined = joined;
    m_stream = joined;
}

void StreamContainerObject::references(ReferenceVisitor& visitor) {
    Record::references(visitor);
    visitor(m_stream);
    visitor(m_joined);
}

// A temporary file is removed with the last reference too, if the container was not disposed of.
StreamContainerObject::~StreamContainerObject() {
    remove_temporary();
}

void StreamContainerObject::remove_temporary() {
    if (is_temporary) {
        ::unlink(file_path.c_str());
    }
    is_temporary = false;
}

Ref<StreamContainerObject> make_stream_container(const char* type_name, Ref<ManagedStream> stream,
                                                 bool dispose_stream) {
    const Ref<ManagedObject> made = make_instance(type_name);
    auto& container = cast_object<StreamContainerObject>(*made);
    container.attach(std::move(stream), dispose_stream);
    return Ref<StreamContainerObject>(&container);
}

}  // namespace zelmor::embed
