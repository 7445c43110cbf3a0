// A host of the C interface for its tests: memory for bytes, streams in memory that can be told to fail, and calls by
// the names of the catalogue.
#ifndef ZELMOR_TESTS_UNIT_C_API_HOST_H
#define ZELMOR_TESTS_UNIT_C_API_HOST_H

#include <gtest/gtest.h>

#include <bit>
#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include "runtime/native/c_api/pictures.h"

namespace zelmor::embed::test {

using Given = zelmor_pictures_value;
using Blob = std::vector<uint8_t>;

inline Given null() {
    return {};
}
inline Given boolean(bool value) {
    return {ZELMOR_PICTURES_BOOL, 0, value ? 1 : 0, nullptr, 0};
}
inline Given integer(int64_t value) {
    return {ZELMOR_PICTURES_INTEGER, 0, value, nullptr, 0};
}
inline Given unsigned_integer(uint64_t value) {
    return {ZELMOR_PICTURES_UNSIGNED, 0, static_cast<int64_t>(value), nullptr, 0};
}
inline Given real(double value) {
    return {ZELMOR_PICTURES_REAL, 0, std::bit_cast<int64_t>(value), nullptr, 0};
}
// The text and the bytes have to outlive the value.
inline Given text(std::u16string_view value) {
    return {ZELMOR_PICTURES_TEXT, 0, 0, value.data(), static_cast<int64_t>(value.size())};
}
inline Given bytes(const Blob& value) {
    return {ZELMOR_PICTURES_BYTES, 0, 0, value.data(), static_cast<int64_t>(value.size())};
}
inline Given object(int64_t handle) {
    return {ZELMOR_PICTURES_OBJECT, 0, handle, nullptr, 0};
}
inline Given stream(int64_t number) {
    return {ZELMOR_PICTURES_STREAM, 0, number, nullptr, 0};
}
template <class T>
Given fields(int32_t which, const T& value) {
    return {ZELMOR_PICTURES_STRUCT, which, 0, &value, 0};
}
// A list of numbers; the families are 0 for signed, 1 for unsigned, 2 for floating numbers.
template <class T>
Given numbers(const std::vector<T>& values, int32_t shape = ZELMOR_PICTURES_ARRAY) {
    constexpr int32_t kFamily = std::is_floating_point_v<T> ? 2 : std::is_unsigned_v<T> ? 1 : 0;
    const int32_t detail = shape | static_cast<int32_t>(sizeof(T)) << 8 | kFamily << 16;
    return {ZELMOR_PICTURES_NUMBERS, detail, 0, values.data(), static_cast<int64_t>(values.size())};
}
inline Given items(const std::vector<Given>& values, int32_t shape = ZELMOR_PICTURES_ARRAY) {
    return {ZELMOR_PICTURES_ITEMS, shape, 0, values.data(), static_cast<int64_t>(values.size())};
}

// The fields of a structure that are all of one type.
template <class T>
std::vector<T> fields_of(const Given& value, size_t count) {
    const auto* data = static_cast<const T*>(value.data);
    return {data, data + count};
}

std::u16string text_of(const Given& value);
double real_of(const Given& value);

// A handle of the interface, released at the end.
class Held {
 public:
    explicit Held(const Given& value) : m_handle(value.word) { EXPECT_EQ(value.kind, ZELMOR_PICTURES_OBJECT); }
    ~Held() {
        if (m_handle != 0) {
            zelmor_pictures_release(m_handle);
        }
    }
    Held(Held&& other) noexcept : m_handle(std::exchange(other.m_handle, 0)) {}
    Held(const Held&) = delete;
    Held& operator=(const Held&) = delete;
    int64_t get() const { return m_handle; }

 private:
    int64_t m_handle;
};

// The streams and the memory of the host. Numbers of streams and bytes are never used twice.
struct HostState {
    struct Stream {
        Blob data = {};
        int64_t position = 0;
        bool can_read = true, can_write = true, can_seek = true;
        int flushes = 0;
        std::string failing = {};               // the function that fails
        int32_t answers_too_much = 0;           // what read() claims beyond its room
        std::function<void()> on_read = [] {};  // what happens meanwhile
    };
    std::map<int64_t, Stream> streams = {};
    std::map<int64_t, Blob> bytes = {};
    std::vector<int64_t> closed_streams = {}, freed_streams = {}, freed_bytes = {};
    int64_t next = 1;
    bool has_memory = true;
};
HostState& host();
int64_t add_stream(Blob data = {});

// A thread's error.
struct Failure {
    std::u16string name, text;
    bool operator==(const Failure&) const = default;
};
std::ostream& operator<<(std::ostream& out, const Failure& failure);
Failure last_failure();

const zelmor_pictures_entry* entry_of(const char* type, const char* name);

class CApiTest : public testing::Test {
 protected:
    CApiTest();
    ~CApiTest() override;

    // The status of the call; the result and changed arguments are where they were given.
    static int32_t try_call(const char* type, const char* name, int64_t self, std::vector<Given>& arguments,
                            Given& result);
    // The result of a call that works.
    static Given call(const char* type, const char* name, int64_t self, std::vector<Given> arguments = {});
    // The error of one that does not.
    static Failure refusal(const char* type, const char* name, int64_t self, std::vector<Given> arguments = {});
    static Held make(const char* type);
    static Given stored(const Held& object, const char* property);
};

}  // namespace zelmor::embed::test

#endif  // ZELMOR_TESTS_UNIT_C_API_HOST_H
