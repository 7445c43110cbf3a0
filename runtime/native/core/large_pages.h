// Fresh memory that is about to be written as a whole.
//
// The system gives memory page by page, each when it is first touched. The first touch of a page of 4 KB takes longer
// than filling it, so that a picture of 36 MB is written in a third of the time where the system gives 2 MB at once. It
// is asked for that only for bytes that are all written next: where a program touches a few, each would take 2 MB.
#ifndef ZELMOR_RUNTIME_NATIVE_CORE_LARGE_PAGES_H
#define ZELMOR_RUNTIME_NATIVE_CORE_LARGE_PAGES_H

#include <sys/mman.h>

#include <cstddef>
#include <memory>

namespace zelmor::embed {

// A wish: systems without large pages do as always, and the bytes stay what they are.
inline void expect_writes(void* begin, size_t size) noexcept {
    constexpr size_t kLargePage = size_t{2} << 20;
    if (std::align(kLargePage, kLargePage, begin, size) != nullptr) {
        static_cast<void>(::madvise(begin, size / kLargePage * kLargePage, MADV_HUGEPAGE));
    }
}

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_CORE_LARGE_PAGES_H
