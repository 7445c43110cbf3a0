// Threads for work in the background; see background_work.h.
#include "runtime/native/behaviors/masking/background_work.h"

#include <pthread.h>
#include <signal.h>
#include <unistd.h>

#include <atomic>
#include <cassert>
#include <condition_variable>
#include <cstdlib>
#include <exception>
#include <mutex>
#include <new>
#include <system_error>
#include <thread>
#include <vector>

#include "runtime/native/core/managed_exception.h"

namespace zelmor::embed {

namespace {

// Thrown at a checkpoint of stopped work.
struct Stopped {};

// Blocks all signals of the calling thread for the length of a scope, and so those of a thread that it starts.
class SignalsBlocked {
 public:
    SignalsBlocked() {
        sigset_t all;
        sigfillset(&all);
        pthread_sigmask(SIG_SETMASK, &all, &m_before);
    }
    ~SignalsBlocked() { pthread_sigmask(SIG_SETMASK, &m_before, nullptr); }
    SignalsBlocked(const SignalsBlocked&) = delete;
    SignalsBlocked& operator=(const SignalsBlocked&) = delete;

 private:
    sigset_t m_before;
};

}  // namespace

struct BackgroundWork::Shared {
    std::atomic<bool> stop = false;
    mutable std::mutex mutex;
    mutable std::condition_variable end;
    bool done = false;  // under the mutex, as are the next two
    bool stopped = false;
    std::exception_ptr failure;
    std::thread thread;

    void run(const Work& work) {
        bool was_stopped = false;
        std::exception_ptr error;
        try {
            work([this] {
                if (stop.load(std::memory_order_relaxed)) {
                    throw Stopped();
                }
            });
        } catch (const Stopped&) {
            was_stopped = true;
        } catch (...) {
            error = std::current_exception();
        }
        const std::lock_guard lock(mutex);
        done = true;
        stopped = was_stopped;
        failure = error;
        end.notify_all();
    }
};

namespace {

// All work that may be under way. It is stopped before the process ends, since it would use data that is gone then.
struct WorkUnderWay {
    std::mutex mutex;
    std::vector<std::function<bool(bool end)>> all;  // end or look after one; whether it is still there
};
WorkUnderWay& work_under_way() {
    // Of the process: its mutex orders the threads that use it. Never deleted, as the process may end at any time.
    static auto& all = *new WorkUnderWay;
    return all;
}

void end_all() {
    WorkUnderWay& work = work_under_way();
    const std::lock_guard lock(work.mutex);
    for (const auto& each : work.all) {
        each(true);
    }
}

}  // namespace

BackgroundWork::BackgroundWork(Work work) : m_shared(std::make_shared<Shared>()), m_process(getpid()) {
    static const int registered = std::atexit(end_all);
    if (registered != 0) {
        throw ManagedException("IOException", "Nothing can be registered for the end of the process.");
    }
    WorkUnderWay& under_way = work_under_way();
    const std::lock_guard lock(under_way.mutex);
    std::erase_if(under_way.all, [](const auto& each) { return !each(false); });
    under_way.all.emplace_back([weak = std::weak_ptr<Shared>(m_shared), process = m_process](bool end) {
        const std::shared_ptr<Shared> shared = weak.lock();
        if (end && shared && process == getpid() && shared->thread.joinable()) {
            shared->stop.store(true, std::memory_order_relaxed);
            shared->thread.join();
        }
        return shared != nullptr;
    });
    const SignalsBlocked blocked;
    try {
        m_shared->thread = std::thread([shared = m_shared, job = std::move(work)] { shared->run(job); });
    } catch (const std::system_error& error) {
        throw ManagedException("IOException", std::string("No thread can be started: ") + error.what() + ".");
    }
}

BackgroundWork::~BackgroundWork() {
    if (is_of_parent()) {
        // The thread is not there to be waited for, and its object must not end without that.
        static_cast<void>(new (std::nothrow) std::shared_ptr<Shared>(m_shared));
        return;
    }
    stop();
    if (m_shared->thread.joinable()) {
        m_shared->thread.join();
    }
}

bool BackgroundWork::is_of_parent() const {
    return m_process != getpid();
}

void BackgroundWork::stop() noexcept {
    m_shared->stop.store(true, std::memory_order_relaxed);
}

bool BackgroundWork::wait(std::chrono::milliseconds most) const {
    if (is_of_parent()) {
        return true;  // the mutex may be locked for ever
    }
    std::unique_lock lock(m_shared->mutex);
    return m_shared->end.wait_for(lock, most, [this] { return m_shared->done; });
}

bool BackgroundWork::was_stopped() const {
    assert(is_done());
    return !is_of_parent() && m_shared->stopped;
}

void BackgroundWork::rethrow() const {
    assert(is_done());
    if (is_of_parent()) {
        throw_invalid_operation("The work was begun by the parent of this process, whose threads it does not have.");
    }
    if (m_shared->failure != nullptr) {
        std::rethrow_exception(m_shared->failure);
    }
}

}  // namespace zelmor::embed
