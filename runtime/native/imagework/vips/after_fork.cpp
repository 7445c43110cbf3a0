// The library keeps its threads for a while after a task and gives them the next one. A forked process inherits the
// list of these threads but not the threads themselves: a task that is given to one of them is never done, and the
// caller waits forever. Python programs fork as a matter of course. So the list is used up before any real work: a
// helper thread, for which nobody waits, gives empty tasks to the threads of the list until one of the tasks is done.
// From then on only threads of this process are left.
//
// A thread that has done its part of a task still takes a few locks on its way back to the list, after the caller has
// gone on. A process that is forked in that moment inherits a lock that nobody ever releases. So a fork waits until
// these threads are at rest.
#include "runtime/native/imagework/vips/after_fork.h"

#include <dirent.h>
#include <fcntl.h>
#include <pthread.h>
#include <semaphore.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <memory>
#include <string>
#include <string_view>
#include <thread>

#include <vips/vips8>

#include "runtime/native/imagework/picture_error.h"

namespace zelmor::imagework {
namespace {

std::atomic<bool> forked = false;  // set by the handler of a fork, read by all threads

void remember_fork() {
    forked.store(true, std::memory_order_relaxed);
}

// Whether the thread is one of the library's and neither sleeps nor has ended. Its line in /proc, as proc(5) tells, is
// "number (name) state ...", where the name may hold parentheses of its own.
bool is_busy_worker(const char* thread) {
    const std::string path = std::string("/proc/self/task/") + thread + "/stat";
    const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (file < 0) {
        return false;  // it ended since the folder was read
    }
    std::array<char, 128> bytes{};
    const ssize_t count = read(file, bytes.data(), bytes.size());
    close(file);
    const std::string_view line(bytes.data(), count > 0 ? static_cast<size_t>(count) : 0);
    const size_t end = line.rfind(')');
    if (end == std::string_view::npos || end + 2 >= line.size()) {
        return false;
    }
    const char state = line[end + 2];
    return line.find("(libvips worker)") != std::string_view::npos && (state == 'R' || state == 'D');
}

bool has_busy_worker() {
    DIR* threads = opendir("/proc/self/task");
    if (threads == nullptr) {
        return false;  // without /proc nothing can be known
    }
    bool busy = false;
    while (const dirent* thread = readdir(threads)) {
        busy = busy || (thread->d_name[0] != '.' && is_busy_worker(thread->d_name));
    }
    closedir(threads);
    return busy;
}

// A thread that sleeps holds no lock: it waits for its next task, or for a lock of one that does not sleep. The wait
// has an end because another thread of the program may be in the middle of a long operation.
void wait_for_workers() {
    using std::chrono::steady_clock;
    const steady_clock::time_point end = steady_clock::now() + std::chrono::seconds(1);
    while (has_busy_worker() && steady_clock::now() < end) {
        std::this_thread::sleep_for(std::chrono::microseconds(100));
    }
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

// Whether the round came to its end in `patience` nanoseconds, less than a second. One that fell to lost threads is
// left behind, blocked.
bool finishes(long patience) {
    auto round = std::make_shared<Round>();
    std::thread(run_round, round).detach();
    timespec until{};
    clock_gettime(CLOCK_REALTIME, &until);
    until.tv_nsec += patience;
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
    pthread_atfork(wait_for_workers, nullptr, remember_fork);
}

void settle_after_fork() {
    if (!forked.load(std::memory_order_relaxed)) {
        return;
    }
    // A round takes well below a millisecond, and the first one always falls to lost threads if there are any. One that
    // is given up too early does no harm: it ends by itself. So the wait begins short, and grows for a busy machine.
    constexpr int kMostRounds = 64;
    constexpr long kLongest = 250'000'000;  // nanoseconds
    long patience = 2'000'000;
    for (int round = 0; round < kMostRounds; round++, patience = std::min(patience * 2, kLongest)) {
        if (finishes(patience)) {
            forked.store(false, std::memory_order_relaxed);
            return;
        }
    }
    throw PictureError(Failure::kInternal,
                       "the image library does not work in this process, which was forked while it was at work");
}

}  // namespace zelmor::imagework
