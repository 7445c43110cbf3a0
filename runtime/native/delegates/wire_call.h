// Calls of any wire signature: the arguments and result of a running call, and functions made at run time that receive
// one.
//
// The signature codes are those of catalogue/tables.h. Nothing here depends on the embedded runtime: the control
// interface of the tests uses it in front of .NET, too.
#ifndef ZELMOR_RUNTIME_NATIVE_DELEGATES_WIRE_CALL_H
#define ZELMOR_RUNTIME_NATIVE_DELEGATES_WIRE_CALL_H

#include <ffi.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <type_traits>

namespace zelmor::embed {

// The bytes that an argument of the code takes.
size_t width_of_code(char code);

// Arguments and result of a running call.
class CallFrame {
 public:
    CallFrame(const char* signature, void* result, void** arguments)
        : m_signature(signature), m_result(result), m_arguments(arguments) {}

    const char* signature() const { return m_signature; }
    size_t count() const { return std::strlen(m_signature) - 1; }
    void** arguments() const { return m_arguments; }
    void* result() const { return m_result; }

    template <class T>
    T argument(size_t index) const {
        return *static_cast<T*>(m_arguments[index]);
    }
    // Integers narrower than a register leave widened, as libffi wants them.
    template <class T>
    void set_result(T value) {
        if constexpr (std::is_integral_v<T> && std::is_signed_v<T>) {
            *static_cast<ffi_sarg*>(m_result) = +value;  // of a narrow type, the sign goes along
        } else if constexpr (std::is_integral_v<T>) {
            *static_cast<ffi_arg*>(m_result) = static_cast<ffi_arg>(value);
        } else {
            *static_cast<T*>(m_result) = value;
        }
    }
    void set_zero_result() {
        if (m_signature[0] != 'v') {
            *static_cast<uint64_t*>(m_result) = 0;
        }
    }
    // What the call answers if it ends in an exception: zero, unless the handler named another status first.
    void fails_with(int32_t status) { m_failed = status; }
    void set_failed_result() {
        set_zero_result();
        if (m_failed != 0) {
            set_result<int32_t>(m_failed);
        }
    }
    // The result as a word, for a journal.
    uint64_t result_word() const;

 private:
    const char* m_signature;
    void* m_result;
    void** m_arguments;
    int32_t m_failed = 0;
};

// The call interface of a signature; made once per signature and kept.
ffi_cif& call_interface(const char* signature);
// Calls a delegate of the frame's signature with the frame's arguments and stores its result.
void call_delegate(void* address, CallFrame& frame);

// Runs a call; the arguments are those of a libffi closure.
using ClosureRun = void (*)(ffi_cif*, void* result, void** arguments, void* user);
// A C function of a signature that calls `run` with `user`. It is never taken back. Raises std::bad_alloc or
// std::invalid_argument.
void* make_native_function(const char* signature, ClosureRun run, void* user);

using ClosureHandler = void (*)(void* context, CallFrame& frame);
// A function that calls a handler which passes the call on and raises nothing. It keeps its context, and the signature
// must stay as long as that.
void* make_raw_delegate(const char* signature, ClosureHandler handler, std::shared_ptr<void> context);

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_DELEGATES_WIRE_CALL_H
