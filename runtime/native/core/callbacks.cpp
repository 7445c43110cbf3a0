// The callbacks of each assembly, which of them are current, and the helpers that build Python objects.
#include "runtime/native/core/callbacks.h"

#include <array>
#include <cassert>
#include <climits>
#include <new>

#include "runtime/native/core/collector.h"
#include "runtime/native/core/managed_exception.h"
#include "runtime/native/core/text.h"
#include "runtime/native/core/thread_state.h"

namespace zelmor::embed {

constinit thread_local ThreadState thread_state;  // each thread has its own

namespace {

constexpr std::array<const char*, kAssemblyCount> kAssemblyNames = {
    "WrpInterop.Zelmor.PyGc", "WrpInterop.Zelmor.PyCore",    "WrpInterop.Zelmor.PyReflection",
    "WrpInterop.Zelmor.PyIo", "WrpInterop.Zelmor.PyDrawing", "WrpInterop.Zelmor.Imaging",
};

// One for the process: each module hands its tables over once, while it is imported, before any call that uses them.
std::array<Callbacks, kAssemblyCount> all_callbacks;

PyObject* checked(PyObject* object) {
    if (object == nullptr) {
        throw PythonErrorPending();
    }
    return object;
}

int checked_length(size_t length, const char* what) {
    if (length > INT_MAX) {
        throw ManagedException("OverflowException", std::string(what) + " of " + std::to_string(length) +
                                                        " elements is longer than a result can be.");
    }
    return static_cast<int>(length);
}

// The slot of a callback; a table that was never handed over is a defect of the caller, not a crash.
template <class Function>
Function handed_over(Function function, const char* name) {
    if (!function) {
        throw_invalid_operation(std::string("The callback '") + name + "' was not handed over.");
    }
    return function;
}

}  // namespace

const char* assembly_name(Assembly assembly) {
    return kAssemblyNames[static_cast<size_t>(assembly)];
}

std::optional<Assembly> find_assembly(std::string_view assembly_name) {
    for (size_t i = 0; i < kAssemblyNames.size(); ++i) {
        if (assembly_name == kAssemblyNames[i]) {
            return static_cast<Assembly>(i);
        }
    }
    return std::nullopt;
}

Callbacks& callbacks_of(Assembly assembly) {
    return all_callbacks[static_cast<size_t>(assembly)];
}

const Callbacks& callbacks() {
    const Callbacks* current = thread_state.callbacks;
    if (current != nullptr && current->exception != nullptr) {
        return *current;
    }
    for (const Callbacks& candidate : all_callbacks) {
        if (candidate.exception != nullptr) {
            return candidate;
        }
    }
    return all_callbacks[static_cast<size_t>(Assembly::kImaging)];
}

const PyStaticCallbacks& tables() {
    return *handed_over(callbacks().tables, "static tables");
}

const PyObjApiCallbacks& object_api() {
    return *handed_over(callbacks().objects, "object table");
}

AssemblyScope::AssemblyScope(Assembly assembly) noexcept
    : m_state(&thread_state),
      m_saved(std::exchange(m_state->callbacks, &all_callbacks[static_cast<size_t>(assembly)])) {}

AssemblyScope::~AssemblyScope() {
    // Only where no function further up on this thread is in the middle of its work.
    if (Collector::is_due() && m_saved == nullptr) [[unlikely]] {
        Collector::run();
    }
    if (m_state->first_reference != nullptr) [[unlikely]] {
        release_waiting_references(*m_state);
    }
    m_state->callbacks = m_saved;
}

// A reference that was held by a managed object, on its way back to Python.
struct WaitingReference {
    PyObject* object;
    void (*dec_ref)(PyObject*);
    WaitingReference* next;
};

namespace {

void give_back(PyObject* object) noexcept {
    ThreadState& state = thread_state;
    const PyObjApiCallbacks* api = callbacks().objects;
    assert(api != nullptr);  // who holds a reference got it through the table
    const auto dec_ref = api->dec_ref;
    // Outside of the end of an object the holder is a local of some function, which expects Python code to run here.
    if (!state.ending) {
        return dec_ref(object);
    }
    auto* waiting = new (std::nothrow) WaitingReference{object, dec_ref, nullptr};
    if (waiting == nullptr) {
        return dec_ref(object);
    }
    (state.last_reference != nullptr ? state.last_reference->next : state.first_reference) = waiting;
    state.last_reference = waiting;
}

}  // namespace

// What is given back may end managed objects, which give more back: all that comes is taken here, one by one, however
// far down it came from.
void release_waiting_references(ThreadState& state) noexcept {
    if (state.releasing) {
        return;
    }
    state.releasing = true;
    while (WaitingReference* first = state.first_reference) {
        state.first_reference = first->next;
        if (first->next == nullptr) {
            state.last_reference = nullptr;
        }
        const WaitingReference taken = *first;
        delete first;
        taken.dec_ref(taken.object);
    }
    state.releasing = false;
}

PyHeld PyHeld::borrow(PyObject* object) {
    object_api().inc_ref(object);
    return steal(object);
}

PyHeld PyHeld::steal(PyObject* object) {
    PyHeld held;
    held.m_object = object;
    return held;
}

PyHeld::PyHeld(const PyHeld& other) : m_object(other.new_reference()) {}

PyHeld::~PyHeld() {
    if (m_object != nullptr) {
        give_back(m_object);
    }
}

PyObject* PyHeld::new_reference() const {
    if (m_object != nullptr) {
        object_api().inc_ref(m_object);
    }
    return m_object;
}

PyObject* py_none() {
    return checked(object_api().get_none());
}

PyObject* py_string(std::u16string_view text) {
    const auto build = handed_over(callbacks().py_string, "string builder");
    return checked(build(text.data() != nullptr ? text.data() : u"", checked_length(text.size(), "A string")));
}

PyObject* py_string_utf8(std::string_view text) {
    return py_string(to_utf16(text));
}

PyObject* py_bytes(std::span<const std::byte> data) {
    const auto build = handed_over(callbacks().py_bytes, "bytes builder");
    const auto* chars = reinterpret_cast<const char*>(data.data());
    return checked(build(chars != nullptr ? chars : "", checked_length(data.size(), "An array")));
}

PyObject* py_bool(bool value) {
    return checked(tables().write->boolean(value ? 1 : 0));
}

PyObject* py_int(int64_t value) {
    if (value >= INT32_MIN && value <= INT32_MAX) {
        return checked(tables().write->int32(static_cast<int>(value)));
    }
    return checked(tables().write->int64(value));
}

PyObject* py_uint(uint64_t value) {
    return checked(tables().write->uint64(value));
}

PyObject* py_float(double value) {
    return checked(tables().write->float64(value));
}

std::optional<std::string> take_python_error() {
    void* owner = nullptr;
    PyStringArg text{-1, 0, nullptr};
    const auto collect = callbacks().catch_and_clear_error;
    if (collect == nullptr || collect(&owner, &text) != 0) {
        return std::nullopt;
    }
    const PyHeld held = PyHeld::steal(static_cast<PyObject*>(owner));
    std::string read = read_string_utf8(text).value_or("");
    while (!read.empty() && read.back() == '\n') {
        read.pop_back();
    }
    return read;
}

void throw_python_error(std::string_view doing_what, const char* name) {
    const auto text = take_python_error();
    throw ManagedException(
        name, std::string(doing_what) + " failed in Python" + (text ? ": " + *text : " without a message."));
}

void throw_if_python_failed(std::string_view doing_what) {
    if (const auto text = take_python_error()) {
        throw ManagedException("PythonException", std::string(doing_what) + " failed in Python: " + *text);
    }
}

}  // namespace zelmor::embed
