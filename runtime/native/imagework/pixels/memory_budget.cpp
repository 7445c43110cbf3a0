// Counting the decoded memory of an image; see memory_budget.h.
#include "runtime/native/imagework/pixels/memory_budget.h"

#include <cassert>
#include <string>

#include "runtime/native/imagework/picture_error.h"

namespace zelmor::imagework {

bool MemoryBudget::try_take(uint64_t bytes) {
    uint64_t used = m_used.load(std::memory_order_relaxed);
    do {
        if (bytes > m_limit || used > m_limit - bytes) {
            return false;
        }
    } while (!m_used.compare_exchange_weak(used, used + bytes, std::memory_order_relaxed));
    return true;
}

void MemoryBudget::set_reclaim(std::function<void()> reclaim) {
    const std::lock_guard lock(m_mutex);
    m_reclaim = std::move(reclaim);
}

void MemoryBudget::take(uint64_t bytes) {
    if (try_take(bytes)) {
        return;
    }
    std::function<void()> reclaim;
    {
        const std::lock_guard lock(m_mutex);
        reclaim = m_reclaim;
    }
    if (reclaim) {
        reclaim();
    }
    if (!try_take(bytes)) {
        throw PictureError(Failure::kTooLarge, "its pixels need " + std::to_string(bytes) +
                                                   " bytes of memory besides the " + std::to_string(used()) +
                                                   " in use, and the limit of one image is " + std::to_string(m_limit) +
                                                   " bytes (buffer_size_hint raises it)");
    }
}

void MemoryBudget::give_back(uint64_t bytes) noexcept {
    [[maybe_unused]] const uint64_t before = m_used.fetch_sub(bytes, std::memory_order_relaxed);
    assert(before >= bytes);
}

}  // namespace zelmor::imagework
