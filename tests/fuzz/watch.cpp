// What the system tells of the process; see watch.h.
#include "tests/fuzz/watch.h"

#include <fcntl.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <stdexcept>
#include <string>

namespace zelmor::fuzz {
namespace {

double processor_time() {
    timespec time{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

// A line of the process's status, in bytes.
uint64_t status(const char* name) {
    const int file = open("/proc/self/status", O_RDONLY | O_CLOEXEC);
    char text[4096];
    const ssize_t length = file < 0 ? -1 : read(file, text, sizeof text - 1);
    close(file);
    const std::string all(text, static_cast<size_t>(std::max<ssize_t>(length, 0)));
    const size_t found = all.find(name);
    if (found == std::string::npos) {
        throw std::runtime_error(std::string("/proc/self/status has no ") + name);
    }
    return std::strtoull(all.c_str() + found + std::string(name).size(), nullptr, 10) * 1024;
}

// From here on the peak counts anew.
void reset_peak() {
    const int file = open("/proc/self/clear_refs", O_WRONLY | O_CLOEXEC);
    const bool done = file >= 0 && write(file, "5", 1) == 1;
    close(file);
    if (!done) {
        throw std::runtime_error("/proc/self/clear_refs cannot be written: the peak of memory cannot be told");
    }
}

}  // namespace

Watch::Watch() : m_seconds(processor_time()), m_bytes(status("VmRSS:")) {
    reset_peak();
}

double Watch::seconds() const {
    return processor_time() - m_seconds;
}

uint64_t Watch::bytes() const {
    const uint64_t peak = status("VmHWM:");
    return peak > m_bytes ? peak - m_bytes : 0;
}

}  // namespace zelmor::fuzz
