// Functions that DjVuLibre finds here instead of those of the process: the shared object that this is part of is loaded
// so that they come first.
//
// Operator new limits the memory that is taken at once. The library trusts sizes that stand deep inside compressed
// data: a shape of a bitonal page can claim gigabytes. All its large memory comes from operator new, which refuses what
// is beyond the limits as if memory had run out; the library survives that.
//
// setlocale() does nothing. The library sets the locale of the whole process when it is started.
#include <malloc.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <new>

#include "runtime/native/imagework/limits.h"

#if !defined(__SANITIZE_ADDRESS__)

namespace {

using zelmor::imagework::limits::kCodecBytes;

// Smaller pieces are not counted. They are bounded by the sizes that the header part checks.
constexpr size_t kLarge = size_t{1} << 20;
constexpr uint64_t kMostAtATime = 4 * kCodecBytes;

// Of the large pieces. Every thread of the library counts here, without a lock.
std::atomic<uint64_t> large_bytes = 0;

// The library's handler for memory that ran out, which it set when it was loaded just before this object. It throws the
// exception that the library expects. Set once, while the shared object is loaded.
const std::new_handler library_handler = std::get_new_handler();

[[noreturn]] void refuse() {
    if (library_handler != nullptr) {
        library_handler();
    }
    throw std::bad_alloc();
}

void* take(size_t size) {
    if (size > kCodecBytes) {
        refuse();
    }
    void* const memory = std::malloc(size == 0 ? 1 : size);
    if (memory == nullptr) {
        refuse();
    }
    const size_t usable = malloc_usable_size(memory);
    if (usable >= kLarge && large_bytes.fetch_add(usable) + usable > kMostAtATime) {
        large_bytes.fetch_sub(usable);
        std::free(memory);
        refuse();
    }
    return memory;
}

void give_back(void* memory) noexcept {
    if (memory == nullptr) {
        return;
    }
    // Memory from other operators may be given back here: the count never falls below nothing.
    const size_t usable = malloc_usable_size(memory);
    if (usable >= kLarge) {
        uint64_t now = large_bytes.load();
        while (!large_bytes.compare_exchange_weak(now, now - (now < usable ? now : usable))) {
        }
    }
    std::free(memory);
}

}  // namespace

#define ZELMOR_EXPORTED __attribute__((visibility("default")))

extern "C" ZELMOR_EXPORTED char* setlocale(int, const char*) noexcept {
    static char name[] = "C";  // which nobody changes
    return name;
}

ZELMOR_EXPORTED void* operator new(size_t size) {
    return take(size);
}
ZELMOR_EXPORTED void* operator new[](size_t size) {
    return take(size);
}
ZELMOR_EXPORTED void operator delete(void* memory) noexcept {
    give_back(memory);
}
ZELMOR_EXPORTED void operator delete[](void* memory) noexcept {
    give_back(memory);
}
ZELMOR_EXPORTED void operator delete(void* memory, size_t) noexcept {
    give_back(memory);
}
ZELMOR_EXPORTED void operator delete[](void* memory, size_t) noexcept {
    give_back(memory);
}

#endif
