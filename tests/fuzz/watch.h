// Processor time and memory of one step.
#ifndef ZELMOR_TESTS_FUZZ_WATCH_H
#define ZELMOR_TESTS_FUZZ_WATCH_H

#include <cstdint>

namespace zelmor::fuzz {

// Of the whole process, threads of the image library included.
class Watch {
 public:
    Watch();
    double seconds() const;
    // The most memory that was in use since then, beyond what was in use at that time.
    uint64_t bytes() const;

 private:
    double m_seconds;
    uint64_t m_bytes;
};

}  // namespace zelmor::fuzz

#endif  // ZELMOR_TESTS_FUZZ_WATCH_H
