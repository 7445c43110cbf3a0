// The other side of the wire for the C interface: plain values in the place of Python objects.
//
// The behaviors show their results to Python by callbacks, which make objects. Here these objects are values, which the
// interface hands to its caller, and the errors that the behaviors report are kept for the thread that called.
#ifndef ZELMOR_RUNTIME_NATIVE_C_API_HOST_SIDE_H
#define ZELMOR_RUNTIME_NATIVE_C_API_HOST_SIDE_H

#include <string>

#include "runtime/native/c_api/pictures.h"
#include "runtime/native/core/callbacks.h"
#include "runtime/native/core/managed_exception.h"
#include "runtime/native/core/stream.h"
#include "runtime/native/core/value.h"

// A value that a behavior holds or gives as Python would an object; bytes may lie in memory of the host.
struct _object {
    int64_t count = 1;
    zelmor::embed::Value value = {};
    int64_t bytes = -1;  // the host's number of its memory
    void* data = nullptr;
    int32_t length = 0;
};

namespace zelmor::embed {

// Hands the callbacks over, once.
void start_host_side(const zelmor_pictures_host& host);
const zelmor_pictures_host& host_functions();

PyObject* new_value_object(Value value);
void drop_value_object(PyObject* object) noexcept;

// The error that a behavior reported in this thread.
struct HostError {
    bool is_set = false;
    std::u16string name = {};
    std::u16string text = {};
};
HostError& host_error();

// A stream of the host; `number` is what the host calls it. The object frees it.
Ref<ManagedStream> make_host_stream(int64_t number);
// The number, or -1 for a stream of another kind.
int64_t host_stream_number(const ManagedObject& object);

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_C_API_HOST_SIDE_H
