// Programs of the runtime's own that do work which may crash, or run for ever, in a process of their own.
//
// They lie beside the shared object of the runtime. The process gets bytes at its standard input and gives bytes at its
// standard output; it has no other open file, no environment and, by what it sets itself (child_limits.h), little
// memory and time.
#ifndef ZELMOR_RUNTIME_NATIVE_CORE_CHILD_PROGRAM_H
#define ZELMOR_RUNTIME_NATIVE_CORE_CHILD_PROGRAM_H

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace zelmor::embed {

// The exit code of a program that the dynamic linker cannot start, for lack of a shared library.
constexpr int kLinkerExit = 127;

struct ChildResult {
    enum class End {
        kExited,    // `code` is its exit code
        kSignaled,  // `code` is the signal
        kTimedOut,  // it was ended
        kTooMuch,   // it gave more than it may, and was ended
        kNotStarted,
        kUnknown,  // somebody else in the process waited for it
    };
    End end = End::kUnknown;
    int code = 0;
    std::vector<uint8_t> output;
};

// Runs the program to its end. `seconds` by the clock; it is to take less processor time than that.
ChildResult run_child(const std::string& program, const std::vector<std::string>& arguments,
                      std::span<const uint8_t> input, int seconds, size_t most_output);

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_CORE_CHILD_PROGRAM_H
