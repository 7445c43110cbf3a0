// The made-up Python.
#include "fake_python.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "runtime/native/core/text.h"
#include "runtime/native/core/type_system.h"

namespace zelmor::embed::test {

namespace {

int64_t objects = 0;
std::optional<std::string> next_failure;
std::optional<std::string> pending_error;

// True where the test asked for a failure; the error is pending then.
bool fails() {
    if (!next_failure) {
        return false;
    }
    pending_error = std::move(next_failure);
    next_failure.reset();
    return true;
}

PyObject* made(decltype(_object::value) value) {
    ++objects;
    return new _object{1, std::move(value), nullptr, 0};
}

template <class T>
const T& held(PyObject* object) {
    return std::get<T>(object->value);
}

void drop(PyObject* object) {
    if (object == nullptr || --object->count > 0) {
        return;
    }
    if (auto* items = std::get_if<std::vector<PyObject*>>(&object->value); items != nullptr) {
        for (PyObject* item : *items) {
            drop(item);
        }
    }
    if (object->handle != nullptr) {
        free_handle(object->handle);
    }
    --objects;
    delete object;
}

void keep(PyObject* object) {
    if (object != nullptr) {
        ++object->count;
    }
}

PyObject* none() {
    return made(std::monostate());
}

void on_exception(PyObject* name, PyObject* detail) {
    const auto text = [](PyObject* object) { return object != nullptr ? to_utf8(text_of_object(object)) : "<null>"; };
    Raised report{text(name), text(detail)};
    if (raised()) {
        ADD_FAILURE() << "a second exception was reported: " << report.name << ": " << report.detail;
    }
    raised() = std::move(report);
}

int catch_and_clear(void** owner, PyStringArg* text) {
    if (!pending_error) {
        return -1;
    }
    PyObject* message = new_text(to_utf16(*pending_error));
    pending_error.reset();
    const auto& chars = held<std::u16string>(message);
    *owner = message;
    *text = {static_cast<int32_t>(chars.size()), 2, chars.data()};
    return 0;
}

void* u16_buffer(const char16_t* chars, int length) {
    return new std::u16string(chars, static_cast<size_t>(length));
}

PyObject* py_string(const char16_t* chars, int length) {
    if (fails()) {
        return nullptr;
    }
    return new_text(std::u16string(chars, static_cast<size_t>(length)));
}

PyObject* py_bytes(const char* data, int length) {
    const auto* bytes = reinterpret_cast<const std::byte*>(data);
    const auto size = static_cast<size_t>(length);
    return made(data != nullptr ? std::vector<std::byte>(bytes, bytes + length) : std::vector<std::byte>(size));
}

constexpr PyObjApiCallbacks kObjects = {none, keep, drop};

int read_string(PyObject* object, PyStringArg* out) {
    if (fails()) {
        return 0;
    }
    const auto& text = held<std::u16string>(object);
    *out = {static_cast<int32_t>(text.size()), 2, text.data()};
    return 1;
}
bool read_bool(PyObject* object) {
    return held<bool>(object);
}
int read_long(PyObject* object, void* out) {
    if (fails()) {
        return 0;
    }
    const int64_t value = held<int64_t>(object);
    std::memcpy(out, &value, sizeof value);
    return value >= INT32_MIN && value <= INT32_MAX ? 1 : 2;
}
int read_double(PyObject* object, double* out) {
    *out = held<double>(object);
    return 1;
}

constexpr PyReadCallbacks kRead = {read_string, read_bool, read_long, read_double, nullptr, nullptr,
                                   nullptr,     nullptr,   nullptr,   nullptr,     nullptr};

PyObject* write_tpo(void* handle, long type_id) {
    PyObject* wrapper = made(std::monostate());
    wrapper->handle = handle;
    wrapper->type_id = type_id;
    return wrapper;
}
PyObject* write_bool(int value) {
    return made(value != 0);
}
PyObject* write_int32(int value) {
    return made(int64_t{value});
}
PyObject* write_uint32(unsigned value) {
    return made(int64_t{value});
}
PyObject* write_int64(long value) {
    return made(int64_t{value});
}
PyObject* write_uint64(unsigned long value) {
    return made(static_cast<int64_t>(value));
}
PyObject* write_double(double value) {
    return made(value);
}

constexpr PyWriteCallbacks kWrite = {write_tpo,    write_bool,   write_int32, write_uint32, write_int64,
                                     write_uint64, write_double, nullptr,     nullptr,      nullptr,
                                     nullptr,      nullptr,      nullptr,     nullptr};

size_t buffer_size() {
    return 16;
}
void create_buffer(void* view) {
    std::memset(view, 0, 16);
}
int read_view(PyObject* object, void*, PyBytesArg* out) {
    auto& bytes = std::get<std::vector<std::byte>>(object->value);
    *out = {1, static_cast<int32_t>(bytes.size()), bytes.data()};
    return 1;
}
void release_buffer(void*) {}
constexpr PyBufferCallbacks kBuffer = {buffer_size, create_buffer, read_view, release_buffer};

// Types of the catalogue have a wrapper, others do not.
int try_write_tpo(void* handle, long type_id, PyObject** out) {
    if (type_id > static_cast<long>(types().size())) {
        free_handle(handle);
        return 0;
    }
    *out = write_tpo(handle, type_id);
    return 1;
}
constexpr PyTpoApiCallbacks kTpo = {try_write_tpo};

int variant_of(PyObject* object, VariantArg* out) {
    if (fails()) {
        return -1;
    }
    if (object->handle != nullptr) {
        *out = {1, object->handle};
        return 0;
    }
    const int tags[] = {0, 5, 6, 7, 3, 4, 15};
    *out = {tags[object->value.index()], object};
    return 0;
}
int list_item(PyObject* list, int index, VariantArg* out) {
    return variant_of(held<std::vector<PyObject*>>(list)[static_cast<size_t>(index)], out);
}
int sequence_item(PyObject* list, int index, VariantArg* out) {
    PyObject* item = held<std::vector<PyObject*>>(list)[static_cast<size_t>(index)];
    keep(item);
    if (variant_of(item, out) == 0) {
        return 0;
    }
    drop(item);
    return -1;
}
long list_length(PyObject* list) {
    return fails() ? -1 : static_cast<long>(held<std::vector<PyObject*>>(list).size());
}
std::vector<PyObject*>& items_of(PyObject* list) {
    return std::get<std::vector<PyObject*>>(list->value);
}
bool in_range(PyObject* list, int index) {
    if (index >= 0 && static_cast<size_t>(index) < items_of(list).size()) {
        return true;
    }
    pending_error = "IndexError: list index out of range";
    return false;
}
bool same(PyObject* a, PyObject* b) {
    return a == b || a->value == b->value;
}
int object_length(PyObject* list) {
    return static_cast<int>(list_length(list));
}
int remove_at(PyObject* list, int index) {
    if (!in_range(list, index)) {
        return -2;
    }
    drop(items_of(list)[static_cast<size_t>(index)]);
    items_of(list).erase(items_of(list).begin() + index);
    return 0;
}
int clear_list(PyObject* list) {
    if (fails()) {
        return -1;
    }
    for (PyObject* item : items_of(list)) {
        drop(item);
    }
    items_of(list).clear();
    return 0;
}
// An iterator: a list that its elements are taken from, last one first.
PyObject* get_enumerator(PyObject* object) {
    if (fails()) {
        return nullptr;
    }
    std::vector<PyObject*> turned(items_of(object).rbegin(), items_of(object).rend());
    for (PyObject* item : turned) {
        keep(item);
    }
    return new_list(std::move(turned));
}
int iter_next(PyObject* iterator, PyObject** owner, VariantArg* out) {
    if (fails()) {
        return 2;
    }
    if (items_of(iterator).empty()) {
        return 1;
    }
    PyObject* element = items_of(iterator).back();
    items_of(iterator).pop_back();
    if (variant_of(element, out) != 0) {
        drop(element);
        return 2;
    }
    *owner = element;
    return 0;
}
constexpr PyUcolCallbacks kUcol = {nullptr,        list_length,   remove_at, clear_list, nullptr, list_length,
                                   get_enumerator, object_length, nullptr,   nullptr,    nullptr};

// A store that fails takes two references.
int list_set(PyObject* list, int index, PyObject* value) {
    if (fails() || !in_range(list, index)) {
        drop(value);
        drop(value);
        return -2;
    }
    std::swap(items_of(list)[static_cast<size_t>(index)], value);
    drop(value);
    return 0;
}
long list_add(PyObject* list, PyObject* value) {
    if (fails()) {
        drop(value);
        return -1;
    }
    items_of(list).push_back(value);
    return static_cast<long>(items_of(list).size());
}
int list_insert(PyObject* list, int index, PyObject* value) {
    items_of(list).insert(items_of(list).begin() + index, value);
    return 0;
}
int index_of(PyObject* list, PyObject* value) {
    const auto found =
        std::find_if(items_of(list).begin(), items_of(list).end(), [&](PyObject* item) { return same(item, value); });
    const bool missing = found == items_of(list).end();
    const int index = missing ? -1 : static_cast<int>(found - items_of(list).begin());
    drop(value);
    return index;
}
int list_index_of(PyObject* list, PyObject* value) {
    if (!fails()) {
        return index_of(list, value);
    }
    drop(value);
    return -2;
}
int list_contains(PyObject* list, PyObject* value) {
    if (!fails()) {
        return static_cast<int>(index_of(list, value) >= 0);
    }
    drop(value);
    return -1;
}
int list_remove(PyObject* list, PyObject* value) {
    const int index = index_of(list, value);
    if (index >= 0) {
        return remove_at(list, index);
    }
    pending_error = "ValueError: list.remove(x): x not in list";
    return -1;
}
// A comparison that raises counts as found.
int sequence_contains(PyObject* list, PyObject* value) {
    const bool raised = fails();
    return static_cast<int>(index_of(list, value) >= 0 || raised);
}
int sequence_index_of(PyObject* list, PyObject* value) {
    const bool raised = fails();
    const int index = index_of(list, value);
    return raised ? 0 : index;
}

PyObject* write_list(void* handle) {
    return write_tpo(handle, 0);
}
constexpr PyOlistCallbacks kOlist = {list_item,     list_set, list_add,   list_insert, list_remove, list_contains,
                                     list_index_of, nullptr,  write_list, write_list,  write_list};
constexpr PyOseqCallbacks kOseq = {sequence_item, sequence_contains, sequence_index_of};
constexpr PyIterCallbacks kIter = {iter_next};

// A Python file: a list whose first item is its content and whose second is its position.
std::vector<std::byte>& content(PyObject* file) {
    return std::get<std::vector<std::byte>>(held<std::vector<PyObject*>>(file)[0]->value);
}
int64_t& position(PyObject* file) {
    return std::get<int64_t>(held<std::vector<PyObject*>>(file)[1]->value);
}
int io_write(PyObject* file, const void* data, int count) {
    if (fails()) {
        return -1;
    }
    const auto* from = static_cast<const std::byte*>(data);
    content(file).insert(content(file).end(), from, from + count);
    return count;
}
int io_read(PyObject* file, void* data, int count) {
    if (fails()) {
        return -1;
    }
    const auto left = static_cast<int64_t>(content(file).size()) - position(file);
    const auto taken = std::min<int64_t>(left, count);
    std::memcpy(data, content(file).data() + position(file), static_cast<size_t>(taken));
    position(file) += taken;
    return static_cast<int>(taken);
}
long io_seek(PyObject* file, long offset, int origin) {
    const int64_t base = origin == 0 ? 0 : origin == 1 ? position(file) : static_cast<int64_t>(content(file).size());
    return position(file) = base + offset;
}
int io_flush(PyObject*) {
    return 0;
}
void io_close(PyObject*) {}
int io_yes(PyObject*) {
    return 1;
}
long io_tell(PyObject* file) {
    return position(file);
}
long io_length(PyObject* file) {
    return static_cast<long>(content(file).size());
}
constexpr PyRawIoCallbacks kRawIo = {io_write, nullptr, io_read, nullptr, io_seek, io_flush,
                                     io_close, io_yes,  io_yes,  io_yes,  io_tell, io_length};

constexpr PyStaticCallbacks kTables = {&kRead, &kWrite, &kBuffer, &kTpo, &kIter, &kUcol, &kOlist, &kOseq, &kRawIo};

// Typed elements of lists and sequences: 32-bit numbers; the other elements have no callback here.
int int32_of(PyObject* object, int32_t* out) {
    if (fails()) {
        return -1;
    }
    const auto* number = std::get_if<int64_t>(&object->value);
    if (number == nullptr) {
        pending_error = "TypeError: an integer is required";
        return -1;
    }
    *out = static_cast<int32_t>(*number);
    return 0;
}
int list_int32(PyObject* list, int index, int32_t* out) {
    return in_range(list, index) ? int32_of(items_of(list)[static_cast<size_t>(index)], out) : -2;
}
int sequence_int32(PyObject* list, int index, PyObject** owner, int32_t* out) {
    if (list_int32(list, index, out) != 0) {
        return -1;
    }
    *owner = items_of(list)[static_cast<size_t>(index)];
    keep(*owner);
    return 0;
}
void* list_int32_table[] = {reinterpret_cast<void*>(list_int32)};
void* sequence_int32_table[] = {reinterpret_cast<void*>(sequence_int32)};

void*** generic_tables() {
    static void** tables[kGenericCallbackCount];
    for (size_t i = 0; i < kGenericElementCount; ++i) {
        if (std::strcmp(kGenericElements[i], "A4A29720") != 0) {
            continue;
        }
        tables[i] = list_int32_table;
        tables[i + kGenericElementCount] = sequence_int32_table;
    }
    return tables;
}

}  // namespace

std::optional<Raised>& raised() {
    static std::optional<Raised> last;
    return last;
}

Raised take_raised() {
    if (!raised()) {
        ADD_FAILURE() << "no exception was reported";
        return {};
    }
    Raised taken = *raised();
    raised().reset();
    return taken;
}

PyObject* new_object() {
    return made(std::monostate());
}
PyObject* new_list(std::vector<PyObject*> items) {
    return made(std::move(items));
}
PyObject* new_int(int64_t value) {
    return made(value);
}
PyObject* new_text(std::u16string text) {
    return made(std::move(text));
}
void release(PyObject* object) {
    drop(object);
}

std::u16string text_of_object(PyObject* object) {
    if (object == nullptr) {
        ADD_FAILURE() << "there is no object";
        return {};
    }
    std::u16string text = held<std::u16string>(object);
    drop(object);
    return text;
}

int64_t live_objects() {
    return objects;
}

void fail_next_callback(std::string text) {
    next_failure = std::move(text);
}

void RuntimeTest::SetUp() {
    callbacks_of(Assembly::kImaging) = {on_exception, catch_and_clear, u16_buffer, py_string,       py_string,
                                        py_bytes,     &kObjects,       &kTables,   generic_tables()};
    m_handles = live_handles();
    m_objects = live_objects();
}

void RuntimeTest::TearDown() {
    EXPECT_FALSE(raised().has_value()) << raised()->name << ": " << raised()->detail;
    raised().reset();
    EXPECT_FALSE(next_failure.has_value()) << "no callback was asked to fail";
    next_failure.reset();
    EXPECT_FALSE(pending_error.has_value()) << "a Python error was left pending";
    pending_error.reset();
    EXPECT_EQ(m_handles, live_handles());
    EXPECT_EQ(m_objects, live_objects());
}

void* entry_address(const char* full_name, const char* method) {
    const TypeInfo& type = require_type(full_name);
    const Delegate made = resolve_delegate(type.assembly, type.host_class, method);
    if (made.status != kOk) {
        ADD_FAILURE() << full_name << " has no entry point " << method;
        std::abort();
    }
    return made.address;
}

}  // namespace zelmor::embed::test
