// Callbacks that make values; see host_side.h.
#include "runtime/native/c_api/host_side.h"

#include <cassert>
#include <cstring>
#include <utility>

#include "exchange/wire/tags.h"
#include "runtime/native/core/handles.h"
#include "runtime/native/core/text.h"

namespace zelmor::embed {

namespace {

// Shared by all threads: set once, before there are calls.
zelmor_pictures_host the_host = {};

PyObject* get_none() {
    return new_value_object({});
}

void inc_ref(PyObject* object) {
    if (object != nullptr) {
        ++object->count;
    }
}

constexpr PyObjApiCallbacks kObjectCallbacks = {get_none, inc_ref, drop_value_object};

std::u16string text_in(PyObject* object) {
    const auto* text = object != nullptr ? std::get_if<std::u16string>(&object->value) : nullptr;
    return text != nullptr ? *text : std::u16string();
}

void keep_error(PyObject* name, PyObject* detail) {
    host_error() = {true, text_in(name), text_in(detail)};
    drop_value_object(name);
    drop_value_object(detail);
}

int no_pending_error(void**, PyStringArg*) {
    return -1;
}

void* u16_buffer(const char16_t*, int) {
    return nullptr;
}

PyObject* make_text(const char16_t* chars, int length) {
    return new_value_object(std::u16string(chars, static_cast<size_t>(length)));
}

PyObject* make_bytes(const char* data, int length) {
    PyObject* made = new_value_object({});
    made->bytes = the_host.new_bytes(length, &made->data);
    if (made->bytes < 0) {
        drop_value_object(made);
        host_error() = {true, u"OutOfMemoryException", u"There is not enough memory for the operation."};
        return nullptr;
    }
    made->length = length;
    if (data != nullptr && length > 0) {
        std::memcpy(made->data, data, static_cast<size_t>(length));
    }
    return made;
}

// ---- From a value of the host to one of the runtime

int read_text(PyObject* object, PyStringArg* out) {
    const auto& text = std::get<std::u16string>(object->value);
    *out = {static_cast<int32_t>(text.size()), sizeof(char16_t), text.data()};
    return 1;
}
bool read_bool(PyObject* object) {
    return std::get<bool>(object->value);
}
int read_integer(PyObject* object, void* out) {
    if (const auto* number = std::get_if<uint64_t>(&object->value); number != nullptr) {
        std::memcpy(out, number, sizeof *number);
        return kIntegerUnsigned64;
    }
    const int64_t number = std::get<int64_t>(object->value);
    std::memcpy(out, &number, sizeof number);
    return number >= INT32_MIN && number <= INT32_MAX ? kInteger32 : kInteger64;
}
int read_real(PyObject* object, double* out) {
    *out = std::get<double>(object->value);
    return 1;
}
int read_decimal(PyObject* object, unsigned int* out) {
    std::memcpy(out, &std::get<DecimalValue>(object->value), sizeof(DecimalValue));
    return 1;
}
// The first of the two records that a reader of dates fills is a DateTime, the second a DateTimeOffset.
int read_date(PyObject* object, long* out) {
    if (const auto* time = std::get_if<DateTimeOffsetValue>(&object->value); time != nullptr) {
        out[0] = time->ticks;
        out[1] = time->offset;
        return 2;
    }
    const auto& moment = std::get<DateTimeValue>(object->value);
    out[0] = static_cast<long>(moment.word);
    out[1] = moment.offset;
    return 1;
}
int read_time_span(PyObject* object, long* out) {
    *out = std::get<TimeSpanValue>(object->value).ticks;
    return 1;
}
int read_guid(PyObject* object, unsigned char* out) {
    std::memcpy(out, &std::get<GuidValue>(object->value), sizeof(GuidValue));
    return 1;
}

constexpr PyReadCallbacks kReadCallbacks = {read_text,    read_bool,      read_integer, read_real,
                                            read_decimal, read_decimal,   read_date,    read_date,
                                            read_date,    read_time_span, read_guid};

// ---- From a value of the runtime to one of the host

PyObject* make_object(void* handle, long) {
    Ref<ManagedObject> object(object_of(handle));
    free_handle(handle);
    return new_value_object(std::move(object));
}
PyObject* make_list_object(void* handle) {
    return make_object(handle, 0);
}
PyObject* make_bool(int value) {
    return new_value_object(value != 0);
}
PyObject* make_int32(int value) {
    return new_value_object(int64_t{value});
}
PyObject* make_uint32(unsigned int value) {
    return new_value_object(int64_t{value});
}
PyObject* make_int64(long value) {
    return new_value_object(int64_t{value});
}
PyObject* make_uint64(unsigned long value) {
    return new_value_object(uint64_t{value});
}
PyObject* make_real(double value) {
    return new_value_object(value);
}
PyObject* make_decimal(unsigned int* words) {
    DecimalValue value;
    std::memcpy(value.words.data(), words, sizeof value.words);
    return new_value_object(value);
}
PyObject* make_date_time(const long* words) {
    return new_value_object(DateTimeValue{static_cast<uint64_t>(words[0]), words[1]});
}
PyObject* make_date_offset(const long* words) {
    return new_value_object(DateTimeOffsetValue{words[0], words[1]});
}
PyObject* make_time_span(long ticks) {
    return new_value_object(TimeSpanValue{ticks});
}
PyObject* make_guid(const void* bytes) {
    GuidValue value;
    std::memcpy(value.bytes.data(), bytes, sizeof value.bytes);
    return new_value_object(value);
}
PyObject* make_character(int unit) {
    return new_value_object(std::u16string(1, static_cast<char16_t>(unit)));
}

constexpr PyWriteCallbacks kWriteCallbacks = {make_object,    make_bool, make_int32,   make_uint32,    make_int64,
                                              make_uint64,    make_real, make_decimal, make_date_time, make_date_offset,
                                              make_time_span, nullptr,   make_guid,    make_character};

// ---- The memory of bytes

size_t size_of_view() {
    return sizeof(void*);
}
void begin_view(void*) {}
int read_view(PyObject* object, void*, PyBytesArg* out) {
    if (object->bytes >= 0) {
        *out = {1, object->length, object->data};
        return 1;
    }
    auto& bytes = std::get<Bytes>(object->value);
    *out = {1, static_cast<int32_t>(bytes.size()), bytes.data()};
    return 1;
}
void end_view(void*) {}
constexpr PyBufferCallbacks kBufferCallbacks = {size_of_view, begin_view, read_view, end_view};

int try_make_object(void* handle, long, PyObject** out) {
    *out = make_object(handle, 0);
    return 1;
}
constexpr PyTpoApiCallbacks kTypeCallbacks = {try_make_object};

// The host hands its lists over as lists of the runtime, its streams as streams: nothing asks these.
constexpr PyIterCallbacks kIterCallbacks = {};
constexpr PyUcolCallbacks kCollectionCallbacks = {};
constexpr PyOlistCallbacks kListCallbacks = {nullptr,          nullptr,          nullptr,         nullptr,
                                             nullptr,          nullptr,          nullptr,         nullptr,
                                             make_list_object, make_list_object, make_list_object};
constexpr PyOseqCallbacks kSequenceCallbacks = {};
constexpr PyRawIoCallbacks kFileCallbacks = {};

constexpr PyStaticCallbacks kStaticCallbacks = {&kReadCallbacks, &kWriteCallbacks,    &kBufferCallbacks,
                                                &kTypeCallbacks, &kIterCallbacks,     &kCollectionCallbacks,
                                                &kListCallbacks, &kSequenceCallbacks, &kFileCallbacks};

// Typed access to the elements of Python lists, which nothing asks either.
void* no_function = nullptr;

}  // namespace

PyObject* new_value_object(Value value) {
    auto* made = new _object;
    made->value = std::move(value);
    return made;
}

void drop_value_object(PyObject* object) noexcept {
    if (object == nullptr || --object->count > 0) {
        return;
    }
    if (object->bytes >= 0) {
        the_host.free_bytes(object->bytes);
    }
    delete object;
}

HostError& host_error() {
    thread_local HostError error;  // each thread has its own
    return error;
}

const zelmor_pictures_host& host_functions() {
    return the_host;
}

void start_host_side(const zelmor_pictures_host& host) {
    if (the_host.read != nullptr) {
        return;
    }
    the_host = host;
    // Shared by all threads: filled here, once, and only read afterwards.
    static void** generic[kGenericCallbackCount];
    for (void**& table : generic) {
        table = &no_function;
    }
    for (int i = 0; i < kAssemblyCount; ++i) {
        callbacks_of(static_cast<Assembly>(i)) = {keep_error,        no_pending_error,  u16_buffer,
                                                  make_text,         make_text,         make_bytes,
                                                  &kObjectCallbacks, &kStaticCallbacks, generic};
    }
}

}  // namespace zelmor::embed
