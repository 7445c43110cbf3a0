// The memory for decoded pixels that one image may use, counted over all of its frames.
//
// All pictures of one image share a budget. Code that is about to decode into memory takes a share first, and keeps it
// for as long as the pixels are there. Where pixels of other frames can be decoded again, their owner lets them go
// before an error is reported.
#ifndef ZELMOR_RUNTIME_NATIVE_IMAGEWORK_PIXELS_MEMORY_BUDGET_H
#define ZELMOR_RUNTIME_NATIVE_IMAGEWORK_PIXELS_MEMORY_BUDGET_H

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <utility>

#include "runtime/native/imagework/limits.h"

namespace zelmor::imagework {

class MemoryBudget {
 public:
    explicit MemoryBudget(uint64_t limit = limits::kDecodedBytes) : m_limit(limit) {}

    uint64_t limit() const { return m_limit; }
    uint64_t used() const { return m_used.load(std::memory_order_relaxed); }
    // Counts the bytes if they fit. Any thread may call it.
    bool try_take(uint64_t bytes);
    // The same; what can be let go is let go for them. PictureError(kTooLarge), with the limit and the setting that
    // raises it, where they do not fit then.
    void take(uint64_t bytes);
    // Sets the function that lets pixels go and gives their bytes back; empty for none. It is called by take().
    void set_reclaim(std::function<void()> reclaim);
    void give_back(uint64_t bytes) noexcept;

 private:
    const uint64_t m_limit;
    std::atomic<uint64_t> m_used = 0;  // worker threads of the image library may give back
    std::mutex m_mutex;
    std::function<void()> m_reclaim;  // under the mutex
};

using SharedBudget = std::shared_ptr<MemoryBudget>;

// Bytes of a budget, given back at the end of the share.
class MemoryShare {
 public:
    MemoryShare() = default;
    // PictureError(kTooLarge) as MemoryBudget::take(). A null budget counts nothing.
    MemoryShare(SharedBudget budget, uint64_t bytes) : m_budget(std::move(budget)), m_bytes(bytes) {
        if (m_budget) {
            m_budget->take(m_bytes);
        }
    }
    ~MemoryShare() { reset(); }
    MemoryShare(MemoryShare&& other) noexcept
        : m_budget(std::move(other.m_budget)), m_bytes(std::exchange(other.m_bytes, 0)) {}
    MemoryShare& operator=(MemoryShare&& other) noexcept {
        if (this != &other) {
            reset();
            m_budget = std::move(other.m_budget);
            m_bytes = std::exchange(other.m_bytes, 0);
        }
        return *this;
    }
    MemoryShare(const MemoryShare&) = delete;
    MemoryShare& operator=(const MemoryShare&) = delete;

    void reset() noexcept {
        if (m_budget) {
            m_budget->give_back(m_bytes);
        }
        m_budget.reset();
        m_bytes = 0;
    }

 private:
    SharedBudget m_budget;
    uint64_t m_bytes = 0;
};

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_IMAGEWORK_PIXELS_MEMORY_BUDGET_H
