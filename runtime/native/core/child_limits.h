// What a program of the runtime's own sets for its process before it looks at a file; see child_program.h.
#ifndef ZELMOR_RUNTIME_NATIVE_CORE_CHILD_LIMITS_H
#define ZELMOR_RUNTIME_NATIVE_CORE_CHILD_LIMITS_H

#include <sys/resource.h>
#include <unistd.h>

#include <cstdint>

namespace zelmor::embed {

// Processor time and memory; no core dump, no written file, no open file besides the standard ones.
inline void limit_process(int seconds, uint64_t bytes) {
    const auto limit = [](auto resource, rlim_t most) {
        const rlimit value{most, most};
        setrlimit(resource, &value);
    };
    limit(RLIMIT_CPU, static_cast<rlim_t>(seconds));
#ifndef __SANITIZE_ADDRESS__  // which asks for terabytes that it never uses
    limit(RLIMIT_AS, bytes);
#else
    static_cast<void>(bytes);
#endif
    limit(RLIMIT_CORE, 0);
    limit(RLIMIT_FSIZE, 0);
    closefrom(STDERR_FILENO + 1);
}

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_CORE_CHILD_LIMITS_H
