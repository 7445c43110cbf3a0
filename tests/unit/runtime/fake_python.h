// A made-up Python for the unit tests: objects with a count and a value, and callback tables that work on them.
//
// Handed over to the runtime as the tables of the imaging assembly. A reported exception is kept for the test to look
// at; what is not looked at fails the test.
#ifndef ZELMOR_TESTS_UNIT_RUNTIME_FAKE_PYTHON_H
#define ZELMOR_TESTS_UNIT_RUNTIME_FAKE_PYTHON_H

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "exchange/wire/callback_tables.h"
#include "runtime/native/core/callbacks.h"
#include "runtime/native/core/handles.h"
#include "runtime/native/delegates/resolve.h"

struct _object {
    int64_t count = 1;
    std::variant<std::monostate, bool, int64_t, double, std::u16string, std::vector<std::byte>, std::vector<PyObject*>>
        value;
    void* handle = nullptr;  // of a wrapper
    int64_t type_id = 0;
};

namespace zelmor::embed::test {

struct Raised {
    std::string name;
    std::string detail;
};

// The exception that was reported and not yet taken.
std::optional<Raised>& raised();
// Takes it: the test expected it.
Raised take_raised();

PyObject* new_object();
PyObject* new_list(std::vector<PyObject*> items);
PyObject* new_int(int64_t value);
PyObject* new_text(std::u16string text);
void release(PyObject* object);
std::u16string text_of_object(PyObject* object);  // and releases it
int64_t live_objects();                           // made and not yet released

// A Python error that the next read callback fails with.
void fail_next_callback(std::string text);

// A string argument of Python's own storage kind.
class TextArgument {
 public:
    explicit TextArgument(std::string latin) : m_storage(std::move(latin)) {
        m_arg = {static_cast<int32_t>(m_storage.size()), 1, m_storage.data()};
    }
    TextArgument() : m_arg{-1, 0, nullptr} {}
    const PyStringArg* get() const { return &m_arg; }

 private:
    std::string m_storage;
    PyStringArg m_arg;
};

// Hands the tables over before each test; after it, no error is left, and no handle and no object is out.
class RuntimeTest : public ::testing::Test {
 protected:
    void SetUp() override;
    void TearDown() override;

 private:
    int64_t m_handles = 0;
    int64_t m_objects = 0;
};

// Calls an entry point of a managed type by its wire types.
template <class R, class... Args>
R call(const char* full_name, const char* method, Args... args);

// An owned handle.
class Owned {
 public:
    explicit Owned(void* handle) : m_handle(handle) {}
    ~Owned() { free_handle(m_handle); }
    Owned(const Owned&) = delete;
    Owned& operator=(const Owned&) = delete;
    void* get() const { return m_handle; }
    VariantArg object_arg() const { return {0, m_handle}; }
    VariantArg struct_arg() const { return {1, m_handle}; }

 private:
    void* m_handle;
};

void* entry_address(const char* full_name, const char* method);

template <class R, class... Args>
R call(const char* full_name, const char* method, Args... args) {
    return reinterpret_cast<R (*)(Args...)>(entry_address(full_name, method))(args...);
}

}  // namespace zelmor::embed::test

#endif  // ZELMOR_TESTS_UNIT_RUNTIME_FAKE_PYTHON_H
