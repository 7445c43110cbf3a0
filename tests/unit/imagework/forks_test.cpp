// A process that forks right behind work on pictures: the child must not inherit a lock that a thread of the image
// library holds on its way back from the work.
#include <pthread.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <semaphore>
#include <thread>

#include "tests/unit/imagework/pictures.h"

namespace zelmor::imagework {
namespace {

// A thread that has the name of the library's threads, is busy for a while, and then sleeps until the test is over.
class BusyWorker {
 public:
    explicit BusyWorker(std::chrono::milliseconds time) : m_time(time), m_thread([this] { run(); }) {
        m_started.acquire();
    }
    ~BusyWorker() {
        m_end.release();
        m_thread.join();
    }
    BusyWorker(const BusyWorker&) = delete;
    BusyWorker& operator=(const BusyWorker&) = delete;

    bool is_at_rest() const { return m_at_rest.load(); }

 private:
    void run() {
        pthread_setname_np(pthread_self(), "libvips worker");
        m_started.release();
        const auto end = std::chrono::steady_clock::now() + m_time;
        while (std::chrono::steady_clock::now() < end) {
        }
        m_at_rest.store(true);
        m_end.acquire();
    }

    std::chrono::milliseconds m_time;
    std::binary_semaphore m_started{0};
    std::binary_semaphore m_end{0};
    std::atomic<bool> m_at_rest{false};
    std::thread m_thread;
};

// What a child of this process returns for `work`.
template <class Work>
int status_of_child(const Work& work) {
    const pid_t child = fork();
    if (child == 0) {
        alarm(30);
        _exit(work());
    }
    int status = 0;
    return waitpid(child, &status, 0) == child && WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

TEST(Forks, WaitForWorkersAtRest) {
    ASSERT_NE(noise(8, 8, false), nullptr);  // the library has started
    const BusyWorker worker(std::chrono::milliseconds(60));
    EXPECT_EQ(status_of_child([&] { return worker.is_at_rest() ? 7 : 8; }), 7);
}

TEST(Forks, DoNotWaitForALongOperation) {
    ASSERT_NE(noise(8, 8, false), nullptr);
    const BusyWorker worker(std::chrono::seconds(3));
    EXPECT_EQ(status_of_child([&] { return worker.is_at_rest() ? 7 : 8; }), 8);
}

TEST(Forks, RightBehindWorkLeaveTheChildAtWork) {
    const auto picture = noise(700, 500, false);
    for (int i = 0; i < 25; ++i) {
        picture->resize(700 - i, 500, Resampling::kLanczos);
        EXPECT_EQ(status_of_child([&] {
                      picture->resize(300, 200, Resampling::kLanczos);
                      return picture->width() == 300 ? 7 : 8;
                  }),
                  7);
    }
}

}  // namespace
}  // namespace zelmor::imagework
