// The way from the managed side into Python: the callback tables of each assembly and typed helpers over them.
//
// Each extension module hands its own tables over; an entry point works with those of the assembly that it belongs to
// (AssemblyScope). No helper here touches a Python object but through a callback.
#ifndef ZELMOR_RUNTIME_NATIVE_CORE_CALLBACKS_H
#define ZELMOR_RUNTIME_NATIVE_CORE_CALLBACKS_H

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "exchange/wire/callback_tables.h"
#include "runtime/native/catalogue/assembly.h"
#include "runtime/native/core/object.h"

namespace zelmor::embed {

// The callback tables that the module of one assembly handed over.
struct Callbacks {
    ExceptionCallback exception = nullptr;
    CatchAndClearErrorCallback catch_and_clear_error = nullptr;
    U16BufferBuilder u16_buffer = nullptr;
    PyStringBuilder py_string = nullptr;
    PyStringBuilder py_unraisable_string = nullptr;
    PyBytesBuilder py_bytes = nullptr;
    const PyObjApiCallbacks* objects = nullptr;
    const PyStaticCallbacks* tables = nullptr;
    void*** generic = nullptr;  // kGenericCallbackCount pointers to one-slot tables
};
Callbacks& callbacks_of(Assembly assembly);

// The callbacks of the entry point that this thread is in. Falls back on any assembly that has handed its tables over.
const Callbacks& callbacks();
// The tables of the running entry point; InvalidOperationException where they were never handed over.
const PyStaticCallbacks& tables();
const PyObjApiCallbacks& object_api();

struct ThreadState;

// Makes an assembly's callbacks the current ones of this thread for the length of a scope. Scopes nest, since a
// callback may run Python code that calls another entry point. The end of a scope releases the Python objects that were
// held by managed objects deleted within it.
class AssemblyScope {
 public:
    explicit AssemblyScope(Assembly assembly) noexcept;
    ~AssemblyScope();
    AssemblyScope(const AssemblyScope&) = delete;
    AssemblyScope& operator=(const AssemblyScope&) = delete;

 private:
    ThreadState* m_state;
    Callbacks* m_saved;
};

// A strong reference to a Python object, held through the callbacks. Releasing it may run Python code. A reference held
// by a managed object that is deleted is therefore released at the end of the entry point only: the code that deleted
// the object may be in the middle of a change.
class PyHeld {
 public:
    PyHeld() noexcept = default;
    static PyHeld borrow(PyObject* object);  // adds a reference
    static PyHeld steal(PyObject* object);   // takes over the caller's reference
    PyHeld(const PyHeld& other);
    PyHeld(PyHeld&& other) noexcept : m_object(std::exchange(other.m_object, nullptr)) {}
    PyHeld& operator=(PyHeld other) noexcept {
        std::swap(m_object, other.m_object);
        return *this;
    }
    ~PyHeld();
    PyObject* get() const noexcept { return m_object; }
    PyObject* new_reference() const;  // for a result
    PyObject* detach() noexcept { return std::exchange(m_object, nullptr); }
    explicit operator bool() const noexcept { return m_object != nullptr; }

 private:
    PyObject* m_object = nullptr;
};

// New references for results. A failed builder leaves its Python error pending and raises PythonErrorPending.
PyObject* py_none();
PyObject* py_string(std::u16string_view text);
PyObject* py_string_utf8(std::string_view text);
PyObject* py_bytes(std::span<const std::byte> data);
PyObject* py_bool(bool value);
PyObject* py_int(int64_t value);
PyObject* py_uint(uint64_t value);
PyObject* py_float(double value);
// A wrapper of the run-time type around a new handle; None for null. Arrays and lists become collection wrappers.
PyObject* py_object(Ref<ManagedObject> object);

// Takes the pending Python error up as text; nothing where none is pending, or where it has no text.
std::optional<std::string> take_python_error();
// A callback into Python failed: takes the pending error up and raises a managed exception with its text.
[[noreturn]] void throw_python_error(std::string_view doing_what, const char* name = "PythonException");
// After a callback whose result does not tell whether it failed: raises PythonException where an error is pending.
void throw_if_python_failed(std::string_view doing_what);

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_CORE_CALLBACKS_H
