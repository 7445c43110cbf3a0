// Bytes that are made in place; see filled_bytes.h.
#include "runtime/native/core/filled_bytes.h"

#include <cassert>
#include <climits>
#include <string>
#include <vector>

#include "runtime/native/core/large_pages.h"
#include "runtime/native/core/managed_exception.h"

namespace zelmor::embed {

PyObject* py_bytes_filled(size_t size, const std::function<void(std::span<std::byte>)>& fill) {
    if (size == 0) {
        return py_bytes({});
    }
    if (size > INT_MAX) {
        throw ManagedException("OverflowException",
                               "An array of " + std::to_string(size) + " elements is longer than a result can be.");
    }
    assert(callbacks().py_bytes != nullptr);
    PyObject* made = callbacks().py_bytes(nullptr, static_cast<int>(size));
    if (made == nullptr) {
        throw PythonErrorPending();
    }
    PyHeld bytes = PyHeld::steal(made);
    {
        const PyBufferCallbacks& buffer = *tables().buffer;
        std::vector<std::byte> view(buffer.get_sizeof());
        buffer.create(view.data());
        PyBytesArg found{0, -1, nullptr};
        if (buffer.read_view(bytes.get(), view.data(), &found) == 0) {
            throw PythonErrorPending();
        }
        struct Release {
            const PyBufferCallbacks& buffer;
            void* view;
            ~Release() { buffer.release(view); }
        };
        const Release release{buffer, view.data()};
        assert(found.length >= 0 && static_cast<size_t>(found.length) == size);
        const std::span memory(static_cast<std::byte*>(found.data), size);
        expect_writes(memory.data(), memory.size());
        fill(memory);
    }
    return bytes.detach();
}

}  // namespace zelmor::embed
