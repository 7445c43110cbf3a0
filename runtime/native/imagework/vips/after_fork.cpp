// The library keeps its threads for a while after a task and gives them the next one. A forked process inherits the
// list of these threads but not the threads themselves: a task that is given to one of them is never done, and the
// caller waits forever. Python programs fork as a matter of course. So the list is used up before any real work: a
// helper thread, for which nobody waits, gives empty tasks to the threads of the list until one of the tasks is done.
// From then on only threads of this process are left.
#include "runtime/native/imagework/vips/after_fork.h"

#include <pthread.h>
#include <semaphore.h>
#include <time.h>

#include <atomic>
#include <cerrno>
#include <memory>
#include <thread>

#include <vips/vips8>

#include "runtime/native/imagework/picture_error.h"

namespace zelmor::imagework {
namespace {

std::atomic<bool> forked = false;  // set by the handler of a fork, read by all threads

void remember_fork() {
    forked.store(true, std::memory_order_relaxed);
}

// A round of work for all threads that the library would use, in which each finds at once that there is none.
VipsThreadState* start(VipsImage* image, void* context) {
    return vips_thread_state_new(image, context);
}
int allocate(VipsThreadState*, void*, gboolean* stop) {
    *stop = TRUE;
    return 0;
}
int work(VipsThreadState*, void*) {
    return 0;
}
int progress(void*) {
    return 0;
}

struct Round {
    Round() { sem_init(&done, 0, 0); }
    ~Round() { sem_destroy(&done); }
    Round(const Round&) = delete;
    Round& operator=(const Round&) = delete;
    sem_t done;
};

void run_round(const std::shared_ptr<Round>& round) {
    VipsImage* image = nullptr;
    // Large enough for the library to call on as many threads as it may. No pixel of it is ever computed.
    if (vips_black(&image, 1 << 20, 1 << 20, nullptr) != 0) {
        return;
    }
    if (vips_threadpool_run(image, start, allocate, work, progress, nullptr) == 0) {
        sem_post(&round->done);
    }
    g_object_unref(image);
    vips_thread_shutdown();
}

// Whether the round came to its end; one that fell to lost threads is left behind, blocked.
bool finishes() {
    auto round = std::make_shared<Round>();
    std::thread(run_round, round).detach();
    constexpr long kPatience = 250'000'000;  // nanoseconds; a round takes a few microseconds
    timespec until{};
    clock_gettime(CLOCK_REALTIME, &until);
    until.tv_nsec += kPatience;
    until.tv_sec += until.tv_nsec / 1'000'000'000;
    until.tv_nsec %= 1'000'000'000;
    int result = 0;
    do {
        result = sem_timedwait(&round->done, &until);
    } while (result != 0 && errno == EINTR);
    return result == 0;
}

}  // namespace

void watch_forks() {
    pthread_atfork(nullptr, nullptr, remember_fork);
}

void settle_after_fork() {
    if (!forked.load(std::memory_order_relaxed)) {
        return;
    }
    constexpr int kMostRounds = 64;
    for (int round = 0; round < kMostRounds; round++) {
        if (finishes()) {
            forked.store(false, std::memory_order_relaxed);
            return;
        }
    }
    throw PictureError(Failure::kInternal,
                       "the image library does not work in this process, which was forked while it was at work");
}

}  // namespace zelmor::imagework
